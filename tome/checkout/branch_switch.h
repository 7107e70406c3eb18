// Switching a checkout to another branch, or to the newest state of its own.
#pragma once

#include <string>
#include <vector>

#include "tome/checkout/checkout.h"

namespace tome {

struct SwitchedBranch {
    Digest head;                       ///< the new base
    std::vector<std::string> changed;  ///< paths of working files that were written or removed, sorted
};

/// Makes `name` the checkout's branch and its newest head the base, and updates the files that the checkout holds.
/// Without `fetch_newest` the head that is known here is used, if there is one. Throws Error(WouldOverwrite), or as
/// newest_head() does, or Error(Moved) if the remote has overtaken local commits of a branch that is not checked out.
SwitchedBranch switch_branch(Checkout& checkout, const BranchName& name, bool fetch_newest);

}  // namespace tome
