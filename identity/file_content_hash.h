// The content key of a project file, "sha256:" + 64 lower-case hex digits, found as cheaply as possible: from commits
// of this process, from the engine, from an earlier reading of the unchanged file, or by reading it.
//
// Threads: every function may be called from any thread. What is remembered lasts for the life of the process.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace quill {

/// The content key of the regular file at `path` (links are followed), or nothing when it is none or cannot be read. A
/// key from a commit or from the engine stays the answer for the life of the process.
std::optional<std::string> project_file_content_hash(const std::filesystem::path& path);

/// The content key of `path` as a commit or the engine told it, or nothing. Touches no file.
std::optional<std::string> cached_project_file_content_hash(const std::filesystem::path& path);

/// Records the key that a commit has just given the file. Does nothing when either argument is empty.
void remember_committed_project_file_identity(const std::filesystem::path& path, const std::string& content_key);

/// Asks the engine for the keys of many files at once, those that are in a repository and not known yet, and waits for
/// the answers: up to 20 s for each repository, 250 ms for one that was late before.
void prewarm_project_file_content_hashes(const std::vector<std::filesystem::path>& paths);

/// From now on no key comes from the engine, in all of the process and without a way back. For the start of a program.
void disable_tome_file_identity_lookups();

bool tome_file_identity_lookups_disabled();

}  // namespace quill
