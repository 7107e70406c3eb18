#include "tool/project_commands.h"

#include <filesystem>
#include <iostream>
#include <stdexcept>

#include "project/manifest.h"
#include "project/workspace_paths.h"
#include "tool/options.h"
#include "workspace/history/revision_history.h"
#include "workspace/operations/project_creation.h"
#include "workspace/operations/repository_bootstrap.h"
#include "workspace/operations/workspace_commit.h"
#include "workspace/operations/workspace_creation.h"
#include "workspace/operations/workspace_sync.h"

namespace quill_tool {
namespace {

namespace fs = std::filesystem;

constexpr const char* default_author = "project-tool";

fs::path project_of(const Arguments& arguments) {
    return arguments[2];
}

std::string displayed(const fs::path& path) {
    return fs::absolute(path).lexically_normal().string();
}

std::vector<fs::path> paths_from(const Arguments& arguments, std::size_t first) {
    return {arguments.begin() + static_cast<std::ptrdiff_t>(first), arguments.end()};
}

}  // namespace

void run_create(const Arguments& arguments) {
    const fs::path project = project_of(arguments);
    auto options = scan_options(arguments, 3, {"--name", "--template"});
    const std::string name = options.contains("--name") ? options["--name"] : project.stem().string();
    quill::create_project_package(project, name, options["--template"]);
    std::cout << displayed(project) << '\n';
}

void run_scene(const Arguments& arguments) {
    std::cout << displayed(quill::resolve_project_scene_path(project_of(arguments))) << '\n';
}

void run_id(const Arguments& arguments) {
    std::cout << quill::read_project(project_of(arguments)).manifest.id << '\n';
}

void run_scene_ref(const Arguments& arguments) {
    std::cout << quill::read_project(project_of(arguments)).manifest.main_scene << '\n';
}

void run_initialize_history(const Arguments& arguments) {
    const fs::path project = project_of(arguments);
    quill::initialize_project_tome_repository(project);
    const auto revisions = quill::list_project_workspace_revisions(project, "main", 1);
    if (revisions.empty()) {
        throw std::runtime_error("Tome repository has no initial revision");
    }
    std::cout << "Initialized project history at revision " << revisions.front().order << '\n';
}

void run_create_workspace(const Arguments& arguments) {
    const fs::path project = project_of(arguments);
    auto options = scan_options(arguments, 5, {"--author"});
    const std::string author = options.contains("--author") ? options["--author"] : default_author;
    const fs::path scene = quill::resolve_project_scene_path(project);
    std::cout << quill::create_project_workspace(project, scene, arguments[3], arguments[4], author).id << '\n';
}

void run_sync_workspace(const Arguments& arguments) {
    const std::vector<fs::path> paths = paths_from(arguments, 4);
    quill::sync_project_workspace_files(project_of(arguments), arguments[3], paths, false);
    std::cout << "Synced " << paths.size() << " project files into workspace " << arguments[3] << '\n';
}

void run_commit_workspace(const Arguments& arguments) {
    const fs::path project = project_of(arguments);
    const std::string& workspace = arguments[3];
    const std::vector<fs::path> paths = paths_from(arguments, 4);
    const fs::path checkout = quill::project_workspace_checkout_root(project, workspace);
    quill::update_project_workspace_head(project, workspace, checkout, paths, default_author,
                                         paths.size() == 1 ? "Commit workspace file" : "Commit workspace files");
    std::cout << "Committed " << paths.size() << " project files in workspace " << workspace << '\n';
}

}  // namespace quill_tool
