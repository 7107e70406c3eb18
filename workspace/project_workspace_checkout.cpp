#include "workspace/project_workspace_checkout.h"

#include "workspace/workspace_paths.h"

namespace quill {

std::filesystem::path project_workspace_checkout_root(const std::filesystem::path& project, const std::string& id) {
    return checkout_root_for_workspace_id(project, id);
}

}  // namespace quill
