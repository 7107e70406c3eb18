// Where a project's checkouts, stores and record files lie. Every function takes the package path and makes it absolute
// and normalised itself; nothing is created. Throws std::runtime_error "a symbolic link stands in the way: " + path
// where a folder of the package's own state is a link. Table of folders: docs/formats.md.
#pragma once

#include <filesystem>
#include <string>

#include "project/temporary_checkouts.h"

namespace quill {

/// The folder of all checkouts, .derived/tome-workspaces.
std::filesystem::path workspace_checkout_base(const std::filesystem::path& project);

/// Checkout of a workspace; "main" and "" give the project's Tome repository path.
std::filesystem::path checkout_root_for_workspace_id(const std::filesystem::path& project, const std::string& id);

/// The same under the name that applications use. The checkout need not exist.
std::filesystem::path project_workspace_checkout_root(const std::filesystem::path& project, const std::string& id);

/// This process's checkout for commits to "main".
std::filesystem::path workspace_main_commit_checkout(const std::filesystem::path& project);
/// This process's checkout for commits to another workspace.
std::filesystem::path workspace_branch_commit_checkout(const std::filesystem::path& project, const std::string& id);
/// This process's checkout for syncs from "main".
std::filesystem::path workspace_main_materialize_checkout(const std::filesystem::path& project);

/// This process's checkout for queries, without files.
std::filesystem::path workspace_metadata_checkout(const std::filesystem::path& project);
/// This process's checkout for starting the history of a remote.
std::filesystem::path workspace_remote_bootstrap_checkout(const std::filesystem::path& project);

/// The folders of one restore of a workspace, which begins at `time` (milliseconds since the Unix epoch).
struct RestoreFolders {
    std::filesystem::path scratch;         ///< the checkout in which the new revision is made
    std::filesystem::path selected_tree;   ///< copies of the selected revision's files
    std::filesystem::path published_head;  ///< a checkout of what was published
};
RestoreFolders workspace_restore_folders(const std::filesystem::path& project, const std::string& id,
                                         const std::string& time);

/// The checkout, without files, that the remote's branches are listed in. All processes share it.
std::filesystem::path workspace_branch_index_checkout(const std::filesystem::path& project);
/// The checkout that branches are made in. All processes share it.
std::filesystem::path workspace_branch_operations_checkout(const std::filesystem::path& project);

/// The folder of all previews of earlier revisions, and this process's preview of one revision.
std::filesystem::path workspace_history_previews(const std::filesystem::path& project);
struct HistoryPreviewPaths {
    std::filesystem::path checkout;
    std::filesystem::path marker;  ///< written when the preview is complete
};
HistoryPreviewPaths workspace_history_preview(const std::filesystem::path& project, const std::string& id,
                                              const std::string& revision);

/// The detached checkout that knows what the package's files stand on, `.package-base` beside the checkouts.
std::filesystem::path workspace_package_base(const std::filesystem::path& project);

/// The file that remembers the branches last seen on the project's remote, `.branch-memory` beside the checkouts.
std::filesystem::path workspace_branch_memory(const std::filesystem::path& project);

/// The folder of what calls replaced or removed, a folder for each call, `.kept-files` beside the checkouts.
std::filesystem::path workspace_kept_files(const std::filesystem::path& project);

/// The object store that the checkouts of a project share, .derived/tome-shared-store.
std::filesystem::path workspace_shared_store_path(const std::filesystem::path& project);
std::string workspace_shared_store_path_string(const std::filesystem::path& project);

/// The record files in the package's "Workspaces" folder.
std::filesystem::path project_workspaces_index_path(const std::filesystem::path& project);
std::filesystem::path project_reviews_index_path(const std::filesystem::path& project);
std::filesystem::path project_comments_index_path(const std::filesystem::path& project);

}  // namespace quill
