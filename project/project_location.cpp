#include "project/project_location.h"

#include <vector>

#include "files/absolute_path.h"

namespace quill {

std::filesystem::path workspace_independent_project_path(const std::filesystem::path& path) {
    const std::filesystem::path normal = path.lexically_normal();
    if (!normal.is_absolute()) {
        return normal;
    }
    const std::vector<std::filesystem::path> components(normal.begin(), normal.end());
    std::filesystem::path owner;
    for (std::size_t i = 0; i < components.size(); ++i) {
        const bool checkout = i + 2 < components.size() && components[i] == ".derived" &&
                              (components[i + 1] == "tome-workspaces" || components[i + 1] == ".history-preview") &&
                              !components[i + 2].empty();
        if (checkout) {
            return owner;
        }
        owner /= components[i];
    }
    return normal;
}

std::filesystem::path canonical_project_content_root(const std::filesystem::path& path) {
    return workspace_independent_project_path(absolute_normalized(path));
}

}  // namespace quill
