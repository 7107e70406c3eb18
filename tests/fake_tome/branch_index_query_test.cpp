#include "workspace/index/branch_index_query.h"

#include "tests/fake_tome/fake_project.h"
#include "workspace/index/workspace_index_file.h"

namespace {

using fake_tome::Call;
using fake_tome::Events;
using fake_tome::make_hash_hex;
using quill::ProjectWorkspace;
using quill_test::scene;
using quill_test::write_file;
using Texts = std::vector<std::string>;

class BranchIndexQuery : public quill_test::FakeProject {
  protected:
    BranchIndexQuery() { list_branches({{"main", ""}, {"feature", "quill-workspace"}}); }

    static Texts ids(const std::vector<ProjectWorkspace>& workspaces) {
        Texts found;
        for (const ProjectWorkspace& workspace : workspaces) {
            found.push_back(workspace.id);
        }
        return found;
    }
};

TEST_F(BranchIndexQuery, UsesACheckoutOfItsOwnWithoutFiles) {
    quill::query_tome_branch_index_workspaces(project_);
    EXPECT_EQ(fake_tome::operations(),
              (Texts{"tome_repository_clone", "tome_branch_list", "tome_branch_metadata_get"}));
    const Call clone = fake_tome::calls().at(0);
    EXPECT_EQ(clone.checkout, (project_ / ".derived/tome-workspaces/.branch-index").string());
    EXPECT_EQ(clone.value("branch"), "main");
    EXPECT_EQ(clone.value("metadata_only"), "1");
    EXPECT_EQ(clone.value("use_shared_store"), "0");
    EXPECT_TRUE(clone.list("paths").empty());
    EXPECT_EQ(fake_tome::calls().at(1).remote_url, quill_test::fake_remote);
}

TEST_F(BranchIndexQuery, ReplacesACheckoutThatUsesTheSharedStore) {
    write_file(project_ / ".derived/tome-workspaces/.branch-index/.tome/config.toml",
               "[shared_store_to_use]\nuse_shared_store = true\npath = \"" +
                   (project_ / ".derived/tome-shared-store").string() + "\"\n");
    quill::query_tome_branch_index_workspaces(project_);
    EXPECT_EQ(count_calls("tome_repository_clone"), 1u);
}

TEST_F(BranchIndexQuery, PassesOverBranchesOfOtherKinds) {
    list_branches({{"a", "quill-workspace"}, {"b", ""}, {"c", "release"}, {"main", "quill-workspace"}});
    EXPECT_EQ(ids(quill::query_tome_branch_index_workspaces(project_)), (Texts{"main", "a", "b"}));
}

TEST_F(BranchIndexQuery, FillsParentAndScene) {
    const ProjectWorkspace workspace = quill::query_tome_branch_index_workspaces(project_).at(1);
    EXPECT_EQ(workspace.id, "feature");
    EXPECT_EQ(workspace.name, "feature");
    EXPECT_EQ(workspace.parentId, "main");
    EXPECT_EQ(workspace.baseScene, scene);
    EXPECT_EQ(workspace.headKey, make_hash_hex(1));
}

TEST_F(BranchIndexQuery, CompletesWhatTheIndexLacksFromTheBranchesMetadata) {
    fake_tome::on("tome_branch_metadata_get", [](const Call& call, const Events& events) {
        EXPECT_EQ(call.value("branch"), "feature");
        events.metadata("quill.workspace.name", "A \"feature\"");
        events.metadata("quill.workspace.parent", "parent");
        events.metadata("quill.workspace.baseScene", "Scenes/Other.usda");
        events.metadata("quill.workspace.createdAt", "5");
        events.metadata("quill.workspace.author", "ana");
        return 0;
    });
    const ProjectWorkspace workspace = quill::query_tome_branch_index_workspaces(project_).at(1);
    EXPECT_EQ(workspace.name, "A \"feature\"");
    EXPECT_EQ(workspace.parentId, "parent");
    EXPECT_EQ(workspace.baseScene, "Scenes/Other.usda");
    EXPECT_EQ(workspace.createdAt, "5");
    EXPECT_EQ(workspace.author, "ana");
    quill::write_workspaces_without_main(project_, {workspace});
    quill::query_tome_branch_index_workspaces(project_);
    EXPECT_EQ(count_calls("tome_branch_metadata_get"), 1u);
}

TEST_F(BranchIndexQuery, TakesNoParentOrSceneThatIsNone) {
    for (const std::string scene_path : {"../../outside.usda", "/etc/passwd", "Scenes/../../x", ".", "Scenes/./a"}) {
        fake_tome::on("tome_branch_metadata_get", [scene_path](const Call&, const Events& events) {
            events.metadata("quill.workspace.name", "");
            events.metadata("quill.workspace.parent", "../x");
            events.metadata("quill.workspace.baseScene", scene_path);
            return 0;
        });
        const ProjectWorkspace workspace = quill::query_tome_branch_index_workspaces(project_).at(1);
        EXPECT_EQ(workspace.name, "feature");
        EXPECT_EQ(workspace.parentId, "main");
        EXPECT_EQ(workspace.baseScene, scene) << scene_path;
    }
}

TEST_F(BranchIndexQuery, ListsABranchWhoseMetadataCannotBeRead) {
    fake_tome::on("tome_branch_metadata_get", [](const Call&, const Events& events) { return events.fail(7, "no"); });
    EXPECT_EQ(ids(quill::query_tome_branch_index_workspaces(project_)), (Texts{"main", "feature"}));
}

}  // namespace
