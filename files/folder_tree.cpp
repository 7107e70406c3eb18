#include "files/folder_tree.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <string_view>
#include <system_error>

#include "files/platform.h"
#include "files/trace.h"

namespace quill {
namespace {

using Kind = FolderEntry::Kind;

constexpr int folder_flags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW;

[[noreturn]] void fail(const std::string& what, int number) {
    throw FileError(FileError::Kind::System, what + ": " + std::generic_category().message(number), number);
}

bool is_absent(int number) {
    return number == ENOENT || number == ENOTDIR;
}

void check_component(const std::string& component, const std::string& path) {
    if (component.empty() || component == "." || component == "..") {
        throw FileError(FileError::Kind::NotAFile, "invalid path: " + path, EINVAL);
    }
}

std::string leaf_of(const std::string& path) {
    std::string leaf = path.substr(path.rfind('/') + 1);
    check_component(leaf, path);
    return leaf;
}

std::string joined(const std::string& folder, const std::string& name) {
    return folder.empty() ? name : folder + "/" + name;
}

FolderEntry entry_of(const struct stat& status) {
    FolderEntry entry;
    if (S_ISREG(status.st_mode)) {
        entry.stamp = stamp_of(status);
        entry.mode = status.st_mode & 07777;
        return entry;
    }
    entry.kind = S_ISDIR(status.st_mode) ? Kind::Folder : S_ISLNK(status.st_mode) ? Kind::Link : Kind::Other;
    return entry;
}

bool is_symbolic_link(int folder, const std::string& name) {
    struct stat status {};
    return fstatat(folder, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISLNK(status.st_mode);
}

[[noreturn]] void refuse_link(const std::string& path) {
    throw FileError(FileError::Kind::Link, "a symbolic link stands in the way: " + path, ELOOP);
}

struct Name {
    std::string text;
    unsigned char type;  // of readdir(3)
};

// Calls `consume` for each name but "." and "..", in no order, until it returns false.
template <typename Consume>
void read_names(int folder, const std::string& path, Consume consume) {
    FileDescriptor copy = open_at(folder, ".", folder_flags);
    const std::unique_ptr<DIR, int (*)(DIR*)> stream(copy.is_open() ? fdopendir(copy.get()) : nullptr, closedir);
    if (!stream) {
        fail("could not read directory " + path, errno);
    }
    copy.release();
    for (;;) {
        errno = 0;
        const dirent* entry = readdir(stream.get());
        if (entry == nullptr) {
            if (errno != 0) {
                fail("could not read directory " + path, errno);
            }
            return;
        }
        const std::string_view text = entry->d_name;
        if (text != "." && text != ".." && !consume(Name{std::string(text), entry->d_type})) {
            return;
        }
    }
}

std::vector<Name> sorted_names(int folder, const std::string& path) {
    std::vector<Name> names;
    read_names(folder, path, [&](Name name) {
        names.push_back(std::move(name));
        return true;
    });
    std::sort(names.begin(), names.end(), [](const Name& a, const Name& b) { return a.text < b.text; });
    return names;
}

std::string in_other_case(std::string name) {
    for (char& c : name) {
        const bool letter = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
        c = letter ? static_cast<char>(c ^ 0x20) : c;  // ASCII alone: one such name tells enough.
    }
    return name;
}

// Whether names that differ by case are one: the first name with a letter tells, for nothing else can have both its
// spelling in the other case and its inode.
bool has_folded_names(int folder, const std::string& path) {
    bool folds = false;
    read_names(folder, path, [&](const Name& name) {
        const std::string other = in_other_case(name.text);
        struct stat status {};
        struct stat folded {};
        if (other == name.text || fstatat(folder, name.text.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0 ||
            (!S_ISDIR(status.st_mode) && status.st_nlink != 1)) {
            return true;
        }
        folds = fstatat(folder, other.c_str(), &folded, AT_SYMLINK_NOFOLLOW) == 0 && folded.st_ino == status.st_ino &&
                folded.st_dev == status.st_dev;
        return false;
    });
    return folds;
}

bool holds_name(int folder, const std::string& name, const std::string& path) {
    bool holds = false;
    read_names(folder, path, [&](const Name& found) {
        holds = found.text == name;
        return !holds;
    });
    return holds;
}

// Nothing when it vanished meanwhile.
std::optional<FolderEntry> entry_named(int folder, const Name& name, const std::string& path, bool stamps) {
    if (!stamps && name.type != DT_UNKNOWN) {
        const Kind kind = name.type == DT_REG   ? Kind::File
                          : name.type == DT_DIR ? Kind::Folder
                          : name.type == DT_LNK ? Kind::Link
                                                : Kind::Other;
        return FolderEntry{kind, {}, 0};
    }
    struct stat status {};
    if (fstatat(folder, name.text.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0) {
        return entry_of(status);
    }
    if (!is_absent(errno)) {
        fail("could not inspect " + path, errno);
    }
    return std::nullopt;
}

bool remove_folders(int parent, const std::string& name, const std::string& path) {
    const FileDescriptor folder = open_at(parent, name.c_str(), folder_flags);
    if (!folder.is_open()) {
        return errno == ENOENT;
    }
    for (const Name& inner : sorted_names(folder.get(), path)) {
        if (!remove_folders(folder.get(), inner.text, joined(path, inner.text))) {
            return false;
        }
    }
    return unlinkat(parent, name.c_str(), AT_REMOVEDIR) == 0;
}

void remove_with_contents(int parent, const std::string& name, const std::string& path) {
    if (unlinkat(parent, name.c_str(), 0) == 0 || errno == ENOENT) {
        return;
    }
    const int number = errno;  // EISDIR on Linux, EPERM elsewhere, for a folder.
    {
        const FileDescriptor folder = open_at(parent, name.c_str(), folder_flags);
        if (!folder.is_open()) {
            fail("could not remove " + path, errno == ENOTDIR || errno == ELOOP ? number : errno);
        }
        for (const Name& inner : sorted_names(folder.get(), path)) {
            remove_with_contents(folder.get(), inner.text, joined(path, inner.text));
        }
    }
    if (unlinkat(parent, name.c_str(), AT_REMOVEDIR) != 0 && errno != ENOENT) {
        fail("could not remove " + path, errno);
    }
}

}  // namespace

std::string folder_of(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? std::string() : path.substr(0, slash);
}

FileError::FileError(Kind kind, const std::string& text, int number)
    : std::runtime_error(text), kind_(kind), number_(number) {
    if (kind != Kind::Missing && is_traced()) {  // That a file is missing is often no failure.
        trace_line("error", text + " (errno " + std::to_string(number) + ")");
    }
}

std::string FileError::reason() const {
    return std::generic_category().message(number_);
}

FileStamp stamp_of(const struct stat& status) {
    FileStamp stamp;
    stamp.size = static_cast<std::uint64_t>(status.st_size);
    stamp.modified = modification_time(status);
    stamp.changed = change_time(status);
    stamp.inode = status.st_ino;
    stamp.executable = (status.st_mode & S_IXUSR) != 0;
    return stamp;
}

FolderTree::FolderTree(const std::filesystem::path& root)
    : root_path_(root), root_(open_at(AT_FDCWD, root.c_str(), O_RDONLY | O_DIRECTORY)) {
    if (!root_.is_open()) {
        fail("could not open directory " + root.string(), errno);
    }
}

void FolderTree::trace_path(const char* kind, const std::string& path) const {
    if (is_traced()) {
        trace_line(kind, (root_path_ / path).string());
    }
}

FileDescriptor FolderTree::open_path(const std::string& folder, bool make, const std::string& name) const {
    FileDescriptor current = open_at(root_.get(), ".", folder_flags);
    if (!current.is_open()) {
        fail("could not open directory " + root_path_.string(), errno);
    }
    for (std::size_t start = 0; start < folder.size();) {
        const std::size_t end = std::min(folder.find('/', start), folder.size());
        const std::string component = folder.substr(start, end - start);
        start = end + 1;
        check_component(component, name);
        if (make && mkdirat(current.get(), component.c_str(), 0777) != 0 && errno != EEXIST) {
            fail("could not make the folder of " + name, errno);
        }
        FileDescriptor next = open_at(current.get(), component.c_str(), folder_flags);
        if (!next.is_open()) {
            const int number = errno;
            if (is_symbolic_link(current.get(), component)) {
                refuse_link(name);
            }
            if (!make && is_absent(number)) {
                return {};
            }
            fail("could not open the folder of " + name, number);
        }
        if (!make && folds_names() && !holds_name(current.get(), component, name)) {
            return {};
        }
        current = std::move(next);
    }
    return current;
}

int FolderTree::parent_of(const std::string& path, bool make) const {
    const std::string folder = folder_of(path);
    if (parent_path_ != folder) {
        forget_parent();
        parent_ = open_path(folder, make, path);
        if (parent_.is_open()) {
            parent_path_ = folder;
        }
    }
    return parent_.get();
}

int FolderTree::existing_parent_of(const std::string& path) const {
    const int parent = parent_of(path, false);
    if (parent < 0) {
        fail("could not open the folder of " + path, ENOENT);
    }
    return parent;
}

void FolderTree::forget_parent() const {
    parent_path_.reset();
    parent_names_.reset();
    parent_.reset();
}

bool FolderTree::folds_names() const {
    if (!folded_) {
        folded_ = has_folded_names(root_.get(), root_path_.string());
    }
    return *folded_;
}

// Only asked for a name that was found in the folder that is kept open.
bool FolderTree::is_spelled_so(const std::string& name) const {
    if (!folds_names()) {
        return true;
    }
    if (!parent_names_) {
        parent_names_.emplace();
        read_names(parent_.get(), *parent_path_, [&](const Name& found) {
            parent_names_->insert(found.text);
            return true;
        });
    }
    return parent_names_->contains(name);
}

std::optional<FolderEntry> FolderTree::look_at(const std::string& path, int flags) const {
    if (path.empty()) {
        return FolderEntry{Kind::Folder, {}, 0};
    }
    const int parent = parent_of(path, false);
    if (parent < 0) {
        return std::nullopt;
    }
    struct stat status {};
    if (fstatat(parent, leaf_of(path).c_str(), &status, flags) != 0) {
        if (is_absent(errno)) {
            return std::nullopt;
        }
        fail("could not inspect " + path, errno);
    }
    return is_spelled_so(leaf_of(path)) ? std::optional(entry_of(status)) : std::nullopt;
}

std::optional<FolderEntry> FolderTree::find(const std::string& path) const {
    return look_at(path, AT_SYMLINK_NOFOLLOW);
}

std::optional<FolderEntry> FolderTree::find_target(const std::string& path) const {
    return look_at(path, 0);
}

FileDescriptor FolderTree::open_leaf(const std::string& path, int flags) const {
    const int parent = parent_of(path, false);
    FileDescriptor file;
    if (parent >= 0) {
        file = open_at(parent, leaf_of(path).c_str(), O_RDONLY | O_NONBLOCK | flags);
        if (!file.is_open() && !is_absent(errno)) {
            if (errno == ELOOP) {
                throw FileError(FileError::Kind::NotAFile, "not a regular file: " + path, ELOOP);
            }
            fail("could not open " + path, errno);
        }
    }
    if (!file.is_open() || !is_spelled_so(leaf_of(path))) {
        throw FileError(FileError::Kind::Missing, "file does not exist: " + path, ENOENT);
    }
    struct stat status {};
    if (fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) {
        throw FileError(FileError::Kind::NotAFile, "not a regular file: " + path, EINVAL);
    }
    return file;
}

FileDescriptor FolderTree::open_file(const std::string& path) const {
    return open_leaf(path, O_NOFOLLOW);
}

FileDescriptor FolderTree::open_target(const std::string& path) const {
    return open_leaf(path, 0);
}

FileDescriptor FolderTree::open_folder(const std::string& path) const {
    return open_path(path, false, path);
}

FileDescriptor FolderTree::make_folder(const std::string& path) const {
    return open_path(path, true, path);
}

FileDescriptor FolderTree::create_file(const std::string& path, mode_t mode) const {
    FileDescriptor file =
        open_at(existing_parent_of(path), leaf_of(path).c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW, mode);
    if (!file.is_open()) {
        fail("could not write " + path, errno);
    }
    parent_names_.reset();
    return file;
}

void FolderTree::rename(const std::string& from, const std::string& to) const {
    const FileDescriptor old_parent = open_path(folder_of(from), false, from);
    const int parent = existing_parent_of(to);
    if (!old_parent.is_open() || renameat(old_parent.get(), leaf_of(from).c_str(), parent, leaf_of(to).c_str()) != 0) {
        fail("could not write " + to, old_parent.is_open() ? errno : ENOENT);
    }
    trace_path("written", to);
    forget_parent();  // A folder that was kept open may have moved.
}

FileStamp FolderTree::install(const std::filesystem::path& temporary, const std::string& path) const {
    const int parent = parent_of(path, true);
    const std::string leaf = leaf_of(path);
    struct stat status {};
    if (renameat(AT_FDCWD, temporary.c_str(), parent, leaf.c_str()) != 0 ||
        fstatat(parent, leaf.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
        fail("could not write " + path, errno);
    }
    trace_path("written", path);
    parent_names_.reset();
    return stamp_of(status);
}

bool FolderTree::link(const std::string& from, const std::string& to) const {
    const FileDescriptor old_parent = open_path(folder_of(from), false, from);
    const int parent = existing_parent_of(to);
    parent_names_.reset();
    return old_parent.is_open() && linkat(old_parent.get(), leaf_of(from).c_str(), parent, leaf_of(to).c_str(), 0) == 0;
}

void FolderTree::remove_file(const std::string& path) const {
    const int parent = parent_of(path, false);
    if (parent >= 0) {
        if (unlinkat(parent, leaf_of(path).c_str(), 0) == 0) {
            trace_path("removed", path);
        } else if (errno != ENOENT) {
            fail("could not remove " + path, errno);
        }
    }
    parent_names_.reset();
}

void FolderTree::remove_if_empty(const std::string& folder) const {
    forget_parent();
    const FileDescriptor parent = open_path(folder_of(folder), false, folder);
    if (parent.is_open()) {
        unlinkat(parent.get(), leaf_of(folder).c_str(), AT_REMOVEDIR);
    }
}

void FolderTree::remove_empty_parents(const std::string& path) const {
    forget_parent();  // It may go, too.
    for (std::string folder = folder_of(path); !folder.empty(); folder = folder_of(folder)) {
        const FileDescriptor parent = open_path(folder_of(folder), false, path);
        if (parent.is_open() && unlinkat(parent.get(), leaf_of(folder).c_str(), AT_REMOVEDIR) != 0) {
            return;  // Something else is in the folder, so it stays.
        }
    }
}

void FolderTree::remove_empty_folder(const std::string& path) const {
    const int parent = parent_of(path, false);
    if (parent >= 0 && !remove_folders(parent, leaf_of(path), path)) {
        fail("could not remove the folder " + path, errno);
    }
    parent_names_.reset();
}

void FolderTree::remove_all(const std::string& path) const {
    forget_parent();
    const FileDescriptor parent = open_path(folder_of(path), false, path);
    if (parent.is_open()) {
        trace_path("removed", path);
        remove_with_contents(parent.get(), leaf_of(path), path);
    }
}

void FolderTree::sync_folder(const std::string& folder) const {
    const FileDescriptor descriptor = open_folder(folder);
    // EINVAL: the file system has no such thing, and keeps names in its own way.
    if (descriptor.is_open() && !sync_to_disk(descriptor.get()) && errno != EINVAL) {
        fail("could not write " + (folder.empty() ? root_path_.string() : folder), errno);
    }
}

void FolderTree::walk(const std::string& folder, const WalkRules& rules,
                      const std::function<void(const std::string&, const FolderEntry&)>& visit) const {
    const FileDescriptor descriptor = open_folder(folder);
    if (descriptor.is_open()) {
        walk_folder(descriptor.get(), folder, rules, visit);
    }
}

void FolderTree::walk_folder(int folder, const std::string& prefix, const WalkRules& rules,
                             const std::function<void(const std::string&, const FolderEntry&)>& visit) const {
    std::vector<std::string> folders;
    for (Name& name : sorted_names(folder, prefix.empty() ? root_path_.string() : prefix)) {
        const std::string path = joined(prefix, name.text);
        if (rules.leaves_out && rules.leaves_out(path)) {
            continue;
        }
        const std::optional<FolderEntry> entry = entry_named(folder, name, path, rules.stamps);
        if (entry && entry->is_folder()) {
            folders.push_back(std::move(name.text));
        } else if (entry) {
            visit(path, *entry);
        }
    }
    struct stat status {};
    for (const std::string& name : folders) {
        const std::string path = joined(prefix, name);
        const FileDescriptor next = open_at(folder, name.c_str(), folder_flags);
        if (!next.is_open()) {
            if (errno != ENOENT && !(rules.skips_denied && errno == EACCES)) {
                fail("could not open directory " + path, errno);
            }
            continue;
        }
        if (rules.border.empty() || fstatat(next.get(), rules.border.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
            walk_folder(next.get(), path, rules, visit);
        }
    }
}

std::vector<std::string> FolderTree::names_in(const std::string& folder) const {
    std::vector<std::string> names;
    const FileDescriptor descriptor = open_folder(folder);
    if (descriptor.is_open()) {
        for (Name& name : sorted_names(descriptor.get(), folder)) {
            names.push_back(std::move(name.text));
        }
    }
    return names;
}

}  // namespace quill
