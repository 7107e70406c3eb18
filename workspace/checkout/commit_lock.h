// Commits and restores of one kind of workspace run one at a time in a process. Lock order: before any engine call.
#pragma once

#include <mutex>
#include <string>

namespace quill {

/// Holds main_workspace_commit_mutex for "main", branch_workspace_commit_mutex, which all others share, otherwise.
std::unique_lock<std::mutex> lock_workspace_commits(const std::string& workspace_id);

}  // namespace quill
