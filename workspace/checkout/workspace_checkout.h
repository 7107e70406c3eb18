// Local checkouts of a project's history: one for each workspace, temporary ones, one for queries, and the object store
// that they share. Failures are std::runtime_error with the texts given or those of the binding.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "engine/tome_binding.h"

namespace quill {

/// The project's remote URL. Throws "native Tome workspaces require a configured Tome remote. Set tomeRemoteURL in
/// project.json or QUILL_TOME_REMOTE_URL." without one.
std::string require_project_tome_remote(const std::filesystem::path& project);

/// Makes `checkout` a clone unless it is a finished one; an interrupted one is replaced. `use_shared_store` is for
/// folders that somebody works in: the clone is tried with the shared store and then without it, and the files that are
/// there stay, whatever fails. Throws "native Tome workspaces require a project-scoped tomeRepositoryURL in
/// project.json", "could not create Tome workspace checkout: ", the engine's text, "tome_repository_clone failed".
void clone_tome_checkout_if_needed(const std::filesystem::path& project, const std::filesystem::path& checkout,
                                   const std::string& branch, const std::vector<std::string>& paths,
                                   bool use_shared_store, bool metadata_only);

/// Makes `checkout` a detached checkout of main that knows nothing of the package's files yet, unless it is one.
void clone_detached_checkout_if_needed(const std::filesystem::path& project, const std::filesystem::path& checkout);

/// The checkout of a workspace, ready to read: cloned, on the workspace's branch, with the scene (may be empty). For
/// "main" (or "") the project's repository, as it is. Throws "workspace scene did not materialize after Tome sync: ".
std::filesystem::path ensure_tome_checkout_for_workspace(const std::filesystem::path& project, const std::string& id,
                                                         const std::filesystem::path& scene);

/// Brings the directory `checkout` to the newest head of `branch` ("" means "main") with the scene (may be empty).
/// Such a checkout never uses the shared store. One that does, one of another repository and one that cannot be brought
/// to the head are made anew.
void ensure_tome_branch_checkout(const std::filesystem::path& project, const std::filesystem::path& checkout,
                                 const std::filesystem::path& scene, const std::string& branch);

/// Makes the shared store unless it is there. Throws "could not replace empty Tome shared store: ", "cannot create a
/// Tome shared store without a configured remote", "could not create Tome shared store parent folder: ".
void ensure_workspace_shared_store(const std::filesystem::path& project);

bool tome_checkout_uses_project_shared_store(const std::filesystem::path& project,
                                             const std::filesystem::path& checkout);

/// This process's checkout for queries, without files. One thread at a time makes it. Throws "Tome history requires a
/// valid Keel project ID".
std::filesystem::path ensure_tome_metadata_checkout(const std::filesystem::path& project);

/// Whether the directory is a finished checkout.
bool is_tome_checkout(const std::filesystem::path& checkout);

}  // namespace quill
