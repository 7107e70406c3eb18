// Comparing and copying files of any size in blocks, never whole in memory. Any thread.
#pragma once

#include <filesystem>
#include <system_error>
#include <vector>

namespace quill {

/// Whether both files can be read and hold the same bytes.
bool equal_file_bytes(const std::filesystem::path& a, const std::filesystem::path& b);

/// Whether a copy waits until its bytes are on the disk. Scratch copies, which a power cut may take, need not.
enum class Durability { Synced, Scratch };

/// Makes `to` a copy of the file `from`, its executable bit included. An existing `to` is replaced. On failure `error`
/// is set and no half-written `to` is left.
void copy_file(const std::filesystem::path& from, const std::filesystem::path& to, Durability durability,
               std::error_code& error);

/// Replaces `to` by a synced copy of `from` through a temporary file beside it (its name begins with a dot), so that
/// readers see the old bytes or the new. On failure `error` is set and the old file stands.
void replace_file_by_copy(const std::filesystem::path& from, const std::filesystem::path& to, std::error_code& error);

/// Makes the names of the files at `paths` below `root`, there or removed, survive a power cut; each folder on the way
/// is synced once. A folder that does not exist any more is passed over, as is one that cannot be synced.
void sync_folders(const std::filesystem::path& root, const std::vector<std::filesystem::path>& paths);

/// Whether a parent folder of `relative` below `root` is a symbolic link, through which a write would leave `root`.
bool passes_symbolic_link(const std::filesystem::path& root, const std::filesystem::path& relative);

}  // namespace quill
