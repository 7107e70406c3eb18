// Three-way merge of trees, decided by digests; files that did not change are not looked at.
#pragma once

#include <string>
#include <vector>

#include "tome/object/tree_edit.h"

namespace tome {

struct TreeMerge {
    TreeChanges changes;                 ///< what `theirs` brings to `ours`
    std::vector<std::string> conflicts;  ///< paths changed differently on both sides, in byte order
};

/// Merges what changed from `base` to `theirs` into `ours`. A path that both sides changed alike is no conflict;
/// neither is a path that one side left alone. A file on one side where the other has a folder with changes is one.
TreeMerge merge_trees(ObjectSource& source, const Digest& base, const Digest& ours, const Digest& theirs);

}  // namespace tome
