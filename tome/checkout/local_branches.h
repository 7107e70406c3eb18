// The branches of a checkout that has no remote: they are in its own store, and nobody else sees them.
#pragma once

#include <filesystem>

#include "tome/remote/store_remote.h"

namespace tome {

class LocalBranches final : public StoreRemote {
  public:
    /// Opens those of the checkout in `directory`.
    explicit LocalBranches(const std::filesystem::path& directory);

    /// Gives the checkout in `directory` an own store with a branch "main" that has no revision. False when it has one.
    static bool create(const std::filesystem::path& directory);
};

}  // namespace tome
