// What callers see of two lists of workspaces: the project's own, from its index file, and that of the remote's
// branches. Any thread.
#pragma once

#include <filesystem>
#include <vector>

#include "engine/workspace_record.h"

namespace quill {

/// The main workspace and the index file's, in picker order.
std::vector<ProjectWorkspace> local_workspace_index(const std::filesystem::path& project, bool include_archived);

/// The remote's workspaces, completed from the local ones of the same id, in picker order.
std::vector<ProjectWorkspace> reconcile_local_workspaces_with_tome(const std::vector<ProjectWorkspace>& local,
                                                                   const std::vector<ProjectWorkspace>& remote,
                                                                   bool include_archived);

}  // namespace quill
