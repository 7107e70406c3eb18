// Making and archiving workspaces.
#pragma once

#include <filesystem>
#include <string>

#include "engine/workspace_record.h"

namespace quill {

/// Makes a workspace from `parent_id` ("" means "main"), whose uncommitted changes are committed first, and publishes
/// it. Its id is the normalised name, with "-2", "-3" and so on when that is taken. Throws std::runtime_error "parent
/// workspace does not exist: " + id, "scene lies outside the project: " + path, the remote's and the engine's texts.
ProjectWorkspace create_project_workspace(const std::filesystem::path& project, const std::filesystem::path& scene,
                                          const std::string& parent_id, const std::string& name,
                                          const std::string& author);

/// Marks a workspace archived in the index and, in the background, on the remote. Throws std::runtime_error "main
/// workspace cannot be archived", "workspace does not exist: " + id, std::system_error "thread constructor failed".
void archive_project_workspace(const std::filesystem::path& project, const std::string& id);

}  // namespace quill
