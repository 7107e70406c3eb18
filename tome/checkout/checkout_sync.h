// Bringing working files to a revision: the newest of the branch, the base, or any other.
#pragma once

#include <string>
#include <vector>

#include "tome/checkout/checkout.h"

namespace tome {

struct SyncRequest {
    Digest revision;                 ///< whose files are wanted; the base stays. Zero: those of the base
    bool fetch_newest = false;       ///< without a revision: the branch's newest head becomes the base first
    std::vector<std::string> paths;  ///< files or folders, checked; none: the whole tree
    bool overwrite = false;          ///< replace uncommitted changes, too
    bool scratch = false;            ///< the files need not survive a power cut
};

struct SyncedFiles {
    Digest revision;                   ///< whose files were wanted
    std::vector<std::string> changed;  ///< paths of working files that were written or removed, sorted
};

/// Throws Error(WouldOverwrite) "uncommitted changes would be overwritten: …", or as newest_head() does.
SyncedFiles sync_checkout(Checkout& checkout, const SyncRequest& wanted);

}  // namespace tome
