// Asking the remote which branches there are, and which of them are workspaces. Any thread.
#pragma once

#include <filesystem>
#include <vector>

#include "engine/workspace_record.h"

namespace quill {

/// The workspaces among the remote's branches, the main workspace first. Name, parent, scene, author and creation time
/// of those that the index file lacks come from their branches' metadata. Throws what the engine reports.
std::vector<ProjectWorkspace> query_tome_branch_index_workspaces(const std::filesystem::path& project);

}  // namespace quill
