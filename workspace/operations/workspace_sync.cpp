#include "workspace/operations/workspace_sync.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <set>
#include <stdexcept>

#include "engine/tome_binding.h"
#include "files/absolute_path.h"
#include "files/file_bytes.h"
#include "files/folder_tree.h"
#include "project/visible_files.h"
#include "project/workspace_id.h"
#include "project/workspace_paths.h"
#include "workspace/checkout/file_keeper.h"
#include "workspace/checkout/package_base.h"
#include "workspace/checkout/workspace_checkout.h"
#include "workspace/checkout/workspace_scene.h"
#include "workspace/index/workspace_lookup.h"

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

[[noreturn]] void refuse_file(const std::string& relative) {
    throw std::runtime_error("could not materialize merged project file: " + relative);
}

[[noreturn]] void refuse_folder(const std::string& text) {
    throw std::runtime_error("could not create merged project folder: " + text);
}

bool is_folder(const FolderTree& tree, const std::string& path) {
    const std::optional<FolderEntry> entry = tree.find(path);
    return entry && entry->is_folder();
}

// What is to happen to the package; `copied` and `removed` are relative to the project.
struct SyncPlan {
    std::vector<std::string> copied;
    std::set<std::string> removed;
};

// Makes the plan, and refuses what could not be carried out before anything is written.
class SyncPlanner {
  public:
    SyncPlanner(const FolderTree& checkout, const FolderTree& project) : checkout_(checkout), project_(project) {}

    SyncPlan plan(const std::vector<fs::path>& paths) {
        for (const fs::path& path : paths) {
            add(path.string());
        }
        for (const fs::path& path : paths) {
            if (is_folder(project_, path.string()) && !gives_way(path.string())) {
                refuse_file(path.string());
            }
        }
        for (const std::string& path : plan_.copied) {
            check_folders(path);
        }
        return std::move(plan_);
    }

  private:
    void add(const std::string& path) {
        const std::optional<FolderEntry> in_checkout = checkout_.find(path);
        const std::optional<FolderEntry> in_project = project_.find(path);
        if (in_checkout && in_checkout->is_file()) {
            plan_.copied.push_back(path);
        } else if (!in_checkout || (in_project && !in_project->is_folder())) {
            plan_.removed.insert(path);
        } else {
            refuse_file(path);
        }
    }

    // Whether a folder of the package holds nothing but what is removed, and so may give way to a file.
    bool gives_way(const std::string& folder) const {
        bool gives_way = true;
        project_.walk(folder, {}, [&](const std::string& path, const FolderEntry&) {
            gives_way = gives_way && plan_.removed.contains(path);
        });
        return gives_way;
    }

    // Refuses a file where one of the path's folders is needed, unless the file is removed.
    void check_folders(const std::string& path) const {
        for (fs::path folder = fs::path(path).parent_path(); !folder.empty(); folder = folder.parent_path()) {
            const std::optional<FolderEntry> existing = project_.find(folder.string());
            if (existing && !existing->is_folder() && !plan_.removed.contains(folder.string())) {
                refuse_folder(fs::path(path).parent_path().string());
            }
        }
    }

    const FolderTree& checkout_;
    const FolderTree& project_;
    SyncPlan plan_;
};

void refuse_links_in_the_way(const FolderTree& project, const std::vector<fs::path>& paths) {
    for (const fs::path& path : paths) {
        try {
            project.find(path.string());
        } catch (const FileError& error) {
            if (error.kind() == FileError::Kind::Link) {
                refuse_folder("a symbolic link stands in the way of " + path.string());
            }
            refuse_file(path.string());
        }
    }
}

SyncPlan plan_sync(const FolderTree& checkout, const FolderTree& project, const std::vector<fs::path>& paths) {
    refuse_links_in_the_way(project, paths);
    return SyncPlanner(checkout, project).plan(paths);
}

void copy_into_project(const FolderTree& checkout, const FolderTree& project, const std::string& relative) {
    const std::string folder = fs::path(relative).parent_path().string();
    try {
        project.make_folder(folder);
    } catch (const FileError&) {
        refuse_folder(folder);
    }
    try {
        if (is_folder(project, relative)) {
            project.remove_empty_folder(relative);
        }
        replace_file_by_copy(checkout.open_file(relative), project, relative);
    } catch (const FileError&) {
        refuse_file(relative);
    }
}

void match_in_project(const FolderTree& checkout, const FolderTree& project, const std::string& relative) {
    try {
        match_executable_bit(checkout.open_file(relative), project, relative);
    } catch (const FileError&) {
        refuse_file(relative);
    }
}

// The copied files that hold the same bytes already. They are not written.
std::set<std::string> equal_files(const SyncPlan& plan, const FolderTree& checkout, const FolderTree& project) {
    std::set<std::string> equal;
    for (const std::string& path : plan.copied) {
        try {
            if (holds_bytes_of(checkout.open_file(path), project, path)) {
                equal.insert(path);
            }
        } catch (const FileError&) {
            refuse_file(path);
        }
    }
    return equal;
}

// Keeps those of the files that were changed since they were last exchanged with main; the others are in the history.
void keep_edits(const PackageBase* base, const std::set<std::string>& dropped, FileKeeper& kept) {
    if (base == nullptr || dropped.empty()) {
        std::for_each(dropped.begin(), dropped.end(), [&](const std::string& path) { kept.keep(path); });
        return;
    }
    for (const ProjectFileState& file : base->compare({dropped.begin(), dropped.end()}).files) {
        if (file.changed_here()) {
            kept.keep(file.path);
        }
    }
}

// Keeps what the plan replaces by other bytes or removes, as far as it is in no revision.
void keep(const SyncPlan& plan, const std::set<std::string>& equal, const PackageBase* base, const FolderTree& project,
          FileKeeper& kept) {
    std::set<std::string> dropped = plan.removed;
    std::copy_if(plan.copied.begin(), plan.copied.end(), std::inserter(dropped, dropped.end()),
                 [&](const std::string& path) { return !equal.contains(path) && !is_folder(project, path); });
    keep_edits(base, dropped, kept);
    kept.make_durable();
}

void carry_out(const SyncPlan& plan, const FolderTree& checkout, const FolderTree& project, FileKeeper& kept,
               const PackageBase* base) {
    const std::set<std::string> equal = equal_files(plan, checkout, project);
    keep(plan, equal, base, project, kept);
    // Backwards: what a folder holds goes before the folder.
    for (auto path = plan.removed.rbegin(); path != plan.removed.rend(); ++path) {
        try {
            project.remove_file(*path);
        } catch (const FileError&) {
            refuse_file(*path);
        }
    }
    for (const std::string& path : plan.copied) {
        equal.contains(path) ? match_in_project(checkout, project, path) : copy_into_project(checkout, project, path);
    }
    // The equal files, too: a call that was cut off may have written them.
    std::vector<std::string> changed = plan.copied;
    changed.insert(changed.end(), plan.removed.begin(), plan.removed.end());
    try {
        sync_folders(project, changed);
    } catch (const FileError&) {
        refuse_file(changed.front());
    }
    kept.complete();
}

// What could not be noted shows as the same change on both sides the next time.
void record_exchange(PackageBase& base, const std::string& revision, const std::vector<std::string>& paths) {
    try {
        base.record(revision, paths, false);
    } catch (const std::runtime_error&) {
    }
}

}  // namespace

void check_project_can_take_files(const fs::path& project, const fs::path& checkout,
                                  const std::vector<fs::path>& paths) {
    plan_sync(FolderTree(checkout), FolderTree(project), paths);
}

ProjectWorkspaceMutationResult sync_project_workspace_files(const fs::path& project_path,
                                                            const std::string& workspace_id,
                                                            const std::vector<fs::path>& paths, bool overwrite) {
    if (paths.empty()) {
        return {};
    }
    const fs::path project = absolute_normalized(project_path);
    const std::string workspace = workspace_id_or_main(workspace_id);
    const std::string remote = require_project_tome_remote(project);
    const std::vector<fs::path> usable = usable_paths(paths);
    const fs::path scene = resolve_workspace_base_scene(project, require_workspace_branch(project, workspace));
    const FolderTree files(project);
    refuse_links_in_the_way(files, usable);
    ProjectWorkspaceMutationResult result;
    if (usable.empty()) {
        return result;
    }
    FileKeeper kept(project, "sync", "main");
    std::optional<PackageBase> base = PackageBase::open(project);
    const fs::path checkout = checkout_to_sync_from(project, workspace, scene);
    TomeSync sync;
    sync.overwrite = overwrite;
    for (const fs::path& path : usable) {
        sync.paths.push_back(path.string());
    }
    result.headKey = call_tome_revision_sync({checkout, remote}, sync).identity;
    const FolderTree synced(checkout);
    const SyncPlan plan = plan_sync(synced, files, usable);
    carry_out(plan, synced, files, kept, base ? &*base : nullptr);
    if (base && workspace == "main") {
        record_exchange(*base, result.headKey, sync.paths);
    }
    for (const fs::path& path : usable) {
        result.files.push_back({path.string(), plan.removed.contains(path.string()) ? "delete" : "copy"});
    }
    return result;
}

}  // namespace quill
