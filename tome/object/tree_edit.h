// Looking things up in trees and making changed ones. A change to one file makes the trees on its path anew and nothing
// else; a folder that becomes empty goes.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>

#include "tome/object/object_sink.h"
#include "tome/object/object_source.h"
#include "tome/object/tree_path.h"

namespace tome {

/// Files to set (with an entry) or remove (without), by path.
using TreeChanges = std::map<std::string, std::optional<TreeEntry>>;

/// The digest of the tree without entries, which is written like any other.
Digest empty_tree(ObjectSink& sink);

/// Looks paths up in one tree (zero: nothing is in it), reading each folder once.
class TreeLookup {
  public:
    TreeLookup(ObjectSource& source, const Digest& root) : source_(source), root_(root) {}

    /// The file or folder at `path`, which has no "", "." or ".." in it.
    std::optional<TreeEntry> find(std::string_view path);

    /// The file at `path`; nothing when there is none or a folder stands there.
    std::optional<TreeEntry> find_file(std::string_view path);

    /// Whether a folder stands at `path`.
    bool is_folder(std::string_view path);

    /// Calls `visit` for every file at or below `path` ("": all), in byte order of the components; as bounded as
    /// walk_trees is.
    void visit_files(const std::string& path,
                     const std::function<void(const std::string& path, const TreeEntry&)>& visit);

  private:
    const Tree& folder(const std::string& path);
    const TreeEntry* entry_at(std::string_view path);

    ObjectSource& source_;
    Digest root_;
    std::map<std::string, Tree> folders_;
};

/// Whether a name may come into a folder that holds one which differs from it by case or normalisation alone.
enum class NewNames { Any, Distinct };

/// The tree `root` (zero: empty) with `changes`. A file that is set where a folder stood takes its place, and the other
/// way round. New trees go to `sink`. Throws Error(Invalid) "names differ only by case or normalisation: PATH and PATH"
/// when new names are to be distinct and one is not; a pair that stands in the tree already stays.
Digest apply_changes(ObjectSource& source, const Digest& root, const TreeChanges& changes, ObjectSink& sink,
                     NewNames new_names);

}  // namespace tome
