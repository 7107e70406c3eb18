#include "tome/checkout/file_base.h"

#include <map>

#include "tome/base/error.h"
#include "tome/checkout/branch_state.h"
#include "tome/object/revision_graph.h"
#include "tome/object/tree_diff.h"

namespace tome {
namespace {

// A file that does not have the bytes that it stands on is held without a stamp: it counts as changed.
void hold(Checkout& checkout, const std::string& path, const Digest& base) {
    const auto here = checkout.working_content(TreePath::parse(path));
    checkout.state().hold_file(path, base, here && here->first == base ? here->second : FileStamp{});
}

void hold_files(Checkout& checkout, const TreeChanges& bases) {
    for (const auto& [path, entry] : bases) {
        entry ? hold(checkout, path, entry->digest) : checkout.state().drop_file(path);
    }
}

// All files of the tree; of a checkout that is not detached those that it holds.
TreeChanges all_bases(Checkout& checkout, const Digest& tree) {
    TreeChanges bases;
    const std::map<std::string, HeldFile> held = checkout.state().held_files("");
    for (const auto& [path, file] : held) {
        bases[path] = std::nullopt;
    }
    TreeLookup(checkout.sources(), tree).visit_files("", [&](const std::string& path, const TreeEntry& entry) {
        if (checkout.config().detached || held.contains(path)) {
            bases[path] = entry;
        }
    });
    return bases;
}

// The versions of files of unknown origin, looked for in the history.
class BaseSearch {
  public:
    BaseSearch(Checkout& checkout, std::uint64_t versions) : checkout_(checkout), versions_(versions) {}

    void add(const std::string& path) {
        if (const auto here = checkout_.working_content(TreePath::parse(path))) {
            pending_.emplace(path, Wanted{here->first, 0});
        }
    }

    TreeChanges search(const Digest& head) {
        Digest newer;
        visit_history(checkout_.sources(), head, [&](const NamedRevision& revision) {
            for (const FileDifference& difference : diff_trees(checkout_.sources(), newer, revision.revision.tree)) {
                look_at(difference.path, difference.after);
            }
            newer = revision.revision.tree;
            return !pending_.empty();
        });
        return std::move(found_);
    }

  private:
    struct Wanted {
        Digest digest;
        std::uint64_t versions = 0;  // looked at
    };

    void look_at(const std::string& path, const std::optional<TreeEntry>& version) {
        const auto wanted = pending_.find(path);
        if (wanted == pending_.end() || !version) {
            return;
        }
        const bool is_found = version->digest == wanted->second.digest;
        if (is_found) {
            found_.emplace(path, *version);
        }
        if (is_found || ++wanted->second.versions == versions_) {
            pending_.erase(wanted);
        }
    }

    Checkout& checkout_;
    std::uint64_t versions_;
    std::map<std::string, Wanted> pending_;
    TreeChanges found_;
};

}  // namespace

Digest tree_with_bases(Checkout& checkout, const TreeChanges& bases) {
    ObjectList trees;
    const Digest tree = apply_changes(checkout.sources(), checkout.base_tree(), bases, trees, NewNames::Any);
    Transaction stored(checkout.writable_store().database());
    checkout.writable_store().add_objects(trees.objects());
    stored.commit();
    return tree;
}

void stand_on(Checkout& checkout, const Digest& revision, const Digest& tree) {
    checkout.state().set_base(checkout.state().branch(), revision);
    if (tree != checkout.tree_of(revision)) {
        checkout.state().set_base_tree(tree);
    }
}

void set_file_bases(Checkout& checkout, const FileBases& bases) {
    const Digest wanted = checkout.tree_of(bases.revision);
    Digest tree = wanted;
    TreeChanges changes;
    if (bases.paths.empty()) {
        changes = all_bases(checkout, wanted);
    } else {
        TreeLookup lookup(checkout.sources(), wanted);
        for (const std::string& path : bases.paths) {
            changes[path] = lookup.find_file(path);
        }
        tree = tree_with_bases(checkout, changes);
    }
    Transaction transaction(checkout.state().database());
    stand_on(checkout, bases.is_base ? bases.revision : checkout.state().base(), tree);
    hold_files(checkout, changes);
    transaction.commit();
}

void find_file_bases(Checkout& checkout, const std::vector<std::string>& paths, std::uint64_t versions) {
    BaseSearch search(checkout, versions);
    for (const std::string& path : paths) {
        search.add(path);
    }
    const TreeChanges found = search.search(newest_head(checkout, checkout.state().branch()).head);
    if (found.empty()) {
        return;
    }
    const Digest tree = tree_with_bases(checkout, found);
    Transaction transaction(checkout.state().database());
    stand_on(checkout, checkout.state().base(), tree);
    hold_files(checkout, found);
    transaction.commit();
}

}  // namespace tome
