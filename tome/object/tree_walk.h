// Visiting the files of a tree, or the files that differ between two trees, folder by folder.
//
// A tree that somebody else wrote may consist of a few small objects and still name more files than fit into memory,
// because one folder may occur many times. So every walk has a limit and stops early when it exceeds that.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "tome/object/object_source.h"

namespace tome {

/// The limits of one walk: the number of files and folders, and the bytes of their paths.
inline constexpr std::uint64_t max_walked_entries = 10'000'000;
inline constexpr std::uint64_t max_walked_path_bytes = 1'000'000'000;

/// Takes a file's path and its entries in the two trees. One of them is null if that tree has no file there.
using FileVisitor = std::function<void(const std::string& path, const TreeEntry* before, const TreeEntry* after)>;

/// Calls `visit` for every path at which the trees `before` and `after` (zero: empty) do not hold the same file, in
/// byte order of the paths' components. The paths begin with `prefix`, where the two trees stand. Equal folders are not
/// entered. Throws Error(Corrupt) for folders nested too deep and "corrupt object: the tree names more than 10000000
/// files (object HEX)".
void walk_trees(ObjectSource& source, const Digest& before, const Digest& after, const std::string& prefix,
                const FileVisitor& visit);

}  // namespace tome
