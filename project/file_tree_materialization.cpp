#include "project/file_tree_materialization.h"

#include <algorithm>
#include <chrono>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>

#include "files/file_bytes.h"
#include "files/folder_tree.h"
#include "project/visible_files.h"

namespace quill {
namespace {

namespace fs = std::filesystem;

std::vector<fs::path> checked_paths(const std::vector<fs::path>& paths) {
    std::vector<fs::path> result;
    for (const fs::path& path : paths) {
        const fs::path normal = path.lexically_normal();
        if (normal.empty() || normal.has_root_directory() || normal.string().starts_with("..") ||
            project_relative_path_is_hidden(normal)) {
            throw std::runtime_error("invalid restored project path: " + normal.string());
        }
        result.push_back(normal);
    }
    std::sort(result.begin(), result.end());
    result.erase(std::unique(result.begin(), result.end()), result.end());
    return result;
}

void remove_absent(const FolderTree& target, const std::string& relative) {
    try {
        target.remove_all(relative);
    } catch (const FileError& error) {
        throw std::runtime_error("could not remove file absent from restored revision: " + error.reason());
    }
    if (target.folds_names()) {
        // The restored files may spell these folders otherwise. A folder that is there would keep its old spelling.
        target.remove_empty_parents(relative);
    }
    if (target.find(relative)) {
        throw std::runtime_error("restore verification failed for deleted path: " + relative);
    }
}

void make_folder(const FolderTree& target, const std::string& relative) {
    try {
        target.make_folder(relative);
    } catch (const FileError&) {
        throw std::runtime_error("restore verification failed for directory: " + relative);
    }
}

constexpr std::string_view staging_mark = ".keel-restore-";
constexpr std::string_view staging_end = ".tmp";
constexpr std::size_t longest_name = 255;  // bytes, on common file systems

std::string staging_path(const std::string& target) {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    const auto milliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
    const std::size_t thread = std::hash<std::thread::id>{}(std::this_thread::get_id());
    const std::string suffix =
        std::string(staging_mark) + std::to_string(milliseconds) + "-" + std::to_string(thread).append(staging_end);
    const std::string folder = target.substr(0, target.rfind('/') + 1);
    const std::string name = target.substr(folder.size());
    return folder + (name.size() + suffix.size() > longest_name ? suffix : name + suffix);
}

void install(const FolderTree& target, const std::string& staged, const std::string& relative) {
    try {
        target.rename(staged, relative);
        return;
    } catch (const FileError&) {
        // Something of another kind may stand there, such as an empty folder.
    }
    try {
        const std::optional<FolderEntry> existing = target.find(relative);
        existing && existing->is_folder() ? target.remove_if_empty(relative) : target.remove_file(relative);
        target.rename(staged, relative);
    } catch (const FileError& error) {
        target.remove_file(staged);
        throw std::runtime_error("could not install restored workspace file: " + error.reason());
    }
}

bool is_equal(const FolderTree& source, const FolderTree& target, const std::string& relative) {
    try {
        return equal_file_bytes(source.open_target(relative), target.open_file(relative));
    } catch (const FileError&) {
        return false;
    }
}

void restore_file(const FolderTree& source, const FolderTree& target, const std::string& relative) {
    try {
        target.make_folder(fs::path(relative).parent_path().string());
    } catch (const FileError& error) {
        throw std::runtime_error("could not create restored workspace folder: " + error.reason());
    }
    const std::string staged = staging_path(relative);
    try {
        const FileDescriptor from = source.open_target(relative);
        copy_file(from, target, staged, mode_of_copy(from, target.find(relative)), Durability::Synced);
    } catch (const FileError& error) {
        throw std::runtime_error("could not stage restored workspace file: " + error.reason());
    }
    install(target, staged, relative);
    if (!is_equal(source, target, relative)) {
        throw std::runtime_error("restore verification failed for live file: " + relative);
    }
}

// What the source has at the path, followed to where a link there leads.
std::optional<FolderEntry> find_in_source(const FolderTree& source, const std::string& relative) {
    try {
        return source.find_target(relative);
    } catch (const FileError& error) {
        throw std::runtime_error("could not inspect restored source file: " + error.reason());
    }
}

void materialize(const FolderTree& source, const FolderTree& target, const std::string& relative) {
    const std::optional<FolderEntry> entry = find_in_source(source, relative);
    if (!entry) {
        remove_absent(target, relative);
    } else if (entry->is_folder()) {
        make_folder(target, relative);
    } else if (entry->is_file()) {
        restore_file(source, target, relative);
    } else {
        throw std::runtime_error("restore contains an unsupported project entry: " + relative);
    }
}

void check_way(const FolderTree& target, const std::string& relative) {
    try {
        target.find(relative);
    } catch (const FileError& error) {
        if (error.kind() == FileError::Kind::Link) {
            throw std::runtime_error(
                "could not create restored workspace folder: a symbolic link stands in the way of " + relative);
        }
    }
}

}  // namespace

std::int64_t materialize_project_workspace_files_checked(const fs::path& source_root, const fs::path& target_root,
                                                         const std::vector<fs::path>& paths) {
    std::vector<std::string> checked;
    for (const fs::path& path : checked_paths(paths)) {
        checked.push_back(path.string());
    }
    std::error_code ignored;
    fs::create_directories(target_root, ignored);
    const FolderTree source(source_root);
    const FolderTree target(target_root);
    // Removals come first. They make room for a folder where a file was and, where names that differ by case are one,
    // for another spelling.
    std::stable_partition(checked.begin(), checked.end(),
                          [&](const std::string& relative) { return !find_in_source(source, relative); });
    for (const std::string& relative : checked) {
        check_way(target, relative);
        materialize(source, target, relative);
    }
    try {
        sync_folders(target, checked);
    } catch (const FileError& error) {
        throw std::runtime_error("could not install restored workspace file: " + error.reason());
    }
    return static_cast<std::int64_t>(checked.size());
}

bool is_restore_staging_file(const fs::path& path) {
    const std::string name = path.filename().string();
    const std::size_t mark = name.rfind(staging_mark);
    if (mark == std::string::npos || !name.ends_with(staging_end)) {
        return false;
    }
    const std::size_t start = mark + staging_mark.size();
    const std::string_view numbers = std::string_view(name).substr(start, name.size() - start - staging_end.size());
    const std::size_t dash = numbers.find('-');
    const auto is_number = [](std::string_view text) {
        return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
    };
    return dash != std::string_view::npos && is_number(numbers.substr(0, dash)) && is_number(numbers.substr(dash + 1));
}

}  // namespace quill
