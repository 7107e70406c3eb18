// Blobs as plain files, for every store that keeps some on disk: written whole or not at all, read whole or in part.
// Safe for any number of threads and processes on the same files; nothing is locked.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <vector>

namespace quill {

/// Writes `bytes` to a temporary file beside `path`, syncs it and renames it into place; makes missing folders.
/// Throws std::runtime_error, leaving no temporary file behind:
/// "could not create content store directory: " + system message,
/// "could not write content blob: " + temporary path (it cannot be opened),
/// "could not finish content blob: " + temporary path (the bytes cannot all be written),
/// and what `install_content_blob` throws.
void write_binary_file_atomically(const std::filesystem::path& path, std::span<const std::byte> bytes);

/// Renames `temporary` to `path`. When that fails, removes `temporary`, and throws std::runtime_error
/// "could not install content blob: " + system message unless `path` is a regular file: then another writer has
/// installed the same blob first.
void install_content_blob(const std::filesystem::path& temporary, const std::filesystem::path& path);

/// Whether `path` is a regular file.
bool blob_file_exists(const std::filesystem::path& path);

/// The file's size in bytes; nothing when it is missing or has none.
std::optional<std::uint64_t> blob_file_size(const std::filesystem::path& path);

/// The whole file; nothing when it is not a regular file or cannot be read.
std::optional<std::vector<std::byte>> read_blob_file(const std::filesystem::path& path);

/// `length` bytes from `offset` on; nothing when the file does not hold all of them or cannot be read.
std::optional<std::vector<std::byte>> read_blob_file_range(const std::filesystem::path& path, std::uint64_t offset,
                                                           std::uint64_t length);

}  // namespace quill
