#include "workspace/index/branch_index_cache.h"

#include <algorithm>
#include <map>
#include <mutex>
#include <set>
#include <stdexcept>
#include <thread>

#include "engine/branch_metadata.h"
#include "engine/tome_binding.h"
#include "project/manifest.h"
#include "project/package_state.h"
#include "project/repository_configuration.h"
#include "project/workspace_id.h"
#include "project/workspace_paths.h"
#include "workspace/checkout/workspace_checkout.h"
#include "workspace/checkout/workspace_scene.h"
#include "workspace/index/workspace_index_file.h"

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

std::set<std::string> local_ids(const std::filesystem::path& project) {
    std::set<std::string> ids;
    for (const ProjectWorkspace& workspace : read_workspaces_without_main(project)) {
        ids.insert(workspace.id);
    }
    return ids;
}

// What the workspace's branch says of it; only text that could be an index entry's is taken over.
void complete_from_metadata(const std::filesystem::path& project, const CheckoutLocation& checkout,
                            ProjectWorkspace& workspace) {
    namespace key = workspace_metadata_key;
    TomeWorkspaceState state;
    try {
        state = call_tome_branch_metadata_get(checkout, workspace.id,
                                              {key::name, key::parent, key::base_scene, key::created_at, key::author});
    } catch (const std::runtime_error&) {
        return;  // The branch is worth listing without.
    }
    const auto take = [&](const char* name, std::string& field, const auto& is_good) {
        const auto entry = state.metadata.find(name);
        if (entry != state.metadata.end() && !entry->second.empty() && is_good(entry->second)) {
            field = entry->second;
        }
    };
    const auto any = [](const std::string&) { return true; };
    take(key::name, workspace.name, any);
    take(key::parent, workspace.parentId, is_valid_workspace_id);
    take(key::created_at, workspace.createdAt, any);
    take(key::author, workspace.author, [&](const std::string&) { return workspace.author.empty(); });
    take(key::base_scene, workspace.baseScene, [&](const std::string& scene) {
        ProjectWorkspace based = workspace;
        based.baseScene = scene;
        return canonical_workspace_scene_uri(project, based, {}) == std::filesystem::path(scene);
    });
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

std::vector<ProjectWorkspace> query_tome_branch_index_workspaces(const std::filesystem::path& project) {
    const std::filesystem::path checkout = workspace_branch_index_checkout(project);
    if (tome_checkout_uses_project_shared_store(project, checkout)) {
        discard_state(project, checkout);
    }
    clone_tome_checkout_if_needed(project, checkout, "main", {}, false, true);
    const CheckoutLocation query{checkout, project_tome_remote_url(project)};
    TomeWorkspaceState state = call_tome_branch_list(query);
    const std::set<std::string> known = local_ids(project);
    std::vector<ProjectWorkspace> workspaces{main_workspace(project)};
    const std::string scene = workspaces.front().baseScene;
    for (ProjectWorkspace& workspace : state.workspaces) {
        const std::string& kind = state.branch_kinds[workspace.id];
        if (workspace.id == "main" || (!kind.empty() && kind != workspace_branch_kind)) {
            continue;
        }
        workspace.parentId = "main";
        workspace.baseScene = scene;
        if (!known.contains(workspace.id)) {
            complete_from_metadata(project, query, workspace);
        }
        workspaces.push_back(std::move(workspace));
    }
    return workspaces;
}

}  // namespace quill
