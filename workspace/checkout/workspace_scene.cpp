#include "workspace/checkout/workspace_scene.h"

#include <algorithm>

#include "files/absolute_path.h"
#include "project/manifest.h"
#include "project/visible_files.h"

namespace quill {
namespace {

std::filesystem::path main_scene(const std::filesystem::path& project) {
    const Project opened = read_project(absolute_normalized(project));
    return (opened.root / opened.manifest.main_scene).lexically_normal();
}

}  // namespace

ProjectWorkspace main_workspace(const std::filesystem::path& project) {
    ProjectWorkspace workspace;
    workspace.id = "main";
    workspace.name = "Main";
    workspace.baseScene = scene_relative_path(absolute_normalized(project), main_scene(project)).string();
    workspace.createdAt = "0";
    workspace.updatedAt = "0";
    return workspace;
}

std::filesystem::path resolve_workspace_base_scene(const std::filesystem::path& project,
                                                   const ProjectWorkspace& workspace) {
    if (workspace.baseScene.empty()) {
        return main_scene(project);
    }
    return (absolute_normalized(project) / workspace.baseScene).lexically_normal();
}

std::filesystem::path scene_relative_path(const std::filesystem::path& checkout_root,
                                          const std::filesystem::path& scene) {
    return scene.lexically_normal().lexically_relative(checkout_root.lexically_normal());
}

std::optional<std::filesystem::path> canonical_workspace_scene_uri(const std::filesystem::path& project,
                                                                   const ProjectWorkspace& workspace,
                                                                   const std::filesystem::path& scene) {
    const std::filesystem::path absolute =
        scene.empty() ? resolve_workspace_base_scene(project, workspace) : absolute_normalized(scene);
    const std::filesystem::path relative =
        scene_relative_path(absolute_normalized(project), absolute).lexically_normal();
    if (relative == "." || std::find(relative.begin(), relative.end(), "..") != relative.end() ||
        project_relative_path_is_hidden(relative)) {
        return std::nullopt;
    }
    return relative;
}

}  // namespace quill
