#include "workspace/index/branch_index_query.h"

#include <set>
#include <stdexcept>
#include <string>

#include "engine/history_metadata.h"
#include "engine/tome_binding.h"
#include "project/package_state.h"
#include "project/repository_configuration.h"
#include "project/workspace_id.h"
#include "project/workspace_paths.h"
#include "workspace/checkout/workspace_checkout.h"
#include "workspace/checkout/workspace_scene.h"
#include "workspace/index/workspace_index_file.h"

namespace quill {
namespace {

std::set<std::string> local_ids(const std::filesystem::path& project) {
    std::set<std::string> ids;
    for (const ProjectWorkspace& workspace : read_workspaces_without_main(project)) {
        ids.insert(workspace.id);
    }
    return ids;
}

// Fills in what the metadata of the workspace's branch says. A value that could not stand in the index file is left
// out.
void complete_from_metadata(const std::filesystem::path& project, const CheckoutLocation& checkout,
                            ProjectWorkspace& workspace) {
    namespace key = workspace_metadata_key;
    TomeWorkspaceState state;
    try {
        state = call_tome_branch_metadata_get(checkout, workspace.id,
                                              {key::name, key::parent, key::base_scene, key::created_at, key::author});
    } catch (const std::runtime_error&) {
        return;  // The branch is worth listing without its metadata.
    }
    const auto take = [&](const char* name, std::string& field, const auto& is_good) {
        const auto entry = state.metadata.find(name);
        if (entry != state.metadata.end() && !entry->second.empty() && is_good(entry->second)) {
            field = entry->second;
        }
    };
    const auto any = [](const std::string&) { return true; };
    take(key::name, workspace.name, any);
    take(key::parent, workspace.parentId, is_valid_workspace_id);
    take(key::created_at, workspace.createdAt, any);
    take(key::author, workspace.author, [&](const std::string&) { return workspace.author.empty(); });
    take(key::base_scene, workspace.baseScene, [&](const std::string& scene) {
        ProjectWorkspace based = workspace;
        based.baseScene = scene;
        return canonical_workspace_scene_uri(project, based, {}) == std::filesystem::path(scene);
    });
}

}  // namespace

std::vector<ProjectWorkspace> query_tome_branch_index_workspaces(const std::filesystem::path& project) {
    const std::filesystem::path checkout = workspace_branch_index_checkout(project);
    if (tome_checkout_uses_project_shared_store(project, checkout)) {
        discard_state(project, checkout);
    }
    clone_tome_checkout_if_needed(project, checkout, "main", {}, false, true);
    const CheckoutLocation query{checkout, project_tome_remote_url(project)};
    TomeWorkspaceState state = call_tome_branch_list(query);
    const std::set<std::string> known = local_ids(project);
    std::vector<ProjectWorkspace> workspaces{main_workspace(project)};
    const std::string scene = workspaces.front().baseScene;
    for (ProjectWorkspace& workspace : state.workspaces) {
        const std::string& kind = state.branch_kinds[workspace.id];
        if (workspace.id == "main" || (!kind.empty() && kind != workspace_branch_kind)) {
            continue;
        }
        workspace.parentId = "main";
        workspace.baseScene = scene;
        if (!known.contains(workspace.id)) {
            complete_from_metadata(project, query, workspace);
        }
        workspaces.push_back(std::move(workspace));
    }
    return workspaces;
}

}  // namespace quill
