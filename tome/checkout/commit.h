// Adding a revision on top of a checkout's base: of what is staged, or of any tree.
#pragma once

#include <string>
#include <vector>

#include "tome/checkout/checkout.h"
#include "tome/object/object_sink.h"
#include "tome/object/revision_graph.h"

namespace tome {

/// Commits what is staged; nothing is staged afterwards. Throws Error(NothingStaged) "Nothing staged for commit" when
/// that changes nothing.
NamedRevision commit_staged(Checkout& checkout, const std::string& message);

/// Adds a revision with `tree`, whose objects are in the store or among `trees`, and makes it the base and the local
/// head. Nothing is staged afterwards. A checkout without a remote publishes it at once.
NamedRevision add_revision(Checkout& checkout, const std::vector<NewObject>& trees, const Digest& tree,
                           const std::string& message);

}  // namespace tome
