// Copying project files into a checkout and committing them there. The source folder is never changed.
// Failures are std::runtime_error with the texts given or those of the binding.
#pragma once

#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace quill {

class FolderTree;
struct FolderEntry;

/// The folder that is committed from. Throws "could not read the source folder " + path + ": " + system text.
FolderTree open_source_folder(const std::filesystem::path& source);

/// What the source folder has at the path, followed to where a link there leads. Throws "could not inspect changed
/// workspace file: " + path.
std::optional<FolderEntry> find_in_source(const FolderTree& source, const std::string& path);

/// Whether other programs may write to the source folder while it is copied. Where they may, a file that was changed a
/// moment ago is compared once more after the copy, because file times are too coarse to show a second change.
enum class SourceWriters { Any, None };

/// Makes the checkout's visible files those of `source`: copied where they differ, removed where `source` has none.
/// A file that cannot be read, or that another program keeps writing to, ends the copying:
/// half of a file is never copied. Throws
/// "nothing to commit from, the source folder holds no file: " + path when the checkout holds some, "could not create
/// main workspace snapshot folder: ", "could not snapshot main workspace file: ", "could not remove stale main
/// workspace file: ".
void mirror_visible_project_files(const std::filesystem::path& source, const std::filesystem::path& checkout,
                                  SourceWriters writers = SourceWriters::Any);

/// Whether a commit takes the whole project or given paths: what went wrong with a file is said differently.
enum class CommitScope { Everything, GivenPaths };

/// Makes the given paths in the checkout what they are in `source`, which may have a folder where the checkout has a
/// file and the other way round; hidden paths are skipped; a path must name a file or nothing. Throws "invalid changed
/// project path while persisting workspace: ", "could not inspect changed workspace file: ", "could not create changed
/// workspace folder: ", "could not snapshot changed workspace file: ", "could not remove changed workspace file: ";
/// with CommitScope::Everything, for the last three, the texts of mirror_visible_project_files.
void mirror_selected_project_files(const std::filesystem::path& source, const std::filesystem::path& checkout,
                                   const std::vector<std::filesystem::path>& changed_paths);
void mirror_selected_project_files(const FolderTree& source, const std::filesystem::path& checkout,
                                   const std::vector<std::filesystem::path>& changed_paths,
                                   CommitScope scope = CommitScope::GivenPaths);

/// The paths that are not hidden, normalised. Throws "invalid changed project path while persisting workspace: " + path
/// for one that is empty, has a root or begins with "..".
std::vector<std::filesystem::path> visible_changed_paths(const std::vector<std::filesystem::path>& paths);

/// The error "nothing to commit from, the source folder holds no file: " + path, to be thrown.
std::runtime_error no_file_in_source(const std::filesystem::path& source);

/// Stages `paths` (relative to the checkout) and commits them. Returns the new revision and sets `committed`. When
/// nothing differs, returns the current revision and clears `committed`. Without paths, returns empty text and calls
/// nothing.
std::string tome_stage_and_commit(const std::filesystem::path& checkout, const std::vector<std::string>& paths,
                                  const std::string& remote_url, const std::string& message, bool* committed = nullptr);

}  // namespace quill
