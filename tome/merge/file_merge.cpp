#include "tome/merge/file_merge.h"

#include "tome/merge/text_merge.h"

namespace tome {
namespace {

std::optional<std::string> text_of(ObjectSource& source, const std::optional<TreeEntry>& entry,
                                   const std::string& path) {
    if (!entry || entry->is_folder() || entry->size > max_merged_text_bytes) {
        return std::nullopt;
    }
    std::optional<std::string> bytes = source.read_content(entry->digest);
    if (!bytes) {
        throw missing_object(entry->digest);
    }
    check_size(*entry, bytes->size(), path);
    return is_mergeable_text(*bytes) ? std::move(bytes) : std::nullopt;
}

}  // namespace

std::optional<TreeEntry> merge_files(ObjectSource& source, Store& store, const FileVersions& versions,
                                     const std::string& path) {
    const auto old_text = text_of(source, versions.base, path);
    const auto our_text = text_of(source, versions.ours, path);
    const auto their_text = text_of(source, versions.theirs, path);
    if (!old_text || !our_text || !their_text) {
        return std::nullopt;
    }
    const std::optional<std::string> merged = merge_texts(*old_text, *our_text, *their_text);
    if (!merged) {
        return std::nullopt;
    }
    TreeEntry entry = *versions.ours;
    entry.digest = digest_of(*merged);
    entry.size = merged->size();
    entry.executable = versions.ours->executable == versions.base->executable ? versions.theirs->executable
                                                                              : versions.ours->executable;
    store.add_bytes(entry.digest, *merged);
    return entry;
}

}  // namespace tome
