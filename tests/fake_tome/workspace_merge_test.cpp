#include "workspace/operations/workspace_merge.h"

#include "tests/fake_tome/fake_project.h"
#include "workspace/index/workspace_index_file.h"
#include "workspace/operations/workspace_diff.h"

namespace {

using fake_tome::Call;
using fake_tome::Events;
using fake_tome::make_hash;
using fake_tome::make_hash_hex;
using quill_test::failure_of;
using quill_test::scene;
using Texts = std::vector<std::string>;

class WorkspaceMerge : public quill_test::FakeProject {
  protected:
    WorkspaceMerge() {
        fake_tome::on("tome_branch_list", [](const Call&, const Events& events) {
            events.branch("main", "", make_hash(0));
            events.branch("feature", "quill-workspace", make_hash(2));
            return 0;
        });
        fake_tome::on("tome_branch_merge_into", [](const Call&, const Events& events) {
            events.identity(TOME_EVENT_BASE_REVISION, make_hash(5), 3);
            return 0;
        });
        quill::ProjectWorkspace feature;
        feature.id = feature.name = "feature";
        feature.parentId = "main";
        feature.baseScene = scene;
        quill::write_workspaces_without_main(project_, {feature});
    }

    std::string merge(const std::string& source, const std::string& target, const std::string& message = "") const {
        return failure_of([&] { quill::merge_project_workspace_into(project_, source, target, message); });
    }
};

TEST_F(WorkspaceMerge, HasAMessageOfItsOwn) {
    EXPECT_EQ(merge("feature", ""), "no failure");
    const Call call = fake_tome::calls("tome_branch_merge_into").at(0);
    EXPECT_EQ(call.value("source"), "feature");
    EXPECT_EQ(call.value("message"), "Merge Quill workspace feature into main");
}

TEST_F(WorkspaceMerge, TakesTheMessageThatIsGiven) {
    merge("", "feature", "Keep up");
    EXPECT_EQ(fake_tome::calls("tome_branch_merge_into").at(0).value("message"), "Keep up");
    EXPECT_EQ(fake_tome::calls("tome_branch_merge_into").at(0).value("source"), "main");
}

TEST_F(WorkspaceMerge, WithConflictsNamesEachAndPushesNothing) {
    fake_tome::on("tome_branch_merge_into", [](const Call&, const Events& events) {
        events.path(TOME_EVENT_MERGE_CONFLICT, "a");
        events.path(TOME_EVENT_MERGE_CONFLICT, "b, with a comma");
        return 0;
    });
    const std::string index = index_text();
    EXPECT_EQ(merge("feature", "main"), "merge has conflicts: a: b, with a comma");
    EXPECT_EQ(merge("main", "feature"), "merge has conflicts: a: b, with a comma");
    EXPECT_EQ(count_calls("tome_branch_push"), 0U);
    EXPECT_EQ(count_calls("tome_branch_metadata_set"), 0U);
    EXPECT_EQ(index_text(), index);
}

TEST_F(WorkspaceMerge, FailureIsReportedUnderTheNameOfTheOperation) {
    fake_tome::on("tome_branch_merge_into",
                  [](const Call&, const Events& events) { return events.fail(8, "no room"); });
    EXPECT_EQ(merge("feature", "main"), "tome_branch_merge_into: no room");
    EXPECT_EQ(count_calls("tome_branch_push"), 0U);
}

TEST_F(WorkspaceMerge, PushesWithoutForceThenNotesTheHeadAndPushesAgain) {
    EXPECT_EQ(merge("main", "feature"), "no failure");
    const auto pushes = fake_tome::calls("tome_branch_push");
    ASSERT_EQ(pushes.size(), 2U);
    for (const Call& push : pushes) {
        EXPECT_EQ(push.value("name"), "feature");
        EXPECT_FALSE(push.force);
    }
    const Call noted = fake_tome::calls("tome_branch_metadata_set").at(0);
    EXPECT_EQ(noted.list("keys"), (Texts{"quill.workspace.headKey", "quill.workspace.updatedAt"}));
    EXPECT_EQ(noted.list("values").at(0), make_hash_hex(5));
    EXPECT_EQ(quill::read_workspaces_without_main(project_).at(0).headKey, make_hash_hex(5));
}

TEST_F(WorkspaceMerge, WithoutAReportedHeadTakesTheOneOfTheBranchList) {
    fake_tome::on("tome_branch_merge_into", [](const Call&, const Events&) { return 0; });
    EXPECT_EQ(merge("main", "feature"), "no failure");
    EXPECT_EQ(fake_tome::calls("tome_branch_metadata_set").at(0).list("values").at(0), make_hash_hex(2));
}

TEST_F(WorkspaceMerge, IsRefusedBeforeItIsPublishedWhenTheIndexCannotTakeTheHead) {
    const std::string refusal = damage_index();
    EXPECT_EQ(merge("main", "feature"), refusal);
    EXPECT_EQ(count_calls("tome_branch_merge_into"), 0U);
    EXPECT_EQ(count_calls("tome_branch_push"), 0U);
    EXPECT_EQ(merge("feature", "main"), "no failure");
}

TEST_F(WorkspaceMerge, RefusedPushLeavesTheIndexAsItWas) {
    fake_tome::on("tome_branch_push", [](const Call&, const Events& events) {
        return events.fail(5, "branch has moved on the remote: feature");
    });
    const std::string index = index_text();
    EXPECT_EQ(merge("main", "feature"), "tome_branch_push: branch has moved on the remote: feature");
    EXPECT_EQ(index_text(), index);
}

TEST_F(WorkspaceMerge, IntoMainFetchesWhatDiffersIntoThePackage) {
    fake_tome::on("tome_revision_sync", [this](const Call& call, const Events& events) {
        quill_test::write_file(std::filesystem::path(call.checkout) / scene, remote_files_.at(scene));
        const bool published = count_calls("tome_branch_push") > 0;
        if (published || call.value("revision") == make_hash_hex(5)) {
            quill_test::write_file(std::filesystem::path(call.checkout) / "Assets/new.bin", "new");
        }
        events.identity(TOME_EVENT_SYNCED, make_hash(5), 3);
        return 0;
    });
    fake_tome::on("tome_revision_diff", [](const Call&, const Events& events) {
        for (const char* path : {"Assets/gone.bin", "Assets/new.bin", ".hidden"}) {
            events.path(TOME_EVENT_REVISION_PATH, path);
        }
        return 0;
    });
    EXPECT_EQ(merge("feature", "main"), "no failure");
    EXPECT_EQ(quill_test::read_file(project_ / "Assets/new.bin"), "new");
}

TEST_F(WorkspaceMerge, OfWorkspacesThatAreNotThereIsRefused) {
    EXPECT_EQ(merge("nobody", "main"), "workspace branch does not exist");
    EXPECT_EQ(merge("main", "nobody"), "workspace branch does not exist");
    EXPECT_EQ(failure_of([&] { quill::diff_project_workspaces(project_, "main", "nobody"); }),
              "workspace branch does not exist");
}

TEST_F(WorkspaceMerge, WithoutARemoteIsRefused) {
    quill_test::write_file(project_ / "project.json", "{\"id\": \"abcdefghijklmnop\"}");
    const std::string text =
        "native Tome workspaces require a configured Tome remote. Set tomeRemoteURL in project.json or "
        "QUILL_TOME_REMOTE_URL.";
    EXPECT_EQ(merge("feature", "main"), text);
    EXPECT_EQ(failure_of([&] { quill::diff_project_workspaces(project_, "main", "feature"); }), text);
}

TEST_F(WorkspaceMerge, DiffNamesTheKindsOfChangeInTheEnginesOrder) {
    fake_tome::on("tome_branch_diff", [](const Call& call, const Events& events) {
        EXPECT_EQ(call.value("from"), "main");
        EXPECT_EQ(call.value("to"), "feature");
        for (const std::int32_t status : {5, 1, 2, 3, 4, 9}) {
            tome_event_t event = {};
            event.kind = TOME_EVENT_BRANCH_DIFF;
            event.as.change.path = {"p", 1};
            event.as.change.status = status;
            events.send(event);
        }
        return 0;
    });
    Texts changes;
    for (const auto& entry : quill::diff_project_workspaces(project_, "", "feature")) {
        changes.push_back(entry.change);
    }
    EXPECT_EQ(changes, (Texts{"modify", "add", "delete", "move", "copy", "modify"}));
}

}  // namespace
