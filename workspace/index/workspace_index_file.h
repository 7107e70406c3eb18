// The index file Workspaces/workspaces.json (format: docs/formats.md): read, replaced, and changed so that nothing is
// lost that other programs wrote. Any thread.
#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "engine/workspace_record.h"

namespace quill {

/// The workspaces of the index file, "main" never among them; none when the file is missing or empty.
std::vector<ProjectWorkspace> read_workspaces_without_main(const std::filesystem::path& project);

/// Replaces the file, whatever it holds: for callers that have the whole list. `update_workspaces_without_main` loses
/// nothing of what others wrote. Throws "could not create workspace folder: ", "could not write workspace file: ",
/// "could not install workspace file: "; the old file then stands.
void write_workspaces_without_main(const std::filesystem::path& project,
                                   const std::vector<ProjectWorkspace>& workspaces);

/// Reads, changes and writes the file under an advisory lock on its folder, so that processes lose nothing of each
/// other's. Members that this version does not know stay. Also throws what `require_writable_workspace_index`
/// throws; `change` is not called then.
void update_workspaces_without_main(const std::filesystem::path& project,
                                    const std::function<void(std::vector<ProjectWorkspace>&)>& change);

/// Called before something is published that the file is then to record, so that a file which must not be written ends
/// the operation in time. Throws "damaged record file, nothing was written: " + path when a part of the file cannot be
/// read, "record file of a newer version, nothing was written: " + path.
void require_writable_workspace_index(const std::filesystem::path& project);

/// Writes a workspace's new head and the time `updated_at` into its entry; nothing for "main" or an unknown id.
void record_workspace_head(const std::filesystem::path& project, const std::string& id, const std::string& head,
                           const std::string& updated_at);

}  // namespace quill
