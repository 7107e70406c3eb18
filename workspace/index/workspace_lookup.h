// Looking a workspace up where the index may be behind the remote.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "engine/workspace_record.h"

namespace quill {

/// The workspace ("" means "main"), archived ones included; nothing when it does not exist. The remote is asked with
/// `force_refresh`, or when the workspace is not known yet. Throws what the engine reports when the remote is asked.
std::optional<ProjectWorkspace> find_project_workspace_fresh(const std::filesystem::path& project,
                                                             const std::string& id, bool force_refresh);

/// The same without a forced refresh. Throws std::runtime_error "workspace branch does not exist: " + id when absent.
ProjectWorkspace require_workspace_branch(const std::filesystem::path& project, const std::string& id);

/// The same, with the remote asked in any case. Throws std::runtime_error "workspace branch does not exist" when
/// absent.
ProjectWorkspace require_fresh_workspace_branch(const std::filesystem::path& project, const std::string& id);

}  // namespace quill
