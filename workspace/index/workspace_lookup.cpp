#include "workspace/index/workspace_lookup.h"

#include <stdexcept>

#include "project/repository_configuration.h"
#include "project/workspace_id.h"
#include "workspace/index/workspace_index.h"

namespace quill {

std::optional<ProjectWorkspace> find_project_workspace_fresh(const std::filesystem::path& project,
                                                             const std::string& id, bool force_refresh) {
    const std::string workspace = workspace_id_or_main(id);
    std::optional<ProjectWorkspace> found;
    if (!force_refresh) {
        found = find_project_workspace(project, workspace, true);
    }
    if (!found && project_has_tome_remote(project)) {
        refresh_project_workspaces(project, true);
        found = find_project_workspace(project, workspace, true);
    }
    return found || !force_refresh ? found : find_project_workspace(project, workspace, true);
}

ProjectWorkspace require_workspace_branch(const std::filesystem::path& project, const std::string& id) {
    const std::optional<ProjectWorkspace> workspace = find_project_workspace_fresh(project, id, false);
    if (!workspace) {
        throw std::runtime_error("workspace branch does not exist: " + workspace_id_or_main(id));
    }
    return *workspace;
}

ProjectWorkspace require_fresh_workspace_branch(const std::filesystem::path& project, const std::string& id) {
    std::optional<ProjectWorkspace> workspace = find_project_workspace_fresh(project, id, true);
    if (!workspace) {
        throw std::runtime_error("workspace branch does not exist");
    }
    return std::move(*workspace);
}

}  // namespace quill
