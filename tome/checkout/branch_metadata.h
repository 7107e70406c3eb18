// The metadata of a branch as one checkout sees it: what the remote has, and what was noted here for the next push.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "tome/checkout/checkout.h"

namespace tome {

/// Notes values for the next push of the branch: all or none. Throws Error(Invalid) for an empty key, and unless there
/// are as many values as keys.
void note_metadata(Checkout& checkout, const BranchName& branch, const std::vector<std::string>& keys,
                   const std::vector<std::string>& values);

/// The values of `keys`, or of all keys if none is given. A noted value takes precedence over the remote's. Throws
/// Error(NotFound) "branch does not exist: NAME".
std::map<std::string, std::string> branch_metadata(Checkout& checkout, const BranchName& branch,
                                                   const std::vector<std::string>& keys);

}  // namespace tome
