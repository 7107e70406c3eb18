#include "tome/object/tree_walk.h"

#include <algorithm>
#include <map>
#include <set>
#include <utility>
#include <vector>

#include "tome/base/error.h"
#include "tome/object/tree_path.h"

namespace tome {
namespace {

// A folder in each of two trees; zero: there is none.
using FolderPair = std::pair<Digest, Digest>;

// So many pairs are read at once. They are held in memory for each level of folders.
constexpr std::size_t pairs_at_once = 32;

// What is below a folder, with paths that begin there.
struct Extent {
    std::uint64_t entries = 0;
    std::uint64_t path_bytes = 0;
};

FolderPair folders_in(const TreeEntry* before, const TreeEntry* after) {
    const auto folder = [](const TreeEntry* entry) {
        return entry != nullptr && entry->is_folder() ? entry->digest : Digest{};
    };
    return {folder(before), folder(after)};
}

// The trees of pairs of folders, one pair after the other. Several are read at once.
class FolderReader {
  public:
    FolderReader(ObjectSource& source, std::vector<FolderPair> pairs) : source_(source), pairs_(std::move(pairs)) {}

    // The trees of the next pair, which hold until the next call.
    std::pair<const Tree*, const Tree*> next() {
        if (next_ == read_) {
            read_more();
        }
        const auto& [before, after] = pairs_[next_++];
        return {&trees_.at(before), &trees_.at(after)};
    }

  private:
    void read_more() {
        read_ = std::min(next_ + pairs_at_once, pairs_.size());
        std::set<Digest> wanted;
        for (std::size_t i = next_; i < read_; ++i) {
            wanted.insert({pairs_[i].first, pairs_[i].second});
        }
        wanted.erase(Digest{});
        const std::vector<Digest> digests(wanted.begin(), wanted.end());
        std::vector<Tree> trees = read_trees(source_, digests);
        trees_.clear();
        trees_.emplace(Digest{}, Tree{});
        for (std::size_t i = 0; i < digests.size(); ++i) {
            trees_.emplace(digests[i], std::move(trees[i]));
        }
    }

    ObjectSource& source_;
    std::vector<FolderPair> pairs_;
    std::map<Digest, Tree> trees_;
    std::size_t next_ = 0;
    std::size_t read_ = 0;
};

class TreeWalk {
  public:
    TreeWalk(ObjectSource& source, FolderPair root, const FileVisitor& visit)
        : source_(source), root_(std::move(root)), visit_(visit) {}

    void run(const std::string& prefix) {
        prefix_ = prefix;
        FolderReader reader(source_, {root_});
        walk(root_, reader, prefix, components_of(prefix).size());
    }

  private:
    // `reader` gives the trees of this pair next.
    void walk(const FolderPair& folders, FolderReader& reader, const std::string& path, std::size_t depth) {
        if (folders.first == folders.second) {
            return;
        }
        check_depth(path, depth);
        if (!met_.insert(folders).second && extents_.empty()) {
            // Folders that stand in several places can name far more files than the store has bytes for. When the first
            // one is met, the files are counted before the walk goes on.
            extent_of(root_, prefix_, components_of(prefix_).size());
        }
        const auto [old_tree, new_tree] = reader.next();
        FolderReader below(source_, differing_folders(*old_tree, *new_tree));
        for_each_name(*old_tree, *new_tree, [&](const TreeEntry* before, const TreeEntry* after) {
            const std::string& name = before != nullptr ? before->name : after->name;
            const std::string entry_path = path.empty() ? name : path + "/" + name;
            add(walked_, {1, entry_path.size()});
            visit_file(entry_path, before, after);
            walk(folders_in(before, after), below, entry_path, depth + 1);
        });
    }

    static std::vector<FolderPair> differing_folders(const Tree& old_tree, const Tree& new_tree) {
        std::vector<FolderPair> pairs;
        for_each_name(old_tree, new_tree, [&](const TreeEntry* before, const TreeEntry* after) {
            if (FolderPair pair = folders_in(before, after); pair.first != pair.second) {
                pairs.push_back(std::move(pair));
            }
        });
        return pairs;
    }

    void visit_file(const std::string& path, const TreeEntry* before, const TreeEntry* after) const {
        const TreeEntry* old_file = before != nullptr && !before->is_folder() ? before : nullptr;
        const TreeEntry* new_file = after != nullptr && !after->is_folder() ? after : nullptr;
        const bool both = old_file != nullptr && new_file != nullptr;
        if (both ? !old_file->same_state(*new_file) : old_file != nullptr || new_file != nullptr) {
            visit_(path, old_file, new_file);
        }
    }

    // Looks at each pair of folders once, however often it stands in the trees.
    Extent extent_of(const FolderPair& folders, const std::string& path, std::size_t depth) {
        if (folders.first == folders.second) {
            return {};
        }
        check_depth(path, depth);
        if (const auto known = extents_.find(folders); known != extents_.end()) {
            return known->second;
        }
        Extent extent;
        const auto tree_of = [&](const Digest& folder) {
            return folder.is_zero() ? Tree{} : read_tree(source_, folder);
        };
        for_each_name(tree_of(folders.first), tree_of(folders.second),
                      [&](const TreeEntry* before, const TreeEntry* after) {
                          const std::string& name = before != nullptr ? before->name : after->name;
                          add(extent, {1, name.size()});
                          const Extent below = extent_of(folders_in(before, after), name, depth + 1);
                          add(extent, {below.entries, below.path_bytes + below.entries * (name.size() + 1)});
                      });
        return extents_.emplace(folders, extent).first->second;
    }

    template <typename Action>
    static void for_each_name(const Tree& old_tree, const Tree& new_tree, Action action) {
        auto old_entry = old_tree.begin();
        auto new_entry = new_tree.begin();
        while (old_entry != old_tree.end() || new_entry != new_tree.end()) {
            const bool take_old =
                new_entry == new_tree.end() || (old_entry != old_tree.end() && old_entry->name <= new_entry->name);
            const bool take_new =
                old_entry == old_tree.end() || (new_entry != new_tree.end() && new_entry->name <= old_entry->name);
            action(take_old ? &*old_entry : nullptr, take_new ? &*new_entry : nullptr);
            old_entry += take_old ? 1 : 0;
            new_entry += take_new ? 1 : 0;
        }
    }

    static void check_depth(const std::string& path, std::size_t depth) {
        if (depth > max_path_depth) {
            throw Error(ErrorCode::Corrupt, "corrupt object: folders nested too deep at " + path);
        }
    }

    void add(Extent& extent, const Extent& more) const {
        extent.entries += more.entries;
        extent.path_bytes += more.path_bytes;
        if (extent.entries > max_walked_entries) {
            refuse("the tree names more than " + std::to_string(max_walked_entries) + " files");
        }
        if (extent.path_bytes > max_walked_path_bytes) {
            refuse("the tree's paths have more than " + std::to_string(max_walked_path_bytes) + " bytes");
        }
    }

    [[noreturn]] void refuse(const std::string& why) const {
        const auto& [before, after] = root_;
        const bool both = !before.is_zero() && !after.is_zero();
        throw Error(ErrorCode::Corrupt, "corrupt object: " + why + " (object " +
                                            to_hex(after.is_zero() ? before : after) +
                                            (both ? ", against " + to_hex(before) : "") + ")");
    }

    ObjectSource& source_;
    FolderPair root_;
    const FileVisitor& visit_;
    std::string prefix_;
    std::set<FolderPair> met_;
    std::map<FolderPair, Extent> extents_;
    Extent walked_;
};

}  // namespace

void walk_trees(ObjectSource& source, const Digest& before, const Digest& after, const std::string& prefix,
                const FileVisitor& visit) {
    TreeWalk(source, {before, after}, visit).run(prefix);
}

}  // namespace tome
