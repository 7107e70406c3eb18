#include "files/file_bytes.h"

#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <memory>
#include <set>
#include <system_error>

#include "files/platform.h"

namespace quill {
namespace {

constexpr std::size_t comparison_block = 65'536;
constexpr std::size_t copy_block = 1U << 20U;
constexpr mode_t permissions = 0777;

[[noreturn]] void fail(const std::string& what) {
    const int number = errno;
    throw FileError(FileError::Kind::System, what + ": " + std::generic_category().message(number), number);
}

// Not filled with zeros first: that would cost more than a small file's bytes.
std::unique_ptr<char[]> block_of(std::size_t size) {
    return std::make_unique_for_overwrite<char[]>(size);
}

std::size_t fill(const FileDescriptor& file, char* block, std::size_t size) {
    const ssize_t count = read_fully(file.get(), block, size);
    if (count < 0) {
        fail("could not read the file");
    }
    return static_cast<std::size_t>(count);
}

struct stat status_of(const FileDescriptor& file) {
    struct stat status {};
    if (fstat(file.get(), &status) != 0) {
        fail("could not inspect the file");
    }
    return status;
}

mode_t with_executable_bit(mode_t mode, bool executable) {
    const mode_t plain = mode & permissions & ~mode_t{0111};
    return executable ? plain | ((plain & 0444) >> 2U) : plain;
}

// A volume that keeps no permissions refuses with one of these errors. That is no failure.
bool set_mode(const FileDescriptor& file, mode_t mode) {
    return fchmod(file.get(), mode) == 0 || errno == EPERM || errno == ENOTSUP;
}

void copy_bytes(const FileDescriptor& from, const FileDescriptor& to, const std::string& name) {
    if (clone_file(from.get(), to.get())) {
        return;
    }
    const auto block = block_of(copy_block);
    while (const std::size_t count = fill(from, block.get(), copy_block)) {
        if (!write_fully(to.get(), {block.get(), count})) {
            fail("could not write " + name);
        }
    }
}

}  // namespace

bool equal_file_bytes(const FileDescriptor& a, const FileDescriptor& b) {
    const auto first = block_of(comparison_block);
    const auto second = block_of(comparison_block);
    for (;;) {
        const std::size_t count = fill(a, first.get(), comparison_block);
        if (fill(b, second.get(), comparison_block) != count || std::memcmp(first.get(), second.get(), count) != 0) {
            return false;
        }
        if (count < comparison_block) {
            return true;
        }
    }
}

bool holds_bytes_of(const FileDescriptor& from, const FolderTree& tree, const std::string& path) {
    const std::optional<FolderEntry> existing = tree.find(path);
    const bool same = existing && existing->is_file() &&
                      existing->stamp.size == static_cast<std::uint64_t>(status_of(from).st_size) &&
                      equal_file_bytes(from, tree.open_file(path));
    if (lseek(from.get(), 0, SEEK_SET) != 0) {
        fail("could not read the file");
    }
    return same;
}

mode_t mode_of_copy(const FileDescriptor& from, const std::optional<FolderEntry>& existing) {
    const mode_t source = status_of(from).st_mode;
    return with_executable_bit(existing && existing->is_file() ? existing->mode : source, (source & S_IXUSR) != 0);
}

void copy_file(const FileDescriptor& from, const FolderTree& tree, const std::string& path, mode_t mode,
               Durability durability) {
    tree.remove_file(path);
    FileDescriptor to = tree.create_file(path, S_IRUSR | S_IWUSR);
    try {
        copy_bytes(from, to, path);
        if (!set_mode(to, mode) || (durability == Durability::Synced && !sync_to_disk(to.get())) || !to.close()) {
            fail("could not write " + path);
        }
    } catch (const FileError&) {
        tree.remove_file(path);
        throw;
    }
}

void replace_file_by_copy(const FileDescriptor& from, const FolderTree& tree, const std::string& path) {
    static std::atomic<unsigned> counter{0};
    if (holds_bytes_of(from, tree, path)) {
        return match_executable_bit(from, tree, path);
    }
    // The name does not begin with the file's own, which may be as long as a name can be.
    const std::string temporary = path.substr(0, path.rfind('/') + 1) + ".quill-" + std::to_string(getpid()) + "-" +
                                  std::to_string(counter.fetch_add(1));
    copy_file(from, tree, temporary, mode_of_copy(from, tree.find(path)), Durability::Synced);
    try {
        tree.rename(temporary, path);
    } catch (const FileError&) {
        tree.remove_file(temporary);
        throw;
    }
}

void match_executable_bit(const FileDescriptor& from, const FolderTree& tree, const std::string& path) {
    const FileDescriptor existing = tree.open_file(path);
    const mode_t mode = status_of(existing).st_mode & permissions;
    const bool executable = (status_of(from).st_mode & S_IXUSR) != 0;
    if (executable == ((mode & S_IXUSR) != 0)) {
        return;
    }
    if (!set_mode(existing, with_executable_bit(mode, executable)) || !sync_to_disk(existing.get())) {
        fail("could not write " + path);
    }
}

void sync_folders(const FolderTree& tree, const std::vector<std::string>& paths) {
    std::set<std::string> folders;
    for (const std::string& path : paths) {
        std::string folder = folder_of(path);
        while (folders.insert(folder).second && !folder.empty()) {
            folder = folder_of(folder);
        }
    }
    if (folders.size() > max_single_syncs) {
        return sync_volume(tree);
    }
    for (const std::string& folder : folders) {
        tree.sync_folder(folder);
    }
}

void sync_volume(const FolderTree& tree) {
    if (!sync_file_system(tree.open_folder("").get())) {
        fail("could not write to " + tree.root().string());
    }
}

}  // namespace quill
