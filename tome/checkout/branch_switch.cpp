#include "tome/checkout/branch_switch.h"

#include "tome/base/error.h"
#include "tome/checkout/branch_state.h"
#include "tome/checkout/materialization.h"

namespace tome {
namespace {

NewestHead head_to_follow(Checkout& checkout, const BranchName& name, bool fetch_newest) {
    if (const auto known = fetch_newest ? std::nullopt : known_head(checkout, name)) {
        return {*known, *known};
    }
    NewestHead newest = newest_head(checkout, name);
    if (newest.overtaken && checkout.state().branch() != name) {
        // Its commits would be in no branch and, unlike on the branch that is checked out, in no working file.
        throw Error(ErrorCode::Moved, "branch has moved on the remote: " + name.text());
    }
    return newest;
}

}  // namespace

SwitchedBranch switch_branch(Checkout& checkout, const BranchName& name, bool fetch_newest) {
    const NewestHead newest = head_to_follow(checkout, name, fetch_newest);
    const MaterializationPlan plan = plan_materialization(checkout, request_to_follow(checkout, newest));
    return {newest.head, materialize(checkout, plan, [&] { follow_branch(checkout, name, newest); })};
}

}  // namespace tome
