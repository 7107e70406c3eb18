// The last step of a restore: the files that the user works on become those of the restored revision.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

namespace quill {

/// Refuses, before anything is published, a live project that a restored tree could not be written to. Throws
/// std::runtime_error "could not create restored workspace folder: a symbolic link stands in the way of " + path, or
/// "workspace restore encountered an unsupported project entry: " + path where neither a file nor a folder of the
/// project's own files stands.
void check_live_project(const std::filesystem::path& live, const std::filesystem::path& restored);

/// Makes the visible files of `live` equal to those of `restored` and verifies them; returns how many paths were
/// written or removed. What they held before, edits that were never committed among it, is afterwards in the folder
/// `name` in `replaced`, of the same volume, instead of what earlier restores left there. Until this restore is
/// complete that folder's name ends in ".unfinished"; those of restores that were cut off stay. Throws
/// std::runtime_error with the texts of file_tree_comparison.h, "could not keep replaced workspace file: " + path, or
/// "restore verification failed: the live project does not match the selected historical state". Commits and restores
/// of the workspace must be locked out.
std::uint64_t restore_live_project(const std::filesystem::path& live, const std::filesystem::path& restored,
                                   const std::filesystem::path& replaced, const std::string& name);

}  // namespace quill
