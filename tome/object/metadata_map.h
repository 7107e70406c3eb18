// A branch's metadata: a persistent map from text to text in immutable nodes. A key's place is given by the SHA-256 of
// its text up to the last ".", so that the keys of one revision share a leaf; each level branches on four bits. A leaf
// holds the keys of at most `max_groups_in_leaf` such prefixes, which makes the form of a map depend on its contents
// alone. Setting or getting k keys costs O(k log n); a new branch shares its parent's map by sharing its root.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "tome/object/object_sink.h"
#include "tome/object/object_source.h"

namespace tome {

inline constexpr std::size_t max_groups_in_leaf = 4;

/// The values of those of `keys` that the map at `root` (zero: empty) holds.
std::map<std::string, std::string> get_metadata(ObjectSource& source, const Digest& root,
                                                const std::vector<std::string>& keys);

/// The whole map. Throws Error(Corrupt) when a node holds a key that belongs elsewhere: a map that somebody else wrote
/// may use one node in many places, and so be far larger than its nodes.
std::map<std::string, std::string> list_metadata(ObjectSource& source, const Digest& root);

/// The root of the map at `root` with `values` set; the nodes that are new go to `sink`.
Digest set_metadata(ObjectSource& source, const Digest& root, const std::map<std::string, std::string>& values,
                    ObjectSink& sink);

}  // namespace tome
