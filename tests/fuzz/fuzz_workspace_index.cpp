// The workspace index: whatever the file holds is read without harm and as valid workspaces, and every list that is
// written is read back as it was. The input is the file's text and, cut into values, a list.
#include <algorithm>
#include <fstream>
#include <set>
#include <tuple>

#include "project/workspace_id.h"
#include "project/workspace_paths.h"
#include "tests/fuzz/fuzz_input.h"
#include "tests/support/temporary_folder.h"
#include "workspace/index/workspace_index.h"
#include "workspace/index/workspace_index_file.h"
#include "workspace/index/workspace_reconciliation.h"

namespace {

using quill::ProjectWorkspace;
using quill_test::FuzzInput;
using quill_test::require;
using Workspaces = std::vector<ProjectWorkspace>;

const std::filesystem::path& project() {
    static const quill_test::TemporaryFolder folder;
    static const std::filesystem::path path = [] {
        quill_test::write_file(folder / "P.quillproject/project.json", "{\n}\n");
        std::filesystem::create_directories(folder / "P.quillproject/Workspaces");
        return folder / "P.quillproject";
    }();
    return path;
}

bool equal(const Workspaces& a, const Workspaces& b) {
    const auto fields = [](const ProjectWorkspace& of) {  // Names all members: with another one it does not compile.
        const auto& [id, name, parent, scene, head, archived, created, updated, author] = of;
        return std::tie(id, name, parent, scene, head, archived, created, updated, author);
    };
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [&](const ProjectWorkspace& x, const ProjectWorkspace& y) { return fields(x) == fields(y); });
}

void check_written(const Workspaces& workspaces) {
    quill::write_workspaces_without_main(project(), workspaces);
    require(equal(quill::read_workspaces_without_main(project()), workspaces), "a written list is read back");
}

void check_pickers(const Workspaces& workspaces) {
    const Workspaces local = quill::local_workspace_index(project(), true);
    require(local.size() == workspaces.size() + 1 && local.front().id == "main", "main comes before all others");
    const std::vector<std::string> names = quill::project_workspace_display_names(local);
    require(std::set(names.begin(), names.end()).size() == local.size(), "no two workspaces look the same");
    for (const ProjectWorkspace& workspace : quill::local_workspace_index(project(), false)) {
        require(!workspace.archived, "archived workspaces are hidden");
    }
    require(quill::reconcile_local_workspaces_with_tome(workspaces, local, true).size() == local.size(),
            "all that the remote lists is shown");
}

void check_text(std::string_view text) {
    std::ofstream(quill::project_workspaces_index_path(project()), std::ios::binary | std::ios::trunc) << text;
    const Workspaces workspaces = quill::read_workspaces_without_main(project());
    for (const ProjectWorkspace& workspace : workspaces) {
        require(quill::is_valid_workspace_id(workspace.id) && workspace.id != "main", "read ids are valid");
        require(!workspace.baseScene.empty(), "read workspaces have a scene");
    }
    check_pickers(workspaces);
    check_written(workspaces);
}

Workspaces workspaces_in(FuzzInput input) {
    Workspaces workspaces;
    for (int i = 0; i < 4 && !input.at_end(); ++i) {
        ProjectWorkspace workspace;
        workspace.archived = (input.byte() & 1U) != 0;
        workspace.id = quill::normalize_workspace_id(input.text());
        for (std::string* text : {&workspace.name, &workspace.parentId, &workspace.baseScene, &workspace.headKey,
                                  &workspace.createdAt, &workspace.updatedAt, &workspace.author}) {
            *text = input.text();
        }
        if (workspace.baseScene.empty()) {
            workspace.baseScene = "Scenes/Main.usda";
        }
        if (workspace.id != "main") {
            workspaces.push_back(std::move(workspace));
        }
    }
    return workspaces;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    check_text(quill_test::whole_text(data, size));
    check_written(workspaces_in(FuzzInput(data, size)));
    return 0;
}
