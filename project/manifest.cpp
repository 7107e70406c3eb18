#include "project/manifest.h"

#include <stdexcept>

#include "files/absolute_path.h"
#include "files/text_file.h"
#include "project/manifest_text.h"

namespace quill {

bool is_project_package_path(const std::filesystem::path& path) {
    const std::filesystem::path extension = path.extension();
    return extension == ".quillproject" || extension == ".quillproj";
}

std::filesystem::path project_manifest_path(const std::filesystem::path& root) {
    return root / "project.json";
}

Project read_project(const std::filesystem::path& path) {
    std::error_code ignored;
    if (!std::filesystem::is_directory(path, ignored)) {
        throw std::runtime_error("Project is not a directory: " + path.string());
    }
    const std::string text = read_text_file(project_manifest_path(path));
    Project project;
    project.root = absolute_normalized(path);
    ProjectManifest& manifest = project.manifest;
    manifest.id = manifest_string(text, "id", "");
    manifest.name = manifest_string(text, "name", project.root.stem().string());
    manifest.main_scene = manifest_string(text, "mainScene", manifest.main_scene);
    manifest.content_store = manifest_string(text, "contentStore", manifest.content_store);
    manifest.tome_repository = manifest_string(text, "tomeRepository", manifest.tome_repository);
    manifest.tome_remote_url = manifest_string(text, "tomeRemoteURL", "");
    manifest.tome_repository_url = manifest_string(text, "tomeRepositoryURL", "");
    return project;
}

std::filesystem::path resolve_project_scene_path(const std::filesystem::path& path) {
    if (!is_project_package_path(path)) {
        return path;
    }
    const Project project = read_project(path);
    const std::filesystem::path scene = project.manifest.main_scene;
    return (scene.has_root_directory() ? scene : project.root / scene).lexically_normal();
}

}  // namespace quill
