// A remote that is a directory: the file "tome-remote" marks it, and each repository on it is a store in a folder of
// its own. Format: docs/formats.md.
//
// Include tome/remote/repository.h instead: it picks the kind of remote.
#pragma once

#include <memory>
#include <string>

#include "tome/remote/remote_url.h"
#include "tome/remote/store_remote.h"

namespace tome {

class DirectoryRemote final : public StoreRemote {
  public:
    /// The four functions behind tome/remote/repository.h, which says what they do.
    static bool is_there(const RepositoryLocation& location);
    static std::string place_of(const RepositoryLocation& location);

    /// Makes the directory a remote first if it is missing (its parent must exist) or empty. Throws an Error that says
    /// why it cannot be one.
    static void create_repository(const RepositoryLocation& location);
    static std::unique_ptr<Remote> open(const RepositoryLocation& location);

    /// Opens a repository that is there.
    explicit DirectoryRemote(const RepositoryLocation& location);
};

}  // namespace tome
