// The order in which workspaces are shown. Pure.
#pragma once

#include <vector>

#include "engine/workspace_record.h"

namespace quill {

/// "main" first, then by `updatedAt`, compared as byte strings, greatest first.
void sort_workspaces_for_picker(std::vector<ProjectWorkspace>& workspaces);

}  // namespace quill
