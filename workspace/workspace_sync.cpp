#include "workspace/workspace_sync.h"

#include <set>
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
        if (!normal.has_root_path() && !normal.string().starts_with("..") && !project_relative_path_is_hidden(normal) &&
            normal != ".") {
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

[[noreturn]] void refuse_file(const fs::path& relative) {
    throw std::runtime_error("could not materialize merged project file: " + relative.string());
}

bool is_folder(const fs::path& path) {
    std::error_code ignored;
    return fs::is_directory(fs::symlink_status(path, ignored));
}

// What is to happen to the package; `copied` and `removed` are relative to the project.
struct SyncPlan {
    std::vector<fs::path> copied;
    std::set<fs::path> removed;
};

// Whether a folder of the package holds nothing but what is removed, and so may give way to a file.
bool gives_way(const fs::path& project, const fs::path& folder, const SyncPlan& plan) {
    std::error_code error;
    for (const fs::directory_entry& entry : fs::directory_iterator(project / folder, error)) {
        const fs::path relative = folder / entry.path().filename();
        if (is_folder(entry.path()) ? !gives_way(project, relative, plan) : !plan.removed.contains(relative)) {
            return false;
        }
    }
    return !error;
}

// A file where one of the path's folders is to be, unless it goes.
void check_folders(const fs::path& project, const fs::path& path, const SyncPlan& plan) {
    for (fs::path folder = path.parent_path(); !folder.empty(); folder = folder.parent_path()) {
        std::error_code ignored;
        const bool stands = fs::exists(fs::symlink_status(project / folder, ignored));
        if (stands && !is_folder(project / folder) && !plan.removed.contains(folder)) {
            throw std::runtime_error("could not create merged project folder: " + path.parent_path().string());
        }
    }
}

// Refuses before anything is written what could not be carried out.
SyncPlan plan_sync(const fs::path& checkout, const fs::path& project, const std::vector<fs::path>& paths) {
    SyncPlan plan;
    for (const fs::path& path : paths) {
        std::error_code ignored;
        const fs::file_status status = fs::symlink_status(checkout / path, ignored);
        if (fs::is_regular_file(status)) {
            plan.copied.push_back(path);
        } else if (!fs::exists(status) || (fs::exists(project / path, ignored) && !is_folder(project / path))) {
            plan.removed.insert(path);
        } else {
            refuse_file(path);
        }
    }
    for (const fs::path& path : paths) {
        if (is_folder(project / path) && !gives_way(project, path, plan)) {
            refuse_file(path);
        }
    }
    for (const fs::path& path : plan.copied) {
        check_folders(project, path, plan);
    }
    return plan;
}

void remove_from_project(const fs::path& project, const fs::path& relative) {
    std::error_code error;
    fs::remove(project / relative, error);
    if (error && error != std::errc::no_such_file_or_directory && error != std::errc::not_a_directory) {
        refuse_file(relative);
    }
}

// Removes a folder that holds empty folders at most.
void remove_emptied_folder(const fs::path& folder) {
    std::error_code error;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder, error)) {
        remove_emptied_folder(entry.path());
    }
    if (is_folder(folder)) {
        fs::remove(folder, error);
    }
}

void copy_into_project(const fs::path& checkout, const fs::path& project, const fs::path& relative) {
    std::error_code error;
    fs::create_directories((project / relative).parent_path(), error);
    if (error) {
        throw std::runtime_error("could not create merged project folder: " + relative.parent_path().string());
    }
    if (is_folder(project / relative)) {
        remove_emptied_folder(project / relative);
    }
    replace_file_by_copy(checkout / relative, project / relative, error);
    if (error) {
        refuse_file(relative);
    }
}

void carry_out(const SyncPlan& plan, const fs::path& checkout, const fs::path& project) {
    // Backwards: what a folder holds goes before the folder.
    for (auto path = plan.removed.rbegin(); path != plan.removed.rend(); ++path) {
        remove_from_project(project, *path);
    }
    for (const fs::path& path : plan.copied) {
        copy_into_project(checkout, project, path);
    }
}

}  // namespace

void check_project_can_take_files(const fs::path& project, const fs::path& checkout,
                                  const std::vector<fs::path>& paths) {
    plan_sync(checkout, project, paths);
}

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
    const SyncPlan plan = plan_sync(checkout, project, usable);
    carry_out(plan, checkout, project);
    sync_folders(project, usable);
    for (const fs::path& path : usable) {
        result.files.push_back({path.string(), plan.removed.contains(path) ? "delete" : "copy"});
    }
    return result;
}

}  // namespace quill
