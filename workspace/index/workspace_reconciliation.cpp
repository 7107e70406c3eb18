#include "workspace/index/workspace_reconciliation.h"

#include <algorithm>
#include <string>

#include "workspace/checkout/workspace_scene.h"
#include "workspace/index/picker_order.h"
#include "workspace/index/workspace_index_file.h"

namespace quill {
namespace {

std::string first_non_empty(const std::string& a, const std::string& b) {
    return a.empty() ? b : a;
}

}  // namespace

std::vector<ProjectWorkspace> local_workspace_index(const std::filesystem::path& project, bool include_archived) {
    std::vector<ProjectWorkspace> workspaces{main_workspace(project)};
    for (ProjectWorkspace& workspace : read_workspaces_without_main(project)) {
        if (include_archived || !workspace.archived) {
            workspaces.push_back(std::move(workspace));
        }
    }
    sort_workspaces_for_picker(workspaces);
    return workspaces;
}

std::vector<ProjectWorkspace> reconcile_local_workspaces_with_tome(const std::vector<ProjectWorkspace>& local,
                                                                   const std::vector<ProjectWorkspace>& remote,
                                                                   bool include_archived) {
    std::vector<ProjectWorkspace> result;
    for (ProjectWorkspace workspace : remote) {
        if (workspace.id.empty() || (workspace.archived && !include_archived)) {
            continue;
        }
        const auto known = std::find_if(local.begin(), local.end(),
                                        [&](const ProjectWorkspace& entry) { return entry.id == workspace.id; });
        if (known != local.end()) {
            // The remote's times and author win. The remote tells one time of a branch, that of its last change, so the
            // creation time shown is that one as well, although the index file knows better. Both rules are fixed.
            workspace.name = first_non_empty(known->name, workspace.name);
            workspace.parentId = first_non_empty(known->parentId, workspace.parentId);
            workspace.baseScene = first_non_empty(known->baseScene, workspace.baseScene);
            workspace.createdAt = first_non_empty(workspace.createdAt, known->createdAt);
            workspace.updatedAt = first_non_empty(workspace.updatedAt, known->updatedAt);
            workspace.author = first_non_empty(workspace.author, known->author);
        }
        workspace.name = first_non_empty(workspace.name, workspace.id);
        if (workspace.id != "main") {
            workspace.parentId = first_non_empty(workspace.parentId, "main");
        }
        result.push_back(std::move(workspace));
    }
    sort_workspaces_for_picker(result);
    return result;
}

}  // namespace quill
