#include "files/file_descriptor.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>

namespace quill {
namespace {

// The most that one write takes on every system.
constexpr std::size_t write_limit = std::size_t{1} << 30U;

}  // namespace

void FileDescriptor::reset() {
    const int number = errno;
    close();
    errno = number;
}

bool FileDescriptor::close() {
    return descriptor_ < 0 || ::close(std::exchange(descriptor_, -1)) == 0;
}

FileDescriptor open_at(int directory, const char* path, int flags, mode_t mode) {
    return FileDescriptor(repeat_interrupted([&] { return openat(directory, path, flags | O_CLOEXEC, mode); }));
}

bool lock_descriptor(int descriptor, int operation) {
    return repeat_interrupted([&] { return flock(descriptor, operation); }) == 0;
}

bool write_fully(int descriptor, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t written =
            repeat_interrupted([&] { return write(descriptor, bytes.data(), std::min(bytes.size(), write_limit)); });
        if (written <= 0) {
            return false;
        }
        bytes.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

ssize_t read_fully(int descriptor, char* bytes, std::size_t size) {
    std::size_t filled = 0;
    while (filled < size) {
        const ssize_t count = repeat_interrupted([&] { return read(descriptor, bytes + filled, size - filled); });
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

}  // namespace quill
