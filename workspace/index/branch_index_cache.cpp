#include "workspace/index/branch_index_cache.h"

#include <map>
#include <mutex>
#include <stdexcept>
#include <thread>

#include "files/absolute_path.h"
#include "workspace/index/branch_index_query.h"
#include "workspace/index/picker_order.h"

namespace quill {
namespace {

using namespace std::chrono_literals;

constexpr std::chrono::nanoseconds success_lifetime = 4'999'999'999ns;
constexpr std::chrono::nanoseconds attempt_lifetime = 9'999'999'999ns;

struct BranchIndexes {
    std::mutex workspace_branch_index_mutex;
    std::map<std::string, WorkspaceBranchIndexCache> by_project;  // guarded by the mutex
};

BranchIndexes& branch_indexes() {
    static auto* indexes = new BranchIndexes;
    return *indexes;
}

std::chrono::nanoseconds steady_now() {
    return std::chrono::steady_clock::now().time_since_epoch();
}

std::string cache_key(const std::filesystem::path& project) {
    return absolute_normalized(project).string();
}

// Asks the remote and stores the answer, unless the list was dropped meanwhile: the answer may then be too old.
void query_and_store(const std::filesystem::path& project) {
    const std::uint64_t generation = tome_branch_index_cache(project).generation;
    std::vector<ProjectWorkspace> workspaces = query_tome_branch_index_workspaces(project);
    sort_workspaces_for_picker(workspaces);
    BranchIndexes& indexes = branch_indexes();
    const std::lock_guard lock(indexes.workspace_branch_index_mutex);
    WorkspaceBranchIndexCache& cache = indexes.by_project[cache_key(project)];
    if (cache.generation == generation) {
        cache.workspaces = std::move(workspaces);
        cache.has_index = true;
        cache.last_success = steady_now();
    }
}

void finish_refresh(const std::filesystem::path& project, const std::string& error) {
    BranchIndexes& indexes = branch_indexes();
    const std::lock_guard lock(indexes.workspace_branch_index_mutex);
    WorkspaceBranchIndexCache& cache = indexes.by_project[cache_key(project)];
    cache.refreshing = false;
    cache.error = error;
}

void run_refresh(const std::filesystem::path& project) {
    std::string error;
    try {
        query_and_store(project);
    } catch (const std::exception& failure) {
        error = failure.what();
    } catch (...) {
        error = "unknown Tome branch index refresh error";
    }
    finish_refresh(project, error);
}

}  // namespace

bool branch_index_refresh_is_due(const WorkspaceBranchIndexCache& cache, std::chrono::nanoseconds now) {
    if (cache.refreshing) {
        return false;
    }
    if (cache.has_index) {
        return now - cache.last_success > success_lifetime;
    }
    return cache.last_attempt == 0ns || now - cache.last_attempt > attempt_lifetime;
}

void maybe_refresh_tome_branch_index_async(const std::filesystem::path& project) {
    BranchIndexes& indexes = branch_indexes();
    {
        const std::lock_guard lock(indexes.workspace_branch_index_mutex);
        WorkspaceBranchIndexCache& cache = indexes.by_project[cache_key(project)];
        const std::chrono::nanoseconds now = steady_now();
        if (!branch_index_refresh_is_due(cache, now)) {
            return;
        }
        cache.refreshing = true;
        cache.last_attempt = now;
    }
    try {
        std::thread(run_refresh, absolute_normalized(project)).detach();
    } catch (const std::system_error&) {
        finish_refresh(project, "thread constructor failed");
        throw std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again),
                                "thread constructor failed");
    }
}

void refresh_tome_branch_index(const std::filesystem::path& project) {
    query_and_store(project);
}

WorkspaceBranchIndexCache tome_branch_index_cache(const std::filesystem::path& project) {
    BranchIndexes& indexes = branch_indexes();
    const std::lock_guard lock(indexes.workspace_branch_index_mutex);
    return indexes.by_project[cache_key(project)];
}

std::optional<std::vector<ProjectWorkspace>> cached_tome_branch_index(const std::filesystem::path& project) {
    WorkspaceBranchIndexCache cache = tome_branch_index_cache(project);
    return cache.has_index ? std::optional(std::move(cache.workspaces)) : std::nullopt;
}

void invalidate_tome_branch_index_cache(const std::filesystem::path& project) {
    BranchIndexes& indexes = branch_indexes();
    const std::lock_guard lock(indexes.workspace_branch_index_mutex);
    const auto entry = indexes.by_project.find(cache_key(project));
    if (entry != indexes.by_project.end()) {
        WorkspaceBranchIndexCache dropped;
        dropped.refreshing = entry->second.refreshing;
        dropped.generation = entry->second.generation + 1;
        entry->second = std::move(dropped);
    }
}

}  // namespace quill
