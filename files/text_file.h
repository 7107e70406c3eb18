// Small text files: read, write, replace. Every writer of the record files and manifests goes through here.
// Whoever reads, changes and writes a file holds a lock of its own.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace quill {

/// The whole file as bytes. Throws std::runtime_error "Could not open " + path.
std::string read_text_file(const std::filesystem::path& path);

/// Creates or truncates the file and writes `text` as it stands; errors after opening are not noticed, so the file may
/// end up cut off. Throws std::runtime_error "Could not write " + path when it cannot be opened.
void write_text_file(const std::filesystem::path& path, std::string_view text);

/// Replaces the file by `text` through path + ".tmp": readers see the old bytes or the new, never a mixture, and after
/// a power cut the file is one of the two. Writers of one file, in any process, wait for each other; the last one wins.
/// Throws std::runtime_error "Could not write " + temporary path, also when the disk fills up on the way, or "Could not
/// replace " + path; the old file then stands as it was, without the temporary.
void write_text_file_atomically(const std::filesystem::path& path, std::string_view text);

}  // namespace quill
