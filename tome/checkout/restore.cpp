#include "tome/checkout/restore.h"

#include "tome/base/error.h"
#include "tome/checkout/commit.h"

namespace tome {

RestoredRevision restore_revision(Checkout& checkout, const Digest& target, const std::string& message) {
    const Digest base = checkout.state().base();
    if (target.is_zero() || !is_ancestor(checkout.sources(), target, base)) {
        throw Error(ErrorCode::NotFound, "revision is not in the history of branch " +
                                             checkout.state().branch().text() + ": " + to_hex(target));
    }
    const Digest before = checkout.tree_of(base);
    const Digest tree = checkout.tree_of(target);
    std::vector<FileDifference> differences = diff_trees(checkout.sources(), before, tree);
    return {add_revision(checkout, {}, tree, message), std::move(differences)};
}

}  // namespace tome
