#include "workspace/index/branch_index_cache.h"

#include <future>
#include <thread>

#include "tests/fake_tome/fake_project.h"
#include "workspace/index/workspace_index.h"
#include "workspace/index/workspace_index_file.h"

namespace {

namespace fs = std::filesystem;
using fake_tome::Call;
using fake_tome::Events;
using fake_tome::make_hash;
using fake_tome::make_hash_hex;
using quill::ProjectWorkspace;
using quill_test::failure_of;
using quill_test::scene;
using quill_test::write_file;
using Texts = std::vector<std::string>;

class BranchIndexCache : public quill_test::FakeProject {
  protected:
    BranchIndexCache() { list_branches({{"main", ""}, {"feature", "quill-workspace"}}); }

    // Branches by name and kind.
    static void list_branches(const std::vector<std::pair<std::string, std::string>>& branches) {
        fake_tome::on("tome_branch_list", [branches](const Call&, const Events& events) {
            for (const auto& [name, kind] : branches) {
                events.branch(name, kind, make_hash(1));
            }
            return 0;
        });
    }

    void await_refresh() const {
        while (quill::tome_branch_index_cache(project_).refreshing) {
            std::this_thread::yield();
        }
    }

    static Texts ids(const std::vector<ProjectWorkspace>& workspaces) {
        Texts found;
        for (const ProjectWorkspace& workspace : workspaces) {
            found.push_back(workspace.id);
        }
        return found;
    }
};

TEST_F(BranchIndexCache, QueryUsesACheckoutOfItsOwnWithoutFiles) {
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

TEST_F(BranchIndexCache, QueryReplacesACheckoutThatUsesTheSharedStore) {
    write_file(project_ / ".derived/tome-workspaces/.branch-index/.tome/config.toml",
               "[shared_store_to_use]\nuse_shared_store = true\npath = \"" +
                   (project_ / ".derived/tome-shared-store").string() + "\"\n");
    quill::query_tome_branch_index_workspaces(project_);
    EXPECT_EQ(count_calls("tome_repository_clone"), 1u);
}

TEST_F(BranchIndexCache, QueryPassesOverBranchesOfOtherKinds) {
    list_branches({{"a", "quill-workspace"}, {"b", ""}, {"c", "release"}, {"main", "quill-workspace"}});
    EXPECT_EQ(ids(quill::query_tome_branch_index_workspaces(project_)), (Texts{"main", "a", "b"}));
}

TEST_F(BranchIndexCache, QueryFillsParentAndScene) {
    const ProjectWorkspace workspace = quill::query_tome_branch_index_workspaces(project_).at(1);
    EXPECT_EQ(workspace.id, "feature");
    EXPECT_EQ(workspace.name, "feature");
    EXPECT_EQ(workspace.parentId, "main");
    EXPECT_EQ(workspace.baseScene, scene);
    EXPECT_EQ(workspace.headKey, make_hash_hex(1));
}

TEST_F(BranchIndexCache, QueryCompletesWhatTheIndexLacksFromTheBranchesMetadata) {
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

TEST_F(BranchIndexCache, QueryTakesNoParentOrSceneThatIsNone) {
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

TEST_F(BranchIndexCache, QueryListsABranchWhoseMetadataCannotBeRead) {
    fake_tome::on("tome_branch_metadata_get", [](const Call&, const Events& events) { return events.fail(7, "no"); });
    EXPECT_EQ(ids(quill::query_tome_branch_index_workspaces(project_)), (Texts{"main", "feature"}));
}

TEST_F(BranchIndexCache, RefreshAtOnceReportsTheFailureAndKeepsTheList) {
    EXPECT_EQ(ids(quill::refresh_project_workspaces(project_, false)), (Texts{"main", "feature"}));
    fake_tome::on("tome_branch_list", [](const Call&, const Events& events) { return events.fail(3, "no answer"); });
    EXPECT_EQ(failure_of([&] { quill::refresh_project_workspaces(project_, false); }), "tome_branch_list: no answer");
    EXPECT_TRUE(quill::cached_tome_branch_index(project_).has_value());
}

TEST_F(BranchIndexCache, FailedCloneOfARefreshIsReported) {
    fake_tome::fail_call(1, 3, "Not found: URL");
    EXPECT_EQ(failure_of([&] { quill::refresh_project_workspaces(project_, false); }),
              "tome_repository_clone: Not found: URL");
    EXPECT_FALSE(quill::cached_tome_branch_index(project_).has_value());
}

TEST_F(BranchIndexCache, ListingShowsTheBranchesAfterABackgroundRefresh) {
    EXPECT_EQ(ids(quill::list_project_workspaces(project_, false)).front(), "main");
    await_refresh();
    EXPECT_EQ(ids(quill::list_project_workspaces(project_, false)), (Texts{"main", "feature"}));
    EXPECT_EQ(count_calls("tome_branch_list"), 1u);
}

TEST_F(BranchIndexCache, ListingDoesNotWaitForTheRemote) {
    std::promise<void> gate;
    const std::shared_future<void> opened = gate.get_future().share();
    fake_tome::on("tome_branch_list", [opened](const Call&, const Events&) {
        opened.wait();
        return 0;
    });
    EXPECT_EQ(ids(quill::list_project_workspaces(project_, false)), Texts{"main"});
    EXPECT_EQ(ids(quill::list_project_workspaces(project_, false)), Texts{"main"});
    gate.set_value();
    await_refresh();
    EXPECT_EQ(count_calls("tome_branch_list"), 1u);
}

TEST_F(BranchIndexCache, FailedBackgroundRefreshIsKeptAndNotRepeatedAtOnce) {
    fake_tome::on("tome_branch_list", [](const Call&, const Events& events) { return events.fail(3, "no answer"); });
    quill::list_project_workspaces(project_, false);
    await_refresh();
    EXPECT_EQ(quill::tome_branch_index_cache(project_).error, "tome_branch_list: no answer");
    quill::list_project_workspaces(project_, false);
    EXPECT_FALSE(quill::tome_branch_index_cache(project_).refreshing);
    EXPECT_EQ(count_calls("tome_branch_list"), 1u);
}

TEST_F(BranchIndexCache, InvalidatedListIsAskedForAgain) {
    quill::refresh_project_workspaces(project_, false);
    quill::invalidate_tome_branch_index_cache(project_);
    EXPECT_FALSE(quill::cached_tome_branch_index(project_).has_value());
    quill::list_project_workspaces(project_, false);
    await_refresh();
    EXPECT_EQ(count_calls("tome_branch_list"), 2u);
}

TEST_F(BranchIndexCache, ProjectWithoutRemoteAsksNothing) {
    write_file(project_ / "project.json", "{\n}\n");
    quill::list_project_workspaces(project_, false);
    quill::refresh_project_workspaces(project_, false);
    EXPECT_FALSE(quill::tome_branch_index_cache(project_).refreshing);
    EXPECT_TRUE(fake_tome::calls().empty());
}

}  // namespace
