#include "project/visible_files.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <functional>
#include <string_view>

#include "files/folder_tree.h"

namespace quill {
namespace {

constexpr std::array<std::string_view, 7> hidden_folders{"Build/",      "Cooked/",   "Content/", "Contents/",
                                                         "Workspaces/", ".derived/", ".tome/"};

bool leads_to_file(const FolderTree& tree, const std::string& link) {
    try {
        const std::optional<FolderEntry> target = tree.find_target(link);
        return target && target->is_file();
    } catch (const FileError& error) {
        if (error.number() != ELOOP) {
            throw;
        }
        return false;  // Links in a circle lead nowhere.
    }
}

void walk_visible(const FolderTree& tree, bool skips_denied,
                  const std::function<void(const std::string& path, const FolderEntry& entry)>& visit) {
    FolderTree::WalkRules rules;
    rules.leaves_out = [](const std::string& path) { return project_relative_path_is_hidden(path); };
    rules.skips_denied = skips_denied;
    tree.walk("", rules, visit);
}

void list_visible_files(const FolderTree& tree, bool skips_denied, std::vector<std::string>& files) {
    walk_visible(tree, skips_denied, [&](const std::string& path, const FolderEntry& entry) {
        if (entry.is_file() || (entry.kind == FolderEntry::Kind::Link && leads_to_file(tree, path))) {
            files.push_back(path);
        }
    });
}

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
    try {
        list_visible_files(FolderTree(root.lexically_normal()), true, files);
    } catch (const FileError&) {
        // What was found until then is the answer.
    }
    std::sort(files.begin(), files.end());
    return files;
}

std::vector<std::string> all_visible_project_files(const FolderTree& tree) {
    std::vector<std::string> files;
    list_visible_files(tree, false, files);
    std::sort(files.begin(), files.end());
    return files;
}

std::vector<std::string> visible_links_to(const FolderTree& tree, const std::set<std::string>& files) {
    const std::filesystem::path root = std::filesystem::canonical(tree.root());
    std::vector<std::string> links;
    walk_visible(tree, false, [&](const std::string& path, const FolderEntry& entry) {
        std::error_code error;
        if (entry.kind == FolderEntry::Kind::Link) {
            const std::filesystem::path target = std::filesystem::canonical(root / path, error);
            if (!error && files.contains(target.lexically_relative(root).string())) {
                links.push_back(path);
            }
        }
    });
    std::sort(links.begin(), links.end());
    return links;
}

}  // namespace quill
