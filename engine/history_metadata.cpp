#include "engine/history_metadata.h"

namespace quill {

std::string revision_display_metadata_key(const std::string& revision, const std::string& name) {
    return "keel.revision." + revision + "." + name;
}

BranchMetadata new_head_metadata(const std::string& revision, const std::string& time) {
    return {{workspace_metadata_key::updated_at, time}, {workspace_metadata_key::head_key, revision}};
}

void add_display_metadata(BranchMetadata& metadata, const std::string& revision, const RevisionDisplayValues& values) {
    const auto add = [&](const char* name, const std::string& value) {
        metadata.emplace(revision_display_metadata_key(revision, name), value);
    };
    add(revision_display_name::created_at, values.created_at);
    add(revision_display_name::summary, values.summary);
    add(revision_display_name::changed_file_count, std::to_string(values.changed_file_count));
    if (!values.author.empty()) {
        add(revision_display_name::author, values.author);
    }
}

}  // namespace quill
