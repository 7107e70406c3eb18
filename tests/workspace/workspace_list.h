// Workspaces for tests that work on lists of them.
#pragma once

#include <string>
#include <vector>

#include "engine/workspace_record.h"

namespace quill_test {

/// A workspace with this id and otherwise values that say nothing.
inline quill::ProjectWorkspace workspace(const std::string& id, const std::string& updated = "1") {
    quill::ProjectWorkspace made;
    made.id = id;
    made.name = "Name of " + id;
    made.parentId = "main";
    made.baseScene = "Scenes/Main.usda";
    made.createdAt = "1";
    made.updatedAt = updated;
    return made;
}

/// The ids in their order, a blank between two.
inline std::string ids(const std::vector<quill::ProjectWorkspace>& workspaces) {
    std::string text;
    for (const quill::ProjectWorkspace& entry : workspaces) {
        text += (text.empty() ? "" : " ") + entry.id;
    }
    return text;
}

}  // namespace quill_test
