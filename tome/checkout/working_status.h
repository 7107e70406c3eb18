// Which working files differ from the base revision.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "tome/checkout/checkout.h"

namespace tome {

/// The paths of files that differ from the checkout's base or are staged, in byte order; of links and of anything else
/// that is neither a file nor a folder, too. Files that the checkout does not hold count as unchanged. Everything
/// within `skip` is left out. Throws Error(Invalid) "invalid path: PATH" for a file whose name may not stand in a tree,
/// and Error(Io) for what cannot be read.
std::vector<std::string> changed_paths(Checkout& checkout, const std::set<std::string>& skip);

}  // namespace tome
