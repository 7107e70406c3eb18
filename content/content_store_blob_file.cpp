#include "content/content_store_blob_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <fstream>
#include <functional>
#include <new>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <utility>

#include "files/file_descriptor.h"
#include "files/platform.h"

namespace quill {
namespace {

using std::filesystem::path;

path next_temporary_path(const path& blob) {
    static std::atomic<std::uint64_t> counter = 1;
    const std::size_t thread = std::hash<std::thread::id>{}(std::this_thread::get_id());
    const std::uint64_t number = counter.fetch_add(1, std::memory_order_relaxed);
    return blob.string() + ".tmp." + std::to_string(thread) + "." + std::to_string(number);
}

// The name holds a thread and a count, which two processes may have alike. So the file must be new: if both wrote to
// one, the first to finish would install what the other is still writing.
std::pair<path, int> open_temporary_file(const path& blob) {
    for (;;) {
        path temporary = next_temporary_path(blob);
        const int file = open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (file >= 0) {
            return {std::move(temporary), file};
        }
        // Another process may have a file of this name now, or have renamed it away this moment: the next name is
        // tried. Only what is no file is in the way for good.
        std::error_code ignored;
        const bool interrupted = errno == EINTR;
        const bool taken = errno == EEXIST;
        const std::filesystem::file_status standing = std::filesystem::symlink_status(temporary, ignored);
        const bool in_the_way = std::filesystem::exists(standing) && !std::filesystem::is_regular_file(standing);
        if (!interrupted && (!taken || in_the_way)) {
            throw std::runtime_error("could not write content blob: " + temporary.string());
        }
    }
}

// The next `length` bytes; nothing when there are fewer, or when the memory does not suffice for them.
std::optional<std::vector<std::byte>> read_exactly(std::istream& in, std::uint64_t length) try {
    std::vector<std::byte> bytes(length);
    in.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(length));
    return in ? std::optional(std::move(bytes)) : std::nullopt;
} catch (const std::bad_alloc&) {
    return std::nullopt;
} catch (const std::length_error&) {
    return std::nullopt;
}

}  // namespace

void write_binary_file_atomically(const std::filesystem::path& path, std::span<const std::byte> bytes) {
    std::error_code error;
    std::filesystem::create_directories(path.parent_path(), error);
    if (error) {
        throw std::runtime_error("could not create content store directory: " + error.message());
    }
    const auto [temporary, file] = open_temporary_file(path);
    const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    const bool written = write_fully(file, text) && sync_to_disk(file);
    const bool closed = close(file) == 0;
    if (!written || !closed) {
        std::filesystem::remove(temporary, error);
        throw std::runtime_error("could not finish content blob: " + temporary.string());
    }
    install_content_blob(temporary, path);
}

void install_content_blob(const std::filesystem::path& temporary, const std::filesystem::path& path) {
    std::error_code error;
    std::filesystem::rename(temporary, path, error);
    if (!error) {
        return;
    }
    const bool installed_by_another = blob_file_exists(path);
    std::error_code ignored;
    std::filesystem::remove(temporary, ignored);
    if (!installed_by_another) {
        throw std::runtime_error("could not install content blob: " + error.message());
    }
}

bool blob_file_exists(const std::filesystem::path& path) {
    std::error_code ignored;
    return std::filesystem::is_regular_file(path, ignored);
}

std::optional<std::uint64_t> blob_file_size(const std::filesystem::path& path) {
    std::error_code error;
    const std::uintmax_t size = std::filesystem::file_size(path, error);
    return error ? std::nullopt : std::optional<std::uint64_t>(size);
}

std::optional<std::vector<std::byte>> read_blob_file(const std::filesystem::path& path) {
    // Only a file is opened: a folder would open, too, and report an absurd size, and a pipe would block.
    if (!blob_file_exists(path)) {
        return std::nullopt;
    }
    std::ifstream in(path, std::ios::binary | std::ios::ate);
    const std::streamoff end = in ? static_cast<std::streamoff>(in.tellg()) : -1;
    if (end < 0) {
        return std::nullopt;
    }
    in.seekg(0);
    return read_exactly(in, static_cast<std::uint64_t>(end));
}

std::optional<std::vector<std::byte>> read_blob_file_range(const std::filesystem::path& path, std::uint64_t offset,
                                                           std::uint64_t length) {
    const std::optional<std::uint64_t> size = blob_file_size(path);
    if (!size || offset > *size || length > *size - offset) {
        return std::nullopt;
    }
    if (length == 0) {
        return std::vector<std::byte>();
    }
    std::ifstream in(path, std::ios::binary);
    if (!in || !std::in_range<std::streamoff>(offset)) {
        return std::nullopt;
    }
    in.seekg(static_cast<std::streamoff>(offset));
    return read_exactly(in, length);
}

}  // namespace quill
