#include "workspace/operations/workspace_diff.h"

#include "engine/tome_binding.h"
#include "files/absolute_path.h"
#include "workspace/checkout/workspace_checkout.h"
#include "workspace/index/workspace_lookup.h"

namespace quill {

std::vector<ProjectWorkspaceDiffEntry> diff_project_workspaces(const std::filesystem::path& project_path,
                                                               const std::string& from_workspace,
                                                               const std::string& to_workspace) {
    const std::filesystem::path project = absolute_normalized(project_path);
    const std::string from = require_fresh_workspace_branch(project, from_workspace).id;
    const std::string to = require_fresh_workspace_branch(project, to_workspace).id;
    const std::string remote = require_project_tome_remote(project);
    return call_tome_branch_diff({ensure_tome_metadata_checkout(project), remote}, from, to).diff_entries;
}

}  // namespace quill
