// In which files two workspaces differ.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "engine/workspace_record.h"

namespace quill {

/// How `to_workspace` differs from `from_workspace` ("" means "main"), by the newest heads on the remote. Throws
/// std::runtime_error "workspace branch does not exist", what require_project_tome_remote throws, or the engine's.
std::vector<ProjectWorkspaceDiffEntry> diff_project_workspaces(const std::filesystem::path& project_path,
                                                               const std::string& from_workspace,
                                                               const std::string& to_workspace);

}  // namespace quill
