// Bringing working files up to date with a newer revision: untouched ones follow, edits stay, texts that changed on
// both sides get both changes.
#pragma once

#include <string>
#include <vector>

#include "tome/checkout/checkout.h"

namespace tome {

struct UpdateRequest {
    Digest revision;                 ///< zero: the newest head of the branch
    std::vector<std::string> paths;  ///< files, checked; none: all, those included that the checkout does not hold
    bool is_base = false;            ///< no other file is behind: the revision becomes the base
    bool check_only = false;         ///< find the conflicts and do nothing
};

struct UpdatedFiles {
    Digest revision;                     ///< what the files stand on now
    std::vector<std::string> changed;    ///< files that were written or removed, sorted
    std::vector<std::string> merged;     ///< those among them that hold both changes and are uncommitted, sorted
    std::vector<std::string> conflicts;  ///< files that changed on both sides; with any, nothing was done
};

/// A file that only changed here keeps its bytes and stands on the revision from then on. Throws Error(WouldOverwrite)
/// where something else stands in the way, or as newest_head() does.
UpdatedFiles update_files(Checkout& checkout, const UpdateRequest& request);

}  // namespace tome
