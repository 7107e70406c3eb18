#include "workspace/index/picker_order.h"

#include <algorithm>

namespace quill {

void sort_workspaces_for_picker(std::vector<ProjectWorkspace>& workspaces) {
    std::stable_sort(workspaces.begin(), workspaces.end(), [](const ProjectWorkspace& a, const ProjectWorkspace& b) {
        if ((a.id == "main") != (b.id == "main")) {
            return a.id == "main";
        }
        return a.id != "main" && a.updatedAt > b.updatedAt;
    });
}

}  // namespace quill
