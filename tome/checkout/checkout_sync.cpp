#include "tome/checkout/checkout_sync.h"

#include "tome/checkout/branch_state.h"
#include "tome/checkout/materialization.h"

namespace tome {

SyncedFiles sync_checkout(Checkout& checkout, const SyncRequest& wanted) {
    const Digest base = checkout.state().base();
    const BranchName branch = checkout.state().branch();
    const bool follow = wanted.revision.is_zero() && wanted.fetch_newest;
    const NewestHead newest = follow ? newest_head(checkout, branch) : NewestHead{base, base};
    const Digest revision = wanted.revision.is_zero() ? newest.head : wanted.revision;

    MaterializationRequest request = request_to_follow(checkout, newest);
    request.target = revision == base && wanted.revision.is_zero() ? checkout.base_tree() : checkout.tree_of(revision);
    request.paths = wanted.paths;
    request.whole_tree = wanted.paths.empty();
    request.overwrite = wanted.overwrite;
    request.scratch = wanted.scratch;
    const MaterializationPlan plan = plan_materialization(checkout, request);
    return {revision, materialize(checkout, plan, [&] { follow_branch(checkout, branch, newest); })};
}

}  // namespace tome
