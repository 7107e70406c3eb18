#include "workspace/operations/workspace_merge.h"

#include <algorithm>
#include <iterator>
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
#include "workspace/checkout/branch_comparison.h"
#include "workspace/checkout/commit_lock.h"
#include "workspace/checkout/contended_branch.h"
#include "workspace/checkout/package_base.h"
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

// Where a merge is made: in a private checkout, which is thrown away with a merge that was not published. A workspace's
// checkout that shares no store merges itself, because it may hold a commit that was never published.
struct MergePlace {
    CheckoutLocation checkout;
    bool is_private = true;
    fs::path own{};  // the workspace's own checkout; empty for main
};

MergePlace place_to_merge_in(const MergeRequest& request) {
    MergePlace place;
    place.checkout = {workspace_main_commit_checkout(request.project), request.remote_url};
    if (!request.into_main()) {
        place.own = ensure_tome_checkout_for_workspace(request.project, request.target.id, request.scene);
        place.is_private = tome_checkout_uses_project_shared_store(request.project, place.own);
        place.checkout.root =
            place.is_private ? workspace_branch_commit_checkout(request.project, request.target.id) : place.own;
    }
    if (place.is_private) {
        ensure_tome_branch_checkout(request.project, place.checkout.root, request.scene, request.target.id);
    }
    return place;
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

[[noreturn]] void refuse_uncommitted(const std::vector<std::string>& paths) {
    throw std::runtime_error(
        "uncommitted changes would be overwritten: " + paths.front() +
        (paths.size() == 1 ? std::string() : " and " + std::to_string(paths.size() - 1) + " more"));
}

std::vector<std::string> visible_changes(const CheckoutLocation& merged, const std::string& before,
                                         const std::string& after) {
    std::vector<std::string> changes;
    if (before != after) {
        changes = call_tome_revision_diff(merged, before, after).revision_paths;
        std::erase_if(changes, project_relative_path_is_hidden);
    }
    return changes;
}

// Refuses a merge that changes files which are edited in the workspace's own checkout, before it is published.
void require_edits_to_stay(const MergeRequest& request, const MergePlace& place, const std::string& before,
                           const std::string& after) {
    const std::vector<std::string> changes = visible_changes(place.checkout, before, after);
    if (changes.empty()) {
        return;
    }
    std::vector<std::string> edited;
    for (const ProjectFileState& file : compare_with_branch({place.own, request.remote_url}, changes).files) {
        if (file.changed_here()) {
            edited.push_back(file.path);
        }
    }
    if (edited.empty()) {
        return;
    }
    bring_files(request, place.checkout.root, edited, after);
    const FolderTree own(place.own);
    const FolderTree merged(place.checkout.root);
    std::erase_if(edited, [&](const std::string& path) { return same_file_and_mode(own, merged, path); });
    if (!edited.empty()) {
        refuse_uncommitted(edited);
    }
}

// What a merge into main does to the package: it brings all files to the merged state, those that others changed
// before, too.
struct PackagePlan {
    std::vector<std::string> brought;      // to be written or removed
    std::vector<std::string> up_to_date;   // the same already
    std::vector<std::string> uncommitted;  // edited here, and otherwise by the merge or by others
};

PackagePlan plan_package(const MergeRequest& request, const CheckoutLocation& merged,
                         const std::vector<std::string>& merge_changes, const std::string& after) {
    std::optional<PackageBase> base = PackageBase::open(request.project);
    const BranchComparison comparison = base ? base->compare_and_settle() : BranchComparison{};
    std::set<std::string> candidates(merge_changes.begin(), merge_changes.end());
    std::set<std::string> edited;
    for (const ProjectFileState& file : comparison.files) {
        if (file.changed_there()) {
            candidates.insert(file.path);
        }
        if (file.changed_here()) {
            edited.insert(file.path);
        }
    }
    PackagePlan plan;
    if (candidates.empty()) {
        return plan;
    }
    const std::vector<std::string> paths(candidates.begin(), candidates.end());
    bring_files(request, merged.root, paths, after);
    const FolderTree package(request.project);
    const FolderTree files(merged.root);
    for (const std::string& path : paths) {
        if (is_up_to_date(package, files, path)) {
            plan.up_to_date.push_back(path);
        } else {
            check_kind(package, path);
            (edited.contains(path) ? plan.uncommitted : plan.brought).push_back(path);
        }
    }
    if (base && !plan.uncommitted.empty()) {  // Unless they have the bytes of an earlier version.
        const std::vector<std::string> edits = base->settle(plan.uncommitted);
        std::set_difference(plan.uncommitted.begin(), plan.uncommitted.end(), edits.begin(), edits.end(),
                            std::back_inserter(plan.brought));
        plan.uncommitted = edits;
    }
    return plan;
}

// Bytes that are not in the history refuse the merge. When it was published before and is only completed now, they
// are left as they are.
PackagePlan checked_plan(const MergeRequest& request, const CheckoutLocation& merged, const std::string& before,
                         const std::string& after) {
    PackagePlan plan = plan_package(request, merged, visible_changes(merged, before, after), after);
    if (!plan.uncommitted.empty() && before != after) {
        refuse_uncommitted(plan.uncommitted);
    }
    add_links_to_removed(request, merged, after, plan.brought);
    check_project_can_take_files(request.project, merged.root, {plan.brought.begin(), plan.brought.end()});
    return plan;
}

struct Merged {
    std::string head;     // empty: the engine reported none
    PackagePlan package;  // for a merge into main
};

Merged merge_locally(const MergeRequest& request, const MergePlace& place) {
    const std::string before = call_tome_repository_status(place.checkout, false).identity;
    const TomeWorkspaceState state = call_tome_branch_merge_into(place.checkout, request.source.id, request.message);
    if (!state.changed_paths.empty()) {
        refuse_conflicts(state.changed_paths);
    }
    Merged merged{state.identity, {}};
    if (merged.head.empty()) {
        return merged;
    }
    if (request.into_main()) {
        merged.package = checked_plan(request, place.checkout, before, merged.head);
    } else if (place.is_private) {
        require_edits_to_stay(request, place, before, merged.head);
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

void bring_package(const MergeRequest& request, const Merged& merged) {
    const PackagePlan& plan = merged.package;
    sync_project_workspace_files(request.project, "main", {plan.brought.begin(), plan.brought.end()}, false);
    if (!plan.up_to_date.empty()) {
        PackageBase::require(request.project).record(merged.head, plan.up_to_date, false);
    }
}

// The files that the workspace's own checkout holds follow. Edits of files that others changed before the merge stay in
// the way of that: the next sync names them.
void bring_own_checkout(const MergeRequest& request, const MergePlace& place) {
    try {
        call_tome_branch_switch({place.own, request.remote_url}, request.target.id);
    } catch (const std::runtime_error&) {
    }
}

void merge_and_publish(const MergeRequest& request) {
    const MergePlace place = place_to_merge_in(request);
    try {
        const Merged merged = merge_locally(request, place);
        publish(request, place.checkout, merged.head);
        request.into_main() ? bring_package(request, merged) : bring_own_checkout(request, place);
    } catch (...) {
        if (place.is_private) {  // It may hold a merge that was not published.
            discard_state(request.project, place.checkout.root);
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
    repeat_while_branch_moves(request.project, [&] { merge_and_publish(request); });
}

}  // namespace quill
