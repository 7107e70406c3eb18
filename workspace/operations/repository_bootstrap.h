// Starting a project's history: the repository on the remote and its first revision.
// Failures are std::runtime_error with the texts given or those of the binding.
#pragma once

#include <filesystem>

namespace quill {

/// Starts the history of a project that has a remote, or brings a history that exists there up to date with the
/// package. Throws "native Tome workspaces require a configured Tome remote. Set tomeRemoteURL in project.json or
/// QUILL_TOME_REMOTE_URL."
void initialize_project_tome_repository(const std::filesystem::path& project);

/// Starts the history of a new project in the package itself, which becomes a checkout of "main". The state of a
/// checkout of another repository, or of none, is moved aside for that (docs/formats.md); a failure brings it back.
/// Throws "could not replace Tome repository state: ", "could not create Tome repository path: ".
void initialize_new_project_tome_repository(const std::filesystem::path& project);

/// Puts the package's visible files on "main" of the remote, through a temporary checkout. Throws "cannot bootstrap a
/// Tome repository without a remote and repository URL", "could not create Tome remote bootstrap checkout: ".
void bootstrap_missing_project_tome_remote(const std::filesystem::path& project);

}  // namespace quill
