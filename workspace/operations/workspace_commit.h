// Committing a workspace: files of a source folder become a revision of the workspace's branch, which is on the remote
// when the call returns. Within a process, commits to "main" run one at a time, and so do those to all other
// workspaces. Conflicts with other processes are detected when pushing.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "engine/workspace_record.h"

namespace quill {

/// The commit: it moves the workspace's head. Commits `changed_paths` (relative to the project; a path that is gone
/// from `source` is committed as a deletion), or all that changed when there are none, and publishes the new head. The
/// source folder is not changed. Without an effective change the current head comes back and nothing is committed. When
/// another process published first, a commit of given paths is made anew on the new head. Throws std::runtime_error
/// with the texts of workspace_snapshot.h, "workspace branch does not exist: " + id, "Tome reported a changed file
/// outside the project checkout: " + path, "Tome commit did not return an immutable identity for " + id, or the
/// engine's; the index and the branch are then as they were.
ProjectWorkspaceMutationResult update_project_workspace_head(const std::filesystem::path& project,
                                                             const std::string& workspace_id,
                                                             const std::filesystem::path& source,
                                                             const std::vector<std::filesystem::path>& changed_paths,
                                                             const std::string& author, const std::string& message);

}  // namespace quill
