#include "tome/tree_diff.h"

#include <algorithm>
#include <map>
#include <set>

#include "tome/error.h"
#include "tome/tree_path.h"

namespace tome {
namespace {

class Comparison {
  public:
    Comparison(ObjectSource& source, std::vector<FileDifference>& out) : source_(source), out_(out) {}

    void folders(const Digest& before, const Digest& after, const std::string& prefix, std::size_t depth) {
        if (before == after) {
            return;
        }
        if (depth > max_path_depth) {
            throw Error(ErrorCode::Corrupt, "corrupt object: folders nested too deep at " + prefix);
        }
        const Tree old_tree = before.is_zero() ? Tree{} : read_tree(source_, before);
        const Tree new_tree = after.is_zero() ? Tree{} : read_tree(source_, after);
        auto old_entry = old_tree.begin();
        auto new_entry = new_tree.begin();
        while (old_entry != old_tree.end() || new_entry != new_tree.end()) {
            const bool take_old =
                new_entry == new_tree.end() || (old_entry != old_tree.end() && old_entry->name <= new_entry->name);
            const bool take_new =
                old_entry == old_tree.end() || (new_entry != new_tree.end() && new_entry->name <= old_entry->name);
            entries(take_old ? &*old_entry : nullptr, take_new ? &*new_entry : nullptr, prefix, depth);
            old_entry += take_old ? 1 : 0;
            new_entry += take_new ? 1 : 0;
        }
    }

  private:
    void entries(const TreeEntry* before, const TreeEntry* after, const std::string& prefix, std::size_t depth) {
        const std::string& name = before != nullptr ? before->name : after->name;
        const std::string path = prefix.empty() ? name : prefix + "/" + name;
        FileDifference files{path, std::nullopt, std::nullopt};
        Digest old_folder;
        Digest new_folder;
        if (before != nullptr) {
            before->is_folder() ? void(old_folder = before->digest) : void(files.before = *before);
        }
        if (after != nullptr) {
            after->is_folder() ? void(new_folder = after->digest) : void(files.after = *after);
        }
        const bool both = files.before && files.after;
        if (both ? !files.before->same_state(*files.after) : files.before || files.after) {
            out_.push_back(std::move(files));
        }
        folders(old_folder, new_folder, path, depth + 1);
    }

    ObjectSource& source_;
    std::vector<FileDifference>& out_;
};

}  // namespace

std::vector<FileDifference> diff_trees(ObjectSource& source, const Digest& before, const Digest& after) {
    std::vector<FileDifference> result;
    Comparison(source, result).folders(before, after, "", 0);
    std::sort(result.begin(), result.end(),
              [](const FileDifference& a, const FileDifference& b) { return a.path < b.path; });
    return result;
}

std::vector<PathChange> find_changes(const std::vector<FileDifference>& differences) {
    std::multimap<Digest, std::string> deleted;
    std::map<Digest, std::string> replaced;
    for (const FileDifference& difference : differences) {
        if (difference.before && !difference.after) {
            deleted.emplace(difference.before->digest, difference.path);
        } else if (difference.before) {
            replaced.emplace(difference.before->digest, difference.path);
        }
    }
    std::vector<PathChange> changes;
    std::set<std::string> moved;
    for (const FileDifference& difference : differences) {
        PathChange change{difference.path, "", PathChange::Kind::Modify};
        if (!difference.after) {
            change.kind = PathChange::Kind::Delete;
        } else if (!difference.before) {
            change.kind = PathChange::Kind::Add;
            if (const auto origin = deleted.find(difference.after->digest); origin != deleted.end()) {
                change.kind = PathChange::Kind::Move;
                change.previous_path = origin->second;
                moved.insert(origin->second);
                deleted.erase(origin);
            } else if (const auto copy = replaced.find(difference.after->digest); copy != replaced.end()) {
                change.kind = PathChange::Kind::Copy;
                change.previous_path = copy->second;
            }
        }
        changes.push_back(std::move(change));
    }
    std::erase_if(changes, [&](const PathChange& change) {
        return change.kind == PathChange::Kind::Delete && moved.contains(change.path);
    });
    return changes;
}

}  // namespace tome
