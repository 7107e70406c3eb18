// A remote that is a directory: the file "tome-remote" marks it, and each repository on it is a store in a folder of
// its own. Format: docs/formats.md.
//
// Others reach it through tome/remote/repository.h.
#pragma once

#include <memory>
#include <string>

#include "tome/remote/remote_url.h"
#include "tome/remote/store_remote.h"

namespace tome {

class DirectoryRemote final : public StoreRemote {
  public:
    /// The next four do what the functions of tome/remote/repository.h say.
    static bool is_there(const RepositoryLocation& location);
    static std::string place_of(const RepositoryLocation& location);

    /// Makes the directory a remote first when it is missing (its parent must exist) or empty. Throws Error that says
    /// why a directory cannot serve: a file, not writable, not a Tome remote, no parent.
    static void create_repository(const RepositoryLocation& location);
    static std::unique_ptr<Remote> open(const RepositoryLocation& location);

    /// Opens a repository that is there.
    explicit DirectoryRemote(const RepositoryLocation& location);
};

}  // namespace tome
