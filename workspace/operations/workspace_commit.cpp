#include "workspace/operations/workspace_commit.h"

#include <algorithm>
#include <functional>
#include <mutex>
#include <optional>
#include <set>
#include <stdexcept>

#include "engine/engine_errors.h"
#include "engine/history_metadata.h"
#include "engine/tome_binding.h"
#include "files/absolute_path.h"
#include "files/folder_tree.h"
#include "identity/file_content_hash.h"
#include "project/file_tree_materialization.h"
#include "project/manifest.h"
#include "project/package_state.h"
#include "project/visible_files.h"
#include "project/workspace_id.h"
#include "project/workspace_paths.h"
#include "records/wall_clock.h"
#include "workspace/checkout/commit_edits.h"
#include "workspace/checkout/commit_lock.h"
#include "workspace/checkout/contended_branch.h"
#include "workspace/checkout/workspace_checkout.h"
#include "workspace/checkout/workspace_scene.h"
#include "workspace/checkout/workspace_snapshot.h"
#include "workspace/index/branch_index_cache.h"
#include "workspace/index/workspace_index_file.h"
#include "workspace/index/workspace_lookup.h"
#include "workspace/operations/repository_bootstrap.h"

namespace quill {
namespace {

namespace fs = std::filesystem;

// How far back a checkout's base is looked for in the history of its branch.
constexpr std::uint64_t searched_revisions = 10'000;

struct CommitRequest {
    fs::path project;
    std::string workspace;
    fs::path source;
    std::vector<fs::path> changed_paths;  // normalised and visible; none: everything
    std::string author;
    std::string message;
    std::string remote_url;
    fs::path scene;
    bool whole = false;          // everything that changed
    bool sparse_source = false;  // the source is a checkout, which may lack files without having deleted them
    bool from_package = false;   // to main: only edits are taken, not what others changed since
};

struct CommitTarget {
    fs::path checkout;
    bool is_source = false;  // the source folder commits in itself
};

void bring_main_checkout(const CommitRequest& request, const fs::path& checkout) {
    try {
        ensure_tome_branch_checkout(request.project, checkout, request.scene, "main");
        return;
    } catch (const std::runtime_error& error) {
        if (!says_that_history_is_missing(error)) {
            throw;
        }
    }
    try {
        bootstrap_missing_project_tome_remote(request.project);
    } catch (const std::runtime_error& error) {
        if (!says_that_history_was_started(error)) {
            throw;
        }
    }
    ensure_tome_branch_checkout(request.project, checkout, request.scene, "main");
}

bool same_folder(const fs::path& a, const fs::path& b) {
    std::error_code ignored;
    return absolute_normalized(a) == absolute_normalized(b) || fs::equivalent(a, b, ignored);
}

// A workspace's own checkout commits in itself unless it uses the shared store. Every other commit goes through a
// private checkout.
CommitTarget choose_target(const CommitRequest& request) {
    if (request.workspace == "main") {
        return {workspace_main_commit_checkout(request.project), false};
    }
    const bool is_source =
        request.sparse_source && !tome_checkout_uses_project_shared_store(request.project, request.source);
    return is_source ? CommitTarget{request.source, true}
                     : CommitTarget{workspace_branch_commit_checkout(request.project, request.workspace), false};
}

// Copies the files of a folder that nothing is known of into the private checkout.
void mirror_files(const CommitRequest& request, const fs::path& checkout) {
    const CheckoutLocation opened{checkout, request.remote_url};
    if (!request.whole) {
        CommitEdits edits;
        edits.taken = request.changed_paths;
        return mirror_edits(request.source, opened, edits);
    }
    TomeSync everything;
    everything.scratch = true;
    call_tome_revision_sync(opened, everything);
    mirror_visible_project_files(request.source, checkout);
}

// Whether the path names a file or a file that was deleted. Links to folders, pipes and the like are no project files.
bool is_project_file(const fs::path& path) {
    std::error_code ignored;
    return fs::is_regular_file(path, ignored) || !fs::exists(path, ignored);
}

std::vector<std::string> reported_changes(const TomeWorkspaceState& status, const CommitRequest& request,
                                          const CommitTarget& target) {
    std::set<std::string> asked_for;
    for (const fs::path& path : request.changed_paths) {
        asked_for.insert(path.string());
    }
    std::vector<std::string> changed;
    for (const std::string& reported : status.reported_paths) {
        const fs::path reported_path = reported;
        const fs::path path =
            (reported_path.is_absolute() ? reported_path.lexically_relative(target.checkout) : reported_path)
                .lexically_normal();
        if (path.empty() || path.is_absolute() || *path.begin() == "..") {
            throw std::runtime_error("Tome reported a changed file outside the project checkout: " + reported);
        }
        const bool everything = !target.is_source || (request.whole && is_project_file(target.checkout / path));
        const bool is_included = asked_for.contains(path.string()) || (everything && !is_restore_staging_file(path));
        if (!project_relative_path_is_hidden(path) && is_included) {
            changed.push_back(path.string());
        }
    }
    return changed;
}

std::string commit_message(const CommitRequest& request, std::size_t changed) {
    if (!request.message.empty()) {
        return request.message;
    }
    return changed == 1 ? "Project file updated" : "Updated " + std::to_string(changed) + " project files";
}

// Spares the next comparison some hashing. The commit is published by now, so a failure here must not fail it.
void remember_identities(const CommitRequest& request, const CheckoutLocation& checkout,
                         const std::vector<std::string>& paths) {
    try {
        for (const auto& identity : call_tome_file_info(checkout, paths).file_identities) {
            remember_committed_project_file_identity(request.source / identity.path, "sha256:" + identity.hash);
        }
    } catch (const std::runtime_error&) {
        // The files are hashed when they are next asked for.
    }
}

void publish(const CommitRequest& request, const CheckoutLocation& checkout, const std::string& revision,
             const std::string& message, std::size_t changed) {
    const std::string now = wall_clock_milliseconds();
    BranchMetadata metadata = new_head_metadata(revision, now);
    metadata.emplace(workspace_metadata_key::mark, "1");
    add_display_metadata(metadata, revision, {request.author, now, message, changed});
    // The engine notes the metadata and publishes it together with the head, with the push. The index file follows.
    set_tome_branch_metadata(checkout, request.workspace, metadata);
    push_tome_branch(checkout.root, request.workspace, request.remote_url, false);
    record_workspace_head(request.project, request.workspace, revision, now);
    invalidate_tome_branch_index_cache(request.project);
}

// Whether the branch on the remote holds the checkout's base.
bool is_published(const CommitRequest& request, const CheckoutLocation& checkout, const TomeWorkspaceState& status) {
    if (status.identity.empty() || status.identity == status.second_identity) {
        return true;
    }
    if (status.identity_number > status.identity_extra) {
        return false;
    }
    const auto revisions = call_tome_revision_history(checkout, request.workspace, searched_revisions).revisions;
    return std::any_of(revisions.begin(), revisions.end(),
                       [&](const auto& revision) { return revision.id == status.identity; });
}

// A workspace's own checkout may hold a commit that was never published, because its process ended before. Its files do
// not differ from that commit then, and nobody else has it, so it is published now. If another commit was published
// first, the push is refused, each time anew.
void publish_cut_off_commit(const CommitRequest& request, const CommitTarget& target,
                            const TomeWorkspaceState& status) {
    const CheckoutLocation checkout{target.checkout, request.remote_url};
    if (target.is_source && !is_published(request, checkout, status)) {
        const std::size_t files = call_tome_revision_info(checkout, status.identity).event_count;
        publish(request, checkout, status.identity, commit_message(request, files), files);
    }
}

// Stages the named files that have not changed as well: if the remote has lost or damaged their content, the engine
// restores it from these.
void mend_unchanged(const CommitRequest& request, const CheckoutLocation& checkout,
                    const std::vector<std::string>& changed) {
    const std::set<std::string> differing(changed.begin(), changed.end());
    std::vector<std::string> unchanged;
    std::error_code ignored;
    for (const fs::path& path : request.changed_paths) {
        if (fs::symlink_status(checkout.root / path, ignored).type() == fs::file_type::regular &&
            !differing.contains(path.string())) {
            unchanged.push_back(path.string());
        }
    }
    if (!unchanged.empty()) {
        call_tome_file_stage(checkout, unchanged);
    }
}

using CommitAnnouncement = std::function<void(const std::string& revision)>;

ProjectWorkspaceMutationResult commit_and_publish(const CommitRequest& request, const CommitTarget& target,
                                                  const CommitEdits& edits = {},
                                                  const CommitAnnouncement& announce = {}) {
    const CheckoutLocation checkout{target.checkout, request.remote_url};
    if (tome_checkout_uses_project_shared_store(request.project, target.checkout)) {
        ensure_workspace_shared_store(request.project);
    }
    const TomeWorkspaceState status = call_tome_repository_status(checkout, true);
    require_edits_of_base(edits, status.identity);
    const std::vector<std::string> changed = reported_changes(status, request, target);
    mend_unchanged(request, checkout, changed);
    if (changed.empty()) {
        publish_cut_off_commit(request, target, status);
        return {status.identity, {}};
    }
    if (target.is_source && status.identity_extra > status.identity_number) {
        // The remote is ahead of the checkout's base: the push of a commit on that base would be refused, and the
        // commit would stay in the way. So first take over what others changed, unless the same files are edited here.
        call_tome_revision_sync(checkout, {});
    }
    bool committed = false;
    const std::string message = commit_message(request, changed.size());
    const std::string revision =
        tome_stage_and_commit(target.checkout, changed, request.remote_url, message, &committed);
    if (revision.empty()) {
        throw std::runtime_error("Tome commit did not return an immutable identity for " + request.workspace);
    }
    ProjectWorkspaceMutationResult result{revision, {}};
    if (!committed) {
        return result;
    }
    if (announce) {
        announce(revision);
    }
    publish(request, checkout, revision, message, changed.size());
    remember_identities(request, checkout, changed);
    for (const std::string& path : changed) {
        std::error_code ignored;
        result.files.push_back({path, fs::is_regular_file(target.checkout / path, ignored) ? "update" : "delete"});
    }
    return result;
}

// The workspace's files were committed in a private checkout. A sync tells the workspace's own checkout that those
// which it holds are of the new head.
void bring_source_along(const CommitRequest& request, const ProjectWorkspaceMutationResult& result) {
    if (result.files.empty()) {
        return;
    }
    TomeSync sync;
    for (const ProjectWorkspaceFileMutation& file : result.files) {
        sync.paths.push_back(file.path);
    }
    try {
        call_tome_revision_sync({request.source, request.remote_url}, sync);
    } catch (const std::runtime_error&) {
        // The sync would have overwritten other edits. The commit is published, and the next sync names those files.
    }
}

using EditsSearch = std::function<CommitEdits()>;

// Where the branch seems to have changed otherwise, the remote may have gone back to an older state. A push then gives
// it back what it lost, or says what is wrong with it.
CommitEdits find_edits(const CommitRequest& request, const CommitTarget& target, const EditsSearch& find) {
    try {
        return find();
    } catch (const ConflictingEditsError&) {
        push_tome_branch(target.checkout, request.workspace, request.remote_url, false);
        return find();
    }
}

// Of given paths, texts that both sides changed get both changes first. `merged`: those.
CommitEdits find_edits_and_merge(const CommitRequest& request, const CommitTarget& target,
                                 const CheckoutLocation& source, const EditsSearch& find,
                                 std::set<std::string>& merged) {
    try {
        return find_edits(request, target, find);
    } catch (const ConflictingEditsError& conflict) {
        if (request.whole) {
            throw;
        }
        merge_conflicting_edits(request.project, source, request.workspace, conflict.paths());
        merged.insert(conflict.paths().begin(), conflict.paths().end());
        return find();
    }
}

void name_merges(ProjectWorkspaceMutationResult& result, const std::set<std::string>& merged) {
    for (ProjectWorkspaceFileMutation& file : result.files) {
        file.change = merged.contains(file.path) ? "merge" : file.change;
    }
}

ProjectWorkspaceMutationResult commit_from_package(const CommitRequest& request, const CommitTarget& target) {
    PackageBase base = PackageBase::require(request.project);
    std::set<std::string> merged;
    const CommitEdits edits = find_edits_and_merge(
        request, target, base.checkout(),
        [&] { return request.whole ? find_package_edits(base) : find_package_edits(base, request.changed_paths); },
        merged);
    mirror_edits(request.source, {target.checkout, request.remote_url}, edits);
    ProjectWorkspaceMutationResult result = commit_and_publish(
        request, target, edits, [&](const std::string& revision) { base.announce(revision, edits.exchanged); });
    record_published_edits(base, edits, result.headKey);
    name_merges(result, merged);
    return result;
}

ProjectWorkspaceMutationResult commit_from_checkout(const CommitRequest& request, const CommitTarget& target) {
    if (!request.whole && request.changed_paths.empty()) {
        return commit_and_publish(request, target);  // Hidden paths alone were given.
    }
    const CheckoutLocation source{request.source, request.remote_url};
    std::set<std::string> merged;
    const CommitEdits edits = find_edits_and_merge(
        request, target, source, [&] { return find_workspace_edits(source, request.workspace, request.changed_paths); },
        merged);
    mirror_edits(request.source, {target.checkout, request.remote_url}, edits);
    ProjectWorkspaceMutationResult result = commit_and_publish(request, target, edits);
    name_merges(result, merged);
    bring_source_along(request, result);
    return result;
}

ProjectWorkspaceMutationResult commit_once(const CommitRequest& request, const CommitTarget& target) {
    if (target.is_source) {
        return commit_and_publish(request, target);
    }
    try {
        if (request.workspace == "main") {
            bring_main_checkout(request, target.checkout);
        } else {
            ensure_tome_branch_checkout(request.project, target.checkout, request.scene, request.workspace);
        }
        if (request.from_package) {
            return commit_from_package(request, target);
        }
        if (request.sparse_source) {
            return commit_from_checkout(request, target);
        }
        mirror_files(request, target.checkout);
        return commit_and_publish(request, target);
    } catch (...) {
        // The private checkout may hold what nobody wants, such as a commit that was not published.
        discard_state(request.project, target.checkout);
        throw;
    }
}

CommitRequest make_request(const fs::path& project_path, const std::string& workspace_id, const fs::path& source) {
    CommitRequest request;
    request.project = absolute_normalized(project_path);
    request.workspace = workspace_id_or_main(workspace_id);
    request.source = absolute_normalized(source);
    request.remote_url = require_project_tome_remote(request.project);
    request.scene =
        resolve_workspace_base_scene(request.project, require_workspace_branch(request.project, request.workspace));
    if (request.workspace != "main") {
        require_writable_workspace_index(request.project);
    }
    const bool own_checkout = request.workspace != "main" &&
                              same_folder(source, checkout_root_for_workspace_id(request.project, request.workspace));
    if (own_checkout && !is_tome_checkout(request.source)) {
        ensure_tome_checkout_for_workspace(request.project, request.workspace, request.scene);
    }
    request.sparse_source = own_checkout;
    request.from_package = request.workspace == "main" && same_folder(source, request.project);
    return request;
}

}  // namespace

ProjectWorkspaceMutationResult update_project_workspace_head(const fs::path& project, const std::string& workspace_id,
                                                             const fs::path& source,
                                                             const std::vector<fs::path>& changed_paths,
                                                             const std::string& author, const std::string& message) {
    CommitRequest request = make_request(project, workspace_id, source);
    request.author = author;
    request.message = message;
    request.whole = changed_paths.empty();
    request.changed_paths = visible_changed_paths(changed_paths);
    const CommitTarget target = choose_target(request);
    std::unique_lock<std::mutex> lock;
    if (!target.is_source) {
        lock = lock_workspace_commits(request.workspace);
    }
    if (target.is_source || (request.whole && !request.from_package && !request.sparse_source)) {
        return commit_once(request, target);
    }
    // Edits and given paths mean the same on the new head; all of a folder that nothing is known of would undo what the
    // other process added.
    ProjectWorkspaceMutationResult result;
    repeat_while_branch_moves(request.project, [&] { result = commit_once(request, target); });
    return result;
}

}  // namespace quill
