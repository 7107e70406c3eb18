#include "tome/base/file_io.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <random>

#include "files/platform.h"
#include "tome/base/error.h"

namespace tome {

FileDescriptor open_directory(const std::filesystem::path& path, bool no_follow) {
    FileDescriptor result =
        quill::open_at(AT_FDCWD, path.c_str(), O_RDONLY | O_DIRECTORY | (no_follow ? O_NOFOLLOW : 0));
    if (!result.is_open()) {
        throw system_error("could not open directory " + path.string(), errno);
    }
    return result;
}

FileDescriptor open_file_at(int directory, const std::string& relative, const std::string& name) {
    FileDescriptor result = quill::open_at(directory, relative.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK);
    if (!result.is_open()) {
        if (errno == ENOENT || errno == ENOTDIR) {
            return result;
        }
        if (errno == ELOOP) {
            throw Error(ErrorCode::Io, "not a regular file: " + name);
        }
        throw system_error("could not open " + name, errno);
    }
    struct stat status {};
    if (fstat(result.get(), &status) != 0 || !S_ISREG(status.st_mode)) {
        throw Error(ErrorCode::Io, "not a regular file: " + name);
    }
    return result;
}

FileDescriptor create_file_at(int directory, const std::string& relative, const std::string& name) {
    FileDescriptor result = quill::open_at(directory, relative.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW);
    if (!result.is_open()) {
        throw system_error("could not write " + name, errno);
    }
    return result;
}

void write_all(int descriptor, std::string_view bytes, const std::string& name) {
    if (!quill::write_fully(descriptor, bytes)) {
        throw system_error("could not write " + name, errno);
    }
}

void read_blocks(int descriptor, const std::string& name, const std::function<void(std::string_view)>& consume) {
    const auto block = std::make_unique_for_overwrite<char[]>(block_bytes);
    for (;;) {
        const ssize_t count = quill::repeat_interrupted([&] { return read(descriptor, block.get(), block_bytes); });
        if (count < 0) {
            throw system_error("could not read " + name, errno);
        }
        if (count == 0) {
            return;
        }
        consume({block.get(), static_cast<std::size_t>(count)});
    }
}

std::string read_whole(int descriptor, const std::string& name, std::uint64_t limit) {
    std::string bytes;
    char block[1U << 14U];
    for (;;) {
        const ssize_t count = quill::repeat_interrupted([&] { return read(descriptor, block, sizeof block); });
        if (count < 0) {
            throw system_error("could not read " + name, errno);
        }
        if (count == 0) {
            return bytes;
        }
        bytes.append(block, static_cast<std::size_t>(count));
        if (bytes.size() > limit) {
            throw Error(ErrorCode::Io, "file is larger than expected: " + name);
        }
    }
}

void sync_descriptor(int descriptor, const std::string& name) {
    if (!quill::sync_to_disk(descriptor)) {
        throw system_error("could not write " + name, errno);
    }
}

void sync_directory(const std::filesystem::path& path) {
    const FileDescriptor directory = open_directory(path);
    sync_descriptor(directory.get(), path.string());
}

void write_file_durably(const std::filesystem::path& path, std::string_view bytes) {
    const std::filesystem::path temporary = path.string() + ".tmp-" + random_text();
    try {
        const FileDescriptor file = create_file_at(AT_FDCWD, temporary.string(), path.string());
        write_all(file.get(), bytes, path.string());
        sync_descriptor(file.get(), path.string());
        if (rename(temporary.c_str(), path.c_str()) != 0) {
            throw system_error("could not write " + path.string(), errno);
        }
    } catch (...) {
        unlink(temporary.c_str());
        throw;
    }
    sync_directory(path.parent_path());
}

std::string random_text() {
    static constexpr char digits[] = "0123456789abcdef";
    std::random_device source;
    std::string text;
    for (int word = 0; word < 2; ++word) {
        const auto value = source();
        for (unsigned shift = 0; shift < 32; shift += 4) {
            text += digits[(value >> shift) & 15U];
        }
    }
    return text;
}

}  // namespace tome
