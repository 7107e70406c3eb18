// Creating branches on the remote and archiving them there.
#pragma once

#include <cstdint>
#include <string>

#include "tome/checkout/checkout.h"

namespace tome {

struct NewBranch {
    BranchName name;
    BranchName from;  ///< the branch whose published head and metadata it begins with
    std::string kind;
    std::string author;
};

struct CreatedBranch {
    Digest head;
    std::uint64_t order = 0;  ///< of `head`
};

/// Creates the branch. Throws Error(AlreadyExists) "branch already exists: NAME", Error(NotFound) "branch does not
/// exist: FROM", or as branch_to_write() does.
CreatedBranch create_branch(Checkout& checkout, const NewBranch& branch);

/// Marks the branch as archived; its revisions stay. Throws Error(NotFound) "branch does not exist: NAME", or as
/// branch_to_write() does.
void archive_branch(Checkout& checkout, const BranchName& name);

}  // namespace tome
