// Staging working files for the next commit: content into the store, changes into the index.
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

/// Stages what differs from the base and unstages what does not; returns what was staged. All of it or nothing stands
/// in the index afterwards. Files that are named themselves and have not changed are looked at on the remote, and sent
/// again when they are damaged there. Throws Error(Invalid) for a path that can be no file of a tree.
std::vector<StagedFile> stage_files(Checkout& checkout, const StagingRequest& request);

}  // namespace tome
