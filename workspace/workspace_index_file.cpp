#include "workspace/workspace_index_file.h"

#include <algorithm>
#include <stdexcept>
#include <string_view>

#include "project/folder_lock.h"
#include "project/text_file.h"
#include "review/json_records.h"
#include "workspace/branch_index_cache.h"
#include "workspace/workspace_id.h"
#include "workspace/workspace_paths.h"
#include "workspace/workspace_scene.h"

namespace quill {
namespace {

void make_folder(const std::filesystem::path& folder) {
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    if (error) {
        throw std::runtime_error("could not create workspace folder: " + error.message());
    }
}

// The objects of an array's text; braces in strings, with backslash escapes, do not count.
std::vector<std::string_view> objects_in(std::string_view text) {
    std::vector<std::string_view> objects;
    std::size_t start = 0;
    int depth = 0;
    bool in_string = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (in_string && c == '\\') {
            ++i;
        } else if (c == '"') {
            in_string = !in_string;
        } else if (!in_string && c == '{') {
            start = depth++ == 0 ? i : start;
        } else if (!in_string && c == '}' && depth > 0 && --depth == 0) {
            objects.push_back(text.substr(start, i - start + 1));
        }
    }
    return objects;
}

// The value of a member whose text is escaped throughout, so that a value may end in a backslash.
std::string member(std::string_view object, const std::string& key) {
    const std::string opening = "\"" + key + "\":\"";
    const std::size_t found = object.find(opening);
    if (found == std::string_view::npos) {
        return json_string(object, key);
    }
    const std::size_t start = found + opening.size();
    std::size_t end = start;
    while (end < object.size() && object[end] != '"') {
        end += object[end] == '\\' ? 2 : 1;
    }
    return end < object.size() ? json_unescape(object.substr(start, end - start)) : std::string();
}

ProjectWorkspace workspace_from(std::string_view object) {
    ProjectWorkspace workspace;
    workspace.id = member(object, "id");
    workspace.name = member(object, "name");
    workspace.parentId = member(object, "parentId");
    workspace.baseScene = member(object, "baseScene");
    workspace.headKey = member(object, "headKey");
    workspace.archived = json_bool(object, "archived", false);
    workspace.createdAt = member(object, "createdAt");
    workspace.updatedAt = member(object, "updatedAt");
    workspace.author = member(object, "author");
    if (workspace.baseScene.empty()) {
        workspace.baseScene = "Scenes/Main.usda";
    }
    return workspace;
}

std::string line_of(const ProjectWorkspace& workspace) {
    const auto text = [](const char* key, const std::string& value) {
        return std::string("\"") + key + "\":\"" + json_escape(value) + "\"";
    };
    return "    {" + text("id", workspace.id) + "," + text("name", workspace.name) + "," +
           text("parentId", workspace.parentId) + "," + text("baseScene", workspace.baseScene) + "," +
           text("headKey", workspace.headKey) + ",\"archived\":" + (workspace.archived ? "true" : "false") + "," +
           text("createdAt", workspace.createdAt) + "," + text("updatedAt", workspace.updatedAt) + "," +
           text("author", workspace.author) + "}";
}

std::string first_non_empty(const std::string& a, const std::string& b) {
    return a.empty() ? b : a;
}

}  // namespace

std::vector<ProjectWorkspace> read_workspaces_without_main(const std::filesystem::path& project) {
    const std::filesystem::path path = project_workspaces_index_path(project);
    std::error_code ignored;
    const std::string text = std::filesystem::exists(path, ignored) ? read_text_file(path) : std::string();
    const std::size_t key = text.find("\"workspaces\"");
    const std::size_t open = key == std::string::npos ? key : text.find('[', key);
    const std::size_t close = text.rfind(']');
    std::vector<ProjectWorkspace> workspaces;
    if (open == std::string::npos || close == std::string::npos || close < open) {
        return workspaces;
    }
    for (const std::string_view object : objects_in(std::string_view(text).substr(open + 1, close - open - 1))) {
        ProjectWorkspace workspace = workspace_from(object);
        if (is_valid_workspace_id(workspace.id) && workspace.id != "main") {
            workspaces.push_back(std::move(workspace));
        }
    }
    return workspaces;
}

void write_workspaces_without_main(const std::filesystem::path& project,
                                   const std::vector<ProjectWorkspace>& workspaces) {
    const std::filesystem::path path = project_workspaces_index_path(project);
    make_folder(path.parent_path());
    std::string text = "{\n  \"version\": 1,\n  \"default\": \"main\",\n  \"workspaces\": [\n";
    for (std::size_t i = 0; i < workspaces.size(); ++i) {
        text += (i == 0 ? "" : ",\n") + line_of(workspaces[i]);
    }
    text += "\n  ]\n}\n";
    try {
        write_text_file_atomically(path, text);
    } catch (const std::runtime_error& error) {
        const bool replacing = std::string_view(error.what()).starts_with("Could not replace");
        throw std::runtime_error(
            (replacing ? "could not install workspace file: " : "could not write workspace file: ") + path.string());
    }
}

void update_workspaces_without_main(const std::filesystem::path& project,
                                    const std::function<void(std::vector<ProjectWorkspace>&)>& change) {
    const std::filesystem::path folder = project_workspaces_index_path(project).parent_path();
    make_folder(folder);
    const FolderLock lock(folder);
    std::vector<ProjectWorkspace> workspaces = read_workspaces_without_main(project);
    change(workspaces);
    write_workspaces_without_main(project, workspaces);
}

void record_workspace_head(const std::filesystem::path& project, const std::string& id, const std::string& head,
                           const std::string& updated_at) {
    if (id == "main") {
        return;
    }
    update_workspaces_without_main(project, [&](std::vector<ProjectWorkspace>& workspaces) {
        for (ProjectWorkspace& workspace : workspaces) {
            if (workspace.id == id) {
                workspace.headKey = head;
                workspace.updatedAt = updated_at;
            }
        }
    });
}

std::vector<ProjectWorkspace> local_workspace_index(const std::filesystem::path& project, bool include_archived) {
    std::vector<ProjectWorkspace> workspaces{main_workspace(project)};
    for (ProjectWorkspace& workspace : read_workspaces_without_main(project)) {
        if (include_archived || !workspace.archived) {
            workspaces.push_back(std::move(workspace));
        }
    }
    sort_workspaces_for_picker(workspaces);
    return workspaces;
}

std::vector<ProjectWorkspace> reconcile_local_workspaces_with_tome(const std::vector<ProjectWorkspace>& local,
                                                                   const std::vector<ProjectWorkspace>& remote,
                                                                   bool include_archived) {
    std::vector<ProjectWorkspace> result;
    for (ProjectWorkspace workspace : remote) {
        if (workspace.id.empty() || (workspace.archived && !include_archived)) {
            continue;
        }
        const auto known = std::find_if(local.begin(), local.end(),
                                        [&](const ProjectWorkspace& entry) { return entry.id == workspace.id; });
        if (known != local.end()) {
            workspace.name = first_non_empty(known->name, workspace.name);
            workspace.parentId = first_non_empty(known->parentId, workspace.parentId);
            workspace.baseScene = first_non_empty(known->baseScene, workspace.baseScene);
            workspace.createdAt = first_non_empty(workspace.createdAt, known->createdAt);
            workspace.updatedAt = first_non_empty(workspace.updatedAt, known->updatedAt);
            workspace.author = first_non_empty(workspace.author, known->author);
        }
        workspace.name = first_non_empty(workspace.name, workspace.id);
        if (workspace.id != "main") {
            workspace.parentId = first_non_empty(workspace.parentId, "main");
        }
        result.push_back(std::move(workspace));
    }
    sort_workspaces_for_picker(result);
    return result;
}

std::string revision_display_metadata_key(const std::string& revision, const std::string& name) {
    return "keel.revision." + revision + "." + name;
}

}  // namespace quill
