// Making checkouts: of a repository that is there, or together with a new one.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "tome/checkout/checkout.h"
#include "tome/remote/remote_url.h"

namespace tome {

struct NewRepository {
    std::optional<RepositoryLocation> location{};  ///< on a remote; nothing: the checkout keeps its branches itself
    std::string description{};
    std::filesystem::path branch_memory{};  ///< absolute; empty: the checkout has its own
};

/// Makes the repository and a checkout of it in `directory`. Throws Error(AlreadyExists) "is a checkout already:
/// DIRECTORY" or "Already exists: URL".
void create_repository_and_checkout(const std::filesystem::path& directory, const NewRepository& repository);

struct CloneRequest {
    RepositoryLocation location;
    BranchName branch;
    std::filesystem::path branch_memory{};  ///< absolute; empty: none
    bool use_shared_store = false;
    std::filesystem::path shared_store{};
    std::vector<std::string> paths{};        ///< files or folders to write, checked
    bool whole_tree = false;                 ///< write all files
    std::filesystem::path working_folder{};  ///< of a detached checkout, which stands on no file at first; else empty
};

struct ClonedCheckout {
    Digest head;
    std::uint64_t order = 0;           ///< of `head`
    std::vector<std::string> changed;  ///< paths of the files that were written, sorted
};

/// Makes `directory` a checkout of the branch's head, or goes on with an unfinished one of the same repository and
/// branch. Throws Error(NotFound) "branch does not exist: NAME" or as open_repository() does, and Error(AlreadyExists)
/// "is a checkout of another repository: DIRECTORY" or "… of another branch: …". No checkout is left then.
ClonedCheckout clone_repository(const std::filesystem::path& directory, const CloneRequest& request);

}  // namespace tome
