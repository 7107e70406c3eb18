// What a branch of the history says of its workspace and of its revisions: the branch's kind and the keys of its
// metadata (docs/formats.md). Creation, commit, restore and merge write them, history and the branch list read them.
// Pure functions.
#pragma once

#include <cstdint>
#include <map>
#include <string>

namespace quill {

/// The kind of a branch that is a workspace. A branch without a kind counts as one; one of another kind does not.
inline constexpr const char* workspace_branch_kind = "quill-workspace";

/// Metadata of a branch, value by key.
using BranchMetadata = std::map<std::string, std::string>;

/// Keys of what a branch says of its workspace; the values are as in ProjectWorkspace.
namespace workspace_metadata_key {
inline constexpr const char* mark = "quill.workspace";  ///< "1" for a workspace
inline constexpr const char* name = "quill.workspace.name";
inline constexpr const char* parent = "quill.workspace.parent";
inline constexpr const char* base_scene = "quill.workspace.baseScene";
inline constexpr const char* author = "quill.workspace.author";
inline constexpr const char* created_at = "quill.workspace.createdAt";
inline constexpr const char* updated_at = "quill.workspace.updatedAt";
inline constexpr const char* head_key = "quill.workspace.headKey";
}  // namespace workspace_metadata_key

/// Names of a revision's display values.
namespace revision_display_name {
inline constexpr const char* author = "author";
inline constexpr const char* created_at = "createdAt";
inline constexpr const char* summary = "summary";
inline constexpr const char* changed_file_count = "changedFileCount";
inline constexpr const char* restore_mode = "restoreMode";
inline constexpr const char* restore_target = "restoreTarget";
inline constexpr const char* previous_head = "previousHead";
}  // namespace revision_display_name

/// The key of a revision's display value in its branch's metadata: "keel.revision." + revision + "." + name.
std::string revision_display_metadata_key(const std::string& revision, const std::string& name);

/// What a branch says of its new head `revision`, which it got at `time`.
BranchMetadata new_head_metadata(const std::string& revision, const std::string& time);

/// The display values that every commit and restore gives its revision.
struct RevisionDisplayValues {
    std::string author;  ///< empty: none is noted
    std::string created_at;
    std::string summary;
    std::uint64_t changed_file_count = 0;
};

/// Adds the display values of `revision` to `metadata`.
void add_display_metadata(BranchMetadata& metadata, const std::string& revision, const RevisionDisplayValues& values);

}  // namespace quill
