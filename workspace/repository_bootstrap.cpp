#include "workspace/repository_bootstrap.h"

#include <array>
#include <stdexcept>
#include <string>
#include <string_view>

#include "files/folder_tree.h"
#include "identity/visible_files.h"
#include "project/manifest.h"
#include "project/package_state.h"
#include "project/repository_configuration.h"
#include "workspace/abandoned_checkouts.h"
#include "workspace/workspace_checkout.h"
#include "workspace/workspace_paths.h"
#include "workspace/workspace_snapshot.h"

namespace quill {
namespace {

namespace fs = std::filesystem;

bool says_that_it_exists(std::string_view text) {
    constexpr std::array<std::string_view, 4> signs{"Already exists", "already exists", "exists with id",
                                                    "exist with id"};
    for (const std::string_view sign : signs) {
        if (text.find(sign) != std::string_view::npos) {
            return true;
        }
    }
    return false;
}

// Removes a folder when the operation that it serves ends, on failure, too.
class TemporaryCheckout {
  public:
    TemporaryCheckout(fs::path project, fs::path path) : project_(std::move(project)), path_(std::move(path)) {}
    ~TemporaryCheckout() { discard_state(project_, path_); }
    TemporaryCheckout(const TemporaryCheckout&) = delete;
    TemporaryCheckout& operator=(const TemporaryCheckout&) = delete;

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

// Makes the repository; one that is there already is cloned, with all its files, so that those which the package no
// longer has become deletions.
void create_or_clone(const fs::path& project, const TomeCheckout& checkout, const std::string& repository_url) {
    try {
        call_tome_repository_create(checkout, repository_url, "Keel hosted project repository");
    } catch (const std::runtime_error& error) {
        if (!says_that_it_exists(error.what())) {
            throw;
        }
        make_empty_folder(project, checkout.root);
        clone_tome_checkout_if_needed(project, checkout.root, "main", {}, false, false);
        TomeSync everything;
        everything.scratch = true;
        call_tome_revision_sync(checkout, everything);
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
    const TomeCheckout checkout{workspace_checkout_base(project) / (".remote-bootstrap-" + workspace_process_token()),
                                remote};
    remove_abandoned_checkouts(project);
    const TemporaryCheckout cleanup(project, checkout.root);
    make_empty_folder(project, checkout.root);
    create_or_clone(project, checkout, repository_url);
    const std::vector<std::string> removed = mirror_visible_project_files(project, checkout.root);
    std::vector<std::string> paths = all_visible_project_files(FolderTree(checkout.root));
    paths.insert(paths.end(), removed.begin(), removed.end());
    tome_stage_and_commit(checkout.root, paths, remote, "Initialize imported Keel project workspace state");
    push_tome_branch(checkout.root, "main", remote, true);
}

void initialize_project_tome_repository(const fs::path& project_path) {
    const fs::path project = absolute_normalized(project_path);
    require_project_tome_remote(project);
    ensure_project_tome_configuration(project);
    bootstrap_missing_project_tome_remote(project);
}

void initialize_new_project_tome_repository(const fs::path& project_path) {
    const fs::path project = absolute_normalized(project_path);
    require_project_tome_remote(project);
    ensure_project_tome_configuration(project);
    const TomeCheckout checkout{project_tome_repository_path(project), project_tome_remote_url(project)};
    std::error_code error;
    if (!fs::exists(checkout.root / ".tome", error)) {
        try {
            make_state_folder(project, checkout.root);
        } catch (const FileError& failure) {
            throw std::runtime_error("could not create Tome repository path: " + failure.reason());
        }
        std::string name = project_tome_repository_url(project);
        name = name.empty() ? checkout.root.filename().string() : name;
        call_tome_repository_create(checkout, name.empty() ? "KeelProject" : name,
                                    "Keel content-addressed project repository");
    }
    const TomeWorkspaceState status = call_tome_repository_status(checkout, false);
    if (!status.second_identity.empty() || status.identity_extra != 0) {
        return;
    }
    if (status.identity.empty() && status.identity_number == 0) {
        tome_stage_and_commit(checkout.root, all_visible_project_files(FolderTree(project)), checkout.remote_url,
                              "Initialize Keel project workspace state");
    }
    push_tome_branch(checkout.root, "main", checkout.remote_url, true);
}

}  // namespace quill
