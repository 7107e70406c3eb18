// Bringing files of a workspace into the project package.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "engine/workspace_record.h"

namespace quill {

/// Brings the workspace's checkout to the newest head and copies `paths` from it over the package's files; a path that
/// the workspace lacks is removed. What the package held there, unless a revision is known to have it, is kept first
/// (kept_files.h). Paths with a root, beginning with ".." or hidden are passed over. Uncommitted edits in the
/// workspace's checkout are kept: where they would be overwritten the call fails, names the path and has changed
/// nothing, unless `overwrite` is set. Without paths nothing happens. Throws std::runtime_error "could not create
/// merged project folder: ", "could not materialize merged project file: ", "could not keep replaced workspace file: ",
/// "workspace branch does not exist: ", the engine's.
ProjectWorkspaceMutationResult sync_project_workspace_files(const std::filesystem::path& project,
                                                            const std::string& workspace_id,
                                                            const std::vector<std::filesystem::path>& paths,
                                                            bool overwrite);

/// Throws the error that copying these files of `checkout` into the package would hit; writes nothing. The paths are
/// visible ones, relative and normalised.
void check_project_can_take_files(const std::filesystem::path& project, const std::filesystem::path& checkout,
                                  const std::vector<std::filesystem::path>& paths);

}  // namespace quill
