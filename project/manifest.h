// A project is a directory, the package, with the manifest "project.json" at its top. Format: docs/formats.md.
// All functions are free of shared state and may run on any thread.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

namespace quill {

/// The manifest's fields. Texts are bytes, UTF-8 by convention, never validated.
struct ProjectManifest {
    std::int32_t version = 1;                     ///< written, never read back
    std::string id;                               ///< stable project ID
    std::string name = "Untitled";                ///< display name
    std::string main_scene = "Scenes/Main.usda";  ///< relative to the project
    std::string content_store = "tome";           ///< "tome": content is kept in the history's repository
    std::string tome_repository = ".";            ///< directory of the local repository
    std::string tome_remote_url;                  ///< empty: none
    std::string tome_repository_url;              ///< empty: derived from remote and id
};

/// An opened project.
struct Project {
    std::filesystem::path root;  ///< the package, absolute and lexically normalised; links are not resolved
    ProjectManifest manifest;
};

/// Whether the path's extension is ".quillproject" or ".quillproj". The file system is not asked.
bool is_project_package_path(const std::filesystem::path& path);

/// `root` joined with "project.json".
std::filesystem::path project_manifest_path(const std::filesystem::path& root);

/// Opens the package at `path`. Missing keys get their defaults, the name that of the package's stem; nothing is
/// validated. Throws std::runtime_error "Project is not a directory: " + path, or "Could not open " + manifest path.
Project read_project(const std::filesystem::path& path);

/// The scene that `path` names: for a package its main scene, lexically normalised, anything else unchanged. Throws
/// what read_project throws.
std::filesystem::path resolve_project_scene_path(const std::filesystem::path& path);

}  // namespace quill
