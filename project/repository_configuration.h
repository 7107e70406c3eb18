// Where a project's history lives: its local repository, the remote, and the repository's URL there. The environment's
// KEEL_TOME_REMOTE_URL, then QUILL_TOME_REMOTE_URL, name the remote; both are read on every use and empty counts as
// absent. Apart from ensure_project_tome_configuration nothing here has shared state.
#pragma once

#include <filesystem>
#include <string>

namespace quill {

/// The remote that the environment names, or empty text.
std::string environment_tome_remote_url();

/// Throws std::runtime_error for a remote that must not be written down: "Tome remote URL must not hold a user name or
/// password: URL", without them, since a manifest is read by everybody who gets the project; "Tome remote URL names
/// nothing: URL" when it is slashes alone.
void check_tome_remote_url(const std::string& remote);

/// Whether two URLs name one repository: they are the same text, or both name the same directory, as a path or as a
/// file:// URL.
bool is_same_tome_repository(const std::string& a, const std::string& b);

/// Completes "tomeRemoteURL" and "tomeRepositoryURL" in the manifest of a project whose content store is "tome"; others
/// are left alone. Throws what check_tome_remote_url does, and std::runtime_error "Tome project configuration requires
/// a remote URL", "Tome project configuration requires a valid project ID", "Invalid project manifest: " + path.
/// Callers of one process exclude each other.
void ensure_project_tome_configuration(const std::filesystem::path& project_path);

/// The directory of the local repository, absolute and normalised: by default the package itself.
std::filesystem::path project_tome_repository_path(const std::filesystem::path& project_path);

/// The remote: from the environment, else the manifest, else the repository's .tome/config.toml; empty without one.
/// Throws what read_project throws.
std::string project_tome_remote_url(const std::filesystem::path& project_path);

/// Whether there is a remote; any failure counts as none.
bool project_has_tome_remote(const std::filesystem::path& project_path);

/// The manifest's repository URL, else the one derived from the remote.
std::string project_tome_repository_url(const std::filesystem::path& project_path);

/// Remote without trailing slashes, "/" and the project's ID; without a valid ID a name made from the package's stem.
std::string project_tome_repository_url_for_remote(const std::filesystem::path& project_path,
                                                   const std::string& remote);

/// Remote without trailing slashes, "/" and `id`; empty for an empty remote. Throws std::runtime_error
/// "cannot derive a Tome repository URL without a valid project ID".
std::string project_tome_repository_url_for_id(const std::string& remote, const std::string& id);

}  // namespace quill
