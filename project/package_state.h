// The folders in which a package keeps its own state (".derived", "Workspaces"). A package comes from strangers, too,
// and brings links: what is opened, made or removed there is reached from the package's own folder, one component at a
// time, and a link among them is refused with std::runtime_error "a symbolic link stands in the way: " + path.
//
// Each function takes the package and a path below it. For one that is not below it, such as a repository that the
// manifest puts elsewhere, the folder around it stands for the package. Any thread.
#pragma once

#include <filesystem>

namespace quill {

/// Returns `path` when neither it nor a folder on the way to it is a link; it need not exist.
std::filesystem::path unlinked_state_path(const std::filesystem::path& project, const std::filesystem::path& path);

/// Makes the folder, with those above it; fine where it is there. Throws FileError when the system refuses.
void make_state_folder(const std::filesystem::path& project, const std::filesystem::path& path);

/// Removes what stands there with everything in it; a link goes, not what it leads to. Fine where nothing stands.
/// Throws FileError when the system refuses.
void remove_state(const std::filesystem::path& project, const std::filesystem::path& path);

/// The same where a failure does not matter: what is left is removed another time.
void discard_state(const std::filesystem::path& project, const std::filesystem::path& path) noexcept;

}  // namespace quill
