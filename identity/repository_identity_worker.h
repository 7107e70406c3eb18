// Asks the engine for the identities of many files at once: a background thread for each repository takes batches of
// paths, asks tome_file_info and puts the answers into the identity cache. Who asks waits for a bounded time only.
//
// Threads: every function may be called from any thread. The threads started here are detached and touch nothing that
// is ever destroyed. At most one query of a repository runs at a time; different repositories proceed in parallel.
#pragma once

#include <chrono>
#include <filesystem>
#include <map>
#include <optional>
#include <vector>

namespace quill {

/// Paths to ask for (absolute, normalised), by the root of the repository that holds them.
using RepositoryIdentityRequests = std::map<std::filesystem::path, std::vector<std::filesystem::path>>;

/// The nearest directory from `path` (absolute, normalised) upwards that holds a finished checkout, or nothing. Answers
/// are remembered: a repository for ever, that there is none for five seconds.
std::optional<std::filesystem::path> find_identity_repository(const std::filesystem::path& path);

/// Asks for the identities of all files and waits until they are in the identity cache. Returns without those of a
/// repository that takes too long (20 s, or 250 ms after it was late once); they may come later. Never throws for a
/// failure of the engine.
void request_repository_identities(const RepositoryIdentityRequests& requests);

namespace internal {

/// How long things last here.
struct RepositoryIdentityTimes {
    std::chrono::nanoseconds first_wait = std::chrono::seconds(20);       ///< lets a cold repository answer once
    std::chrono::nanoseconds slow_wait = std::chrono::milliseconds(250);  ///< for a repository that was late
    std::chrono::nanoseconds no_repository_age = std::chrono::seconds(5);
};

/// The times in use. Tests change them, before they start anything else.
RepositoryIdentityTimes& repository_identity_times();

}  // namespace internal

}  // namespace quill
