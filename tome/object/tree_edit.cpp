#include "tome/object/tree_edit.h"

#include <algorithm>
#include <set>
#include <unordered_map>

#include "tome/base/error.h"
#include "tome/object/name_folding.h"
#include "tome/object/tree_walk.h"

namespace tome {
namespace {

Tree::const_iterator lower_bound(const Tree& tree, std::string_view name) {
    return std::lower_bound(tree.begin(), tree.end(), name,
                            [](const TreeEntry& entry, std::string_view wanted) { return entry.name < wanted; });
}

const TreeEntry* find_in(const Tree& tree, std::string_view name) {
    const auto entry = lower_bound(tree, name);
    return entry != tree.end() && entry->name == name ? &*entry : nullptr;
}

// The changes to one folder: those to its own entries and those below each of its subfolders.
struct FolderChanges {
    std::map<std::string, std::optional<TreeEntry>> entries;
    std::map<std::string, TreeChanges> below;
};

FolderChanges split(const TreeChanges& changes) {
    FolderChanges result;
    for (const auto& [path, entry] : changes) {
        const std::size_t slash = path.find('/');
        if (slash == std::string::npos) {
            result.entries.emplace(path, entry);
        } else {
            result.below[path.substr(0, slash)].emplace(path.substr(slash + 1), entry);
        }
    }
    return result;
}

using Entries = std::map<std::string, TreeEntry>;

class Editor {
  public:
    Editor(ObjectSource& source, ObjectSink& sink, NewNames new_names)
        : source_(source), sink_(sink), new_names_(new_names) {}

    // The changed folder's tree, or nothing when it ends up empty. The folder's path ends in "/", or is empty.
    std::optional<Digest> change_folder(const Digest& root, const std::string& path, const TreeChanges& changes) {
        Entries entries = entries_of(root);
        const FolderChanges parts = split(changes);
        std::set<std::string> new_names;
        for (const auto& [name, entry] : parts.entries) {
            const bool known = entries.erase(name) != 0;
            if (entry) {
                TreeEntry named = *entry;
                named.name = name;
                entries.emplace(name, named);
                known ? void() : void(new_names.insert(name));
            }
        }
        for (const auto& [name, below] : parts.below) {
            const auto old = entries.find(name);
            const bool was_folder = old != entries.end() && old->second.is_folder();
            const auto tree = change_folder(was_folder ? old->second.digest : Digest{}, path + name + "/", below);
            if (tree) {
                old == entries.end() ? void(new_names.insert(name)) : void();
                entries[name] = TreeEntry{name, TreeEntry::Kind::Folder, false, 0, *tree};
            } else if (was_folder) {
                entries.erase(old);
            }
        }
        if (new_names_ == NewNames::Distinct && !new_names.empty()) {
            require_distinct(new_names, entries, path);
        }
        return written(std::move(entries));
    }

  private:
    Entries entries_of(const Digest& root) {
        Entries entries;
        if (!root.is_zero()) {
            for (TreeEntry& entry : read_tree(source_, root)) {
                std::string name = entry.name;
                entries.emplace(std::move(name), std::move(entry));
            }
        }
        return entries;
    }

    std::optional<Digest> written(Entries&& entries) {
        if (entries.empty()) {
            return std::nullopt;
        }
        Tree tree;
        for (auto& [name, entry] : entries) {
            tree.push_back(std::move(entry));
        }
        return sink_.add(ObjectKind::Tree, encode_tree(tree));
    }

    static void require_distinct(const std::set<std::string>& new_names, const Entries& entries,
                                 const std::string& path) {
        std::unordered_map<std::u32string, std::string> taken;
        const auto take = [&](const std::string& name) {
            const auto [other, fresh] = taken.emplace(folded_name(name), name);
            if (!fresh && other->second != name) {
                const auto [first, second] = std::minmax(other->second, name);
                throw Error(ErrorCode::Invalid,
                            "names differ only by case or normalisation: " + path + first + " and " + path + second);
            }
        };
        for (const std::string& name : new_names) {
            take(name);
        }
        for (const auto& [name, entry] : entries) {
            if (taken.contains(folded_name(name))) {
                take(name);
            }
        }
    }

    ObjectSource& source_;
    ObjectSink& sink_;
    NewNames new_names_;
};

}  // namespace

Digest empty_tree(ObjectSink& sink) {
    return sink.add(ObjectKind::Tree, encode_tree({}));
}

const Tree& TreeLookup::folder(const std::string& path) {
    if (const auto known = folders_.find(path); known != folders_.end()) {
        return known->second;
    }
    Digest digest = root_;
    if (!path.empty()) {
        const TreeEntry* entry = entry_at(path);
        digest = entry != nullptr && entry->is_folder() ? entry->digest : Digest{};
    }
    return folders_.emplace(path, digest.is_zero() ? Tree{} : read_tree(source_, digest)).first->second;
}

const TreeEntry* TreeLookup::entry_at(std::string_view path) {
    const std::size_t slash = path.rfind('/');
    const bool top = slash == std::string_view::npos;
    return find_in(folder(top ? "" : std::string(path.substr(0, slash))), top ? path : path.substr(slash + 1));
}

std::optional<TreeEntry> TreeLookup::find(std::string_view path) {
    const TreeEntry* entry = entry_at(path);
    return entry != nullptr ? std::optional(*entry) : std::nullopt;
}

std::optional<TreeEntry> TreeLookup::find_file(std::string_view path) {
    const TreeEntry* entry = entry_at(path);
    return entry != nullptr && !entry->is_folder() ? std::optional(*entry) : std::nullopt;
}

bool TreeLookup::is_folder(std::string_view path) {
    const TreeEntry* entry = entry_at(path);
    return entry != nullptr && entry->is_folder();
}

void TreeLookup::visit_files(const std::string& path,
                             const std::function<void(const std::string& path, const TreeEntry&)>& visit) {
    const TreeEntry* entry = path.empty() ? nullptr : entry_at(path);
    if (entry != nullptr && !entry->is_folder()) {
        visit(path, *entry);
    } else if (entry != nullptr || path.empty()) {
        walk_trees(source_, {}, entry != nullptr ? entry->digest : root_, path,
                   [&](const std::string& file, const TreeEntry*, const TreeEntry* found) { visit(file, *found); });
    }
}

Digest apply_changes(ObjectSource& source, const Digest& root, const TreeChanges& changes, ObjectSink& sink,
                     NewNames new_names) {
    const std::optional<Digest> tree = Editor(source, sink, new_names).change_folder(root, "", changes);
    return tree ? *tree : empty_tree(sink);
}

}  // namespace tome
