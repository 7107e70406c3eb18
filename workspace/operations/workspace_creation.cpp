#include "workspace/operations/workspace_creation.h"

#include <algorithm>
#include <set>
#include <stdexcept>
#include <system_error>
#include <thread>

#include "engine/engine_errors.h"
#include "engine/history_metadata.h"
#include "engine/tome_binding.h"
#include "files/absolute_path.h"
#include "project/repository_configuration.h"
#include "project/workspace_id.h"
#include "project/workspace_paths.h"
#include "records/wall_clock.h"
#include "workspace/checkout/workspace_checkout.h"
#include "workspace/checkout/workspace_scene.h"
#include "workspace/index/branch_index_cache.h"
#include "workspace/index/workspace_index.h"
#include "workspace/index/workspace_index_file.h"
#include "workspace/index/workspace_lookup.h"
#include "workspace/operations/workspace_commit.h"

namespace quill {
namespace {

// Hands out "name", "name-2", "name-3" ..., passing over ids that are taken.
class IdCandidates {
  public:
    IdCandidates(const std::filesystem::path& project, const std::string& name)
        : base_(normalize_workspace_id(name)), taken_{"main"} {
        for (const ProjectWorkspace& workspace : list_project_workspaces(project, true)) {
            taken_.insert(workspace.id);
        }
        for (const ProjectWorkspace& workspace : read_workspaces_without_main(project)) {
            taken_.insert(workspace.id);
        }
    }

    std::string next() {
        std::string id;
        do {
            id = numbered_id(base_, ++number_, max_workspace_id_bytes);
        } while (taken_.contains(id));
        return id;
    }

  private:
    std::string base_;
    std::set<std::string> taken_;
    int number_ = 0;
};

void commit_parent(const std::filesystem::path& project, const ProjectWorkspace& parent) {
    const std::filesystem::path source =
        parent.id == "main"
            ? project
            : ensure_tome_checkout_for_workspace(project, parent.id, resolve_workspace_base_scene(project, parent));
    update_project_workspace_head(project, parent.id, source, {}, "", "");
}

// Makes the branch under the first free id.
std::string create_branch(const CheckoutLocation& operations, const std::string& parent, const std::string& author,
                          IdCandidates& candidates) {
    for (;;) {
        std::string id = candidates.next();
        try {
            call_tome_branch_create(operations, id, parent, workspace_branch_kind, author);
            return id;
        } catch (const std::runtime_error& error) {
            // On the remote, although not in the index.
            if (!says_that_branch_exists(error)) {
                throw;
            }
        }
    }
}

void publish_metadata(const CheckoutLocation& operations, const ProjectWorkspace& workspace) {
    namespace key = workspace_metadata_key;
    set_tome_branch_metadata(operations, workspace.id,
                             {{key::mark, "1"},
                              {key::name, workspace.name},
                              {key::parent, workspace.parentId},
                              {key::base_scene, workspace.baseScene},
                              {key::author, workspace.author},
                              {key::created_at, workspace.createdAt},
                              {key::updated_at, workspace.updatedAt}});
    push_tome_branch(operations.root, workspace.id, operations.remote_url, false);
}

void replace_or_append(std::vector<ProjectWorkspace>& workspaces, const ProjectWorkspace& workspace) {
    const auto same = std::find_if(workspaces.begin(), workspaces.end(),
                                   [&](const ProjectWorkspace& entry) { return entry.id == workspace.id; });
    same != workspaces.end() ? void(*same = workspace) : workspaces.push_back(workspace);
}

void archive_on_remote(const std::filesystem::path& project, const std::string& id) {
    try {
        const CheckoutLocation checkout{ensure_tome_metadata_checkout(project), project_tome_remote_url(project)};
        call_tome_branch_archive(checkout, id);
    } catch (const std::exception&) {
        // The workspace is archived here all the same; nobody waits for this thread.
    }
    invalidate_tome_branch_index_cache(project);
}

}  // namespace

ProjectWorkspace create_project_workspace(const std::filesystem::path& project_path, const std::filesystem::path& scene,
                                          const std::string& parent_id, const std::string& name,
                                          const std::string& author) {
    const std::filesystem::path project = absolute_normalized(project_path);
    const std::string remote = require_project_tome_remote(project);
    const std::string parent_name = workspace_id_or_main(parent_id);
    const std::optional<ProjectWorkspace> parent = find_project_workspace_fresh(project, parent_name, false);
    if (!parent || parent->archived) {
        throw std::runtime_error("parent workspace does not exist: " + parent_name);
    }
    const auto base_scene = canonical_workspace_scene_uri(project, *parent, scene);
    if (!base_scene) {
        throw std::runtime_error("scene lies outside the project: " + scene.string());
    }
    require_writable_workspace_index(project);
    IdCandidates candidates(project, name);
    ProjectWorkspace workspace;
    workspace.name = name;
    workspace.parentId = parent->id;
    workspace.baseScene = base_scene->string();
    workspace.createdAt = workspace.updatedAt = wall_clock_milliseconds();
    workspace.author = author;
    commit_parent(project, *parent);

    const CheckoutLocation operations{workspace_branch_operations_checkout(project), remote};
    ensure_tome_branch_checkout(project, operations.root, resolve_workspace_base_scene(project, *parent), parent->id);
    workspace.id = create_branch(operations, parent->id, author, candidates);
    publish_metadata(operations, workspace);
    update_workspaces_without_main(
        project, [&](std::vector<ProjectWorkspace>& workspaces) { replace_or_append(workspaces, workspace); });
    invalidate_tome_branch_index_cache(project);
    return workspace;
}

void archive_project_workspace(const std::filesystem::path& project_path, const std::string& id) {
    if (id == "main") {
        throw std::runtime_error("main workspace cannot be archived");
    }
    const std::filesystem::path project = absolute_normalized(project_path);
    require_project_tome_remote(project);
    std::optional<ProjectWorkspace> found = find_project_workspace_fresh(project, id, false);
    if (!found) {
        throw std::runtime_error("workspace does not exist: " + id);
    }
    update_workspaces_without_main(project, [&](std::vector<ProjectWorkspace>& workspaces) {
        const auto entry = std::find_if(workspaces.begin(), workspaces.end(),
                                        [&](const ProjectWorkspace& workspace) { return workspace.id == id; });
        found->archived = true;
        entry != workspaces.end() ? void(entry->archived = true) : workspaces.push_back(*found);
    });
    invalidate_tome_branch_index_cache(project);
    try {
        std::thread(archive_on_remote, project, id).detach();
    } catch (const std::system_error& error) {
        throw std::system_error(error.code(), "thread constructor failed");
    }
}

}  // namespace quill
