// Staging working files for the next commit: contents go into the store, changes into the index.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "tome/checkout/checkout.h"

namespace tome {

struct StagedFile {
    std::string path;
    std::optional<TreeEntry> entry;  ///< nothing: a deletion
};

struct StagingRequest {
    std::vector<std::string> paths;  ///< files or folders, checked
    bool deletions = false;          ///< paths that are gone are staged as deletions
    bool additions = false;          ///< paths that the base lacks are staged, too
};

/// Stages what differs from the base, unstages what does not, and returns what was staged. The index is updated
/// atomically. If a path names an unchanged file itself, its copy on the remote is checked, and sent again if it is
/// damaged. Throws Error(Invalid) for a path that cannot be a file of a tree.
std::vector<StagedFile> stage_files(Checkout& checkout, const StagingRequest& request);

}  // namespace tome
