// How the files of a package, or of a workspace's checkout, differ from what they stand on and from the newest revision
// of their branch. Failures are std::runtime_error, the binding's among them. Any thread.
#pragma once

#include <string>
#include <vector>

#include "engine/tome_binding.h"

namespace quill {

/// The files whose three states are not all the same.
struct BranchComparison {
    std::string head;  ///< the newest revision of the branch
    std::vector<ProjectFileState> files;

    /// The files that were changed here and, otherwise, on the branch.
    std::vector<std::string> conflicts() const;
};

/// Compares the visible files of a checkout at `paths`, or all without. A link to a file counts as that file; other
/// links, pipes and the like are no files.
BranchComparison compare_with_branch(const CheckoutLocation& checkout, const std::vector<std::string>& paths = {});

}  // namespace quill
