// Restoring an earlier revision: a new revision on top of the history, with the earlier one's files.
#pragma once

#include <string>
#include <vector>

#include "tome/checkout/checkout.h"
#include "tome/object/revision_graph.h"
#include "tome/object/tree_diff.h"

namespace tome {

struct RestoredRevision {
    NamedRevision revision;
    std::vector<FileDifference> differences;  ///< from the base before to the restored files
};

/// Adds a revision with the tree of `target`. The working files stay as they are. Throws Error(NotFound) "revision is
/// not in the history of branch NAME: HEX" unless the base descends from `target`.
RestoredRevision restore_revision(Checkout& checkout, const Digest& target, const std::string& message);

}  // namespace tome
