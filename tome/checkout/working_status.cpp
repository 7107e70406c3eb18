#include "tome/checkout/working_status.h"

#include <algorithm>

namespace tome {
namespace {

bool differs(Checkout& checkout, TreeLookup& base, const TreePath& path, const FileStamp& stamp,
             const std::optional<HeldFile>& held) {
    const std::optional<TreeEntry> entry = base.find_file(path.text());
    if (!entry || entry->executable != stamp.executable || entry->size != stamp.size) {
        return true;
    }
    if (held && held->is_unchanged(stamp)) {
        return held->digest != entry->digest;
    }
    return checkout.files().hash(path).first != entry->digest;
}

bool is_skipped(const std::string& path, const std::set<std::string>& skip) {
    return std::any_of(skip.begin(), skip.end(), [&](const std::string& folder) { return is_within(path, folder); });
}

}  // namespace

std::vector<std::string> changed_paths(Checkout& checkout, const std::set<std::string>& skip) {
    TreeLookup base(checkout.sources(), checkout.base_tree());
    std::map<std::string, HeldFile> held = checkout.state().held_files("");
    std::set<std::string> changed;
    checkout.files().scan("", skip, [&](const std::string& path, const WorkingEntry& entry) {
        const auto known = held.find(path);
        const std::optional<HeldFile> file = known != held.end() ? std::optional(known->second) : std::nullopt;
        if (!entry.is_file() || differs(checkout, base, TreePath::parse(path), entry.stamp, file)) {
            changed.insert(path);
        }
        if (known != held.end()) {
            held.erase(known);
        }
    });
    for (const auto& [path, file] : held) {
        if (!is_skipped(path, skip) && base.find_file(path)) {
            changed.insert(path);
        }
    }
    for (const auto& [path, entry] : checkout.state().staged_changes()) {
        if (!is_skipped(path, skip)) {
            changed.insert(path);
        }
    }
    return {changed.begin(), changed.end()};
}

}  // namespace tome
