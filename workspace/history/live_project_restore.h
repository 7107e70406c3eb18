// The last step of a restore: the files that the user works on become those of the restored revision.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

namespace quill {

/// Checks, before anything is published, that the files of `restored` could be written to the live project. Throws
/// std::runtime_error "could not create restored workspace folder: a symbolic link stands in the way of " + path, or
/// "workspace restore encountered an unsupported project entry: " + path where neither a file nor a folder of the
/// project's own files stands.
void check_live_project(const std::filesystem::path& live, const std::filesystem::path& restored);

/// Where a restore works; all three lie in the package or are it.
struct LiveProject {
    std::filesystem::path package;
    std::filesystem::path files;     ///< what the user works on
    std::filesystem::path replaced;  ///< the folder for what restores replaced
};

/// Makes the visible files of `live` equal to those of `restored`, executable bits included, and verifies them. Returns
/// how many paths were written or removed. What the files held before, uncommitted edits included, is kept in the
/// folder `name` in `live.replaced`, and is safe from a power cut before anything is replaced. The folder's name ends
/// in
/// ".unfinished" until this restore is complete. Then what earlier complete restores had kept is removed; what restores
/// that were cut off had kept stays. A link to a file that the restore changes becomes a file of its own.
/// Throws std::runtime_error with the texts of file_tree_comparison.h, "could not keep replaced workspace file: " +
/// path, or TreeMismatchError "restore verification failed: the live project does not match the selected historical
/// state". Commits and restores of the workspace must be locked out.
std::uint64_t restore_live_project(const LiveProject& live, const std::filesystem::path& restored,
                                   const std::string& name);

}  // namespace quill
