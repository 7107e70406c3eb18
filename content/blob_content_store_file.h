// Blobs as plain files, the way every content store that keeps files does it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <vector>

namespace quill {

/// Installs `bytes` at `path` by a rename, making folders; another writer that installed the blob first is fine. Any
/// number of threads may write one path. Throws std::runtime_error "could not create content store directory: ",
/// "could not write content blob: ", "could not finish content blob: ", "could not install content blob: ".
void write_binary_file_atomically(const std::filesystem::path& path, std::span<const std::byte> bytes);

/// The whole file, or nothing.
std::optional<std::vector<std::byte>> read_blob_file(const std::filesystem::path& path);

/// The file's size in bytes, or nothing.
std::optional<std::uint64_t> blob_file_size(const std::filesystem::path& path);

/// Exactly `length` bytes from `offset` on, or nothing when the file ends before.
std::optional<std::vector<std::byte>> read_blob_file_range(const std::filesystem::path& path, std::uint64_t offset,
                                                           std::uint64_t length);

}  // namespace quill
