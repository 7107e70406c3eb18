#include "content/blob_content_store_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <fstream>
#include <functional>
#include <limits>
#include <stdexcept>
#include <string>
#include <thread>

namespace quill {
namespace {

std::filesystem::path temporary_path(const std::filesystem::path& path) {
    static std::atomic<std::uint64_t> sequence{1};
    return path.string() + ".tmp." + std::to_string(std::hash<std::thread::id>{}(std::this_thread::get_id())) + "." +
           std::to_string(sequence.fetch_add(1, std::memory_order_relaxed));
}

bool write_and_close(int file, std::span<const std::byte> bytes) {
    while (!bytes.empty()) {
        const ssize_t written = write(file, bytes.data(), bytes.size());
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            close(file);
            return false;
        }
        bytes = bytes.subspan(static_cast<std::size_t>(written));
    }
    const bool synced = fsync(file) == 0;
    return close(file) == 0 && synced;
}

}  // namespace

void write_binary_file_atomically(const std::filesystem::path& path, std::span<const std::byte> bytes) {
    std::error_code error;
    std::error_code ignored;
    std::filesystem::create_directories(path.parent_path(), error);
    if (error) {
        throw std::runtime_error("could not create content store directory: " + error.message());
    }
    const std::filesystem::path temporary = temporary_path(path);
    const int file = open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (file < 0) {
        throw std::runtime_error("could not write content blob: " + temporary.string());
    }
    if (!write_and_close(file, bytes)) {
        std::filesystem::remove(temporary, ignored);
        throw std::runtime_error("could not finish content blob: " + temporary.string());
    }
    std::filesystem::rename(temporary, path, error);
    if (!error) {
        return;
    }
    std::filesystem::remove(temporary, ignored);
    if (!std::filesystem::is_regular_file(path, ignored)) {
        throw std::runtime_error("could not install content blob: " + error.message());
    }
}

std::optional<std::vector<std::byte>> read_blob_file(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary | std::ios::ate);
    const std::streamoff end = in ? static_cast<std::streamoff>(in.tellg()) : -1;
    if (end < 0 || end == std::numeric_limits<std::streamoff>::max()) {
        return std::nullopt;
    }
    std::vector<std::byte> bytes(static_cast<std::size_t>(end));
    in.seekg(0);
    if (!in.read(reinterpret_cast<char*>(bytes.data()), end)) {
        return std::nullopt;
    }
    return bytes;
}

std::optional<std::uint64_t> blob_file_size(const std::filesystem::path& path) {
    std::error_code error;
    const std::uintmax_t size = std::filesystem::file_size(path, error);
    return error ? std::nullopt : std::optional<std::uint64_t>(size);
}

std::optional<std::vector<std::byte>> read_blob_file_range(const std::filesystem::path& path, std::uint64_t offset,
                                                           std::uint64_t length) {
    const std::optional<std::uint64_t> size = blob_file_size(path);
    if (!size || offset > *size || length > *size - offset) {
        return std::nullopt;
    }
    std::vector<std::byte> bytes(static_cast<std::size_t>(length));
    if (length == 0) {
        return bytes;
    }
    std::ifstream in(path, std::ios::binary);
    if (!in || offset > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) {
        return std::nullopt;
    }
    in.seekg(static_cast<std::streamoff>(offset));
    if (!in.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(length))) {
        return std::nullopt;
    }
    return bytes;
}

}  // namespace quill
