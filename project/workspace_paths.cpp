#include "project/workspace_paths.h"

#include <stdexcept>

#include "files/absolute_path.h"
#include "project/package_state.h"
#include "project/repository_configuration.h"
#include "project/workspace_id.h"

namespace quill {
namespace {

std::filesystem::path derived_path(const std::filesystem::path& project, const std::filesystem::path& relative) {
    const std::filesystem::path package = absolute_normalized(project);
    return unlinked_state_path(package, package / ".derived" / relative);
}

std::filesystem::path checkout_path(const std::filesystem::path& project, const std::string& name) {
    return derived_path(project, std::filesystem::path("tome-workspaces") / name);
}

std::filesystem::path record_path(const std::filesystem::path& project, const std::string& name) {
    const std::filesystem::path package = absolute_normalized(project);
    return unlinked_state_path(package, package / "Workspaces") / name;
}

}  // namespace

std::filesystem::path workspace_checkout_base(const std::filesystem::path& project) {
    return derived_path(project, "tome-workspaces");
}

std::filesystem::path checkout_root_for_workspace_id(const std::filesystem::path& project, const std::string& id) {
    if (workspace_id_or_main(id) == "main") {
        return project_tome_repository_path(project);
    }
    if (!is_valid_workspace_id(id)) {
        throw std::runtime_error("invalid workspace id: " + id);
    }
    return checkout_path(project, id);
}

std::filesystem::path project_workspace_checkout_root(const std::filesystem::path& project, const std::string& id) {
    return checkout_root_for_workspace_id(project, id);
}

std::filesystem::path workspace_main_commit_checkout(const std::filesystem::path& project) {
    return checkout_path(project, temporary_checkout_name(TemporaryCheckout::MainCommit));
}

std::filesystem::path workspace_branch_commit_checkout(const std::filesystem::path& project, const std::string& id) {
    return checkout_path(project,
                         temporary_checkout_name(TemporaryCheckout::WorkspaceCommit, normalize_workspace_id(id)));
}

std::filesystem::path workspace_main_materialize_checkout(const std::filesystem::path& project) {
    return checkout_path(project, temporary_checkout_name(TemporaryCheckout::MainMaterialize));
}

std::filesystem::path workspace_metadata_checkout(const std::filesystem::path& project) {
    return workspace_checkout_base(project) / temporary_checkout_name(TemporaryCheckout::Metadata);
}

std::filesystem::path workspace_remote_bootstrap_checkout(const std::filesystem::path& project) {
    return workspace_checkout_base(project) / temporary_checkout_name(TemporaryCheckout::RemoteBootstrap);
}

RestoreFolders workspace_restore_folders(const std::filesystem::path& project, const std::string& id,
                                         const std::string& time) {
    const std::filesystem::path base = workspace_checkout_base(project);
    const std::string scratch = temporary_checkout_name(TemporaryCheckout::Restore, normalize_workspace_id(id), time);
    return {base / scratch, base / selected_tree_name(scratch), base / published_head_name(scratch)};
}

std::filesystem::path workspace_branch_index_checkout(const std::filesystem::path& project) {
    return workspace_checkout_base(project) / ".branch-index";
}

std::filesystem::path workspace_branch_operations_checkout(const std::filesystem::path& project) {
    return workspace_checkout_base(project) / ".branch-ops";
}

std::filesystem::path workspace_history_previews(const std::filesystem::path& project) {
    return workspace_checkout_base(project) / ".history-preview";
}

HistoryPreviewPaths workspace_history_preview(const std::filesystem::path& project, const std::string& id,
                                              const std::string& revision) {
    const std::filesystem::path of_revision =
        workspace_history_previews(project) / normalize_workspace_id(id) / revision;
    const std::string name = workspace_process_token();
    return {of_revision / name, of_revision / history_preview_marker_name(name)};
}

std::filesystem::path workspace_package_base(const std::filesystem::path& project) {
    return checkout_path(project, ".package-base");
}

std::filesystem::path workspace_branch_memory(const std::filesystem::path& project) {
    return workspace_checkout_base(project) / ".branch-memory";
}

std::filesystem::path workspace_kept_files(const std::filesystem::path& project) {
    return checkout_path(project, ".kept-files");
}

std::filesystem::path workspace_shared_store_path(const std::filesystem::path& project) {
    return derived_path(project, "tome-shared-store");
}

std::string workspace_shared_store_path_string(const std::filesystem::path& project) {
    return workspace_shared_store_path(project).lexically_normal().string();
}

std::filesystem::path project_workspaces_index_path(const std::filesystem::path& project) {
    return record_path(project, "workspaces.json");
}

std::filesystem::path project_reviews_index_path(const std::filesystem::path& project) {
    return record_path(project, "reviews.json");
}

std::filesystem::path project_comments_index_path(const std::filesystem::path& project) {
    return record_path(project, "comments.json");
}

}  // namespace quill
