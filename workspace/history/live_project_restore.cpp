#include "workspace/history/live_project_restore.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "files/file_bytes.h"
#include "files/folder_tree.h"
#include "project/file_tree_comparison.h"
#include "project/file_tree_materialization.h"
#include "project/visible_files.h"

namespace quill {
namespace {

namespace fs = std::filesystem;

// The paths to write or remove. A file that differs in its executable bit alone is not among them, but a link is.
std::vector<fs::path> paths_to_replace(const FolderTree& live, TreeComparison& comparison) {
    std::vector<fs::path> paths = comparison.differing_paths();
    std::erase_if(comparison.other_mode, [&](const std::string& path) {
        const std::optional<FolderEntry> entry = live.find(path);
        const bool is_link = entry && !entry->is_file();
        is_link ? void(paths.emplace_back(path)) : void();
        return is_link;
    });
    std::set<std::string> changed;
    for (const fs::path& path : paths) {
        changed.insert(path.string());
    }
    // Links to these files are replaced, too, because they are about to lead to other bytes or nowhere.
    if (!changed.empty()) {
        const std::vector<std::string> links = visible_links_to(live, changed);
        std::copy_if(links.begin(), links.end(), std::back_inserter(paths),
                     [&](const std::string& link) { return !changed.contains(link); });
    }
    return paths;
}

void verify(const fs::path& live, const fs::path& restored) {
    TreeComparison comparison = compare_project_workspace_files(live, restored);
    if (!comparison.differing.empty() || !comparison.other_mode.empty()) {
        throw TreeMismatchError(
            "restore verification failed: the live project does not match the selected historical state",
            std::move(comparison));
    }
}

}  // namespace

void check_live_project(const fs::path& live_root, const fs::path& restored) {
    const FolderTree live(live_root);
    for (const std::string& file : all_visible_project_files(FolderTree(restored))) {
        bool replaceable = false;
        try {
            replaceable = can_give_way(live, file);
        } catch (const FileError& error) {
            if (error.kind() == FileError::Kind::Link) {
                throw std::runtime_error(
                    "could not create restored workspace folder: a symbolic link stands in the way of " + file);
            }
            throw std::runtime_error("could not inspect live workspace file: " + error.reason());
        }
        if (!replaceable) {
            throw std::runtime_error("workspace restore encountered an unsupported project entry: " + file);
        }
    }
}

std::uint64_t restore_live_project(const fs::path& live, const fs::path& restored, FileKeeper& kept) {
    const FolderTree live_tree(live);
    const FolderTree restored_tree(restored);
    kept.make_way(all_visible_project_files(restored_tree));
    TreeComparison comparison = compare_project_workspace_files(live, restored);
    const std::vector<fs::path> replaced = paths_to_replace(live_tree, comparison);
    for (const fs::path& file : replaced) {
        kept.keep(file.string());
    }
    kept.make_durable();
    const std::int64_t count = materialize_project_workspace_files_checked(restored, live, replaced);
    for (const std::string& file : comparison.other_mode) {
        match_executable_bit(restored_tree.open_file(file), live_tree, file);
    }
    verify(live, restored);
    kept.complete();
    return static_cast<std::uint64_t>(count) + comparison.other_mode.size();
}

}  // namespace quill
