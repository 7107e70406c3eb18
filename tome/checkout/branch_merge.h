// Merging another branch into the one that is checked out.
#pragma once

#include <string>
#include <vector>

#include "tome/checkout/checkout.h"
#include "tome/object/tree_diff.h"

namespace tome {

struct BranchMerge {
    Digest head;                         ///< the base afterwards; zero with conflicts
    std::uint64_t order = 0;             ///< of `head`
    std::vector<PathChange> changes;     ///< what the merge brought
    std::vector<std::string> conflicts;  ///< paths; with any, nothing was changed
};

/// Merges the newest head of `source` into that of the checkout's branch. The merge revision becomes the base, and the
/// files that the checkout holds are updated. If `source` has nothing new, nothing changes and the branch's newest head
/// is returned. Throws Error(Invalid) "branch has no revision to merge into: NAME", Error(WouldOverwrite), or as
/// newest_head() does.
BranchMerge merge_branch(Checkout& checkout, const BranchName& source, const std::string& message);

}  // namespace tome
