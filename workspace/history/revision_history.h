// The revisions of a workspace, with what is to be shown of them.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "engine/workspace_record.h"

namespace quill {

/// The newest `limit` (0: 50) revisions of a workspace ("" means "main"), newest first; none for "main" when the
/// history was never started. Author, time, summary and file count come from the branch's metadata. A revision that
/// has none there shows its own time and message. What neither tells stays empty, and a summary that says nothing is
/// replaced. Throws std::runtime_error "workspace branch does not exist: " + id, the remote's and the engine's texts.
/// Any thread; takes no lock.
std::vector<ProjectWorkspaceRevision> list_project_workspace_revisions(const std::filesystem::path& project,
                                                                       const std::string& workspace_id,
                                                                       std::uint64_t limit);

/// The summary to show: `summary`, or words for the number of changed files when it says nothing.
std::string displayed_revision_summary(const std::string& summary, std::uint64_t changed_files);

}  // namespace quill
