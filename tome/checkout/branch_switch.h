// Having a checkout follow another branch, or the newest state of its own.
#pragma once

#include <string>
#include <vector>

#include "tome/checkout/checkout.h"

namespace tome {

struct SwitchedBranch {
    Digest head;                       ///< the new base
    std::vector<std::string> changed;  ///< paths of working files that were written or removed, sorted
};

/// Makes `name` the checkout's branch and its newest head the base; the files that the checkout holds follow. Without
/// `fetch_newest` the head that is known here is taken, where one is. Throws Error(WouldOverwrite), Error(Moved) when
/// the remote has overtaken commits made here on another branch than the one that is checked out, or as newest_head()
/// does.
SwitchedBranch switch_branch(Checkout& checkout, const BranchName& name, bool fetch_newest);

}  // namespace tome
