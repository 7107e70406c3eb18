// The files that calls kept before they replaced or removed them in a package or a workspace's checkout: listing them
// and bringing them back. Syncs, merges and restores keep such files, the newest ten calls' of each package; what a
// call that failed or was cut off had kept stays for ever. Any thread.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace quill {

/// A kept file.
struct KeptFile {
    std::string path;        ///< where it lay, relative to the workspace's files
    std::uint64_t size = 0;  ///< bytes
};

/// What one call kept.
struct KeptFileSet {
    std::string id;               ///< the name of its folder in .derived/tome-workspaces/.kept-files
    std::int64_t time = 0;        ///< when the call began, ms since the Unix epoch
    std::string operation;        ///< "sync" (of a merge, too), "restore" or "restore-kept"
    std::string workspace;        ///< whose files these are: "main" means the package, others their checkout
    bool complete = false;        ///< false: the call failed, was cut off or has not ended
    std::vector<KeptFile> files;  ///< in the order of their paths
};

/// What bringing kept files back did.
struct KeptFilesRestoreResult {
    std::vector<std::string> files;  ///< those that were written; the others were as they had been kept
    std::string keptSet;             ///< the set with what they replaced; empty when they replaced nothing
};

/// What is kept of the project's files, the newest first. Links are not listed: they hold no bytes. Throws
/// std::runtime_error "could not list kept files: " and why, "a symbolic link stands in the way: " + path.
std::vector<KeptFileSet> list_kept_files(const std::filesystem::path& project);

/// Puts the files at `paths` of the set `id`, or all without paths, back to where they were: into the package, or into
/// the workspace's checkout, where they are edits that can be committed. What stands there now is kept first, in a set
/// of its own, so that this can be undone. A file there that holds the same bytes is left. Everything is checked before
/// the first file is written. Holds the commit lock of the workspace's kind. Throws std::runtime_error "there are no
/// kept files of this name: " + id, "not among the kept files: " + path, "workspace has no checkout: " + workspace,
/// "could not bring kept file back: " and the path, with the reason before it where something stands in the way, "could
/// not keep replaced workspace file: " + path.
KeptFilesRestoreResult restore_kept_files(const std::filesystem::path& project, const std::string& id,
                                          const std::vector<std::filesystem::path>& paths);

}  // namespace quill
