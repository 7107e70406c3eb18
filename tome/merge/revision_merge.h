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

/// Merges what `theirs` changed into `ours`. With several nearest common ancestors (criss-cross histories) these are
/// merged with one another first; a path about which they do not agree is a conflict where the two sides differ. New
/// objects go to `store`; those of a merge with conflicts are garbage there.
RevisionMerge merge_revisions(ObjectSource& source, Store& store, const Digest& ours, const Digest& theirs);

}  // namespace tome
