// The branch list of a project's remote, kept for the process and refreshed in the background.
// Any thread: one process-wide mutex guards the cache and is never held during an engine call. Refreshes run on
// detached threads, at most one for each project; the cache is never destroyed, so one that outlives main does no harm.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "engine/workspace_record.h"

namespace quill {

/// What is known of one project's branches.
struct WorkspaceBranchIndexCache {
    std::vector<ProjectWorkspace> workspaces;  ///< in picker order
    std::chrono::nanoseconds last_success{0};  ///< steady clock, end of the last successful refresh
    std::chrono::nanoseconds last_attempt{0};  ///< steady clock, start of the last refresh
    bool has_index = false;
    bool refreshing = false;
    std::uint64_t generation =
        0;              ///< grows when the list is dropped; answers to queries that began before are discarded
    std::string error;  ///< text of the last failed refresh
};

/// Whether a refresh is due. While one runs, never. With a list, when the last success is more than 5 s old. Without
/// one, when nothing was tried yet or the last attempt is more than 10 s old.
bool branch_index_refresh_is_due(const WorkspaceBranchIndexCache& cache, std::chrono::nanoseconds now);

/// Starts a background refresh when one is due. Throws std::system_error when no thread can be started.
void maybe_refresh_tome_branch_index_async(const std::filesystem::path& project);

/// Asks the remote on the calling thread and replaces the cache by the answer. Throws what the engine reports.
void refresh_tome_branch_index(const std::filesystem::path& project);

/// The cached workspaces; nothing before the first successful refresh.
std::optional<std::vector<ProjectWorkspace>> cached_tome_branch_index(const std::filesystem::path& project);

/// A copy of the project's cache entry.
WorkspaceBranchIndexCache tome_branch_index_cache(const std::filesystem::path& project);

/// Drops the cached list, so that the next listing refreshes.
void invalidate_tome_branch_index_cache(const std::filesystem::path& project);

}  // namespace quill
