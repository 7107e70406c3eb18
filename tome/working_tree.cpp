#include "tome/working_tree.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <vector>

#include "content/sha256.h"
#include "tome/error.h"
#include "tome/platform.h"

namespace tome {
namespace {

constexpr int folder_flags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
constexpr int hash_attempts = 3;

std::string leaf_of(const TreePath& path) {
    return std::string(path.components().back());
}

WorkingEntry entry_of(const struct stat& status) {
    if (S_ISREG(status.st_mode)) {
        return {WorkingEntry::Kind::File, stamp_of(status)};
    }
    return {S_ISDIR(status.st_mode) ? WorkingEntry::Kind::Folder : WorkingEntry::Kind::Other, {}};
}

bool is_symbolic_link(int folder, const std::string& name) {
    struct stat status {};
    return fstatat(folder, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISLNK(status.st_mode);
}

std::vector<std::string> names_in(const FileDescriptor& folder, const std::string& name) {
    const int copy = openat(folder.get(), ".", folder_flags);
    const std::unique_ptr<DIR, int (*)(DIR*)> stream(copy < 0 ? nullptr : fdopendir(copy), closedir);
    if (!stream) {
        throw system_error("could not read directory " + name, errno);
    }
    std::vector<std::string> names;
    while (const dirent* entry = readdir(stream.get())) {
        const std::string_view text = entry->d_name;
        if (text != "." && text != ".." && !is_state_folder(text)) {
            names.emplace_back(text);
        }
    }
    std::sort(names.begin(), names.end());
    return names;
}

bool remove_folders(int parent, const std::string& name) {
    const FileDescriptor folder(openat(parent, name.c_str(), folder_flags));
    if (!folder.is_open()) {
        return false;
    }
    for (const std::string& inner : names_in(folder, name)) {
        if (!remove_folders(folder.get(), inner)) {
            return false;
        }
    }
    return unlinkat(parent, name.c_str(), AT_REMOVEDIR) == 0;
}

}  // namespace

FileStamp stamp_of(const struct stat& status) {
    FileStamp stamp;
    stamp.size = static_cast<std::uint64_t>(status.st_size);
    stamp.modified = modification_time(status);
    stamp.changed = change_time(status);
    stamp.inode = status.st_ino;
    stamp.executable = (status.st_mode & S_IXUSR) != 0;
    return stamp;
}

WorkingTree::WorkingTree(const std::filesystem::path& root) : root_path_(root), root_(open_directory(root)) {}

FileDescriptor WorkingTree::open_folder(const std::vector<std::string_view>& components, bool make,
                                        const std::string& name) const {
    FileDescriptor current(openat(root_.get(), ".", folder_flags));
    if (!current.is_open()) {
        throw system_error("could not open directory " + root_path_.string(), errno);
    }
    for (const std::string_view component : components) {
        const std::string folder(component);
        if (make && mkdirat(current.get(), folder.c_str(), 0777) != 0 && errno != EEXIST) {
            throw system_error("could not make the folder of " + name, errno);
        }
        FileDescriptor next(openat(current.get(), folder.c_str(), folder_flags));
        if (!next.is_open()) {
            const int number = errno;
            if (is_symbolic_link(current.get(), folder)) {
                throw Error(ErrorCode::Io, "a symbolic link stands in the way: " + name);
            }
            if (!make && (number == ENOENT || number == ENOTDIR)) {
                return {};
            }
            throw system_error("could not open the folder of " + name, number);
        }
        current = std::move(next);
    }
    return current;
}

int WorkingTree::parent_of(const TreePath& path, bool make) const {
    const std::size_t slash = path.text().rfind('/');
    const std::string folder = slash == std::string::npos ? "" : path.text().substr(0, slash);
    if (parent_path_ != folder) {
        forget_parent();
        std::vector<std::string_view> components = path.components();
        components.pop_back();
        parent_ = open_folder(components, make, path.text());
        if (parent_.is_open()) {
            parent_path_ = folder;
        }
    }
    return parent_.get();
}

void WorkingTree::forget_parent() const {
    parent_path_.reset();
    parent_.reset();
}

std::optional<WorkingEntry> WorkingTree::find(const TreePath& path) const {
    const int parent = parent_of(path, false);
    if (parent < 0) {
        return std::nullopt;
    }
    struct stat status {};
    if (fstatat(parent, leaf_of(path).c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
        if (errno == ENOENT || errno == ENOTDIR) {
            return std::nullopt;
        }
        throw system_error("could not inspect " + path.text(), errno);
    }
    return entry_of(status);
}

FileDescriptor WorkingTree::open(const TreePath& path) const {
    const int parent = parent_of(path, false);
    FileDescriptor file;
    if (parent >= 0) {
        file = open_file_at(parent, leaf_of(path), path.text());
    }
    if (!file.is_open()) {
        throw Error(ErrorCode::NotFound, "file does not exist: " + path.text());
    }
    return file;
}

std::pair<Digest, FileStamp> WorkingTree::hash(const TreePath& path) const {
    for (int attempt = 0; attempt < hash_attempts; ++attempt) {
        const FileDescriptor file = open(path);
        struct stat before {};
        struct stat after {};
        quill::Sha256 hash;
        if (fstat(file.get(), &before) != 0) {
            throw system_error("could not read " + path.text(), errno);
        }
        read_blocks(file.get(), path.text(), [&](std::string_view block) { hash.update(block.data(), block.size()); });
        if (fstat(file.get(), &after) == 0 && stamp_of(before) == stamp_of(after)) {
            return {Digest{hash.finish()}, stamp_of(after)};
        }
    }
    throw Error(ErrorCode::Io, "file keeps changing while it is read: " + path.text());
}

FileStamp WorkingTree::install(const std::filesystem::path& temporary, const TreePath& path) const {
    const int parent = parent_of(path, true);
    const std::string leaf = leaf_of(path);
    struct stat status {};
    if (renameat(AT_FDCWD, temporary.c_str(), parent, leaf.c_str()) != 0 ||
        fstatat(parent, leaf.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
        throw system_error("could not write " + path.text(), errno);
    }
    return stamp_of(status);
}

void WorkingTree::remove(const TreePath& path) const {
    forget_parent();  // The folder may go, too.
    std::vector<std::string_view> components = path.components();
    bool file = true;
    while (!components.empty()) {
        const std::string leaf(components.back());
        components.pop_back();
        const FileDescriptor parent = open_folder(components, false, path.text());
        if (!parent.is_open()) {
            return;
        }
        if (unlinkat(parent.get(), leaf.c_str(), file ? 0 : AT_REMOVEDIR) != 0) {
            if (file && errno != ENOENT) {
                throw system_error("could not remove " + path.text(), errno);
            }
            if (!file) {
                return;  // Something else is in the folder, so it stays.
            }
        }
        file = false;
    }
}

void WorkingTree::remove_empty_folder(const TreePath& path) const {
    const int parent = parent_of(path, false);
    if (parent >= 0 && !remove_folders(parent, leaf_of(path))) {
        throw system_error("could not remove the folder " + path.text(), errno);
    }
}

void WorkingTree::sync_folder(const std::string& folder) const {
    const FileDescriptor descriptor = open_folder(components_of(folder), false, folder);
    if (descriptor.is_open()) {
        sync_descriptor(descriptor.get(), folder);
    }
}

void WorkingTree::scan(const std::string& folder, const std::set<std::string>& skip,
                       const std::function<void(const std::string&, const WorkingEntry&)>& visit) const {
    const FileDescriptor descriptor = open_folder(components_of(folder), false, folder);
    if (descriptor.is_open()) {
        scan_folder(descriptor, folder, skip, visit);
    }
}

void WorkingTree::scan_folder(const FileDescriptor& folder, const std::string& prefix,
                              const std::set<std::string>& skip,
                              const std::function<void(const std::string&, const WorkingEntry&)>& visit) const {
    struct stat status {};
    if (!prefix.empty() && fstatat(folder.get(), ".tome", &status, AT_SYMLINK_NOFOLLOW) == 0) {
        return;
    }
    for (const std::string& name : names_in(folder, prefix)) {
        const std::string path = prefix.empty() ? name : prefix + "/" + name;
        if (skip.contains(path) || fstatat(folder.get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
            continue;
        }
        const WorkingEntry entry = entry_of(status);
        if (entry.kind != WorkingEntry::Kind::Folder) {
            visit(path, entry);
            continue;
        }
        const FileDescriptor next(openat(folder.get(), name.c_str(), folder_flags));
        if (next.is_open()) {
            scan_folder(next, path, skip, visit);
        }
    }
}

}  // namespace tome
