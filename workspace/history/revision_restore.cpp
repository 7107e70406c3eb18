#include "workspace/history/revision_restore.h"

#include <algorithm>
#include <stdexcept>
#include <vector>

#include "engine/history_metadata.h"
#include "engine/tome_binding.h"
#include "files/absolute_path.h"
#include "project/file_tree_comparison.h"
#include "project/manifest.h"
#include "project/package_state.h"
#include "project/project_id.h"
#include "project/workspace_id.h"
#include "project/workspace_paths.h"
#include "records/wall_clock.h"
#include "workspace/checkout/abandoned_checkouts.h"
#include "workspace/checkout/commit_lock.h"
#include "workspace/checkout/file_keeper.h"
#include "workspace/checkout/package_base.h"
#include "workspace/checkout/workspace_checkout.h"
#include "workspace/checkout/workspace_scene.h"
#include "workspace/checkout/workspace_snapshot.h"
#include "workspace/history/live_project_restore.h"
#include "workspace/history/revision_history.h"
#include "workspace/index/branch_index_cache.h"
#include "workspace/index/workspace_index_file.h"
#include "workspace/index/workspace_lookup.h"

namespace quill {
namespace {

namespace fs = std::filesystem;

constexpr std::uint64_t searched_revisions = 500;

struct RestoreRequest {
    fs::path project;
    std::string workspace_id;
    std::string target;
    std::string author;
    std::string message;
    std::string project_id;
    std::string current_head;
    std::string remote_url;
    ProjectWorkspace workspace;
    fs::path scene;
};

// Removes a scratch folder when the restore ends, on failure, too.
class RestoreCheckoutCleanup {
  public:
    RestoreCheckoutCleanup(fs::path project, fs::path path) : project_(std::move(project)), path_(std::move(path)) {
        remove();
    }
    ~RestoreCheckoutCleanup() { remove(); }
    RestoreCheckoutCleanup(const RestoreCheckoutCleanup&) = delete;
    RestoreCheckoutCleanup& operator=(const RestoreCheckoutCleanup&) = delete;

    const fs::path& path() const { return path_; }

  private:
    void remove() {
        discard_state(project_, path_);
        release_checkout(path_);
    }
    fs::path project_;
    fs::path path_;
};

[[noreturn]] void refuse(const std::string& text) {
    throw std::runtime_error(text);
}

std::string current_head_of(const std::vector<ProjectWorkspaceRevision>& revisions) {
    for (const ProjectWorkspaceRevision& revision : revisions) {
        if (revision.current) {
            return revision.id;
        }
    }
    return revisions.empty() ? std::string() : revisions.front().id;
}

// Fills the request in, and refuses all that can be refused before a lock is taken or a file is touched.
void complete_request(RestoreRequest& request, const std::string& expected_head,
                      const std::string& expected_project_id) {
    request.project_id = read_project(request.project).manifest.id;
    if (!is_valid_project_id(request.project_id)) {
        refuse("restore requires a project with a stable project ID");
    }
    if (expected_project_id != request.project_id) {
        refuse("project changed since history was opened; reopen history and try again");
    }
    if (request.target.empty()) {
        refuse("restore requires a target revision");
    }
    request.workspace = require_workspace_branch(request.project, request.workspace_id);
    const auto revisions = list_project_workspace_revisions(request.project, request.workspace_id, searched_revisions);
    request.current_head = current_head_of(revisions);
    if (!expected_head.empty() && expected_head != request.current_head) {
        refuse("workspace changed since history was opened; refresh history and try again");
    }
    if (std::none_of(revisions.begin(), revisions.end(),
                     [&](const auto& revision) { return revision.id == request.target; })) {
        refuse("target revision is not in this workspace's history");
    }
    if (request.target == request.current_head) {
        refuse("that revision is already current");
    }
    request.remote_url = require_project_tome_remote(request.project);
    request.scene = resolve_workspace_base_scene(request.project, request.workspace);
}

// A fresh checkout of the branch with all files of `revision`.
CheckoutLocation check_out_revision(const RestoreRequest& request, const fs::path& root, const std::string& revision,
                                    std::string_view operation) {
    ensure_tome_branch_checkout(request.project, root, request.scene, request.workspace_id);
    const CheckoutLocation checkout{root, request.remote_url};
    TomeSync sync;
    sync.revision = revision;
    sync.scratch = true;
    call_tome_revision_sync(checkout, sync, operation);
    return checkout;
}

void require_equal(const fs::path& a, const fs::path& b, const char* otherwise) {
    TreeComparison comparison = compare_project_workspace_files(a, b);
    if (!comparison.differing.empty()) {
        throw TreeMismatchError(otherwise, std::move(comparison));
    }
}

// Copies the selected files aside. What is published is compared with this copy.
void preserve_selected_state(const RestoreRequest& request, const fs::path& scratch, const fs::path& selected) {
    make_state_folder(request.project, selected);
    hold_checkout(selected);
    mirror_visible_project_files(scratch, selected, SourceWriters::None);
    require_equal(scratch, selected, "could not preserve the selected historical project state");
}

std::string add_restored_revision(const RestoreRequest& request, const CheckoutLocation& scratch) {
    const std::string head = call_tome_revision_restore(scratch, request.target, request.message).identity;
    if (head.empty() || head == request.current_head || head == request.target) {
        refuse("Tome did not create a new revision containing the selected historical state");
    }
    if (!call_tome_revision_diff(scratch, head, request.target).revision_paths.empty()) {
        refuse("Tome restore verification failed: the new revision does not match the selected historical state");
    }
    return head;
}

TomeWorkspaceState tome_revision_details(const CheckoutLocation& checkout, const std::string& revision) {
    return call_tome_revision_info(checkout, revision);
}

void publish(const RestoreRequest& request, const CheckoutLocation& scratch, const std::string& head,
             const std::string& now) {
    const auto key = [&](const char* name) { return revision_display_metadata_key(head, name); };
    BranchMetadata metadata = new_head_metadata(head, now);
    add_display_metadata(metadata, head,
                         {request.author, now, request.message, tome_revision_details(scratch, head).event_count});
    metadata.emplace(key(revision_display_name::restore_mode), "new-revision");
    metadata.emplace(key(revision_display_name::restore_target), request.target);
    metadata.emplace(key(revision_display_name::previous_head), request.current_head);
    if (request.workspace_id != "main") {
        metadata.emplace(workspace_metadata_key::mark, "1");
    }
    set_tome_branch_metadata(scratch, request.workspace_id, metadata);
    push_tome_branch(scratch.root, request.workspace_id, request.remote_url, false);
}

// The files that the user works on. A workspace's checkout is made ready before anything is published: one made later
// would come with the restored files, and nothing would be left to restore in it.
fs::path ensure_live_project(const RestoreRequest& request) {
    return request.workspace_id == "main"
               ? request.project
               : ensure_tome_checkout_for_workspace(request.project, request.workspace_id, {});
}

std::uint64_t restore_live_files(const RestoreRequest& request, const fs::path& live, const fs::path& published,
                                 const std::string& head, FileKeeper& kept) {
    if (request.workspace_id == "main") {
        PackageBase::announce_replacement(request.project);
    }
    const std::uint64_t count = restore_live_project(live, published, kept);
    if (request.workspace_id == "main") {
        PackageBase::start(request.project, head);
    } else {
        try {  // A sync tells the checkout that its files are those of the new head.
            call_tome_revision_sync({live, request.remote_url}, {});
        } catch (const std::runtime_error&) {
            // The restore is done, and the next sync reports what is wrong.
        }
    }
    return count;
}

}  // namespace

ProjectWorkspaceRestoreResult restore_project_workspace_revision(
    const fs::path& project, const std::string& workspace_id, const std::string& target_revision,
    const std::string& expected_head, const std::string& author, const std::string& summary,
    const std::string& expected_project_id, const std::function<void(const fs::path&)>& on_selected_state) {
    RestoreRequest request;
    request.project = absolute_normalized(project);
    request.workspace_id = workspace_id_or_main(workspace_id);
    request.target = target_revision;
    request.author = author;
    request.message = summary.empty() ? "Restored earlier workspace state" : summary;
    complete_request(request, expected_head, expected_project_id);

    if (request.workspace_id != "main") {
        require_writable_workspace_index(request.project);
    }
    const auto lock = lock_workspace_commits(request.workspace_id);
    const RestoreFolders folders =
        workspace_restore_folders(request.project, request.workspace_id, wall_clock_milliseconds());
    const RestoreCheckoutCleanup scratch(request.project, folders.scratch);
    const RestoreCheckoutCleanup selected(request.project, folders.selected_tree);
    const RestoreCheckoutCleanup published(request.project, folders.published_head);
    const CheckoutLocation checkout = check_out_revision(request, scratch.path(), request.target, "tome_revision_sync");
    if (call_tome_repository_status(checkout, false).identity != request.current_head) {
        refuse("workspace changed since history was opened; refresh history and try again");
    }
    if (read_project(scratch.path()).manifest.id != request.project_id) {
        refuse("restore refused because the historical repository belongs to a different Keel project");
    }
    if (on_selected_state) {
        on_selected_state(scratch.path());
    }
    preserve_selected_state(request, scratch.path(), selected.path());
    const fs::path live = ensure_live_project(request);
    check_live_project(live, selected.path());
    FileKeeper kept(request.project, "restore", request.workspace_id);

    const std::string head = add_restored_revision(request, checkout);
    const std::string now = wall_clock_milliseconds();
    publish(request, checkout, head, now);
    check_out_revision(request, published.path(), head, "tome_revision_sync restored head");
    require_equal(selected.path(), published.path(),
                  "Tome restore verification failed: the published revision bytes do not match the selected state");
    record_workspace_head(request.project, request.workspace_id, head, now);
    ProjectWorkspaceRestoreResult result;
    result.verifiedLiveFileCount = restore_live_files(request, live, published.path(), head, kept);
    invalidate_tome_branch_index_cache(request.project);
    result.workspaceId = request.workspace_id;
    result.targetRevision = request.target;
    result.previousHead = request.current_head;
    result.restoredHead = head;
    result.restoredHeadInfo = tome_revision_details(checkout, head).identity_number;
    result.liveVerified = true;
    return result;
}

}  // namespace quill
