#include "workspace/index/workspace_index_file.h"

#include <stdexcept>
#include <string_view>

#include "files/text_file.h"
#include "project/workspace_id.h"
#include "project/workspace_paths.h"
#include "records/json_records.h"
#include "records/json_value.h"
#include "records/record_file.h"
#include "records/record_folder.h"

namespace quill {
namespace {

ProjectWorkspace workspace_from(std::string_view object) {
    ProjectWorkspace workspace;
    workspace.id = json_written_string(object, "id");
    workspace.name = json_written_string(object, "name");
    workspace.parentId = json_written_string(object, "parentId");
    workspace.baseScene = json_written_string(object, "baseScene");
    workspace.headKey = json_written_string(object, "headKey");
    workspace.archived = json_bool(json_written_member(object, "archived"), "archived", false);
    workspace.createdAt = json_written_string(object, "createdAt");
    workspace.updatedAt = json_written_string(object, "updatedAt");
    workspace.author = json_written_string(object, "author");
    if (workspace.baseScene.empty()) {
        workspace.baseScene = "Scenes/Main.usda";
    }
    return workspace;
}

std::string text_of(const ProjectWorkspace& workspace) {
    return "{" + json_text_member("id", workspace.id) + "," + json_text_member("name", workspace.name) + "," +
           json_text_member("parentId", workspace.parentId) + "," + json_text_member("baseScene", workspace.baseScene) +
           "," + json_text_member("headKey", workspace.headKey) +
           ",\"archived\":" + (workspace.archived ? "true" : "false") + "," +
           json_text_member("createdAt", workspace.createdAt) + "," +
           json_text_member("updatedAt", workspace.updatedAt) + "," + json_text_member("author", workspace.author) +
           "}";
}

// The text between the brackets of the array of workspaces; of a damaged file, between those that look like them.
std::string_view array_in(std::string_view text) {
    if (json_object_members(text)) {
        return json_written_array(text, "workspaces");
    }
    const std::size_t key = text.find("\"workspaces\"");
    const std::size_t open = key == text.npos ? key : text.find('[', key);
    const std::size_t close = text.rfind(']');
    const bool found = open != text.npos && close != text.npos && open < close;
    return found ? text.substr(open + 1, close - open - 1) : std::string_view();
}

std::vector<ProjectWorkspace> workspaces_in(std::string_view text) {
    std::vector<ProjectWorkspace> workspaces;
    for (const std::string_view object : json_written_objects(array_in(text))) {
        ProjectWorkspace workspace = workspace_from(object);
        if (is_valid_workspace_id(workspace.id) && workspace.id != "main") {
            workspaces.push_back(std::move(workspace));
        }
    }
    return workspaces;
}

void replace_index_file(const std::filesystem::path& path, std::string_view text) {
    try {
        write_text_file_atomically(path, text);
    } catch (const std::runtime_error& error) {
        const bool replacing = std::string_view(error.what()).starts_with("Could not replace");
        throw std::runtime_error(
            (replacing ? "could not install workspace file: " : "could not write workspace file: ") + path.string());
    }
}

const RecordFileKind<ProjectWorkspace>& file_kind() {
    static const RecordFileKind<ProjectWorkspace> index{
        {1, {{"default", "\"main\""}}, "workspaces", "main"}, workspaces_in, text_of, replace_index_file};
    return index;
}

}  // namespace

std::vector<ProjectWorkspace> read_workspaces_without_main(const std::filesystem::path& project) {
    return workspaces_in(read_record_file(project_workspaces_index_path(project)));
}

void write_workspaces_without_main(const std::filesystem::path& project,
                                   const std::vector<ProjectWorkspace>& workspaces) {
    const std::filesystem::path path = project_workspaces_index_path(project);
    make_record_folder(project, path.parent_path());
    replace_index_file(path, record_file_text(file_kind().format, record_texts(file_kind(), workspaces)));
}

void update_workspaces_without_main(const std::filesystem::path& project,
                                    const std::function<void(std::vector<ProjectWorkspace>&)>& change) {
    update_record_file(project, project_workspaces_index_path(project), file_kind(),
                       [&](std::vector<ProjectWorkspace>& workspaces) {
                           change(workspaces);
                           return true;
                       });
}

void require_writable_workspace_index(const std::filesystem::path& project) {
    RecordFile file(project_workspaces_index_path(project), file_kind().format);
    records_read_whole(file, file_kind());
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

}  // namespace quill
