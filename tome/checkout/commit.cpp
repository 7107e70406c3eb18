#include "tome/checkout/commit.h"

#include "tome/base/error.h"
#include "tome/checkout/branch_state.h"

namespace tome {

NamedRevision commit_staged(Checkout& checkout, const std::string& message) {
    const TreeChanges staged = checkout.state().staged_changes();
    if (checkout.state().base_tree()) {  // Files stand on newer states than the base, which must not be taken back.
        throw Error(ErrorCode::Moved, "branch has moved on the remote: " + checkout.state().branch().text());
    }
    const Digest before = checkout.tree_of(checkout.state().base());
    ObjectList trees;
    const Digest tree =
        staged.empty() ? before : apply_changes(checkout.sources(), before, staged, trees, NewNames::Distinct);
    if (staged.empty() || tree == before) {
        throw Error(ErrorCode::NothingStaged, "Nothing staged for commit");
    }
    return add_revision(checkout, trees.objects(), tree, message);
}

NamedRevision add_revision(Checkout& checkout, const std::vector<NewObject>& trees, const Digest& tree,
                           const std::string& message) {
    const Revision revision = new_revision(checkout.sources(), tree, checkout.state().base(), {}, message);

    // Objects first, then, in one transaction on the index, the branch.
    Transaction stored(checkout.writable_store().database());
    checkout.writable_store().add_objects(trees);
    const Digest head = checkout.writable_store().add_object(ObjectKind::Revision, encode_revision(revision));
    stored.commit();

    Transaction moved(checkout.state().database());
    advance_branch(checkout, head);
    checkout.state().unstage_all();
    moved.commit();
    if (!checkout.has_remote()) {
        publish_branch(checkout, checkout.state().branch(), false);
    }
    return {head, revision};
}

}  // namespace tome
