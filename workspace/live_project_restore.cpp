#include "workspace/live_project_restore.h"

#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "identity/file_bytes.h"
#include "identity/file_tree_comparison.h"
#include "identity/visible_files.h"

namespace quill {
namespace {

namespace fs = std::filesystem;

bool is_folder(const fs::path& path) {
    std::error_code ignored;
    return fs::is_directory(fs::symlink_status(path, ignored));
}

bool is_present(const fs::path& path) {
    std::error_code ignored;
    return fs::exists(fs::symlink_status(path, ignored));
}

// Folders where a restored file is to be, and files where one of its folders is to be.
std::set<fs::path> entries_of_another_kind(const fs::path& live, const fs::path& restored) {
    std::set<fs::path> entries;
    std::set<fs::path> folders;  // those seen
    for (const fs::path file : visible_project_files(restored)) {
        if (is_folder(live / file)) {
            entries.insert(file);
        }
        for (fs::path folder = file.parent_path(); !folder.empty() && folders.insert(folder).second;
             folder = folder.parent_path()) {
            if (is_present(live / folder) && !is_folder(live / folder)) {
                entries.insert(folder);
            }
        }
    }
    return entries;
}

[[noreturn]] void refuse_keeping(const fs::path& relative) {
    throw std::runtime_error("could not keep replaced workspace file: " + relative.string());
}

void make_folder_of(const fs::path& kept, const fs::path& relative) {
    std::error_code error;
    fs::create_directories(kept.parent_path(), error);
    if (error) {
        refuse_keeping(relative);
    }
}

void move_away(const fs::path& live, const fs::path& replaced, const fs::path& relative) {
    make_folder_of(replaced / relative, relative);
    std::error_code error;
    fs::rename(live / relative, replaced / relative, error);
    if (error) {
        refuse_keeping(relative);
    }
}

// A second name for the file: its bytes stay when the first is given to another file.
void keep(const fs::path& live, const fs::path& replaced, const fs::path& relative) {
    if (!is_present(live / relative)) {
        return;
    }
    make_folder_of(replaced / relative, relative);
    std::error_code error;
    fs::create_hard_link(live / relative, replaced / relative, error);
    if (error) {
        copy_file(live / relative, replaced / relative, Durability::Synced, error);
    }
    if (error) {
        refuse_keeping(relative);
    }
}

// Whether anything below the folder is none of the project's own files: it must not go with the folder.
bool holds_hidden_files(const fs::path& live, const fs::path& folder) {
    std::error_code error;
    fs::recursive_directory_iterator entry(live / folder, error);
    for (; !error && entry != fs::recursive_directory_iterator(); entry.increment(error)) {
        std::error_code ignored;
        if (!entry->is_directory(ignored) && project_relative_path_is_hidden(entry->path().lexically_relative(live))) {
            return true;
        }
    }
    return bool(error);
}

void check_entry(const fs::path& live, const fs::path& file) {
    std::error_code ignored;
    const fs::file_status status = fs::status(live / file, ignored);
    const bool replaceable =
        is_folder(live / file) ? !holds_hidden_files(live, file) : !fs::exists(status) || fs::is_regular_file(status);
    if (!replaceable) {
        throw std::runtime_error("workspace restore encountered an unsupported project entry: " + file.string());
    }
}

// Those of complete restores before; what a restore that was cut off had kept may be nowhere else.
void remove_earlier(const fs::path& replaced, const std::string& name) {
    std::error_code error;
    fs::directory_iterator entry(replaced, error);
    for (; !error && entry != fs::directory_iterator(); entry.increment(error)) {
        if (entry->path().filename() != name && entry->path().extension() != ".unfinished") {
            std::error_code ignored;
            fs::remove_all(entry->path(), ignored);
        }
    }
}

}  // namespace

void check_live_project(const fs::path& live, const fs::path& restored) {
    std::set<fs::path> folders;
    for (const fs::path file : visible_project_files(restored)) {
        if (folders.insert(file.parent_path()).second && passes_symbolic_link(live, file)) {
            throw std::runtime_error(
                "could not create restored workspace folder: a symbolic link stands in the way of " + file.string());
        }
        check_entry(live, file);
    }
}

std::uint64_t restore_live_project(const fs::path& live, const fs::path& restored, const fs::path& replaced_folder,
                                   const std::string& name) {
    const fs::path replaced = replaced_folder / (name + ".unfinished");
    for (const fs::path& entry : entries_of_another_kind(live, restored)) {
        move_away(live, replaced, entry);
    }
    const std::vector<fs::path> differing = differing_project_workspace_files(live, restored);
    for (const fs::path& file : differing) {
        keep(live, replaced, file);
    }
    const std::int64_t count = materialize_project_workspace_files_checked(restored, live, differing);
    if (!differing_project_workspace_files(live, restored).empty()) {
        throw std::runtime_error(
            "restore verification failed: the live project does not match the selected historical state");
    }
    std::error_code ignored;
    fs::rename(replaced, replaced_folder / name, ignored);
    remove_earlier(replaced_folder, name);
    return static_cast<std::uint64_t>(count);
}

}  // namespace quill
