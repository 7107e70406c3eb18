// The folders in which a package keeps its own state (".derived", "Workspaces"). A package may come from a stranger and
// hold links that lead elsewhere. So these functions walk from the package's folder, one component at a time, and
// refuse a link on the way with std::runtime_error "a symbolic link stands in the way: " + path.
//
// Each function takes the package and a path below it. A path that is not below it, such as a repository that the
// manifest puts elsewhere, is walked to from the folder around it. Any thread.
#pragma once

#include <filesystem>

namespace quill {

/// Returns `path` when neither it nor a folder on the way to it is a link; it need not exist.
std::filesystem::path unlinked_state_path(const std::filesystem::path& project, const std::filesystem::path& path);

/// Makes the folder and those above it, as far as they are missing. Throws FileError when the system refuses.
void make_state_folder(const std::filesystem::path& project, const std::filesystem::path& path);

/// Removes the file or folder at the path, if there is one, with everything in it. A link is removed itself, not what
/// it leads to. Throws FileError when the system refuses.
void remove_state(const std::filesystem::path& project, const std::filesystem::path& path);

/// Does what remove_state does and ignores every failure: for what a later call will remove.
void discard_state(const std::filesystem::path& project, const std::filesystem::path& path) noexcept;

}  // namespace quill
