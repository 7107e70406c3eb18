// Walking revisions: ancestry, common ancestors, history. Orders grow along every edge, which bounds each walk.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "tome/object/object_source.h"

namespace tome {

struct NamedRevision {
    Digest digest;
    Revision revision;
};

/// Reads a revision on top of which another one is to be added. Throws Error(Corrupt) "corrupt object: order of
/// revision HEX" unless its order is above those of its parents, as far as these can be read: the history of the new
/// revision could never be listed.
Revision read_base(ObjectSource& source, const Digest& digest);

/// The order of a revision, 0 for none. Throws what read_base does.
std::uint64_t order_of(ObjectSource& source, const Digest& revision);

/// The order of a revision; 0 for none, and for one that is not here or damaged.
std::uint64_t known_order(ObjectSource& source, const Digest& revision);

/// A revision of now with the next order after its parents, either of which may be zero: none. Throws what read_base
/// does, for both.
Revision new_revision(ObjectSource& source, const Digest& tree, const Digest& first_parent, const Digest& second_parent,
                      const std::string& message);

/// Whether `ancestor` is `head` or reachable from it; zero is everyone's ancestor.
bool is_ancestor(ObjectSource& source, const Digest& ancestor, const Digest& head);

/// The common ancestors of a merge of `ours`, one revision or several, and of `theirs` that no other common ancestor
/// descends from, by order, largest first; then by digest. None when the histories share nothing.
std::vector<Digest> merge_bases(ObjectSource& source, const std::vector<Digest>& ours, const Digest& theirs);

/// The revisions that `head` reaches without passing one for which `is_known` holds, by order, smallest first. What
/// lies behind those is not read, but for the orders of parents: every unknown revision is one that read_base takes.
std::vector<Digest> unknown_revisions(ObjectSource& source, const Digest& head,
                                      const std::function<bool(const Digest&)>& is_known);

/// Calls `visit` for the revisions that `head` reaches, by order, largest first, until it returns false.
void visit_history(ObjectSource& source, const Digest& head, const std::function<bool(const NamedRevision&)>& visit);

}  // namespace tome
