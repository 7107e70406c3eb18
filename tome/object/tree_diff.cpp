#include "tome/object/tree_diff.h"

#include <algorithm>
#include <map>
#include <set>

#include "tome/object/tree_walk.h"

namespace tome {
std::vector<FileDifference> diff_trees(ObjectSource& source, const Digest& before, const Digest& after) {
    std::vector<FileDifference> result;
    const auto copy = [](const TreeEntry* entry) { return entry != nullptr ? std::optional(*entry) : std::nullopt; };
    walk_trees(source, before, after, "",
               [&](const std::string& path, const TreeEntry* old_file, const TreeEntry* new_file) {
                   result.push_back({path, copy(old_file), copy(new_file)});
               });
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
