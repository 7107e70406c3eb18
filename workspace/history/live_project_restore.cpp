#include "workspace/history/live_project_restore.h"

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "files/file_bytes.h"
#include "files/folder_tree.h"
#include "files/platform.h"
#include "project/file_tree_comparison.h"
#include "project/file_tree_materialization.h"
#include "project/package_state.h"
#include "project/visible_files.h"

namespace quill {
namespace {

namespace fs = std::filesystem;

// The name of a folder of kept files ends in this until the restore is complete.
constexpr const char* unfinished = ".unfinished";

// What stands in the way: folders where a restored file is to be, and files where one of its folders is to be.
std::set<std::string> entries_of_another_kind(const FolderTree& live, const FolderTree& restored) {
    std::set<std::string> entries;
    std::set<std::string> folders;  // those looked at
    for (const std::string& file : all_visible_project_files(restored)) {
        const std::optional<FolderEntry> existing = live.find(file);
        if (existing && existing->is_folder()) {
            entries.insert(file);
        }
        for (std::string folder = folder_of(file); !folder.empty() && folders.insert(folder).second;
             folder = folder_of(folder)) {
            const std::optional<FolderEntry> above = live.find(folder);
            if (above && !above->is_folder()) {
                entries.insert(folder);
            }
        }
    }
    return entries;
}

// Keeps what is about to be replaced in a folder of the package.
class KeptFiles {
  public:
    KeptFiles(const LiveProject& live, const std::string& name)
        : package_(live.package), live_(prefix(live.package, live.files)), kept_(prefix(live.package, live.replaced)) {
        kept_ += name + "/";
    }

    void move_away(const std::string& file) {
        keeping(file, [&] {
            package_.make_folder(folder_of(kept_ + file));
            package_.rename(live_ + file, kept_ + file);
        });
        files_.push_back(file);
    }

    // Gives the file a second name, by which its bytes stay when the first name goes to the restored file.
    void keep(const std::string& file) {
        if (!package_.find(live_ + file)) {
            return;
        }
        keeping(file, [&] {
            package_.make_folder(folder_of(kept_ + file));
            package_.remove_file(kept_ + file);  // A restore that was cut off may have left it.
            if (!package_.link(live_ + file, kept_ + file)) {
                const FileDescriptor from = package_.open_target(live_ + file);
                copy_file(from, package_, kept_ + file, mode_of_copy(from, std::nullopt), Durability::Synced);
            }
        });
        files_.push_back(file);
    }

    // Called before files of the live project are replaced. It writes the kept files' bytes to the disk as well as
    // their names: an edit made a moment ago may not be there yet.
    void make_durable() {
        if (files_.size() > max_single_syncs) {
            return synced([&] { sync_volume(package_); });
        }
        for (const std::string& file : files_) {
            keeping(file, [&] {
                const std::optional<FolderEntry> entry = package_.find(kept_ + file);
                if (entry && entry->is_file() && !sync_to_disk(package_.open_file(kept_ + file).get())) {
                    throw FileError(FileError::Kind::System, "could not write " + file, errno);
                }
            });
        }
        std::vector<std::string> paths;
        for (const std::string& file : files_) {
            paths.push_back(kept_ + file);
        }
        synced([&] { sync_folders(package_, paths); });
    }

  private:
    template <typename Sync>
    void synced(Sync sync) const {
        try {
            sync();
        } catch (const FileError&) {
            refuse(files_.front());
        }
    }

    static std::string prefix(const fs::path& package, const fs::path& folder) {
        const fs::path relative = folder.lexically_relative(package);
        return relative == "." ? std::string() : relative.string() + "/";
    }

    [[noreturn]] static void refuse(const std::string& file) {
        throw std::runtime_error("could not keep replaced workspace file: " + file);
    }

    template <typename Call>
    void keeping(const std::string& file, Call call) {
        try {
            call();
        } catch (const FileError&) {
            refuse(file);
        }
    }

    FolderTree package_;
    std::string live_;
    std::string kept_;
    std::vector<std::string> files_;
};

// Whether the folder holds anything besides visible files of the project, which must not be removed with it.
bool holds_hidden_files(const FolderTree& live, const std::string& folder) {
    bool holds = false;
    try {
        live.walk(folder, {}, [&](const std::string& path, const FolderEntry&) {
            holds = holds || project_relative_path_is_hidden(path);
        });
    } catch (const FileError&) {
        return true;
    }
    return holds;
}

bool can_be_replaced(const FolderTree& live, const std::string& file) {
    const std::optional<FolderEntry> existing = live.find(file);
    if (existing && existing->is_folder()) {
        return !holds_hidden_files(live, file);
    }
    const std::optional<FolderEntry> target = existing ? live.find_target(file) : std::nullopt;
    return !target || target->is_file();
}

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

// Gives the folder of kept files its final name and removes those of earlier restores. What a restore that was cut off
// had kept stays, because it may be nowhere else.
void complete(const LiveProject& live, const std::string& name) {
    const FolderTree package(live.package);
    const std::string replaced = live.replaced.lexically_relative(live.package).string();
    const std::string kept = replaced + "/" + name;
    try {
        if (package.find(kept + unfinished)) {
            package.rename(kept + unfinished, kept);
        }
        for (const std::string& entry : package.names_in(replaced)) {
            if (entry != name && !entry.ends_with(unfinished)) {
                discard_state(live.package, live.replaced / entry);
            }
        }
    } catch (const FileError&) {
        // The restore is done. Only the folder's name still says that it is not.
    }
}

void verify(const LiveProject& live, const fs::path& restored) {
    TreeComparison comparison = compare_project_workspace_files(live.files, restored);
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
            replaceable = can_be_replaced(live, file);
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

std::uint64_t restore_live_project(const LiveProject& live, const fs::path& restored, const std::string& name) {
    const FolderTree live_tree(live.files);
    const FolderTree restored_tree(restored);
    KeptFiles kept(live, name + unfinished);
    const std::set<std::string> in_the_way = entries_of_another_kind(live_tree, restored_tree);
    for (const std::string& entry : in_the_way) {
        kept.move_away(entry);
    }
    TreeComparison comparison = compare_project_workspace_files(live.files, restored);
    const std::vector<fs::path> replaced = paths_to_replace(live_tree, comparison);
    for (const fs::path& file : replaced) {
        kept.keep(file.string());
    }
    kept.make_durable();
    const std::int64_t count = materialize_project_workspace_files_checked(restored, live.files, replaced);
    for (const std::string& file : comparison.other_mode) {
        match_executable_bit(restored_tree.open_file(file), live_tree, file);
    }
    verify(live, restored);
    complete(live, name);
    return static_cast<std::uint64_t>(count) + comparison.other_mode.size();
}

}  // namespace quill
