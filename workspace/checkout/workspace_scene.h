// Which scene a workspace is about. Free of shared state.
#pragma once

#include <filesystem>
#include <optional>

#include "engine/workspace_record.h"

namespace quill {

/// The main workspace, which is synthesised: the package itself.
ProjectWorkspace main_workspace(const std::filesystem::path& project);

/// The absolute, normalised scene that a workspace's checkouts are based on: its base scene within the project, or the
/// project's main scene when it has none.
std::filesystem::path resolve_workspace_base_scene(const std::filesystem::path& project,
                                                   const ProjectWorkspace& workspace);

/// The scene relative to the checkout's root, both normalised.
std::filesystem::path scene_relative_path(const std::filesystem::path& checkout_root,
                                          const std::filesystem::path& scene);

/// The scene as a path relative to the project; the workspace's base scene when `scene` is empty. Nothing when it is
/// not among the project's files.
std::optional<std::filesystem::path> canonical_workspace_scene_uri(const std::filesystem::path& project,
                                                                   const ProjectWorkspace& workspace,
                                                                   const std::filesystem::path& scene);

}  // namespace quill
