// Which working files differ from the base revision.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "tome/checkout/checkout.h"

namespace tome {

/// The paths of files that differ from the checkout's base or are staged, in byte order. Files that the checkout does
/// not hold count as unchanged. Everything within `skip` is left out. Throws Error(Io) for something that cannot be a
/// file of a tree.
std::vector<std::string> changed_paths(Checkout& checkout, const std::set<std::string>& skip);

}  // namespace tome
