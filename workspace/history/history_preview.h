// Scenes on disk: of a workspace, in its checkout, and of an earlier revision, in a read-only preview of the project.
// Previews are made one at a time in a process and kept for it; failures are std::runtime_error.
#pragma once

#include <filesystem>
#include <string>

#include "engine/workspace_record.h"

namespace quill {

/// "history-preview--" + workspace + "--" + revision, accepted wherever a workspace names a scene. Throws "invalid
/// workspace history preview scope".
std::string history_preview_workspace_id(const std::string& workspace_id, const std::string& revision);

/// True, with both outputs filled, for a well-formed preview id.
bool parse_history_preview_workspace_id(const std::string& id, std::string& workspace_out, std::string& revision_out);

/// The scene (the workspace's own when empty) in a workspace's checkout, or in the preview that the id names. Throws
/// "workspace not found: " + id, "scene lies outside the project: " + path.
ProjectWorkspaceResolution resolve_project_workspace_scene(const std::filesystem::path& project,
                                                           const std::filesystem::path& scene,
                                                           const std::string& workspace_id);

/// The scene in a preview of `revision`, which is made when needed. Throws "workspace branch does not exist: " + id,
/// "target revision is not in this workspace's history", "scene does not exist in the selected historical revision",
/// "history preview refused because that revision belongs to a different Keel project".
ProjectWorkspaceResolution resolve_project_workspace_revision_scene(const std::filesystem::path& project,
                                                                    const std::filesystem::path& scene,
                                                                    const std::string& workspace_id,
                                                                    const std::string& revision);

}  // namespace quill
