// Which working files differ from the base revision.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "tome/checkout/checkout.h"

namespace tome {

/// The paths of files that differ from the checkout's base, or are staged, in byte order. What the checkout does not
/// hold is unchanged. Everything within `skip` is passed over. Throws Error(Io) for what can be no file of a tree.
std::vector<std::string> changed_paths(Checkout& checkout, const std::set<std::string>& skip);

}  // namespace tome
