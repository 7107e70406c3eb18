#include "identity/file_bytes.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <memory>
#include <set>
#include <utility>

#include "files/platform.h"

namespace quill {
namespace {

constexpr std::size_t comparison_block = 65'536;
constexpr std::size_t copy_block = 1U << 20U;

class Descriptor {
  public:
    explicit Descriptor(int descriptor) : descriptor_(descriptor) {}
    ~Descriptor() {
        if (descriptor_ >= 0) {
            ::close(descriptor_);
        }
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int get() const { return descriptor_; }
    bool is_open() const { return descriptor_ >= 0; }
    bool close() { return ::close(std::exchange(descriptor_, -1)) == 0; }

  private:
    int descriptor_;
};

// Not filled with zeros first: that would cost more than a small file's bytes.
class Block {
  public:
    explicit Block(std::size_t size) : size_(size), bytes_(std::make_unique_for_overwrite<char[]>(size)) {}

    /// As many bytes as the file still has, up to the block's size; -1 on failure.
    ssize_t fill(int file) {
        std::size_t filled = 0;
        while (filled < size_) {
            const ssize_t count = read(file, bytes_.get() + filled, size_ - filled);
            if (count < 0 && errno == EINTR) {
                continue;
            }
            if (count < 0) {
                return -1;
            }
            if (count == 0) {
                break;
            }
            filled += static_cast<std::size_t>(count);
        }
        return static_cast<ssize_t>(filled);
    }
    const char* data() const { return bytes_.get(); }

  private:
    std::size_t size_;
    std::unique_ptr<char[]> bytes_;
};

bool write_block(int file, const char* data, std::size_t size) {
    while (size > 0) {
        const ssize_t written = write(file, data, size);
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            return false;
        }
        data += written;
        size -= static_cast<std::size_t>(written);
    }
    return true;
}

bool copy_bytes(int from, int to) {
    if (clone_file(from, to)) {
        return true;
    }
    Block block(copy_block);
    for (;;) {
        const ssize_t count = block.fill(from);
        if (count <= 0) {
            return count == 0;
        }
        if (!write_block(to, block.data(), static_cast<std::size_t>(count))) {
            return false;
        }
    }
}

}  // namespace

bool equal_file_bytes(const std::filesystem::path& a, const std::filesystem::path& b) {
    const Descriptor first(open(a.c_str(), O_RDONLY | O_CLOEXEC));
    const Descriptor second(open(b.c_str(), O_RDONLY | O_CLOEXEC));
    if (!first.is_open() || !second.is_open()) {
        return false;
    }
    Block first_block(comparison_block);
    Block second_block(comparison_block);
    for (;;) {
        const ssize_t count = first_block.fill(first.get());
        if (count < 0 || second_block.fill(second.get()) != count ||
            std::memcmp(first_block.data(), second_block.data(), static_cast<std::size_t>(count)) != 0) {
            return false;
        }
        if (static_cast<std::size_t>(count) < comparison_block) {
            return true;
        }
    }
}

void copy_file(const std::filesystem::path& from, const std::filesystem::path& to, Durability durability,
               std::error_code& error) {
    error.clear();
    const auto fail = [&] { error = std::error_code(errno, std::generic_category()); };
    const Descriptor source(open(from.c_str(), O_RDONLY | O_CLOEXEC));
    struct stat status {};
    if (!source.is_open() || fstat(source.get(), &status) != 0) {
        return fail();
    }
    unlink(to.c_str());
    const mode_t mode = (status.st_mode & S_IXUSR) != 0 ? 0777 : 0666;
    Descriptor target(open(to.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode));
    if (!target.is_open()) {
        return fail();
    }
    const bool copied =
        copy_bytes(source.get(), target.get()) && (durability == Durability::Scratch || fsync(target.get()) == 0);
    if (!copied) {
        fail();
    }
    if (!target.close() && !error) {
        fail();
    }
    if (error) {
        unlink(to.c_str());
    }
}

void replace_file_by_copy(const std::filesystem::path& from, const std::filesystem::path& to, std::error_code& error) {
    static std::atomic<unsigned> counter{0};
    // Without the file's name, which may be as long as names may be.
    const std::filesystem::path temporary =
        to.parent_path() / (".quill-" + std::to_string(getpid()) + "-" + std::to_string(counter.fetch_add(1)));
    copy_file(from, temporary, Durability::Synced, error);
    if (error) {
        return;
    }
    std::filesystem::rename(temporary, to, error);
    if (error) {
        unlink(temporary.c_str());
    }
}

void sync_folders(const std::filesystem::path& root, const std::vector<std::filesystem::path>& paths) {
    std::set<std::filesystem::path> folders;
    for (std::filesystem::path path : paths) {
        do {
            path = path.parent_path();
        } while (folders.insert(path).second && !path.empty());
    }
    for (const std::filesystem::path& folder : folders) {
        const Descriptor descriptor(open((root / folder).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        if (descriptor.is_open()) {
            fsync(descriptor.get());
        }
    }
}

bool passes_symbolic_link(const std::filesystem::path& root, const std::filesystem::path& relative) {
    std::filesystem::path folder = root;
    for (const std::filesystem::path& component : relative.parent_path()) {
        folder /= component;
        std::error_code ignored;
        if (std::filesystem::is_symlink(std::filesystem::symlink_status(folder, ignored))) {
            return true;
        }
    }
    return false;
}

}  // namespace quill
