#include "files/text_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <system_error>

#include "files/file_descriptor.h"
#include "files/platform.h"
#include "files/trace.h"

namespace quill {
namespace {

// A rename survives a power cut once its folder is synced. A file system that cannot do that (EINVAL) may lose the
// rename; the file is then the old one, whole.
bool sync_folder(const std::filesystem::path& folder) {
    const FileDescriptor descriptor = open_at(AT_FDCWD, folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY);
    return descriptor.is_open() && (sync_to_disk(descriptor.get()) || errno == EINVAL);
}

bool is_at(const std::filesystem::path& path, const FileDescriptor& file) {
    struct stat there {};
    struct stat own {};
    return fstat(file.get(), &own) == 0 && lstat(path.c_str(), &there) == 0 && own.st_ino == there.st_ino &&
           own.st_dev == there.st_dev;
}

// Makes room for a new temporary. Waits for the writer of the one that is there, who holds a lock on it, and removes
// what a killed writer left, or a link. False when something else stands there.
bool clear_temporary(const std::filesystem::path& path) {
    const FileDescriptor file = open_at(AT_FDCWD, path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK);
    if (!file.is_open()) {
        return errno == ENOENT || (errno == ELOOP && unlink(path.c_str()) == 0);
    }
    const TraceStep step("lock", path.native());
    lock_descriptor(file.get(), LOCK_EX);
    return !is_at(path, file) || unlink(path.c_str()) == 0;
}

// Makes a temporary for this writer alone, locked until it is closed. The result is not open when none can be made.
FileDescriptor make_temporary(const std::filesystem::path& path) {
    for (;;) {
        FileDescriptor file = open_at(AT_FDCWD, path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW);
        if (!file.is_open()) {
            if (errno != EEXIST || !clear_temporary(path)) {
                return file;
            }
            continue;
        }
        const bool taken = !lock_descriptor(file.get(), LOCK_EX | LOCK_NB) && errno == EWOULDBLOCK;
        if (!taken && is_at(path, file)) {
            return file;
        }
        // Before the file was locked, another writer took it for one left behind.
    }
}

}  // namespace

std::string read_text_file(const std::filesystem::path& path) {
    std::error_code ignored;
    if (!std::filesystem::is_regular_file(path, ignored)) {  // Opening a named pipe would wait for its writer.
        throw std::runtime_error("Could not open " + path.string());
    }
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        throw std::runtime_error("Could not open " + path.string());
    }
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void write_text_file(const std::filesystem::path& path, std::string_view text) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    if (!out) {
        throw std::runtime_error("Could not write " + path.string());
    }
    out.write(text.data(), static_cast<std::streamsize>(text.size()));
}

void write_text_file_atomically(const std::filesystem::path& path, std::string_view text) {
    TraceStep step("written", path.native());
    const std::filesystem::path temporary = path.parent_path() / (path.filename().string() + ".tmp");
    FileDescriptor file = make_temporary(temporary);
    if (!file.is_open()) {
        step.fail(errno);
        throw std::runtime_error("Could not write " + temporary.string());
    }
    const bool written = write_fully(file.get(), text) && sync_to_disk(file.get());
    const bool renamed = written && rename(temporary.c_str(), path.c_str()) == 0;
    if (!renamed) {
        step.fail(errno);
        unlink(temporary.c_str());
    }
    file.reset();  // Ends the lock.
    if (!renamed) {
        throw std::runtime_error(written ? "Could not replace " + path.string()
                                         : "Could not write " + temporary.string());
    }
    if (!sync_folder(path.parent_path())) {
        step.fail(errno);
        throw std::runtime_error("Could not replace " + path.string());
    }
}

}  // namespace quill
