#include "tome/remote/remote_copies.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <set>

#include "tome/base/error.h"
#include "tome/object/revision_graph.h"
#include "tome/object/tree_edit.h"
#include "tome/object/tree_walk.h"

namespace tome {
namespace {

ObjectName name_of(const TreeEntry& entry) {
    return {entry.is_folder() ? ObjectKind::Tree : ObjectKind::Content, entry.digest};
}

// Normally an object that the remote has counts as complete and is not looked into. Only what the sender has just
// changed or named is checked, because others will rely on it from now on.
class Sending {
  public:
    Sending(ObjectSource& local, ObjectSource& remote, std::function<void(const std::string& path)> store_again)
        : local_(local), remote_(remote), store_again_(std::move(store_again)) {}

    // Adds what the remote lacks of an object and of what it refers to.
    void add_missing(const ObjectName& name) {
        find_missing({name});
        add_after_references(name);
    }

    // Notes the entry at `path` of the tree of `lookup`, and the folders above it, for add_damaged().
    void suspect(TreeLookup& lookup, const std::string& path) {
        for (std::size_t slash = path.find('/'); slash != std::string::npos; slash = path.find('/', slash + 1)) {
            suspect_entry(lookup, path.substr(0, slash));
        }
        suspect_entry(lookup, path);
    }

    void suspect(const ObjectName& name, const std::string& path) {
        if (!added_.contains(name) && checked_.insert(name).second) {
            suspects_.push_back({name, path});
        }
    }

    // Adds the noted objects that are damaged on the remote.
    void add_damaged() {
        const std::vector<Suspect> suspects = std::move(suspects_);
        suspects_.clear();
        ObjectNames names;
        for (const Suspect& suspect : suspects) {
            names.push_back(suspect.name);
        }
        const std::set<ObjectName> missing = as_set(remote_.missing(names));
        std::erase_if(names, [&](const ObjectName& name) { return missing.contains(name); });
        const std::set<ObjectName> unsound = as_set(remote_.unsound(names));
        for (const auto& [name, path] : suspects) {
            if (missing.contains(name)) {
                add_missing(name);
            } else if (unsound.contains(name) && !added_.contains(name)) {
                require_sound_copy(name, path);
                add(name);
            }
        }
    }

    void add(const ObjectName& name) {
        if (added_.insert(name).second) {
            names_.push_back(name);
        }
    }

    ObjectNames take() { return std::move(names_); }

  private:
    struct Suspect {
        ObjectName name;
        std::string path;
    };

    static std::set<ObjectName> as_set(const ObjectNames& names) { return {names.begin(), names.end()}; }

    void suspect_entry(TreeLookup& lookup, const std::string& path) {
        if (const std::optional<TreeEntry> entry = lookup.find(path)) {
            suspect(name_of(*entry), path);
        }
    }

    // Fills `missing_`, a level of folders at a time.
    void find_missing(ObjectNames level) {
        while (!level.empty()) {
            std::erase_if(level, [&](const ObjectName& name) { return !seen_.insert(name).second; });
            ObjectNames next;
            std::vector<Digest> folders;
            for (const ObjectName& name : to_send(level)) {
                missing_.emplace(name, ObjectNames());
                if (name.first == ObjectKind::Tree) {
                    folders.push_back(name.second);
                }
            }
            const std::vector<Tree> trees = read_trees(local_, folders);
            for (std::size_t i = 0; i < folders.size(); ++i) {
                ObjectNames& entries = missing_.at({ObjectKind::Tree, folders[i]});
                std::transform(trees[i].begin(), trees[i].end(), std::back_inserter(entries), name_of);
                next.insert(next.end(), entries.begin(), entries.end());
            }
            level = std::move(next);
        }
    }

    // What the remote lacks of the objects, and the contents that it has lost and that are sound here. Content missing
    // everywhere does not block the push of other files.
    ObjectNames to_send(const ObjectNames& names) {
        ObjectNames result = remote_.missing(names);
        const std::set<ObjectName> missing = as_set(result);
        std::vector<Digest> there;
        for (const ObjectName& name : names) {
            if (name.first == ObjectKind::Content && !missing.contains(name)) {
                there.push_back(name.second);
            }
        }
        for (const Digest& digest : remote_.lost(there)) {
            if (local_.is_sound(ObjectKind::Content, digest)) {
                result.emplace_back(ObjectKind::Content, digest);
            }
        }
        return result;
    }

    void add_after_references(const ObjectName& name) {
        const auto found = missing_.find(name);
        if (found == missing_.end()) {
            return;
        }
        const ObjectNames references = std::move(found->second);
        missing_.erase(found);
        for (const ObjectName& reference : references) {
            add_after_references(reference);
        }
        add(name);
    }

    void require_sound_copy(const ObjectName& name, const std::string& path) {
        const auto& [kind, digest] = name;
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
    std::set<ObjectName> seen_;                  // by find_missing
    std::map<ObjectName, ObjectNames> missing_;  // found and not added yet, with what each refers to
    std::set<ObjectName> checked_;               // suspected once
    std::vector<Suspect> suspects_;
    std::set<ObjectName> added_;
    ObjectNames names_;
};

void add_changes(ObjectSource& local, const Revision& revision, Sending& sending) {
    const Digest before = revision.first_parent.is_zero() ? Digest{} : read_revision(local, revision.first_parent).tree;
    TreeLookup lookup(local, revision.tree);
    sending.suspect({ObjectKind::Tree, revision.tree}, "");
    walk_trees(local, before, revision.tree, "",
               [&](const std::string& path, const TreeEntry*, const TreeEntry*) { sending.suspect(lookup, path); });
    sending.add_damaged();
}

}  // namespace

ObjectNames objects_to_push(ObjectSource& local, ObjectSource& remote, const Digest& head) {
    const auto is_published = [&](const Digest& revision) { return remote.contains(ObjectKind::Revision, revision); };
    Sending sending(local, remote, nullptr);
    for (const Digest& digest : unknown_revisions(local, head, is_published)) {
        const Revision revision = read_revision(local, digest);
        sending.add_missing({ObjectKind::Tree, revision.tree});
        add_changes(local, revision, sending);
        sending.add({ObjectKind::Revision, digest});
    }
    return sending.take();
}

ObjectNames objects_to_mend(ObjectSource& local, ObjectSource& remote, const Digest& tree,
                            const std::vector<std::string>& paths,
                            const std::function<void(const std::string& path)>& store_again) {
    Sending sending(local, remote, store_again);
    TreeLookup lookup(local, tree);
    sending.suspect({ObjectKind::Tree, tree}, "");
    for (const std::string& path : paths) {
        sending.suspect(lookup, path);
    }
    sending.add_damaged();
    return sending.take();
}

}  // namespace tome
