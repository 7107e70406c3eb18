// How two trees differ. Equal folders are not entered, so the cost is that of what differs.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "tome/object/object_source.h"

namespace tome {

struct FileDifference {
    std::string path;
    std::optional<TreeEntry> before;  ///< nothing: added
    std::optional<TreeEntry> after;   ///< nothing: deleted
};

/// The files that differ between the trees `before` and `after` (zero: empty), in byte order of their paths. Throws
/// what walk_trees does.
std::vector<FileDifference> diff_trees(ObjectSource& source, const Digest& before, const Digest& after);

struct PathChange {
    enum class Kind { Add = 1, Delete = 2, Move = 3, Copy = 4, Modify = 5 };
    std::string path;
    std::string previous_path;  ///< moves and copies
    Kind kind = Kind::Modify;
};

/// The differences as changes: an added file with the content of a deleted one is a move (each deleted file moves at
/// most once), one with the content of a file that was modified is a copy of its old state. In byte order of the paths.
std::vector<PathChange> find_changes(const std::vector<FileDifference>& differences);

}  // namespace tome
