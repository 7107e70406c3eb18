// A branch as one checkout sees it: the remote's record and what was committed here and not yet published.
#pragma once

#include <map>
#include <string>

#include "tome/checkout/checkout.h"

namespace tome {

struct NewestHead {
    Digest head;             ///< zero for a branch without a revision
    Digest common_base;      ///< what of the branch's own commits here is part of `head`: the local head, or, when the
                             ///< remote has overtaken it, the nearest common ancestor
    bool overtaken = false;  ///< the local head is no part of `head`
};

/// The newest head of `branch`: the local one where that goes beyond the remote's, else the remote's. Throws
/// Error(NotFound) "branch does not exist: NAME".
NewestHead newest_head(Checkout& checkout, const BranchName& branch);

/// The head that the checkout knows without asking the remote, when it has one.
std::optional<Digest> known_head(Checkout& checkout, const BranchName& branch);

/// The branch on the remote, to be written; nothing when there is none. Where the remote went back behind what is
/// remembered of the branch and all that it lacks is here, it first gets that again. Throws Error(Moved) "the remote
/// went back: …" otherwise.
std::optional<BranchRecord> branch_to_write(Checkout& checkout, const BranchName& branch);

/// Publishes the local head of `branch` and the metadata noted for it, in one step; returns the head on the remote.
/// Throws Error(Moved) "branch has moved on the remote: NAME" unless the remote's head is an ancestor, or as
/// branch_to_write() does.
Digest publish_branch(Checkout& checkout, const BranchName& branch, bool with_metadata);

/// Makes `branch` the checkout's branch and `newest` its base. Commits that the remote has overtaken are given up. In
/// the transaction on the index that the caller has open.
void follow_branch(Checkout& checkout, const BranchName& branch, const NewestHead& newest);

/// Makes `head` the base and the local head of the checkout's branch: the last step of commit, restore and merge, in
/// the transaction on the index that the caller has open.
void advance_branch(Checkout& checkout, const Digest& head);

}  // namespace tome
