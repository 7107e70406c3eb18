#include "workspace/operations/repository_bootstrap.h"

#include <optional>
#include <stdexcept>
#include <string>

#include "engine/engine_errors.h"
#include "files/absolute_path.h"
#include "files/folder_tree.h"
#include "project/checkout_configuration.h"
#include "project/package_state.h"
#include "project/repository_configuration.h"
#include "project/visible_files.h"
#include "project/workspace_paths.h"
#include "records/wall_clock.h"
#include "workspace/checkout/abandoned_checkouts.h"
#include "workspace/checkout/commit_edits.h"
#include "workspace/checkout/contended_branch.h"
#include "workspace/checkout/workspace_checkout.h"
#include "workspace/checkout/workspace_snapshot.h"

namespace quill {
namespace {

namespace fs = std::filesystem;

// Removes a folder when the operation that it serves ends, on failure, too.
class BootstrapCheckoutCleanup {
  public:
    BootstrapCheckoutCleanup(fs::path project, fs::path path) : project_(std::move(project)), path_(std::move(path)) {}
    ~BootstrapCheckoutCleanup() { discard_state(project_, path_); }
    BootstrapCheckoutCleanup(const BootstrapCheckoutCleanup&) = delete;
    BootstrapCheckoutCleanup& operator=(const BootstrapCheckoutCleanup&) = delete;

  private:
    fs::path project_;
    fs::path path_;
};

void make_empty_folder(const fs::path& project, const fs::path& checkout) {
    try {
        remove_state(project, checkout);
        make_state_folder(project, checkout);
    } catch (const FileError& error) {
        throw std::runtime_error("could not create Tome remote bootstrap checkout: " + error.reason());
    }
    hold_checkout(checkout);
}

// False when the remote has the repository already: the checkout is then a clone of it, without files.
bool create_or_clone(const fs::path& project, const CheckoutLocation& checkout, const std::string& repository_url) {
    try {
        call_tome_repository_create(checkout, repository_url, "Keel hosted project repository",
                                    workspace_branch_memory(project).string());
        return true;
    } catch (const std::runtime_error& error) {
        if (!says_that_repository_exists(error)) {
            throw;
        }
    }
    make_empty_folder(project, checkout.root);
    clone_tome_checkout_if_needed(project, checkout.root, "main", {}, false, false);
    return false;
}

std::string commit_imported(const CheckoutLocation& checkout, const std::vector<std::string>& paths) {
    return tome_stage_and_commit(checkout.root, paths, checkout.remote_url,
                                 "Initialize imported Keel project workspace state");
}

void publish_package(const fs::path& project, const CheckoutLocation& checkout) {
    mirror_visible_project_files(project, checkout.root);
    const std::string revision = commit_imported(checkout, all_visible_project_files(FolderTree(checkout.root)));
    push_tome_branch(checkout.root, "main", checkout.remote_url, true);
    if (!revision.empty()) {
        PackageBase::start(project, revision);
    }
}

// The history has other people's work by now: only what was changed here goes there.
void publish_edits(const fs::path& project, const CheckoutLocation& checkout) {
    PackageBase base = PackageBase::require(project);
    const CommitEdits edits = find_package_edits(base);
    require_edits_of_base(edits, call_tome_repository_status(checkout, false).identity);
    mirror_edits(project, checkout, edits);
    const std::string revision = commit_imported(checkout, {edits.taken.begin(), edits.taken.end()});
    if (!revision.empty()) {
        base.announce(revision, edits.exchanged);
    }
    push_tome_branch(checkout.root, "main", checkout.remote_url, true);
    record_published_edits(base, edits, revision.empty() ? edits.head : revision);
}

// Whether the package's state says that it keeps its branches itself or belongs to another repository.
bool is_of_another_repository(const fs::path& root, const std::string& repository_url) {
    const std::optional<std::string> configured = quoted_tome_configuration(root, "repository_url");
    return configured && !is_same_tome_repository(*configured, repository_url);
}

// Moves a package's state aside and leaves it there, because it may hold what is nowhere else. Unless `keep_new` is
// called, the destructor puts it back and removes the new state.
class ReplacedState {
  public:
    ReplacedState(fs::path project, const fs::path& root)
        : project_(std::move(project)),
          state_(tome_state_folder(root)),
          aside_(root / (".tome.replaced-" + wall_clock_milliseconds())) {
        std::error_code error;
        fs::rename(state_, aside_, error);
        if (error) {
            throw std::runtime_error("could not replace Tome repository state: " + error.message());
        }
    }
    ~ReplacedState() {
        if (!replaced_) {
            std::error_code ignored;
            discard_state(project_, state_);
            fs::rename(aside_, state_, ignored);
        }
    }
    ReplacedState(const ReplacedState&) = delete;
    ReplacedState& operator=(const ReplacedState&) = delete;

    void keep_new() { replaced_ = true; }

  private:
    fs::path project_;
    fs::path state_;
    fs::path aside_;
    bool replaced_ = false;
};

void make_checkout_if_needed(const fs::path& project, const CheckoutLocation& checkout,
                             const std::string& repository_url) {
    std::error_code ignored;
    if (fs::exists(tome_state_folder(checkout.root), ignored)) {
        return;
    }
    try {
        make_state_folder(project, checkout.root);
    } catch (const FileError& failure) {
        throw std::runtime_error("could not create Tome repository path: " + failure.reason());
    }
    const std::string name = repository_url.empty() ? checkout.root.filename().string() : repository_url;
    call_tome_repository_create(checkout, name.empty() ? "KeelProject" : name,
                                "Keel content-addressed project repository", workspace_branch_memory(project).string());
}

void commit_and_push_unless_on_remote(const fs::path& project, const CheckoutLocation& checkout) {
    const TomeWorkspaceState status = call_tome_repository_status(checkout, false);
    if (!status.second_identity.empty() || status.identity_extra != 0) {
        return;
    }
    std::string revision = status.identity;
    if (status.identity.empty() && status.identity_number == 0) {
        revision = tome_stage_and_commit(checkout.root, all_visible_project_files(FolderTree(project)),
                                         checkout.remote_url, "Initialize Keel project workspace state");
    }
    push_tome_branch(checkout.root, "main", checkout.remote_url, true);
    if (!revision.empty()) {
        PackageBase::start(project, revision);
    }
}

}  // namespace

void bootstrap_missing_project_tome_remote(const fs::path& project_path) {
    const fs::path project = absolute_normalized(project_path);
    const std::string remote = project_tome_remote_url(project);
    const std::string repository_url = project_tome_repository_url(project);
    if (remote.empty() || repository_url.empty()) {
        throw std::runtime_error("cannot bootstrap a Tome repository without a remote and repository URL");
    }
    const CheckoutLocation checkout{workspace_remote_bootstrap_checkout(project), remote};
    remove_abandoned_checkouts(project);
    const BootstrapCheckoutCleanup cleanup(project, checkout.root);
    make_empty_folder(project, checkout.root);
    create_or_clone(project, checkout, repository_url) ? publish_package(project, checkout)
                                                       : publish_edits(project, checkout);
}

void initialize_project_tome_repository(const fs::path& project_path) {
    const fs::path project = absolute_normalized(project_path);
    require_project_tome_remote(project);
    ensure_project_tome_configuration(project);
    repeat_while_branch_moves(project, [&] { bootstrap_missing_project_tome_remote(project); });
}

void initialize_new_project_tome_repository(const fs::path& project_path) {
    const fs::path project = absolute_normalized(project_path);
    require_project_tome_remote(project);
    ensure_project_tome_configuration(project);
    const CheckoutLocation checkout{project_tome_repository_path(project), project_tome_remote_url(project)};
    const std::string repository_url = project_tome_repository_url(project);
    std::optional<ReplacedState> replaced;
    if (is_of_another_repository(checkout.root, repository_url)) {
        replaced.emplace(project, checkout.root);
    }
    make_checkout_if_needed(project, checkout, repository_url);
    commit_and_push_unless_on_remote(project, checkout);
    if (replaced) {
        replaced->keep_new();
    }
}

}  // namespace quill
