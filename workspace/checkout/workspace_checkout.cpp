#include "workspace/checkout/workspace_checkout.h"

#include <mutex>
#include <optional>
#include <stdexcept>

#include "files/absolute_path.h"
#include "files/folder_tree.h"
#include "files/text_file.h"
#include "project/checkout_configuration.h"
#include "project/manifest.h"
#include "project/package_state.h"
#include "project/project_id.h"
#include "project/repository_configuration.h"
#include "project/visible_files.h"
#include "project/workspace_id.h"
#include "project/workspace_paths.h"
#include "workspace/checkout/abandoned_checkouts.h"
#include "workspace/checkout/workspace_scene.h"

namespace quill {
namespace {

namespace fs = std::filesystem;

fs::path marker_path(const fs::path& checkout) {
    return checkout / ".derived" / "tome-materialization-v1";
}

fs::path project_id_path(const fs::path& checkout) {
    return checkout / ".keel-project-id";
}

std::string text_or_nothing(const fs::path& path) {
    try {
        return read_text_file(path);
    } catch (const std::runtime_error&) {
        return {};  // A file that cannot be read has no text, and no marker is empty.
    }
}

// Another process may write the same marker at the same time, through the same temporary file. One of the two writes
// may fail then, but the marker is right.
void write_marker(const fs::path& project, const fs::path& checkout, const std::string& text) {
    make_state_folder(project, marker_path(checkout).parent_path());
    try {
        write_text_file_atomically(marker_path(checkout), text);
    } catch (const std::runtime_error&) {
        if (text_or_nothing(marker_path(checkout)) != text) {
            throw;
        }
    }
}

// The scene as a path to fetch; none when it lies outside the project's files.
std::vector<std::string> scene_to_fetch(const fs::path& project, const fs::path& scene) {
    if (scene.empty()) {
        return {};
    }
    const fs::path relative = scene_relative_path(absolute_normalized(project), scene);
    const bool outside = project_relative_path_is_hidden(relative) || relative == "." || *relative.begin() == "..";
    return outside ? std::vector<std::string>() : std::vector<std::string>{relative.string()};
}

// A checkout says which repository it is of; the package may have got another one since.
bool is_of_another_repository(const fs::path& project, const fs::path& checkout) {
    const std::string repository = quoted_tome_configuration(checkout, "repository_url").value_or("");
    return !repository.empty() && !is_same_tome_repository(repository, project_tome_repository_url(project));
}

bool holds_files(const fs::path& folder) {
    std::error_code error;
    for (fs::directory_iterator entry(folder, error); !error && entry != fs::directory_iterator();
         entry.increment(error)) {
        if (entry->path().filename() != tome_state_folder_name && entry->path().filename() != ".derived") {
            return true;
        }
    }
    return static_cast<bool>(error) && fs::exists(folder, error);
}

// Removes what an interrupted or failed clone left behind; never a finished checkout, which another process may just
// have made. The files of a folder that somebody works in stay: the next clone takes them over.
void remove_unfinished_checkout(const fs::path& project, const fs::path& checkout, bool worked_in) {
    if (!is_tome_checkout(checkout)) {
        discard_state(project, worked_in && holds_files(checkout) ? tome_state_folder(checkout) : checkout);
    }
}

void clone_once(const fs::path& project, const fs::path& checkout, const TomeClone& clone,
                const fs::path& working_folder = {}) {
    try {
        make_state_folder(project, checkout);
    } catch (const FileError& error) {
        throw std::runtime_error("could not create Tome workspace checkout: " + error.reason());
    }
    hold_checkout(checkout);
    call_tome_repository_clone({checkout, project_tome_remote_url(project), working_folder}, clone);
}

TomeClone clone_of(const fs::path& project, const std::string& branch) {
    TomeClone clone;
    clone.repository_url = project_tome_repository_url(project);
    if (clone.repository_url.empty()) {
        throw std::runtime_error("native Tome workspaces require a project-scoped tomeRepositoryURL in project.json");
    }
    clone.branch = branch;
    clone.branch_memory = workspace_branch_memory(project).string();
    return clone;
}

void bring_to_branch(const fs::path& project, const fs::path& checkout, const std::string& branch,
                     const std::vector<std::string>& paths) {
    const CheckoutLocation opened{checkout, project_tome_remote_url(project)};
    call_tome_branch_switch(opened, branch);
    if (!paths.empty()) {
        TomeSync sync;
        sync.paths = paths;
        call_tome_revision_sync(opened, sync);
    }
}

std::mutex& metadata_checkout_mutex() {
    static auto* mutex = new std::mutex;  // Never destroyed: background threads may outlive main.
    return *mutex;
}

}  // namespace

std::string require_project_tome_remote(const fs::path& project) {
    if (!project_has_tome_remote(project)) {
        throw std::runtime_error(
            "native Tome workspaces require a configured Tome remote. Set tomeRemoteURL in project.json or "
            "QUILL_TOME_REMOTE_URL.");
    }
    return project_tome_remote_url(project);
}

bool is_tome_checkout(const fs::path& checkout) {
    std::error_code ignored;
    return fs::exists(tome_configuration_file(checkout), ignored);
}

void clone_tome_checkout_if_needed(const fs::path& project, const fs::path& checkout, const std::string& branch,
                                   const std::vector<std::string>& paths, bool use_shared_store, bool metadata_only) {
    unlinked_state_path(project, checkout);
    if (!use_shared_store && is_of_another_repository(project, checkout)) {
        discard_state(project, checkout);
    }
    if (is_tome_checkout(checkout)) {
        return;
    }
    remove_abandoned_checkouts(project);
    std::error_code ignored;
    // The state is looked for first, and then whether the checkout is finished. The other way round, a clone that
    // another process finishes in between, which puts both there at once, would be removed.
    if (fs::exists(fs::symlink_status(tome_state_folder(checkout), ignored))) {
        remove_unfinished_checkout(project, checkout, use_shared_store);
    }
    TomeClone clone = clone_of(project, branch);
    clone.metadata_only = metadata_only;
    clone.paths = paths;
    if (use_shared_store) {
        ensure_workspace_shared_store(project);
        clone.use_shared_store = true;
        clone.shared_store = workspace_shared_store_path_string(project);
        try {
            return clone_once(project, checkout, clone);
        } catch (const std::runtime_error&) {
            // The clone can do without the shared store. If something else is wrong, the attempt without it fails, too,
            // and says so.
            remove_unfinished_checkout(project, checkout, true);
            clone.use_shared_store = false;
        }
    }
    try {
        clone_once(project, checkout, clone);
    } catch (const std::runtime_error& error) {
        remove_unfinished_checkout(project, checkout, use_shared_store);
        const std::string text = error.what();
        throw std::runtime_error(text.empty() ? "tome_repository_clone failed" : text);
    }
}

void clone_detached_checkout_if_needed(const fs::path& project, const fs::path& checkout) {
    unlinked_state_path(project, checkout);
    if (is_of_another_repository(project, checkout)) {
        discard_state(project, checkout);
    }
    if (!is_tome_checkout(checkout)) {
        remove_unfinished_checkout(project, checkout, false);
        clone_once(project, checkout, clone_of(project, "main"), absolute_normalized(project));
    }
}

fs::path ensure_tome_checkout_for_workspace(const fs::path& project, const std::string& id, const fs::path& scene) {
    const std::string workspace = workspace_id_or_main(id);
    const fs::path checkout = checkout_root_for_workspace_id(project, workspace);
    if (workspace == "main") {
        return checkout;
    }
    const std::vector<std::string> paths = scene_to_fetch(project, scene);
    std::error_code ignored;
    const auto scene_is_there = [&] { return paths.empty() || fs::exists(checkout / paths.front(), ignored); };
    if (is_tome_checkout(checkout) && scene_is_there() && text_or_nothing(marker_path(checkout)) == workspace + "\n") {
        return checkout;
    }
    clone_tome_checkout_if_needed(project, checkout, workspace, paths, true, false);
    bring_to_branch(project, checkout, workspace, paths);
    if (!scene_is_there()) {
        throw std::runtime_error("workspace scene did not materialize after Tome sync: " + paths.front());
    }
    write_marker(project, checkout, workspace + "\n");
    return checkout;
}

void ensure_tome_branch_checkout(const fs::path& project, const fs::path& checkout, const fs::path& scene,
                                 const std::string& branch) {
    if (tome_checkout_uses_project_shared_store(project, checkout)) {
        discard_state(project, checkout);
    }
    const std::string name = workspace_id_or_main(branch);
    const std::vector<std::string> paths = scene_to_fetch(project, scene);
    const bool reused = is_tome_checkout(checkout);
    clone_tome_checkout_if_needed(project, checkout, name, paths, false, false);
    try {
        return bring_to_branch(project, checkout, name, paths);
    } catch (const std::runtime_error&) {
        if (!reused) {
            throw;
        }
        // The repository may have been made anew on the remote. It then lacks the revision that this checkout is at.
        discard_state(project, checkout);
    }
    clone_tome_checkout_if_needed(project, checkout, name, paths, false, false);
    bring_to_branch(project, checkout, name, paths);
}

void ensure_workspace_shared_store(const fs::path& project) {
    const fs::path store = workspace_shared_store_path(project);
    std::error_code error;
    if (fs::exists(store, error)) {
        if (!fs::is_directory(store, error) || !fs::is_empty(store, error)) {
            return;
        }
        try {
            remove_state(project, store);
        } catch (const FileError& failure) {
            throw std::runtime_error("could not replace empty Tome shared store: " + failure.reason());
        }
    }
    const std::string remote = project_tome_remote_url(project);
    if (remote.empty()) {
        throw std::runtime_error("cannot create a Tome shared store without a configured remote");
    }
    try {
        make_state_folder(project, store.parent_path());
    } catch (const FileError& failure) {
        throw std::runtime_error("could not create Tome shared store parent folder: " + failure.reason());
    }
    call_tome_shared_store_create({store.parent_path(), remote}, store);
}

bool tome_checkout_uses_project_shared_store(const fs::path& project, const fs::path& checkout) {
    if (!is_tome_checkout(checkout)) {
        return false;
    }
    const std::string text = text_or_nothing(tome_configuration_file(checkout));
    const auto holds = [&](const std::string& part) { return text.find(part) != std::string::npos; };
    return holds("[shared_store_to_use]") && holds("use_shared_store = true") &&
           holds(workspace_shared_store_path_string(project));
}

fs::path ensure_tome_metadata_checkout(const fs::path& project) {
    const std::lock_guard lock(metadata_checkout_mutex());
    const fs::path checkout = workspace_metadata_checkout(project);
    const std::string id = read_project(absolute_normalized(project)).manifest.id;
    if (!is_valid_project_id(id)) {
        throw std::runtime_error("Tome history requires a valid Keel project ID");
    }
    const bool other_project = is_tome_checkout(checkout) && text_or_nothing(project_id_path(checkout)) != id + "\n";
    if (other_project || tome_checkout_uses_project_shared_store(project, checkout)) {
        discard_state(project, checkout);
    }
    const bool fresh = !is_tome_checkout(checkout);
    clone_tome_checkout_if_needed(project, checkout, "main", {}, false, true);
    if (fresh) {
        write_text_file_atomically(project_id_path(checkout), id + "\n");
    }
    return checkout;
}

}  // namespace quill
