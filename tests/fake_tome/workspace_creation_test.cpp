#include "workspace/operations/workspace_creation.h"

#include <cerrno>
#include <thread>

#include "tests/fake_tome/fake_project.h"
#include "tests/support/file_test_support.h"
#include "workspace/index/branch_index_cache.h"
#include "workspace/index/workspace_index.h"
#include "workspace/index/workspace_index_file.h"

namespace {

namespace fs = std::filesystem;
using fake_tome::Call;
using fake_tome::Events;
using quill::ProjectWorkspace;
using quill_test::failure_of;
using quill_test::scene;
using quill_test::write_file;
using Texts = std::vector<std::string>;

class WorkspaceCreation : public quill_test::FakeProject {
  protected:
    ProjectWorkspace create(const std::string& name) {
        // With a fresh branch list no background refresh mixes its calls with those of the creation.
        quill::refresh_project_workspaces(project_, true);
        return quill::create_project_workspace(project_, project_ / scene, "", name, "Ann");
    }

    // Makes the project one that no workspace was ever made of.
    void start_over() {
        fs::remove_all(project_ / ".derived");
        fs::remove_all(project_ / "Workspaces");
    }

    static Texts created_branches() {
        Texts names;
        for (const Call& call : fake_tome::calls("tome_branch_create")) {
            names.push_back(call.value("name"));
        }
        return names;
    }
};

TEST_F(WorkspaceCreation, BranchesPublishesAndRecords) {
    const ProjectWorkspace workspace = create("Feature");
    EXPECT_EQ(workspace.id, "feature");
    const Call branch = fake_tome::calls("tome_branch_create").at(0);
    EXPECT_EQ(branch.checkout, (project_ / ".derived/tome-workspaces/.branch-ops").string());
    EXPECT_EQ(branch.value("from"), "main");
    EXPECT_EQ(branch.value("kind"), "quill-workspace");
    const Call metadata = fake_tome::calls("tome_branch_metadata_set").back();
    EXPECT_EQ(metadata.value("branch"), "feature");
    EXPECT_EQ(metadata.list("keys"), (Texts{"quill.workspace", "quill.workspace.author", "quill.workspace.baseScene",
                                            "quill.workspace.createdAt", "quill.workspace.name",
                                            "quill.workspace.parent", "quill.workspace.updatedAt"}));
    EXPECT_EQ(metadata.list("values"),
              (Texts{"1", "Ann", scene, workspace.createdAt, "Feature", "main", workspace.createdAt}));
    EXPECT_EQ(fake_tome::calls("tome_branch_push").back().value("name"), "feature");
    EXPECT_FALSE(fake_tome::calls("tome_branch_push").back().force);
    EXPECT_EQ(quill::read_workspaces_without_main(project_).at(0).id, "feature");
}

TEST_F(WorkspaceCreation, BranchThatOnlyTheRemoteHasCountsTheIdUp) {
    for (int attempt = 0; attempt < 2; ++attempt) {
        fake_tome::once("tome_branch_create", [](const Call& call, const Events& events) {
            return events.fail(6, "branch already exists: " + call.value("name"));
        });
    }
    EXPECT_EQ(create("Feature").id, "feature-3");
    EXPECT_EQ(created_branches(), (Texts{"feature", "feature-2", "feature-3"}));
    EXPECT_EQ(quill::read_workspaces_without_main(project_).size(), 1u);
}

TEST_F(WorkspaceCreation, OtherFailuresOfTheBranchPropagate) {
    fake_tome::on("tome_branch_create",
                  [](const Call&, const Events& events) { return events.fail(6, "no permission"); });
    EXPECT_EQ(failure_of([&] { create("Feature"); }), "tome_branch_create: no permission");
    EXPECT_EQ(created_branches(), Texts{"feature"});
    EXPECT_EQ(index_text(), "absent");
}

TEST_F(WorkspaceCreation, FailureOfAnyCallLeavesTheIndexAsItWasAndTheNextAttemptSucceeds) {
    quill::refresh_project_workspaces(project_, true);
    const std::size_t before = fake_tome::calls().size();
    quill::create_project_workspace(project_, project_ / scene, "", "Feature", "Ann");
    const std::size_t total = fake_tome::calls().size() - before;
    ASSERT_GE(total, 8u);
    for (std::size_t n = 1; n <= total; ++n) {
        start_over();
        quill::refresh_project_workspaces(project_, true);
        fake_tome::fail_call(fake_tome::calls().size() + n, 7, "went wrong");
        const std::string failure =
            failure_of([&] { quill::create_project_workspace(project_, project_ / scene, "", "Feature", "Ann"); });
        if (failure != "no failure") {
            EXPECT_NE(failure.find(": went wrong"), std::string::npos) << n << ": " << failure;
            EXPECT_EQ(index_text(), "absent") << n << ": " << failure;
            EXPECT_EQ(create("Feature").id, "feature") << n;
        }
        const std::vector<ProjectWorkspace> workspaces = quill::read_workspaces_without_main(project_);
        ASSERT_EQ(workspaces.size(), 1u) << n;
        EXPECT_EQ(workspaces[0].id, "feature") << n;
        EXPECT_EQ(workspaces[0].author, "Ann") << n;
        EXPECT_EQ(workspaces[0].baseScene, scene) << n;
    }
}

// ---- What only the remote knows

TEST_F(WorkspaceCreation, ParentThatOnlyTheRemoteKnowsIsAskedFor) {
    fake_tome::on("tome_branch_list", [](const Call&, const Events& events) {
        events.branch("main", "", fake_tome::make_hash(0));
        events.branch("elsewhere", "quill-workspace", fake_tome::make_hash(0));
        return 0;
    });
    EXPECT_EQ(quill::create_project_workspace(project_, project_ / scene, "elsewhere", "Feature", "Ann").parentId,
              "elsewhere");
    EXPECT_EQ(
        failure_of([&] { quill::create_project_workspace(project_, project_ / scene, "nowhere", "Feature", "Ann"); }),
        "parent workspace does not exist: nowhere");
}

TEST_F(WorkspaceCreation, ParentThatIsArchivedDoesNotExist) {
    ProjectWorkspace archived;
    archived.id = archived.name = "old";
    archived.archived = true;
    quill::write_workspaces_without_main(project_, {archived});
    EXPECT_EQ(failure_of([&] { quill::create_project_workspace(project_, project_ / scene, "old", "Feature", "Ann"); }),
              "parent workspace does not exist: old");
}

// ---- A damaged index

TEST_F(WorkspaceCreation, IsRefusedBeforeAnythingIsPublishedWhenTheIndexIsDamaged) {
    create("Feature");
    const std::string refusal = damage_index();
    const std::string damaged = index_text();
    const std::size_t pushes = count_calls("tome_branch_push");
    EXPECT_EQ(failure_of([&] { create("Another"); }), refusal);
    EXPECT_EQ(created_branches(), Texts{"feature"});
    EXPECT_EQ(count_calls("tome_branch_push"), pushes);
    EXPECT_EQ(index_text(), damaged);
}

TEST_F(WorkspaceCreation, IsRefusedBeforeAnythingIsPublishedWhenTheIndexIsNewer) {
    quill_test::write_file(index_path(), R"({"version":2,"workspaces":[]})");
    EXPECT_EQ(failure_of([&] { create("Feature"); }),
              "record file of a newer version, nothing was written: " + index_path().string());
    EXPECT_EQ(count_calls("tome_branch_create"), 0u);
    EXPECT_EQ(count_calls("tome_branch_push"), 0u);
}

TEST_F(WorkspaceCreation, ArchiveIsRefusedWhenTheIndexIsDamaged) {
    create("Feature");
    const std::string refusal = damage_index();
    EXPECT_EQ(failure_of([&] { quill::archive_project_workspace(project_, "feature"); }), refusal);
    EXPECT_EQ(count_calls("tome_branch_archive"), 0u);
}

// ---- Archiving in the background

TEST_F(WorkspaceCreation, MainIsNotArchived) {
    EXPECT_EQ(failure_of([&] { quill::archive_project_workspace(project_, "main"); }),
              "main workspace cannot be archived");
    EXPECT_TRUE(fake_tome::calls().empty());
}

TEST_F(WorkspaceCreation, NothingIsArchivedWithoutARemote) {
    create("Feature");
    write_file(project_ / "project.json", "{\"id\": \"abcdefghijklmnop\"}");
    EXPECT_EQ(failure_of([&] { quill::archive_project_workspace(project_, "feature"); }),
              "native Tome workspaces require a configured Tome remote. Set tomeRemoteURL in project.json or "
              "QUILL_TOME_REMOTE_URL.");
    EXPECT_FALSE(quill::read_workspaces_without_main(project_).at(0).archived);
}

TEST_F(WorkspaceCreation, ArchiveForWhichNoThreadCanBeStartedIsRecordedAndSaysSo) {
    create("Feature");
    fake_tome::on("tome_branch_list", [](const Call&, const Events& events) {
        events.branch("feature", "quill-workspace", fake_tome::make_hash(0));
        return 0;
    });
    quill::refresh_project_workspaces(project_, true);  // With a fresh list no background refresh wants a thread.
    const auto message = quill_test::with_idle_calls(quill_test::thread_starting_calls(), EAGAIN, [&] {
        return failure_of([&] { quill::archive_project_workspace(project_, "feature"); });
    });
    if (!message) {
        GTEST_SKIP() << "cannot refuse threads here";
    }
    EXPECT_EQ(*message, "thread constructor failed: " + quill_test::system_message(EAGAIN));
    EXPECT_TRUE(quill::read_workspaces_without_main(project_).at(0).archived);
}

TEST_F(WorkspaceCreation, FailureOfTheRemoteArchiveIsNotReported) {
    create("Feature");
    fake_tome::on("tome_branch_archive", [](const Call&, const Events& events) { return events.fail(3, "no answer"); });
    quill::archive_project_workspace(project_, "feature");
    EXPECT_TRUE(quill::read_workspaces_without_main(project_).at(0).archived);
    while (count_calls("tome_branch_archive") == 0) {
        std::this_thread::yield();
    }
    EXPECT_TRUE(quill::read_workspaces_without_main(project_).at(0).archived);
}

TEST_F(WorkspaceCreation, ArchiveGoesThroughTheMetadataCheckout) {
    create("Feature");
    quill::archive_project_workspace(project_, "feature");
    while (count_calls("tome_branch_archive") == 0) {
        std::this_thread::yield();
    }
    const Call archive = fake_tome::calls("tome_branch_archive").at(0);
    EXPECT_EQ(archive.value("name"), "feature");
    EXPECT_EQ(archive.remote_url, quill_test::fake_remote);
    EXPECT_EQ(fs::path(archive.checkout).filename().string().rfind("metadata-", 0), 0u);
}

}  // namespace
