#include "tome/remote/remote_copies.h"

#include <set>

#include "tome/base/error.h"
#include "tome/object/revision_graph.h"
#include "tome/object/tree_edit.h"
#include "tome/object/tree_walk.h"

namespace tome {
namespace {

using ObjectName = std::pair<ObjectKind, Digest>;

// What the remote has counts as whole there and is not entered, but for what its sender has just changed or named: that
// is looked at, for from now on others expect it to be there.
class Sending {
  public:
    Sending(ObjectSource& local, ObjectSource& remote, std::function<void(const std::string& path)> store_again)
        : local_(local), remote_(remote), store_again_(std::move(store_again)) {}

    void add_missing(ObjectKind kind, const Digest& digest) {
        if (!seen_.emplace(kind, digest).second || (remote_.contains(kind, digest) && !can_make_good(kind, digest))) {
            return;
        }
        if (kind == ObjectKind::Tree) {
            for (const TreeEntry& entry : read_tree(local_, digest)) {
                add_missing(entry.is_folder() ? ObjectKind::Tree : ObjectKind::Content, entry.digest);
            }
        }
        add(kind, digest);
    }

    // Adds what is not sound at `path` of the tree that `lookup` is of, and on the way to it.
    void add_damaged(TreeLookup& lookup, const std::string& path) {
        for (std::size_t slash = path.find('/'); slash != std::string::npos; slash = path.find('/', slash + 1)) {
            add_damaged_entry(lookup, path.substr(0, slash));
        }
        add_damaged_entry(lookup, path);
    }

    void add_damaged(ObjectKind kind, const Digest& digest, const std::string& path) {
        if (!checked_.emplace(kind, digest).second || added_.contains({kind, digest})) {
            return;
        }
        if (!remote_.contains(kind, digest)) {
            add_missing(kind, digest);
        } else if (!remote_.is_sound(kind, digest)) {
            require_sound_copy(kind, digest, path);
            add(kind, digest);
        }
    }

    void add(ObjectKind kind, const Digest& digest) {
        if (added_.emplace(kind, digest).second) {
            names_.emplace_back(kind, digest);
        }
    }

    ObjectNames take() { return std::move(names_); }

  private:
    void add_damaged_entry(TreeLookup& lookup, const std::string& path) {
        if (const std::optional<TreeEntry> entry = lookup.find(path)) {
            add_damaged(entry->is_folder() ? ObjectKind::Tree : ObjectKind::Content, entry->digest, path);
        }
    }

    // Whether the remote has lost a content that is sound here. What nobody has holds up no push of other files.
    bool can_make_good(ObjectKind kind, const Digest& digest) {
        return kind == ObjectKind::Content && remote_.has_lost(digest) && local_.is_sound(kind, digest);
    }

    void require_sound_copy(ObjectKind kind, const Digest& digest, const std::string& path) {
        if (!local_.is_sound(kind, digest) && kind == ObjectKind::Content && store_again_) {
            store_again_(path);
        }
        if (!local_.is_sound(kind, digest)) {
            throw no_sound_copy("corrupt object " + to_hex(digest) + " (content of " + path + ")");
        }
    }

    ObjectSource& local_;
    ObjectSource& remote_;
    std::function<void(const std::string& path)> store_again_;
    std::set<ObjectName> seen_;     // by add_missing
    std::set<ObjectName> checked_;  // by add_damaged
    std::set<ObjectName> added_;
    ObjectNames names_;
};

void add_changes(ObjectSource& local, const Revision& revision, Sending& sending) {
    const Digest before = revision.first_parent.is_zero() ? Digest{} : read_revision(local, revision.first_parent).tree;
    TreeLookup lookup(local, revision.tree);
    sending.add_damaged(ObjectKind::Tree, revision.tree, "");
    walk_trees(local, before, revision.tree, "",
               [&](const std::string& path, const TreeEntry*, const TreeEntry*) { sending.add_damaged(lookup, path); });
}

}  // namespace

ObjectNames objects_to_push(ObjectSource& local, ObjectSource& remote, const Digest& head) {
    const auto is_published = [&](const Digest& revision) { return remote.contains(ObjectKind::Revision, revision); };
    Sending sending(local, remote, nullptr);
    for (const Digest& digest : unknown_revisions(local, head, is_published)) {
        const Revision revision = read_revision(local, digest);
        sending.add_missing(ObjectKind::Tree, revision.tree);
        add_changes(local, revision, sending);
        sending.add(ObjectKind::Revision, digest);
    }
    return sending.take();
}

ObjectNames objects_to_mend(ObjectSource& local, ObjectSource& remote, const Digest& tree,
                            const std::vector<std::string>& paths,
                            const std::function<void(const std::string& path)>& store_again) {
    Sending sending(local, remote, store_again);
    TreeLookup lookup(local, tree);
    sending.add_damaged(ObjectKind::Tree, tree, "");
    for (const std::string& path : paths) {
        sending.add_damaged(lookup, path);
    }
    return sending.take();
}

}  // namespace tome
