// A branch as one checkout sees it: the remote's record, and the revisions that were committed here and not published
// yet.
#pragma once

#include <map>
#include <string>

#include "tome/checkout/checkout.h"

namespace tome {

struct NewestHead {
    Digest head;             ///< zero for a branch without a revision
    Digest common_base;      ///< newest local revision that `head` contains; zero: none
    bool overtaken = false;  ///< `head` does not contain the local head: somebody else published first
};

/// The newest head of `branch`: the local one if it descends from the remote's, else the remote's. Throws
/// Error(NotFound) "branch does not exist: NAME".
NewestHead newest_head(Checkout& checkout, const BranchName& branch);

/// The head of the branch as far as it is known without asking the remote.
std::optional<Digest> known_head(Checkout& checkout, const BranchName& branch);

/// The branch's record on the remote, to be changed and written; nothing if there is no such branch. If the remote went
/// back, it first gets back what it lost, provided that all of it is here. Throws Error(Moved) "the remote went back:
/// …" otherwise.
std::optional<BranchRecord> branch_to_write(Checkout& checkout, const BranchName& branch);

/// Publishes the local head of `branch` and the metadata noted for it, in one step, and returns the head on the remote.
/// Throws Error(Moved) "branch has moved on the remote: NAME" if neither of the two heads descends from the other, or
/// as branch_to_write() does.
Digest publish_branch(Checkout& checkout, const BranchName& branch, bool with_metadata);

/// Makes `branch` the checkout's branch and `newest` its base, and forgets a local head that the remote has overtaken.
/// Call it within a transaction on the index.
void follow_branch(Checkout& checkout, const BranchName& branch, const NewestHead& newest);

/// Makes `head` the base and the local head of the checkout's branch. It is the last step of commit, restore and merge;
/// call it within a transaction on the index.
void advance_branch(Checkout& checkout, const Digest& head);

}  // namespace tome
