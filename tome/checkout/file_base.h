// What working files stand on: the version that they were last given, taken or compared with. A checkout's files stand
// on one revision as a rule; where some were exchanged with a newer one alone, on a tree of their own.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tome/checkout/checkout.h"
#include "tome/object/tree_edit.h"

namespace tome {

struct FileBases {
    Digest revision;                 ///< on which the files are to stand from now on
    std::vector<std::string> paths;  ///< files, checked; none: all files
    bool is_base = false;            ///< no file stands on another revision then: it becomes the base
};

/// The tree that the files stand on with `bases` in it, written to where the checkout keeps its objects.
Digest tree_with_bases(Checkout& checkout, const TreeChanges& bases);

/// Makes `revision` the base and `tree` what the files stand on. Call it within a transaction on the index.
void stand_on(Checkout& checkout, const Digest& revision, const Digest& tree);

/// Makes files stand on a revision, and changes no file: one with other bytes then counts as changed, one that the
/// revision lacks as added. Without paths a file that the checkout does not hold stays unheld, unless it is detached.
void set_file_bases(Checkout& checkout, const FileBases& bases);

/// Finds out what files of unknown origin stand on: each of `paths` whose bytes are those of one of the newest
/// `versions` versions of its path on the branch stands on that version from now on, the newest of them if there are
/// several. The others stay on what they stand on.
void find_file_bases(Checkout& checkout, const std::vector<std::string>& paths, std::uint64_t versions);

}  // namespace tome
