#include "workspace/index/workspace_index.h"

#include <algorithm>
#include <set>

#include "files/absolute_path.h"
#include "project/repository_configuration.h"
#include "project/workspace_id.h"
#include "workspace/index/branch_index_cache.h"
#include "workspace/index/workspace_reconciliation.h"

namespace quill {
namespace {

std::vector<ProjectWorkspace> visible_workspaces(const std::filesystem::path& project, bool include_archived) {
    if (const auto remote = cached_tome_branch_index(project)) {
        return reconcile_local_workspaces_with_tome(local_workspace_index(project, true), *remote, include_archived);
    }
    return local_workspace_index(project, include_archived);
}

}  // namespace

std::vector<ProjectWorkspace> list_project_workspaces(const std::filesystem::path& project_path,
                                                      bool include_archived) {
    const std::filesystem::path project = absolute_normalized(project_path);
    if (project_has_tome_remote(project)) {
        maybe_refresh_tome_branch_index_async(project);
    }
    return visible_workspaces(project, include_archived);
}

std::vector<ProjectWorkspace> refresh_project_workspaces(const std::filesystem::path& project_path,
                                                         bool include_archived) {
    const std::filesystem::path project = absolute_normalized(project_path);
    if (project_has_tome_remote(project)) {
        refresh_tome_branch_index(project);
    }
    return visible_workspaces(project, include_archived);
}

std::optional<ProjectWorkspace> find_project_workspace(const std::filesystem::path& project_path, const std::string& id,
                                                       bool include_archived) {
    const std::vector<ProjectWorkspace> workspaces =
        visible_workspaces(absolute_normalized(project_path), include_archived);
    const auto found = std::find_if(workspaces.begin(), workspaces.end(),
                                    [&](const ProjectWorkspace& workspace) { return workspace.id == id; });
    return found != workspaces.end() ? std::optional(*found) : std::nullopt;
}

std::vector<std::string> project_workspace_display_names(const std::vector<ProjectWorkspace>& workspaces) {
    // The name "Main" is reserved for the main workspace, wherever in the list it is.
    std::set<std::string> groups{"main"};
    std::set<std::string> taken{"Main"};
    std::vector<std::string> names;
    for (const ProjectWorkspace& workspace : workspaces) {
        if (workspace.id == "main") {
            names.emplace_back("Main");
            continue;
        }
        std::string name = workspace.name;
        if (!groups.insert(normalize_workspace_id(name)).second) {
            name += " (" + workspace.id + ")";
        }
        for (int n = 2; !taken.insert(name).second; ++n) {
            name = workspace.name + " (" + workspace.id + ", " + std::to_string(n) + ")";
        }
        names.push_back(std::move(name));
    }
    return names;
}

}  // namespace quill
