// The workspaces of a project: the index file Workspaces/workspaces.json (format: docs/formats.md), the branch list of
// the remote, and what callers see of the two. Failures are std::runtime_error.
#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "engine/workspace_record.h"

namespace quill {

/// The workspaces in picker order, "main" first: those of the cached branch list when there is one, else those of the
/// index file. Starts a background refresh when one is due.
std::vector<ProjectWorkspace> list_project_workspaces(const std::filesystem::path& project, bool include_archived);

/// The same with the branch list asked for at once. Throws what the engine reports.
std::vector<ProjectWorkspace> refresh_project_workspaces(const std::filesystem::path& project, bool include_archived);

/// The workspace with exactly this id, without starting a refresh.
std::optional<ProjectWorkspace> find_project_workspace(const std::filesystem::path& project, const std::string& id,
                                                       bool include_archived);

/// A display name for each workspace, all distinct: "Main" for the main workspace alone, else the name; where names
/// normalise alike, the first keeps it plain and the others add " (" + id + ")".
std::vector<std::string> project_workspace_display_names(const std::vector<ProjectWorkspace>& workspaces);

}  // namespace quill
