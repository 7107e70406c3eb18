// The comments on workspaces, Workspaces/comments.json (format: docs/formats.md). For the comment operations.
// Failures are std::runtime_error.
#pragma once

#include <filesystem>
#include <functional>
#include <vector>

#include "review/review_record.h"

namespace quill {

/// The workspaces with comments in file order; none when the file is missing or empty. Throws "Could not open " + path.
std::vector<WorkspaceCommentBucket> read_workspace_comments(const std::filesystem::path& project);

/// Reads the file, and writes it when `change` returns true, under the lock on its folder (RecordFolderLock): neither
/// another thread nor another process loses a change. `change` must not call workspace operations; what it throws
/// leaves the file as it is. Members that this version does not know stay. Also throws what reading, locking and
/// writing throw, and what `RecordFile` throws for a file that must not be written; `change` is not called then.
void update_workspace_comments(const std::filesystem::path& project,
                               const std::function<bool(std::vector<WorkspaceCommentBucket>&)>& change);

}  // namespace quill
