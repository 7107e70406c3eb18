#include "workspace/operations/workspace_commit.h"

#include <algorithm>

#include "project/workspace_paths.h"
#include "tests/fake_tome/fake_project.h"
#include "workspace/index/workspace_index_file.h"

namespace {

namespace fs = std::filesystem;
using fake_tome::Call;
using fake_tome::Events;
using fake_tome::make_hash_hex;
using quill::ProjectWorkspaceMutationResult;
using quill_test::failure_of;
using quill_test::scene;
using quill_test::write_file;
using Texts = std::vector<std::string>;

class WorkspaceCommit : public quill_test::FakeProject {
  protected:
    WorkspaceCommit() {
        quill::ProjectWorkspace feature;
        feature.id = feature.name = "feature";
        feature.parentId = "main";
        feature.baseScene = scene;
        feature.headKey = make_hash_hex(0);
        feature.createdAt = feature.updatedAt = "1";
        quill::write_workspaces_without_main(project_, {feature});
        index_before_ = index_text();
    }

    // Commits from the package.
    ProjectWorkspaceMutationResult commit(const std::string& id, const std::vector<fs::path>& paths = {scene}) {
        return quill::update_project_workspace_head(project_, id, project_, paths, "Ann", "Edit");
    }

    // Lets status report these paths as changed.
    static void report_changed(const Texts& paths) {
        fake_tome::on("tome_repository_status", [paths](const Call&, const Events& events) {
            events.status(fake_tome::make_hash(0), 1, fake_tome::make_hash(0), 1);
            for (const std::string& path : paths) {
                events.path(TOME_EVENT_STATUS_PATH, path);
            }
            return 0;
        });
    }

    static void answer(const std::string& operation, const std::string& text) {
        fake_tome::on(operation, [text](const Call&, const Events& events) { return events.fail(7, text); });
    }

    // Values of the metadata that was set.
    static std::map<std::string, std::string> metadata() {
        const Call call = fake_tome::calls("tome_branch_metadata_set").at(0);
        std::map<std::string, std::string> values;
        for (std::size_t index = 0; index < call.list("keys").size(); ++index) {
            values[call.list("keys")[index]] = call.list("values")[index];
        }
        return values;
    }

    fs::path feature_commit_checkout() const { return quill::workspace_branch_commit_checkout(project_, "feature"); }

    void expect_nothing_published() const {
        EXPECT_EQ(count_calls("tome_branch_metadata_set"), 0u);
        EXPECT_EQ(count_calls("tome_branch_push"), 0u);
        EXPECT_EQ(index_text(), index_before_);
    }

    std::string index_before_;
};

// ---- The healthy way, which the others leave

TEST_F(WorkspaceCommit, PublishesTheRevisionWithItsMetadata) {
    const ProjectWorkspaceMutationResult result = commit("feature");
    const std::string revision = make_hash_hex(1);
    EXPECT_EQ(result.headKey, revision);
    ASSERT_EQ(result.files.size(), 1u);
    EXPECT_EQ(result.files[0].path, scene);
    const auto values = metadata();
    EXPECT_EQ(values.at("quill.workspace"), "1");
    EXPECT_EQ(values.at("quill.workspace.headKey"), revision);
    EXPECT_EQ(values.at("keel.revision." + revision + ".summary"), "Edit");
    EXPECT_EQ(values.at("keel.revision." + revision + ".author"), "Ann");
    EXPECT_EQ(values.at("keel.revision." + revision + ".changedFileCount"), "1");
    EXPECT_EQ(values.at("keel.revision." + revision + ".createdAt"), values.at("quill.workspace.updatedAt"));
    const Call push = fake_tome::calls("tome_branch_push").at(0);
    EXPECT_EQ(push.value("name"), "feature");
    EXPECT_FALSE(push.force);
    EXPECT_EQ(quill::read_workspaces_without_main(project_).at(0).headKey, revision);
}

TEST_F(WorkspaceCommit, MessageCountsTheFilesWhenNoneIsGiven) {
    report_changed({"a", "b"});
    quill::update_project_workspace_head(project_, "feature", project_, {scene}, "", "");
    report_changed({"a"});
    quill::update_project_workspace_head(project_, "feature", project_, {scene}, "", "");
    EXPECT_EQ(fake_tome::calls("tome_revision_commit").at(0).value("message"), "Updated 2 project files");
    EXPECT_EQ(fake_tome::calls("tome_revision_commit").at(1).value("message"), "Project file updated");
    EXPECT_EQ(metadata().count("keel.revision." + make_hash_hex(1) + ".author"), 0u);
}

// ---- Nothing to commit

TEST_F(WorkspaceCommit, NothingChangedReturnsTheHeadWithoutCommit) {
    report_changed({});
    const ProjectWorkspaceMutationResult result = commit("feature");
    EXPECT_EQ(result.headKey, make_hash_hex(0));
    EXPECT_TRUE(result.files.empty());
    EXPECT_EQ(count_calls("tome_revision_commit"), 0u);
    expect_nothing_published();
}

TEST_F(WorkspaceCommit, NothingStagedReturnsTheHeadAndPublishesNothing) {
    answer("tome_revision_commit", "Nothing staged for commit");
    const ProjectWorkspaceMutationResult result = commit("feature");
    EXPECT_EQ(result.headKey, make_hash_hex(0));
    EXPECT_TRUE(result.files.empty());
    expect_nothing_published();
}

// ---- A damaged index

TEST_F(WorkspaceCommit, IsRefusedBeforeItIsPublishedWhenTheIndexCannotTakeTheHead) {
    const std::string refusal = damage_index();
    index_before_ = index_text();
    EXPECT_EQ(failure_of([&] { commit("feature"); }), refusal);
    expect_nothing_published();
    EXPECT_EQ(count_calls("tome_revision_commit"), 0u);
}

TEST_F(WorkspaceCommit, OfMainNeedsNoIndex) {
    damage_index();
    EXPECT_EQ(commit("main").headKey, make_hash_hex(1));
    EXPECT_EQ(count_calls("tome_branch_push"), 1u);
}

// ---- What an engine should not answer

TEST_F(WorkspaceCommit, CommitWithoutIdentityIsRefused) {
    fake_tome::on("tome_revision_commit", [](const Call&, const Events&) { return 0; });
    const std::string failure = failure_of([&] { commit("feature"); });
    EXPECT_EQ(failure, "Tome commit did not return an immutable identity for feature");
    expect_nothing_published();
}

TEST_F(WorkspaceCommit, PathsOutsideTheCheckoutAreRefused) {
    for (const std::string path : {"../outside.usda", "/etc/passwd", "Scenes/../../outside.usda"}) {
        report_changed({scene, path});
        EXPECT_EQ(failure_of([&] { commit("feature"); }),
                  "Tome reported a changed file outside the project checkout: " + path);
    }
    EXPECT_EQ(count_calls("tome_file_stage"), 0u);
    expect_nothing_published();
}

TEST_F(WorkspaceCommit, HiddenReportedPathsAreLeftOut) {
    report_changed({".derived/tome-materialization-v1", "Workspaces/workspaces.json", scene});
    commit("feature");
    EXPECT_EQ(fake_tome::calls("tome_file_stage").at(0).list("paths"), Texts{scene});
}

TEST_F(WorkspaceCommit, OnlyHiddenReportedPathsAreNothingToCommit) {
    report_changed({".derived/x"});
    commit("feature");
    EXPECT_EQ(count_calls("tome_revision_commit"), 0u);
    expect_nothing_published();
}

// ---- A push that is refused

TEST_F(WorkspaceCommit, RefusedPushLeavesTheIndexAndNoCheckout) {
    answer("tome_branch_push", "remote is read-only");
    EXPECT_EQ(failure_of([&] { commit("feature"); }), "tome_branch_push: remote is read-only");
    EXPECT_EQ(count_calls("tome_branch_push"), 1u);
    EXPECT_EQ(index_text(), index_before_);
    EXPECT_FALSE(fs::exists(feature_commit_checkout()));
}

TEST_F(WorkspaceCommit, RefusedPushOfMainLeavesNoCheckout) {
    answer("tome_branch_push", "remote is read-only");
    EXPECT_EQ(failure_of([&] { commit("main"); }), "tome_branch_push: remote is read-only");
    EXPECT_FALSE(fs::exists(quill::workspace_main_commit_checkout(project_)));
    EXPECT_EQ(index_text(), index_before_);
}

TEST_F(WorkspaceCommit, NextCommitAfterARefusedPushStartsAnew) {
    fake_tome::once("tome_branch_push",
                    [](const Call&, const Events& events) { return events.fail(7, "remote is read-only"); });
    EXPECT_NE(failure_of([&] { commit("feature"); }), "no failure");
    EXPECT_EQ(failure_of([&] { commit("feature"); }), "no failure");
    EXPECT_EQ(count_calls("tome_repository_clone"), 2u);
    EXPECT_EQ(quill::read_workspaces_without_main(project_).at(0).headKey, make_hash_hex(2));
}

TEST_F(WorkspaceCommit, GivenPathsAreCommittedAnewWhenTheBranchHasMoved) {
    fake_tome::once("tome_branch_push", [](const Call&, const Events& events) {
        return events.fail(7, "branch has moved on the remote: feature");
    });
    EXPECT_EQ(commit("feature").headKey, make_hash_hex(2));
    EXPECT_EQ(count_calls("tome_branch_push"), 2u);
    EXPECT_EQ(quill::read_workspaces_without_main(project_).at(0).headKey, make_hash_hex(2));
}

TEST_F(WorkspaceCommit, BranchThatAlwaysMovesIsGivenUp) {
    answer("tome_branch_push", "branch has moved on the remote: feature");
    EXPECT_EQ(failure_of([&] { commit("feature"); }), "tome_branch_push: branch has moved on the remote: feature");
    EXPECT_EQ(index_text(), index_before_);
}

TEST_F(WorkspaceCommit, WholeProjectIsNotCommittedAnewOverAnothersWork) {
    answer("tome_branch_push", "branch has moved on the remote: feature");
    EXPECT_EQ(failure_of([&] { commit("feature", {}); }), "tome_branch_push: branch has moved on the remote: feature");
    EXPECT_EQ(count_calls("tome_branch_push"), 1u);
    EXPECT_EQ(index_text(), index_before_);
}

// ---- A remote without the repository

TEST_F(WorkspaceCommit, FirstCommitToMainMakesTheRemoteRepository) {
    fake_tome::once("tome_repository_clone", [](const Call& call, const Events& events) {
        return events.fail(5, "Not found: " + call.value("repository_url"));
    });
    EXPECT_EQ(commit("main").headKey, make_hash_hex(2));
    const Texts operations = fake_tome::operations();
    const auto create = std::find(operations.begin(), operations.end(), "tome_repository_create");
    ASSERT_NE(create, operations.end());
    EXPECT_EQ(std::count(operations.begin(), create, "tome_repository_clone"), 1);
    EXPECT_EQ(std::count(create, operations.end(), "tome_repository_clone"), 2);  // One knows the package's files.
    EXPECT_TRUE(fake_tome::calls("tome_branch_push").at(0).force);
    EXPECT_FALSE(fake_tome::calls("tome_branch_push").at(1).force);
}

TEST_F(WorkspaceCommit, AnotherProcessThatMadeTheRepositoryMeanwhileIsNoFailure) {
    fake_tome::once("tome_repository_clone",
                    [](const Call&, const Events& events) { return events.fail(5, "Not found: URL"); });
    fake_tome::once("tome_repository_create",
                    [](const Call&, const Events& events) { return events.fail(6, "Already exists: URL"); });
    fake_tome::once("tome_repository_clone",
                    [](const Call&, const Events& events) { return events.fail(6, "checkout already exists"); });
    EXPECT_EQ(commit("main").headKey, make_hash_hex(1));
    EXPECT_EQ(count_calls("tome_repository_clone"), 4u);  // The last knows the package's files.
}

TEST_F(WorkspaceCommit, RepositoryThatIsStillNotFoundIsAFailure) {
    answer("tome_repository_clone", "Not found: URL");
    EXPECT_EQ(failure_of([&] { commit("main"); }), "tome_repository_clone: Not found: URL");
    EXPECT_EQ(count_calls("tome_repository_create"), 1u);
}

TEST_F(WorkspaceCommit, OtherFailuresOfTheCloneMakeNoRepository) {
    answer("tome_repository_clone", "no permission");
    EXPECT_EQ(failure_of([&] { commit("main"); }), "tome_repository_clone: no permission");
    EXPECT_EQ(count_calls("tome_repository_create"), 0u);
}

TEST_F(WorkspaceCommit, NotFoundOfAnotherOperationMakesNoRepository) {
    answer("tome_branch_switch", "Not found: main");
    EXPECT_EQ(failure_of([&] { commit("main"); }), "tome_branch_switch: Not found: main");
    EXPECT_EQ(count_calls("tome_repository_create"), 0u);
}

TEST_F(WorkspaceCommit, BranchWorkspaceMakesNoRepository) {
    answer("tome_repository_clone", "Not found: URL");
    EXPECT_EQ(failure_of([&] { commit("feature"); }), "tome_repository_clone: Not found: URL");
    EXPECT_EQ(count_calls("tome_repository_create"), 0u);
}

// ---- Any call may fail

TEST_F(WorkspaceCommit, FailureOfAnyCallLeavesTheIndexUnchanged) {
    const std::size_t before = fake_tome::calls().size();
    commit("feature");
    const std::size_t total = fake_tome::calls().size() - before;
    for (std::size_t n = 1; n <= total; ++n) {
        fs::remove_all(feature_commit_checkout());
        write_file(index_path(), index_before_);
        fake_tome::fail_call(fake_tome::calls().size() + n, 7, "went wrong");
        const std::string failure = failure_of([&] { commit("feature"); });
        if (failure == "no failure") {
            EXPECT_NE(index_text(), index_before_) << n;
            continue;
        }
        EXPECT_NE(failure.find(": went wrong"), std::string::npos) << n << ": " << failure;
        EXPECT_EQ(index_text(), index_before_) << n << ": " << failure;
    }
}

}  // namespace
