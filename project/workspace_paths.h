// Where a project's checkouts, stores and record files lie. Every function takes the package path and makes it absolute
// and normalised itself; nothing is created. Throws std::runtime_error "a symbolic link stands in the way: " + path
// where a folder of the package's own state is a link. Table of folders: docs/formats.md.
#pragma once

#include <filesystem>
#include <string>

namespace quill {

/// Process ID, "-" and the steady clock's count at the first call: the same for the life of the process. It keeps the
/// temporary checkouts of processes apart.
std::string workspace_process_token();

/// The folder of all checkouts, .derived/tome-workspaces.
std::filesystem::path workspace_checkout_base(const std::filesystem::path& project);

/// Checkout of a workspace; "main" and "" give the project's Tome repository path.
std::filesystem::path checkout_root_for_workspace_id(const std::filesystem::path& project, const std::string& id);

/// The same, for applications: whether the checkout exists yet or not.
std::filesystem::path project_workspace_checkout_root(const std::filesystem::path& project, const std::string& id);

/// This process's checkout for commits to "main".
std::filesystem::path workspace_main_commit_checkout(const std::filesystem::path& project);
/// This process's checkout for commits to another workspace.
std::filesystem::path workspace_branch_commit_checkout(const std::filesystem::path& project, const std::string& id);
/// This process's checkout for syncs from "main".
std::filesystem::path workspace_main_materialize_checkout(const std::filesystem::path& project);

/// What was last seen of the branches on the project's remote, `.branch-memory` beside the checkouts.
std::filesystem::path workspace_branch_memory(const std::filesystem::path& project);

/// What the last restore of a workspace replaced or removed in its live files, `.replaced-by-restore-<id>` beside the
/// checkouts.
std::filesystem::path workspace_replaced_files(const std::filesystem::path& project, const std::string& id);

/// The object store that the checkouts of a project share, .derived/tome-shared-store.
std::filesystem::path workspace_shared_store_path(const std::filesystem::path& project);
std::string workspace_shared_store_path_string(const std::filesystem::path& project);

/// The record files in the package's "Workspaces" folder.
std::filesystem::path project_workspaces_index_path(const std::filesystem::path& project);
std::filesystem::path project_reviews_index_path(const std::filesystem::path& project);
std::filesystem::path project_comments_index_path(const std::filesystem::path& project);

}  // namespace quill
