#include "workspace/history/history_preview.h"

#include <algorithm>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string_view>

#include "engine/tome_binding.h"
#include "files/absolute_path.h"
#include "files/text_file.h"
#include "project/manifest.h"
#include "project/package_state.h"
#include "project/project_id.h"
#include "project/repository_configuration.h"
#include "project/workspace_id.h"
#include "project/workspace_paths.h"
#include "workspace/checkout/workspace_checkout.h"
#include "workspace/checkout/workspace_scene.h"
#include "workspace/history/revision_history.h"
#include "workspace/index/workspace_index.h"
#include "workspace/index/workspace_lookup.h"

namespace quill {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view prefix = "history-preview--";
constexpr std::uint64_t searched_revisions = 500;

bool is_revision_text(std::string_view text) {
    return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) {
        return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
    });
}

std::mutex& preview_mutex() {
    static auto* mutex = new std::mutex;
    return *mutex;
}

fs::path relative_scene(const fs::path& project, const ProjectWorkspace& workspace, const fs::path& scene) {
    const std::optional<fs::path> relative = canonical_workspace_scene_uri(project, workspace, scene);
    if (!relative) {
        throw std::runtime_error("scene lies outside the project: " + scene.string());
    }
    return *relative;
}

void materialize_preview(const fs::path& project, const HistoryPreviewPaths& preview, const fs::path& scene,
                         const std::string& workspace, const std::string& revision, const fs::path& base_scene) {
    std::error_code ignored;
    if (fs::is_regular_file(preview.marker, ignored) && fs::is_regular_file(preview.checkout / scene, ignored)) {
        return;
    }
    remove_state(project, preview.checkout);
    remove_state(project, preview.marker);
    ensure_tome_branch_checkout(project, preview.checkout, base_scene, workspace);
    TomeSync sync;
    sync.revision = revision;
    sync.scratch = true;
    call_tome_revision_sync({preview.checkout, project_tome_remote_url(project)}, sync);
    if (!fs::is_regular_file(preview.checkout / scene, ignored)) {
        throw std::runtime_error("scene does not exist in the selected historical revision");
    }
    write_text_file(preview.marker, revision + "\n");
}

void require_same_project(const fs::path& project, const fs::path& preview) {
    const std::string id = read_project(project).manifest.id;
    if (!is_valid_project_id(id) || read_project(preview).manifest.id != id) {
        throw std::runtime_error("history preview refused because that revision belongs to a different Keel project");
    }
}

ProjectWorkspaceResolution resolution(const fs::path& project, const std::string& workspace, const fs::path& root,
                                      const fs::path& scene) {
    return {project, workspace, scene, root, (root / scene).lexically_normal()};
}

}  // namespace

std::string history_preview_workspace_id(const std::string& workspace_id, const std::string& revision) {
    const std::string workspace = workspace_id_or_main(workspace_id);
    if (!is_valid_workspace_id(workspace) || !is_revision_text(revision)) {
        throw std::runtime_error("invalid workspace history preview scope");
    }
    return std::string(prefix) + workspace + "--" + revision;
}

bool parse_history_preview_workspace_id(const std::string& id, std::string& workspace_out, std::string& revision_out) {
    const std::size_t separator = id.rfind("--");
    if (!id.starts_with(prefix) || separator == std::string::npos || separator <= prefix.size()) {
        return false;
    }
    const std::string workspace = id.substr(prefix.size(), separator - prefix.size());
    const std::string revision = id.substr(separator + 2);
    if (!is_valid_workspace_id(workspace) || !is_revision_text(revision)) {
        return false;
    }
    workspace_out = workspace;
    revision_out = revision;
    return true;
}

ProjectWorkspaceResolution resolve_project_workspace_scene(const fs::path& project_path, const fs::path& scene,
                                                           const std::string& workspace_id) {
    std::string preview_workspace;
    std::string preview_revision;
    if (parse_history_preview_workspace_id(workspace_id, preview_workspace, preview_revision)) {
        return resolve_project_workspace_revision_scene(project_path, scene, preview_workspace, preview_revision);
    }
    const fs::path project = absolute_normalized(project_path);
    const std::string id = workspace_id_or_main(workspace_id);
    if (id != "main") {
        require_project_tome_remote(project);
    }
    std::optional<ProjectWorkspace> workspace = find_project_workspace(project, id, true);
    if (!workspace && id != "main") {
        workspace = find_project_workspace_fresh(project, id, true);
    }
    if (!workspace) {
        throw std::runtime_error("workspace not found: " + id);
    }
    const fs::path relative = relative_scene(project, *workspace, scene);
    const fs::path root = id == "main" ? project : ensure_tome_checkout_for_workspace(project, id, project / relative);
    return resolution(project, id, root, relative);
}

ProjectWorkspaceResolution resolve_project_workspace_revision_scene(const fs::path& project_path, const fs::path& scene,
                                                                    const std::string& workspace_id,
                                                                    const std::string& revision) {
    const fs::path project = absolute_normalized(project_path);
    const std::string id = workspace_id_or_main(workspace_id);
    const std::string preview_id = history_preview_workspace_id(id, revision);
    const ProjectWorkspace workspace = require_workspace_branch(project, id);
    const auto revisions = list_project_workspace_revisions(project, id, searched_revisions);
    if (std::none_of(revisions.begin(), revisions.end(), [&](const auto& known) { return known.id == revision; })) {
        throw std::runtime_error("target revision is not in this workspace's history");
    }
    const std::lock_guard lock(preview_mutex());
    const HistoryPreviewPaths preview = workspace_history_preview(project, id, revision);
    const fs::path relative = relative_scene(project, workspace, scene);
    materialize_preview(project, preview, relative, id, revision, resolve_workspace_base_scene(project, workspace));
    require_same_project(project, preview.checkout);
    return resolution(project, preview_id, preview.checkout, relative);
}

}  // namespace quill
