// Comparing and copying files of any size in blocks, never whole in memory. Any thread. Failures are FileError.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

#include "files/folder_tree.h"

namespace quill {

/// Whether both files, read from where they stand, hold the same bytes.
bool equal_file_bytes(const FileDescriptor& a, const FileDescriptor& b);

/// Whether a regular file with the bytes of `from` stands at `path`. `from` is read from its beginning.
bool holds_bytes_of(const FileDescriptor& from, const FolderTree& tree, const std::string& path);

/// Whether a copy waits until its bytes are on the disk. Scratch copies, which a power cut may take, need not.
enum class Durability { Synced, Scratch };

/// The mode for a copy of `from` that replaces `existing`. The permissions stay those of the replaced file; a new file
/// gets those of `from`. If `from` is executable, everyone who may read may execute.
mode_t mode_of_copy(const FileDescriptor& from, const std::optional<FolderEntry>& existing);

/// Makes `path`, in a folder of `tree` that is there, a copy of the file `from`. What stood there is removed first. On
/// failure nothing is left there.
void copy_file(const FileDescriptor& from, const FolderTree& tree, const std::string& path, mode_t mode,
               Durability durability);

/// Replaces the file at `path` by a synced copy of `from` through a temporary file beside it (its name begins with a
/// dot), so that readers see the old bytes or the new. A file that holds the same bytes already is left, but for its
/// executable bit. On failure the old file stands.
void replace_file_by_copy(const FileDescriptor& from, const FolderTree& tree, const std::string& path);

/// Gives the file at `path` the executable bit of `from`, to survive a power cut.
void match_executable_bit(const FileDescriptor& from, const FolderTree& tree, const std::string& path);

/// Files or folders are synced by themselves up to this many; beyond, one sync of their volume is cheaper.
inline constexpr std::size_t max_single_syncs = 64;

/// Makes the names of the files at `paths`, whether added or removed, survive a power cut: syncs each folder on the way
/// once, or the whole volume if these are many. A folder that does not exist any more is left out.
void sync_folders(const FolderTree& tree, const std::vector<std::string>& paths);

/// Makes everything that was written to the volume of `tree` survive a power cut.
void sync_volume(const FolderTree& tree);

}  // namespace quill
