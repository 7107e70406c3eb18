// Bringing the changes of one workspace into another.
#pragma once

#include <filesystem>
#include <string>

namespace quill {

/// Merges `source_workspace` into `target_workspace` ("" means "main") as a new revision of the target and publishes
/// it. Then updates the working files: the target's checkout, or the package for "main" (additions and deletions
/// included). An empty message becomes "Merge Quill workspace <source> into <target>". Texts that both
/// sides changed in different places are merged by lines. Throws std::runtime_error "merge has conflicts"
/// + ": " + path for each; "uncommitted changes would be overwritten: " + path (and how many more) for files of the
/// target with bytes that its history does not have; "workspace branch does not exist"; what
/// require_project_tome_remote and the engine throw. Nothing was published or changed then, unless the failure came
/// after publishing: a sync of "main" completes the package.
void merge_project_workspace_into(const std::filesystem::path& project_path, const std::string& source_workspace,
                                  const std::string& target_workspace, const std::string& message);

}  // namespace quill
