// Which project owns a path. Checkouts of workspaces lie inside the package; what is cached by project is shared with
// them through these functions. Nothing here asks the file system.
#pragma once

#include <filesystem>

namespace quill {

/// The owning package of a path inside a workspace checkout or history preview, which lie in ".derived/tome-workspaces"
/// or ".derived/.history-preview" of it; any other path comes back lexically normalised.
std::filesystem::path workspace_independent_project_path(const std::filesystem::path& path);

/// workspace_independent_project_path of the absolute, normalised path.
std::filesystem::path canonical_project_content_root(const std::filesystem::path& path);

}  // namespace quill
