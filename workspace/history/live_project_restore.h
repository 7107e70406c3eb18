// The last step of a restore: the files that the user works on become those of the restored revision.
#pragma once

#include <cstdint>
#include <filesystem>

#include "workspace/checkout/file_keeper.h"

namespace quill {

/// Checks, before anything is published, that the files of `restored` could be written to the live project. Throws
/// std::runtime_error "could not create restored workspace folder: a symbolic link stands in the way of " + path, or
/// "workspace restore encountered an unsupported project entry: " + path where neither a file nor a folder of the
/// project's own files stands.
void check_live_project(const std::filesystem::path& live, const std::filesystem::path& restored);

/// Makes the visible files of `live` equal to those of `restored`, executable bits included, and verifies them. Returns
/// how many paths were written or removed. What the files held before, uncommitted edits included, `kept` keeps, safe
/// from a power cut before anything is replaced; its set is complete when this is. A link to a file that the restore
/// changes becomes a file of its own.
/// Throws std::runtime_error with the texts of file_tree_comparison.h and of file_keeper.h, or TreeMismatchError
/// "restore verification failed: the live project does not match the selected historical state". Commits and restores
/// of the workspace must be locked out.
std::uint64_t restore_live_project(const std::filesystem::path& live, const std::filesystem::path& restored,
                                   FileKeeper& kept);

}  // namespace quill
