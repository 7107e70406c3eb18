#include "identity/visible_files.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace quill {
namespace {

constexpr std::array<std::string_view, 7> hidden_folders{"Build/",      "Cooked/",   "Content/", "Contents/",
                                                         "Workspaces/", ".derived/", ".tome/"};

}  // namespace

bool project_relative_path_is_hidden(const std::filesystem::path& relative) {
    const std::string text = relative.string();
    if (text.empty() || text == "project.json.tmp" ||
        relative.filename().string().starts_with("project.json.before-")) {
        return true;
    }
    const auto within = [&](std::string_view folder) { return text.starts_with(folder); };
    return std::any_of(hidden_folders.begin(), hidden_folders.end(), within) || text.starts_with('.') ||
           text.find("/.") != std::string::npos;
}

std::vector<std::string> visible_project_files(const std::filesystem::path& root) {
    std::vector<std::string> files;
    std::error_code error;
    // Paths from the walk begin with `root` as it was given, so what follows it is the relative path.
    const std::filesystem::path base = root.lexically_normal() / "";
    const std::size_t prefix = base.string().size();
    std::filesystem::recursive_directory_iterator entry(
        base, std::filesystem::directory_options::skip_permission_denied, error);
    const std::filesystem::recursive_directory_iterator end;
    while (!error && entry != end) {
        const std::filesystem::path relative = entry->path().string().substr(prefix);
        std::error_code ignored;
        if (project_relative_path_is_hidden(relative)) {
            if (entry->is_directory(ignored)) {
                entry.disable_recursion_pending();
            }
        } else if (entry->is_regular_file(ignored)) {
            files.push_back(relative.string());
        }
        entry.increment(error);
    }
    std::sort(files.begin(), files.end());
    return files;
}

}  // namespace quill
