// Merging two revisions: trees from the nearest common ancestors, and texts that both sides changed by lines.
#pragma once

#include <string>
#include <vector>

#include "tome/object/object_source.h"
#include "tome/object/tree_edit.h"
#include "tome/store/store.h"

namespace tome {

struct RevisionMerge {
    Digest tree;                         ///< the merged tree, in the store; zero with conflicts
    std::vector<std::string> conflicts;  ///< paths changed differently on both sides, in byte order
};

/// Merges the changes of `theirs` into `ours`. If several nearest common ancestors exist (criss-cross histories), they
/// are merged with one another first. A path about which they disagree is a conflict if the two sides differ there. New
/// objects go into `store`, also those of a merge that ends in conflicts; nothing refers to these.
RevisionMerge merge_revisions(ObjectSource& source, Store& store, const Digest& ours, const Digest& theirs);

}  // namespace tome
