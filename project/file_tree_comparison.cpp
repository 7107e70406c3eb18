#include "project/file_tree_comparison.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>

#include "files/file_bytes.h"
#include "files/folder_tree.h"
#include "files/trace.h"
#include "project/visible_files.h"

namespace quill {
namespace {

namespace fs = std::filesystem;

constexpr const char* no_live_file = "could not inspect live workspace file: ";
constexpr const char* no_historical_file = "could not inspect historical workspace file: ";

// Runs `call`; a failure becomes `failure` with what the system says.
template <typename Call>
auto inspected(const char* failure, Call call) {
    try {
        return call();
    } catch (const FileError& error) {
        throw std::runtime_error(failure + error.reason());
    }
}

// One of the two trees. One that does not exist has no files.
class ComparedTree {
  public:
    ComparedTree(const fs::path& root, const char* failure) : failure_(failure) {
        inspected(failure, [&] {
            try {
                tree_.emplace(root);
            } catch (const FileError& error) {
                if (error.number() != ENOENT) {
                    throw;
                }
            }
        });
    }

    std::vector<std::string> files() const {
        return inspected(failure_,
                         [&] { return tree_ ? all_visible_project_files(*tree_) : std::vector<std::string>(); });
    }

    // What stands at the path or where a link there leads to.
    std::optional<FolderEntry> find(const std::string& path) const {
        const auto entry = inspected(failure_, [&] { return tree_ ? tree_->find_target(path) : std::nullopt; });
        if (entry && !entry->is_file()) {
            throw std::runtime_error("workspace restore encountered an unsupported project entry: " + path);
        }
        return entry;
    }

    // Not open when the file cannot be read, which is noted in `unreadable`.
    FileDescriptor open(const std::string& path, std::vector<UnreadableFile>& unreadable) const {
        try {
            return tree_->open_target(path);
        } catch (const FileError& error) {
            unreadable.push_back({path, error.number()});
            return {};
        }
    }

  private:
    const char* failure_;
    std::optional<FolderTree> tree_;
};

bool file_differs(const ComparedTree& live, const ComparedTree& old, const std::string& path,
                  TreeComparison& comparison) {
    const std::optional<FolderEntry> live_entry = live.find(path);
    const std::optional<FolderEntry> old_entry = old.find(path);
    if (!live_entry || !old_entry) {
        return live_entry.has_value() != old_entry.has_value();
    }
    if (live_entry->stamp.size != old_entry->stamp.size) {
        return true;
    }
    const FileDescriptor live_file = live.open(path, comparison.unreadable);
    const FileDescriptor old_file = old.open(path, comparison.unreadable);
    if (!live_file.is_open() || !old_file.is_open()) {
        return true;
    }
    try {
        if (!equal_file_bytes(live_file, old_file)) {
            return true;
        }
    } catch (const FileError& error) {
        comparison.unreadable.push_back({path, error.number()});
        return true;
    }
    if (live_entry->stamp.executable != old_entry->stamp.executable) {
        comparison.other_mode.push_back(path);
    }
    return false;
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

void remove_absent(const FolderTree& target, const std::string& relative) {
    try {
        target.remove_all(relative);
    } catch (const FileError& error) {
        throw std::runtime_error("could not remove file absent from restored revision: " + error.reason());
    }
    if (target.folds_names()) {
        target.remove_empty_parents(relative);  // They may come in another spelling.
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
        // A folder that is empty, say, stands there.
    }
    try {
        const std::optional<FolderEntry> standing = target.find(relative);
        standing && standing->is_folder() ? target.remove_if_empty(relative) : target.remove_file(relative);
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

void materialize(const FolderTree& source, const FolderTree& target, const std::string& relative) {
    const auto entry =
        inspected("could not inspect restored source file: ", [&] { return source.find_target(relative); });
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

TreeMismatchError::TreeMismatchError(const std::string& text, TreeComparison comparison)
    : std::runtime_error(text), comparison_(std::move(comparison)) {
    if (!is_traced()) {
        return;
    }
    trace_line("mismatch", text);
    for (const fs::path& path : comparison_.differing) {
        trace_line("differs", path.native());
    }
    for (const std::string& path : comparison_.other_mode) {
        trace_line("other-mode", path);
    }
    for (const UnreadableFile& file : comparison_.unreadable) {
        trace_line("unreadable", file.path + " (errno " + std::to_string(file.number) + ")");
    }
}

TreeComparison compare_project_workspace_files(const fs::path& live_root, const fs::path& historical_root) {
    const ComparedTree live(live_root, no_live_file);
    const ComparedTree old(historical_root, no_historical_file);
    std::vector<std::string> files = live.files();
    const std::vector<std::string> old_files = old.files();
    files.insert(files.end(), old_files.begin(), old_files.end());
    std::sort(files.begin(), files.end());
    files.erase(std::unique(files.begin(), files.end()), files.end());
    TreeComparison comparison;
    for (const std::string& file : files) {
        if (file_differs(live, old, file, comparison)) {
            comparison.differing.emplace_back(file);
        }
    }
    return comparison;
}

std::vector<fs::path> differing_project_workspace_files(const fs::path& live_root, const fs::path& historical_root) {
    return compare_project_workspace_files(live_root, historical_root).differing;
}

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
    // What goes makes room first: for a folder where a file was, and where names fold, for another spelling.
    std::stable_partition(checked.begin(), checked.end(), [&](const std::string& relative) {
        return !inspected("could not inspect restored source file: ", [&] { return source.find_target(relative); });
    });
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
