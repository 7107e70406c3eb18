// Opening and making repositories on remotes of every kind. The URL's scheme tells the kind; nothing but this module
// knows which kinds there are.
#pragma once

#include <memory>
#include <string>

#include "tome/remote/remote.h"
#include "tome/remote/remote_url.h"

namespace tome {

/// Opens a repository. Throws Error(NotFound) "Not found: URL" when the remote or the repository is missing.
std::unique_ptr<Remote> open_repository(const RepositoryLocation& location);

/// Makes a repository, with a branch "main" that has no revision, and makes its remote ready where that has none yet.
/// Throws Error(AlreadyExists) "Already exists: URL".
void create_repository(const RepositoryLocation& location);

/// Whether something stands where the repository is to be.
bool repository_is_there(const RepositoryLocation& location);

/// What Remote::place() says of the repository, also when it cannot be opened.
std::string repository_place(const RepositoryLocation& location);

}  // namespace tome
