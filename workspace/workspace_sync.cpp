#include "workspace/workspace_sync.h"

#include <stdexcept>

#include "identity/file_bytes.h"
#include "identity/visible_files.h"
#include "project/manifest.h"
#include "workspace/tome_binding.h"
#include "workspace/workspace_checkout.h"
#include "workspace/workspace_lookup.h"
#include "workspace/workspace_paths.h"
#include "workspace/workspace_scene.h"

namespace quill {
namespace {

namespace fs = std::filesystem;

std::vector<fs::path> usable_paths(const std::vector<fs::path>& paths) {
    std::vector<fs::path> usable;
    for (const fs::path& path : paths) {
        const fs::path normal = path.lexically_normal();
        if (!normal.has_root_path() && !normal.string().starts_with("..") &&
            !project_relative_path_is_hidden(normal) && normal != ".") {
            usable.push_back(normal);
        }
    }
    return usable;
}

fs::path checkout_to_sync_from(const fs::path& project, const std::string& workspace, const fs::path& scene) {
    if (workspace != "main") {
        return ensure_tome_checkout_for_workspace(project, workspace, scene);
    }
    const fs::path checkout = workspace_main_materialize_checkout(project);
    ensure_tome_branch_checkout(project, checkout, scene, "main");
    return checkout;
}

void remove_from_project(const fs::path& project, const fs::path& relative) {
    std::error_code error;
    fs::remove(project / relative, error);
    if (error && error != std::errc::no_such_file_or_directory && error != std::errc::not_a_directory) {
        throw std::runtime_error("could not materialize merged project file: " + relative.string());
    }
}

void copy_into_project(const fs::path& checkout, const fs::path& project, const fs::path& relative) {
    std::error_code error;
    fs::create_directories((project / relative).parent_path(), error);
    if (error) {
        throw std::runtime_error("could not create merged project folder: " + relative.parent_path().string());
    }
    replace_file_by_copy(checkout / relative, project / relative, error);
    if (error) {
        throw std::runtime_error("could not materialize merged project file: " + relative.string());
    }
}

}  // namespace

ProjectWorkspaceMutationResult sync_project_workspace_files(const fs::path& project_path,
                                                            const std::string& workspace_id,
                                                            const std::vector<fs::path>& paths, bool overwrite) {
    if (paths.empty()) {
        return {};
    }
    const fs::path project = absolute_normalized(project_path);
    const std::string workspace = workspace_id.empty() ? "main" : workspace_id;
    const std::string remote = require_project_tome_remote(project);
    const std::vector<fs::path> usable = usable_paths(paths);
    const fs::path scene = resolve_workspace_base_scene(project, require_workspace_branch(project, workspace));
    for (const fs::path& path : usable) {
        if (passes_symbolic_link(project, path)) {
            throw std::runtime_error("could not create merged project folder: a symbolic link stands in the way of " +
                                     path.string());
        }
    }
    ProjectWorkspaceMutationResult result;
    if (usable.empty()) {
        return result;
    }
    const fs::path checkout = checkout_to_sync_from(project, workspace, scene);
    TomeSync sync;
    sync.overwrite = overwrite;
    for (const fs::path& path : usable) {
        sync.paths.push_back(path.string());
    }
    result.headKey = call_tome_revision_sync({checkout, remote}, sync).identity;
    for (const fs::path& path : usable) {
        std::error_code ignored;
        const bool present = fs::exists(checkout / path, ignored);
        present ? copy_into_project(checkout, project, path) : remove_from_project(project, path);
        result.files.push_back({path.string(), present ? "copy" : "delete"});
    }
    return result;
}

}  // namespace quill
