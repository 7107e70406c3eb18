#include "workspace/checkout/remote_state.h"

#include "engine/tome_binding.h"
#include "files/absolute_path.h"
#include "project/repository_configuration.h"
#include "project/workspace_paths.h"
#include "workspace/checkout/package_base.h"
#include "workspace/checkout/workspace_checkout.h"

namespace quill {

void accept_project_remote_state(const std::filesystem::path& project_path) {
    const std::filesystem::path project = absolute_normalized(project_path);
    const CheckoutLocation checkout{workspace_checkout_base(project), require_project_tome_remote(project)};
    call_tome_repository_accept_remote(checkout, project_tome_repository_url(project),
                                       workspace_branch_memory(project).string());
    if (is_tome_checkout(workspace_package_base(project))) {
        if (std::optional<PackageBase> base = PackageBase::open(project)) {
            const std::string head = base->compare().head;
            head.empty() ? void() : base->record_all(head);
        }
    }
}

}  // namespace quill
