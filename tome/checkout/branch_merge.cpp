#include "tome/checkout/branch_merge.h"

#include "tome/base/error.h"
#include "tome/checkout/branch_state.h"
#include "tome/checkout/materialization.h"
#include "tome/merge/revision_merge.h"
#include "tome/object/revision_graph.h"

namespace tome {
namespace {

BranchMerge merge_heads(Checkout& checkout, const NewestHead& target, const Digest& theirs,
                        const std::string& message) {
    const Digest& ours = target.head;
    const Digest our_tree = checkout.tree_of(ours);
    BranchMerge result;
    RevisionMerge merge = merge_revisions(checkout.sources(), checkout.writable_store(), ours, theirs);
    if (!merge.conflicts.empty()) {
        result.conflicts = std::move(merge.conflicts);
        return result;
    }
    const Revision revision = new_revision(checkout.sources(), merge.tree, ours, theirs, message);
    result.head = checkout.writable_store().add_object(ObjectKind::Revision, encode_revision(revision));
    result.order = revision.order;

    MaterializationRequest request = request_to_follow(checkout, target);
    request.new_tree = request.target = merge.tree;
    const MaterializationPlan plan = plan_materialization(checkout, request);
    materialize(checkout, plan, [&] { advance_branch(checkout, result.head); });
    result.changes = find_changes(diff_trees(checkout.sources(), our_tree, merge.tree));
    return result;
}

}  // namespace

BranchMerge merge_branch(Checkout& checkout, const BranchName& source, const std::string& message) {
    const BranchName target = checkout.state().branch();
    const NewestHead ours = newest_head(checkout, target);
    const Digest theirs = newest_head(checkout, source).head;
    if (is_ancestor(checkout.sources(), theirs, ours.head)) {
        return {ours.head, order_of(checkout.sources(), ours.head), {}, {}};
    }
    if (ours.head.is_zero()) {
        throw Error(ErrorCode::Invalid, "branch has no revision to merge into: " + target.text());
    }
    BranchMerge result = merge_heads(checkout, ours, theirs, message);
    if (!checkout.has_remote()) {
        publish_branch(checkout, target, false);
    }
    return result;
}

}  // namespace tome
