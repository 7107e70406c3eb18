// Bringing an earlier revision of a workspace back, as a new revision on top, verified byte for byte.
#pragma once

#include <filesystem>
#include <functional>
#include <string>

#include "engine/workspace_record.h"

namespace quill {

/// Adds a revision to the workspace ("" means "main") whose files are those of `target_revision`, publishes it and
/// makes the live files (the package for "main", else the workspace's checkout) equal to it. Refused when the project's
/// ID is not `expected_project_id` or the head is not `expected_head` (empty: not checked). `author` and `summary` may
/// be empty. `on_selected_state`, when set, is called with the folder that holds the selected state before anything
/// changes; what it throws ends the restore. Throws std::runtime_error; a failure after publishing leaves the branch
/// restored and says what could not be verified. Holds the commit lock of the workspace's kind; scratch folders are
/// gone when it returns or throws.
ProjectWorkspaceRestoreResult restore_project_workspace_revision(
    const std::filesystem::path& project, const std::string& workspace_id, const std::string& target_revision,
    const std::string& expected_head, const std::string& author, const std::string& summary,
    const std::string& expected_project_id, const std::function<void(const std::filesystem::path&)>& on_selected_state);

}  // namespace quill
