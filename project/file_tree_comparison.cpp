#include "project/file_tree_comparison.h"

#include <algorithm>
#include <cerrno>
#include <optional>
#include <stdexcept>
#include <string>

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

    // The result is not open when the file cannot be read; `unreadable` then says so.
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

// How two files that were opened compare; nothing when their bytes are equal.
std::optional<std::string> content_difference(const FileDescriptor& live, const FileDescriptor& old,
                                              const std::string& path, TreeComparison& comparison) {
    if (!live.is_open() || !old.is_open()) {
        return "unreadable";
    }
    try {
        return equal_file_bytes(live, old) ? std::nullopt : std::optional<std::string>("other bytes");
    } catch (const FileError& error) {
        comparison.unreadable.push_back({path, error.number()});
        return "unreadable";
    }
}

// Nothing for a file that does not differ.
std::optional<std::string> difference(const ComparedTree& live, const ComparedTree& old, const std::string& path,
                                      TreeComparison& comparison) {
    const std::optional<FolderEntry> live_entry = live.find(path);
    const std::optional<FolderEntry> old_entry = old.find(path);
    if (!live_entry && !old_entry) {
        return std::nullopt;
    }
    if (!live_entry || !old_entry) {
        return live_entry ? "in the live tree alone" : "in the historical tree alone";
    }
    if (live_entry->stamp.size != old_entry->stamp.size) {
        return "live " + std::to_string(live_entry->stamp.size) + " bytes, historical " +
               std::to_string(old_entry->stamp.size);
    }
    const FileDescriptor live_file = live.open(path, comparison.unreadable);
    const FileDescriptor old_file = old.open(path, comparison.unreadable);
    const std::optional<std::string> how = content_difference(live_file, old_file, path, comparison);
    if (!how && live_entry->stamp.executable != old_entry->stamp.executable) {
        comparison.other_mode.push_back(path);
    }
    return how;
}

}  // namespace

std::vector<fs::path> TreeComparison::differing_paths() const {
    std::vector<fs::path> paths;
    std::transform(differing.begin(), differing.end(), std::back_inserter(paths),
                   [](const DifferingFile& file) { return file.path; });
    return paths;
}

TreeMismatchError::TreeMismatchError(const std::string& text, TreeComparison comparison)
    : std::runtime_error(text), comparison_(std::move(comparison)) {
    if (!is_traced()) {
        return;
    }
    trace_line("mismatch", text);
    for (const DifferingFile& file : comparison_.differing) {
        trace_line("differs", file.path.native() + " (" + file.how + ")");
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
        if (std::optional<std::string> how = difference(live, old, file, comparison)) {
            comparison.differing.push_back({file, std::move(*how)});
        }
    }
    return comparison;
}

std::vector<fs::path> differing_project_workspace_files(const fs::path& live_root, const fs::path& historical_root) {
    return compare_project_workspace_files(live_root, historical_root).differing_paths();
}

}  // namespace quill
