#include "tome/merge/tree_merge.h"

#include <set>

#include "tome/object/tree_diff.h"

namespace tome {
namespace {

// Whether our side holds, after the changes, a file at a parent of `path`, or files below `path` although it is a file.
bool meets_other_kind(TreeLookup& ours, const TreeChanges& changes, const std::string& path) {
    const auto stays_file = [&](const std::string& at) {
        const auto entry = ours.find(at);
        const auto change = changes.find(at);
        return entry && !entry->is_folder() && (change == changes.end() || change->second.has_value());
    };
    for (std::size_t slash = path.find('/'); slash != std::string::npos; slash = path.find('/', slash + 1)) {
        if (stays_file(path.substr(0, slash))) {
            return true;
        }
    }
    bool below = false;
    ours.visit_files(path, [&](const std::string& file, const TreeEntry&) {
        const auto change = changes.find(file);
        below = below || (file != path && (change == changes.end() || change->second.has_value()));
    });
    return below;
}

}  // namespace

TreeMerge merge_trees(ObjectSource& source, const Digest& base, const Digest& ours, const Digest& theirs) {
    std::map<std::string, FileDifference> our_changes;
    for (FileDifference& difference : diff_trees(source, base, ours)) {
        std::string path = difference.path;
        our_changes.emplace(std::move(path), std::move(difference));
    }
    TreeMerge merge;
    std::set<std::string> conflicts;
    for (const FileDifference& difference : diff_trees(source, base, theirs)) {
        const auto mine = our_changes.find(difference.path);
        if (mine == our_changes.end()) {
            merge.changes.emplace(difference.path, difference.after);
        } else if (!same_state(mine->second.after, difference.after)) {
            conflicts.insert(difference.path);
        }
    }
    TreeLookup our_tree(source, ours);
    for (const auto& [path, entry] : merge.changes) {
        if (entry && meets_other_kind(our_tree, merge.changes, path)) {
            conflicts.insert(path);
        }
    }
    merge.conflicts.assign(conflicts.begin(), conflicts.end());
    return merge;
}

}  // namespace tome
