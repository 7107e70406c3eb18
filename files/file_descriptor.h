// A file descriptor that closes itself, and calls that are repeated when a signal interrupts them or they do only a
// part.
#pragma once

#include <sys/types.h>

#include <cerrno>
#include <cstddef>
#include <string_view>
#include <utility>

namespace quill {

class FileDescriptor {
  public:
    FileDescriptor() = default;
    explicit FileDescriptor(int descriptor) : descriptor_(descriptor) {}
    ~FileDescriptor() { reset(); }
    FileDescriptor(FileDescriptor&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        if (this != &other) {
            reset();
            descriptor_ = std::exchange(other.descriptor_, -1);
        }
        return *this;
    }

    int get() const { return descriptor_; }
    bool is_open() const { return descriptor_ >= 0; }
    /// Closes it; errno stays as it was.
    void reset();
    /// Gives it to somebody else to close.
    int release() { return std::exchange(descriptor_, -1); }
    /// The same; false with errno set when bytes written before could not be kept.
    bool close();

  private:
    int descriptor_ = -1;
};

/// Calls `call`, which gives a negative number and sets errno on failure, until nothing interrupts it.
template <typename Call>
auto repeat_interrupted(Call call) {
    auto result = call();
    while (result < 0 && errno == EINTR) {
        result = call();
    }
    return result;
}

/// openat(2); not open, with errno set, on failure. The descriptor is closed in programs that this one starts.
FileDescriptor open_at(int directory, const char* path, int flags, mode_t mode = 0666);

/// flock(2), which waits unless `operation` says LOCK_NB; false with errno set on failure.
bool lock_descriptor(int descriptor, int operation);

/// Writes all of `bytes`; false with errno set on failure.
bool write_fully(int descriptor, std::string_view bytes);

/// Reads until `size` bytes are there or the file ends; how many there are, or -1 with errno set.
ssize_t read_fully(int descriptor, char* bytes, std::size_t size);

}  // namespace quill
