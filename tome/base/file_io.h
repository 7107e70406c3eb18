// Files by descriptor: whole reads and writes, synced replacement. All functions throw Error(Io) with the path they
// were given.
#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <utility>

#include "files/file_descriptor.h"

namespace tome {

using quill::FileDescriptor;

inline constexpr std::size_t block_bytes = 1U << 20U;

/// Opens a directory; with `no_follow` a symbolic link in its place is an error.
FileDescriptor open_directory(const std::filesystem::path& path, bool no_follow = false);

/// Opens a regular file below `directory` (or AT_FDCWD) for reading, never following a link, never waiting on a FIFO.
/// Not open when it does not exist. `name` is used in errors.
FileDescriptor open_file_at(int directory, const std::string& relative, const std::string& name);

/// Makes a new file that nobody else can have open.
FileDescriptor create_file_at(int directory, const std::string& relative, const std::string& name);

void write_all(int descriptor, std::string_view bytes, const std::string& name);

/// Hands the file's bytes from the current position on to `consume`, in blocks of at most `block_bytes`.
void read_blocks(int descriptor, const std::string& name, const std::function<void(std::string_view)>& consume);

/// The whole of a small file; throws when it is longer than `limit`.
std::string read_whole(int descriptor, const std::string& name, std::uint64_t limit);

/// Writes the file's bytes, or the directory's entries, to the disk, so that they survive a power cut.
void sync_descriptor(int descriptor, const std::string& name);
void sync_directory(const std::filesystem::path& path);

/// Replaces `path` by `bytes` through a synced temporary file beside it.
void write_file_durably(const std::filesystem::path& path, std::string_view bytes);

/// 16 random lower-case hexadecimal digits, for names that must be unique.
std::string random_text();

}  // namespace tome
