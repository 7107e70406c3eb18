#include "workspace/operations/workspace_merge.h"

#include <optional>
#include <set>
#include <stdexcept>
#include <vector>

#include "engine/history_metadata.h"
#include "engine/tome_binding.h"
#include "files/absolute_path.h"
#include "files/file_bytes.h"
#include "files/folder_tree.h"
#include "project/package_state.h"
#include "project/visible_files.h"
#include "project/workspace_paths.h"
#include "records/wall_clock.h"
#include "workspace/checkout/commit_lock.h"
#include "workspace/checkout/workspace_checkout.h"
#include "workspace/checkout/workspace_scene.h"
#include "workspace/index/branch_index_cache.h"
#include "workspace/index/workspace_index_file.h"
#include "workspace/index/workspace_lookup.h"
#include "workspace/operations/workspace_sync.h"

namespace quill {
namespace {

namespace fs = std::filesystem;

struct MergeRequest {
    fs::path project;
    ProjectWorkspace source;
    ProjectWorkspace target;
    std::string message;
    std::string remote_url;
    fs::path scene;  // of the target

    bool into_main() const { return target.id == "main"; }
};

MergeRequest make_request(const fs::path& project, const std::string& source, const std::string& target,
                          const std::string& message) {
    MergeRequest request;
    request.project = absolute_normalized(project);
    request.source = require_fresh_workspace_branch(request.project, source);
    request.target = require_fresh_workspace_branch(request.project, target);
    request.remote_url = require_project_tome_remote(request.project);
    request.scene = resolve_workspace_base_scene(request.project, request.target);
    request.message =
        message.empty() ? "Merge Quill workspace " + request.source.id + " into " + request.target.id : message;
    return request;
}

// A merge into a workspace is made in its own checkout, whose files follow. One into main is made in a private
// checkout: the package need not be a checkout, and where it is one, its commits were made elsewhere.
CheckoutLocation checkout_to_merge_in(const MergeRequest& request) {
    if (!request.into_main()) {
        return {ensure_tome_checkout_for_workspace(request.project, request.target.id, request.scene),
                request.remote_url};
    }
    const fs::path checkout = workspace_main_commit_checkout(request.project);
    ensure_tome_branch_checkout(request.project, checkout, request.scene, "main");
    return {checkout, request.remote_url};
}

[[noreturn]] void refuse_conflicts(const std::vector<std::string>& paths) {
    std::string text = "merge has conflicts";
    for (const std::string& path : paths) {
        text += ": " + path;
    }
    throw std::runtime_error(text);
}

// Brings the given files of one revision, at least one, into a private checkout of main.
void bring_files(const MergeRequest& request, const fs::path& checkout, const std::vector<std::string>& paths,
                 const std::string& revision) {
    TomeSync sync;
    sync.paths = paths;
    sync.revision = revision;
    sync.scratch = true;
    call_tome_revision_sync({checkout, request.remote_url}, sync);
}

// What stands at the path, where a link there leads to; nothing when that is no file.
std::optional<FolderEntry> file_at(const FolderTree& tree, const std::string& path) {
    const std::optional<FolderEntry> entry = tree.find_target(path);
    return entry && entry->is_file() ? entry : std::nullopt;
}

bool same_file(const FolderTree& a, const FolderTree& b, const std::string& path) {
    const std::optional<FolderEntry> first = file_at(a, path);
    const std::optional<FolderEntry> second = file_at(b, path);
    if (!first || !second) {
        return !first && !second;
    }
    return first->stamp.size == second->stamp.size && equal_file_bytes(a.open_target(path), b.open_target(path));
}

bool same_file_and_mode(const FolderTree& a, const FolderTree& b, const std::string& path) {
    const std::optional<FolderEntry> first = file_at(a, path);
    const std::optional<FolderEntry> second = file_at(b, path);
    return (first && first->stamp.executable) == (second && second->stamp.executable) && same_file(a, b, path);
}

// A merge that the package could not take is refused before it is published. Here that is one with a symbolic link in
// its way; check_kind refuses one where something stands that is neither a file nor a folder.
bool is_up_to_date(const FolderTree& package, const FolderTree& merged, const std::string& path) {
    try {
        return same_file_and_mode(package, merged, path);
    } catch (const FileError& error) {
        if (error.kind() != FileError::Kind::Link) {
            throw;
        }
        throw std::runtime_error("could not create merged project folder: a symbolic link stands in the way of " +
                                 path);
    }
}

void check_kind(const FolderTree& package, const std::string& path) {
    const std::optional<FolderEntry> entry = package.find(path);
    const std::optional<FolderEntry> target = package.find_target(path);
    if (entry && !entry->is_folder() && target && !target->is_file()) {
        throw std::runtime_error("could not materialize merged project file: " + path);
    }
}

// The package may have links to files that the merge removes. In the history such a link is a file with these bytes.
// Where the merge keeps that file, it takes the link's place.
void add_links_to_removed(const MergeRequest& request, const CheckoutLocation& merged, const std::string& after,
                          std::vector<std::string>& brought) {
    std::set<std::string> removed;
    for (const std::string& path : brought) {
        if (!FolderTree(merged.root).find(path)) {
            removed.insert(path);
        }
    }
    if (removed.empty()) {
        return;
    }
    const std::vector<std::string> links = visible_links_to(FolderTree(request.project), removed);
    if (links.empty()) {
        return;
    }
    bring_files(request, merged.root, links, after);
    const FolderTree files(merged.root);
    for (const std::string& link : links) {
        if (files.find(link)) {
            brought.push_back(link);
        }
    }
}

// The paths, of those that the merge changed, that the package is to take over. What the package has there must be
// committed: bytes that are not in the history refuse the merge. When the merge was published before and is only
// completed now, such a path is left out instead.
std::vector<std::string> paths_to_bring(const MergeRequest& request, const CheckoutLocation& merged,
                                        const std::string& before, const std::string& after, bool published) {
    std::vector<std::string> paths = call_tome_revision_diff(merged, before, after).revision_paths;
    std::erase_if(paths, project_relative_path_is_hidden);
    if (paths.empty()) {
        return {};
    }
    const fs::path old_files = workspace_main_materialize_checkout(request.project);
    ensure_tome_branch_checkout(request.project, old_files, request.scene, "main");
    bring_files(request, old_files, paths, before);
    bring_files(request, merged.root, paths, after);
    std::vector<std::string> brought;
    std::vector<std::string> uncommitted;
    const FolderTree package(request.project);
    const FolderTree old_tree(old_files);
    const FolderTree new_tree(merged.root);
    for (const std::string& path : paths) {
        if (!is_up_to_date(package, new_tree, path)) {
            check_kind(package, path);
            (same_file(package, old_tree, path) ? brought : uncommitted).push_back(path);
        }
    }
    if (!uncommitted.empty() && !published) {
        throw std::runtime_error(
            "uncommitted changes would be overwritten: " + uncommitted.front() +
            (uncommitted.size() == 1 ? std::string() : " and " + std::to_string(uncommitted.size() - 1) + " more"));
    }
    add_links_to_removed(request, merged, after, brought);
    check_project_can_take_files(request.project, merged.root, {brought.begin(), brought.end()});
    return brought;
}

struct Merged {
    std::string head;                // empty: the engine reported none
    std::vector<std::string> paths;  // those that the package is to take over, for a merge into main
};

// The first parent of main's newest revision if that is a merge, empty otherwise. The files of such a merge may not
// have reached the package, because a failure came in between.
std::string merged_into(const CheckoutLocation& checkout) {
    const TomeWorkspaceState history = call_tome_revision_history(checkout, "main", 1);
    return history.revisions.empty() || history.revisions.front().linkedHash2.empty()
               ? std::string()
               : history.revisions.front().linkedHash1;
}

Merged merge_locally(const MergeRequest& request, const CheckoutLocation& checkout) {
    const std::string before = call_tome_repository_status(checkout, false).identity;
    const TomeWorkspaceState state = call_tome_branch_merge_into(checkout, request.source.id, request.message);
    if (!state.changed_paths.empty()) {
        refuse_conflicts(state.changed_paths);
    }
    Merged merged{state.identity, {}};
    if (!request.into_main() || merged.head.empty()) {
        return merged;
    }
    const bool published = merged.head == before;
    const std::string old_head = published ? merged_into(checkout) : before;
    if (!old_head.empty()) {
        merged.paths = paths_to_bring(request, checkout, old_head, merged.head, published);
    }
    return merged;
}

void publish(const MergeRequest& request, const CheckoutLocation& checkout, std::string head) {
    const std::string now = wall_clock_milliseconds();
    const auto note_head = [&] { set_tome_branch_metadata(checkout, request.target.id, new_head_metadata(head, now)); };
    if (!head.empty()) {  // The note goes with the same push as the head, so that it never names an older one.
        note_head();
    }
    push_tome_branch(checkout.root, request.target.id, request.remote_url, false);
    invalidate_tome_branch_index_cache(request.project);
    if (head.empty()) {
        head = require_fresh_workspace_branch(request.project, request.target.id).headKey;
        note_head();
    }
    push_tome_branch(checkout.root, request.target.id, request.remote_url, false);
    record_workspace_head(request.project, request.target.id, head, now);
}

void merge_and_publish(const MergeRequest& request) {
    const CheckoutLocation checkout = checkout_to_merge_in(request);
    try {
        const Merged merged = merge_locally(request, checkout);
        publish(request, checkout, merged.head);
        sync_project_workspace_files(request.project, "main", {merged.paths.begin(), merged.paths.end()}, false);
    } catch (...) {
        if (request.into_main()) {  // The private checkout may hold a merge that was not published.
            discard_state(request.project, checkout.root);
        }
        throw;
    }
    invalidate_tome_branch_index_cache(request.project);
}

}  // namespace

void merge_project_workspace_into(const fs::path& project_path, const std::string& source_workspace,
                                  const std::string& target_workspace, const std::string& message) {
    const MergeRequest request = make_request(project_path, source_workspace, target_workspace, message);
    if (!request.into_main()) {
        require_writable_workspace_index(request.project);
    }
    const auto lock = lock_workspace_commits(request.target.id);
    merge_and_publish(request);
}

}  // namespace quill
