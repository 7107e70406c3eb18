// Making the files of one tree like those of another, with verification. Nothing here locks: callers keep other
// restores and commits away.
#pragma once

#include <cstdint>
#include <filesystem>
#include <vector>

namespace quill {

/// Makes each of `paths` below `target_root` what it is below `source_root`: copied, made or removed, each file
/// installed by a rename and verified afterwards. Returns the number of distinct paths. Every path is checked before
/// anything changes ("invalid restored project path: " + path); the first failure afterwards ends the call and leaves
/// what was done.
std::int64_t materialize_project_workspace_files_checked(const std::filesystem::path& source_root,
                                                         const std::filesystem::path& target_root,
                                                         const std::vector<std::filesystem::path>& paths);

/// Whether the name is that of a temporary file which the function above writes beside a file that it replaces. Such a
/// file was left by a killed process or is being written by another one. It is never part of the project.
bool is_restore_staging_file(const std::filesystem::path& path);

}  // namespace quill
