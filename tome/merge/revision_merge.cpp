#include "tome/merge/revision_merge.h"

#include <map>
#include <set>
#include <vector>

#include "tome/merge/file_merge.h"
#include "tome/merge/tree_merge.h"
#include "tome/object/object_sink.h"
#include "tome/object/revision_graph.h"
#include "tome/object/tree_diff.h"

namespace tome {
namespace {

// Common ancestors can have several common ancestors themselves. Beyond this depth and number they are no longer
// merged; the paths about which they disagree count as unsure.
constexpr int max_base_depth = 16;
constexpr int max_ancestor_merges = 200;

// What two sides are compared with.
struct Base {
    Digest tree;
    std::set<std::string> unsure;  // paths about which the common ancestors do not agree
};

// The three trees of a merge.
struct Sides {
    TreeLookup base;
    TreeLookup ours;
    TreeLookup theirs;
};

class Merger {
  public:
    Merger(ObjectSource& source, Store& store) : source_(source), store_(store) {}

    RevisionMerge merge(const Digest& ours, const Digest& theirs) {
        const Base base = base_of({ours}, theirs, 0);
        const Digest our_tree = tree_of(ours);
        TreeMerge merge = merge_sides(base, our_tree, tree_of(theirs));
        if (!merge.conflicts.empty()) {
            return {{}, std::move(merge.conflicts)};
        }
        for (const auto& [path, entry] : merge.changes) {
            check_content(path, entry);
        }
        return {apply(our_tree, merge.changes, NewNames::Distinct), {}};
    }

  private:
    // Checks the size of a file that is taken over from the other side. Only a content that is stored here can be
    // measured.
    void check_content(const std::string& path, const std::optional<TreeEntry>& entry) {
        const auto size = entry ? source_.content_size(entry->digest) : std::nullopt;
        if (size) {
            check_size(*entry, *size, path);
        }
    }

    Digest tree_of(const Digest& revision) { return read_revision(source_, revision).tree; }

    Digest apply(const Digest& tree, const TreeChanges& changes, NewNames new_names) {
        ObjectList trees;
        const Digest changed = apply_changes(source_, tree, changes, trees, new_names);
        Transaction transaction(store_.database());
        store_.add_objects(trees.objects());
        transaction.commit();
        return changed;
    }

    // What a merge of `ours`, one revision or several, with `theirs` is compared with.
    Base base_of(const std::vector<Digest>& ours, const Digest& theirs, int depth) {
        const std::vector<Digest> ancestors = merge_bases(source_, ours, theirs);
        const auto known = bases_.find(ancestors);
        return known != bases_.end() ? known->second
                                     : bases_.emplace(ancestors, merge_of(ancestors, depth)).first->second;
    }

    // Several common ancestors, one after the other merged into those before.
    Base merge_of(const std::vector<Digest>& ancestors, int depth) {
        Base base;
        std::vector<Digest> merged;
        for (const Digest& ancestor : ancestors) {
            if (merged.empty()) {
                base.tree = tree_of(ancestor);
            } else if (depth < max_base_depth && ancestor_merges_++ < max_ancestor_merges) {
                add_ancestor(base, base_of(merged, ancestor, depth + 1), tree_of(ancestor));
            } else {
                distrust(base, tree_of(ancestor));
            }
            merged.push_back(ancestor);
        }
        return base;
    }

    void add_ancestor(Base& base, const Base& below, const Digest& tree) {
        TreeMerge merge = merge_sides(below, base.tree, tree);
        for (const std::string& path : merge.conflicts) {
            merge.changes.erase(path);
            base.unsure.insert(path);
        }
        base.tree = apply(base.tree, merge.changes, NewNames::Any);  // No revision: nobody gets its names.
    }

    void distrust(Base& base, const Digest& tree) {
        for (const FileDifference& difference : diff_trees(source_, base.tree, tree)) {
            base.unsure.insert(difference.path);
        }
    }

    TreeMerge merge_sides(const Base& base, const Digest& ours, const Digest& theirs) {
        TreeMerge merge = merge_trees(source_, base.tree, ours, theirs);
        Sides sides{{source_, base.tree}, {source_, ours}, {source_, theirs}};
        std::set<std::string> conflicts;
        for (const std::string& path : merge.conflicts) {
            const std::optional<TreeEntry> merged = base.unsure.contains(path) ? std::nullopt : merge_file(sides, path);
            if (merged) {
                merge.changes[path] = merged;
            } else {
                conflicts.insert(path);
            }
        }
        for (const std::string& path : base.unsure) {
            if (!same_state(sides.ours.find(path), sides.theirs.find(path))) {
                merge.changes.erase(path);
                conflicts.insert(path);
            }
        }
        merge.conflicts.assign(conflicts.begin(), conflicts.end());
        return merge;
    }

    // A file that both sides changed, in different places.
    std::optional<TreeEntry> merge_file(Sides& sides, const std::string& path) {
        return merge_files(source_, store_, {sides.base.find(path), sides.ours.find(path), sides.theirs.find(path)},
                           path);
    }

    ObjectSource& source_;
    Store& store_;
    std::map<std::vector<Digest>, Base> bases_;  // by the common ancestors that were merged
    int ancestor_merges_ = 0;
};

}  // namespace

RevisionMerge merge_revisions(ObjectSource& source, Store& store, const Digest& ours, const Digest& theirs) {
    return Merger(source, store).merge(ours, theirs);
}

}  // namespace tome
