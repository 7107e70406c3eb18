// Which files differ between two trees of project files, by their bytes. Error texts call the first tree live and the
// second one historical, after the restores that compare such trees. Nothing here locks: callers keep other restores
// and commits away.
#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace quill {

/// A file that could not be read, so that nobody knows whether it differs.
struct UnreadableFile {
    std::string path;
    int number = 0;  ///< the system's error number
};

struct DifferingFile {
    std::filesystem::path path;
    std::string how;  ///< for the trace: on which side it stands alone, both sizes, "other bytes" or "unreadable"
};

struct TreeComparison {
    std::vector<DifferingFile> differing;  ///< unreadable ones among them
    std::vector<std::string> other_mode;   ///< equal but for the executable bit
    std::vector<UnreadableFile> unreadable;

    std::vector<std::filesystem::path> differing_paths() const;
};

/// Two trees that should be equal and are not.
class TreeMismatchError : public std::runtime_error {
  public:
    /// The trace then names the files and says how they differ.
    TreeMismatchError(const std::string& text, TreeComparison comparison);
    /// Which files it is about.
    const TreeComparison& comparison() const { return comparison_; }

  private:
    TreeComparison comparison_;
};

/// How the visible files of the two trees compare, paths project-relative and in byte order. A tree that does not exist
/// has no files. Throws as `differing_project_workspace_files` does.
TreeComparison compare_project_workspace_files(const std::filesystem::path& live_root,
                                               const std::filesystem::path& historical_root);

/// The visible files that differ between the two trees or stand in one only, project-relative, in byte order. Throws
/// std::runtime_error "could not inspect live workspace file: " or "could not inspect historical workspace file: " +
/// the system's text, "workspace restore encountered an unsupported project entry: " + path.
std::vector<std::filesystem::path> differing_project_workspace_files(const std::filesystem::path& live_root,
                                                                     const std::filesystem::path& historical_root);

}  // namespace quill
