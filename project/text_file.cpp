#include "project/text_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <system_error>

namespace quill {
namespace {

bool write_and_sync(int file, std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = write(file, text.data(), text.size());
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            return false;
        }
        text.remove_prefix(static_cast<std::size_t>(written));
    }
    return fsync(file) == 0;
}

// A rename survives a power cut once its folder does; without support for that the file is old or new all the same.
void sync_folder(const std::filesystem::path& folder) {
    const int descriptor = open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor >= 0) {
        fsync(descriptor);
        close(descriptor);
    }
}

void write_synced_file(const std::filesystem::path& path, std::string_view text) {
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    const bool written = file >= 0 && write_and_sync(file, text);
    const bool closed = file >= 0 && close(file) == 0;
    if (!written || !closed) {
        std::error_code ignored;
        if (file >= 0) {
            std::filesystem::remove(path, ignored);
        }
        throw std::runtime_error("Could not write " + path.string());
    }
}

}  // namespace

std::string read_text_file(const std::filesystem::path& path) {
    std::error_code ignored;
    std::ifstream in(path, std::ios::binary);
    if (!in || std::filesystem::is_directory(path, ignored)) {
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
    const std::filesystem::path temporary = path.parent_path() / (path.filename().string() + ".tmp");
    write_synced_file(temporary, text);
    std::error_code error;
    std::filesystem::rename(temporary, path, error);
    if (error) {
        std::error_code ignored;
        std::filesystem::remove(temporary, ignored);
        throw std::runtime_error("Could not replace " + path.string());
    }
    sync_folder(path.parent_path());
}

}  // namespace quill
