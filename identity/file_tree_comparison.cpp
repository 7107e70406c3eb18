#include "identity/file_tree_comparison.h"

#include <algorithm>
#include <chrono>
#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>

#include "identity/file_bytes.h"
#include "identity/visible_files.h"

namespace quill {
namespace {

namespace fs = std::filesystem;

fs::file_status inspect(const fs::path& path, const std::string& failure) {
    std::error_code error;
    const fs::file_status status = fs::status(path, error);
    if (error && status.type() != fs::file_type::not_found) {
        throw std::runtime_error(failure + error.message());
    }
    return status;
}

bool file_differs(const fs::path& live, const fs::path& old, const std::string& relative) {
    const fs::file_status live_status = inspect(live, "could not inspect live workspace file: ");
    const fs::file_status old_status = inspect(old, "could not inspect historical workspace file: ");
    for (const fs::file_status& status : {live_status, old_status}) {
        if (fs::exists(status) && !fs::is_regular_file(status)) {
            throw std::runtime_error("workspace restore encountered an unsupported project entry: " + relative);
        }
    }
    if (!fs::exists(live_status) || !fs::exists(old_status)) {
        return fs::exists(live_status) != fs::exists(old_status);
    }
    std::error_code live_error;
    std::error_code old_error;
    const std::uintmax_t live_size = fs::file_size(live, live_error);
    const std::uintmax_t old_size = fs::file_size(old, old_error);
    return live_error || old_error || live_size != old_size || !equal_file_bytes(live, old);
}

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

void remove_absent(const fs::path& target, const fs::path& relative) {
    std::error_code error;
    fs::remove_all(target, error);
    if (error) {
        throw std::runtime_error("could not remove file absent from restored revision: " + error.message());
    }
    if (fs::symlink_status(target, error).type() != fs::file_type::not_found) {
        throw std::runtime_error("restore verification failed for deleted path: " + relative.string());
    }
}

void make_folder(const fs::path& target, const fs::path& relative) {
    std::error_code error;
    fs::create_directories(target, error);
    if (error || !fs::is_directory(target, error)) {
        throw std::runtime_error("restore verification failed for directory: " + relative.string());
    }
}

constexpr std::string_view staging_mark = ".keel-restore-";
constexpr std::string_view staging_end = ".tmp";
constexpr std::size_t longest_name = 255;  // bytes, on common file systems

fs::path staging_path(const fs::path& target) {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    const auto milliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
    const std::size_t thread = std::hash<std::thread::id>{}(std::this_thread::get_id());
    const std::string suffix =
        std::string(staging_mark) + std::to_string(milliseconds) + "-" + std::to_string(thread).append(staging_end);
    const std::string name = target.filename().string();
    return target.parent_path() / (name.size() + suffix.size() > longest_name ? suffix : name + suffix);
}

void install(const fs::path& staged, const fs::path& target) {
    std::error_code error;
    std::error_code ignored;
    fs::rename(staged, target, error);
    if (error) {
        fs::remove(target, ignored);
        fs::rename(staged, target, error);
    }
    if (error) {
        fs::remove(staged, ignored);
        throw std::runtime_error("could not install restored workspace file: " + error.message());
    }
}

void restore_file(const fs::path& source, const fs::path& target, const fs::path& relative) {
    std::error_code error;
    fs::create_directories(target.parent_path(), error);
    if (error) {
        throw std::runtime_error("could not create restored workspace folder: " + error.message());
    }
    const fs::path staged = staging_path(target);
    copy_file(source, staged, Durability::Synced, error);
    if (error) {
        throw std::runtime_error("could not stage restored workspace file: " + error.message());
    }
    install(staged, target);
    if (!equal_file_bytes(source, target)) {
        throw std::runtime_error("restore verification failed for live file: " + relative.string());
    }
}

void materialize(const fs::path& source_root, const fs::path& target_root, const fs::path& relative) {
    if (passes_symbolic_link(target_root, relative)) {
        throw std::runtime_error("could not create restored workspace folder: a symbolic link stands in the way of " +
                                 relative.string());
    }
    const fs::path source = source_root / relative;
    const fs::path target = target_root / relative;
    const fs::file_status status = inspect(source, "could not inspect restored source file: ");
    if (!fs::exists(status)) {
        remove_absent(target, relative);
    } else if (fs::is_directory(status)) {
        make_folder(target, relative);
    } else if (fs::is_regular_file(status)) {
        restore_file(source, target, relative);
    } else {
        throw std::runtime_error("restore contains an unsupported project entry: " + relative.string());
    }
}

}  // namespace

std::vector<fs::path> differing_project_workspace_files(const fs::path& live_root, const fs::path& historical_root) {
    std::vector<std::string> files = visible_project_files(live_root);
    const std::vector<std::string> old_files = visible_project_files(historical_root);
    files.insert(files.end(), old_files.begin(), old_files.end());
    std::sort(files.begin(), files.end());
    files.erase(std::unique(files.begin(), files.end()), files.end());
    std::vector<fs::path> differing;
    for (const std::string& file : files) {
        if (file_differs(live_root / file, historical_root / file, file)) {
            differing.emplace_back(file);
        }
    }
    return differing;
}

std::int64_t materialize_project_workspace_files_checked(const fs::path& source_root, const fs::path& target_root,
                                                         const std::vector<fs::path>& paths) {
    const std::vector<fs::path> checked = checked_paths(paths);
    for (const fs::path& relative : checked) {
        materialize(source_root, target_root, relative);
    }
    sync_folders(target_root, checked);
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
