#include "workspace/checkout/workspace_snapshot.h"

#include "tests/fake_tome/fake_project.h"

namespace {

using fake_tome::Call;
using fake_tome::Events;
using fake_tome::make_hash_hex;
using quill_test::failure_of;
using quill_test::fake_remote;
using Texts = std::vector<std::string>;

using WorkspaceSnapshot = quill_test::FakeProject;

TEST_F(WorkspaceSnapshot, CommitWithoutPathsAsksNothing) {
    bool committed = true;
    EXPECT_EQ(quill::tome_stage_and_commit(project_, {}, fake_remote, "m", &committed), "");
    EXPECT_FALSE(committed);
    EXPECT_TRUE(fake_tome::calls().empty());
}

TEST_F(WorkspaceSnapshot, CommitStagesPathsAndReturnsTheRevision) {
    bool committed = false;
    EXPECT_EQ(quill::tome_stage_and_commit(project_, {"a", "b"}, fake_remote, "m", &committed), make_hash_hex(1));
    EXPECT_TRUE(committed);
    EXPECT_EQ(fake_tome::operations(), (Texts{"tome_file_stage", "tome_revision_commit"}));
    EXPECT_EQ(fake_tome::calls().at(0).list("paths"), (Texts{"a", "b"}));
    EXPECT_EQ(fake_tome::calls().at(1).value("message"), "m");
    EXPECT_EQ(fake_tome::calls().at(1).remote_url, fake_remote);
}

TEST_F(WorkspaceSnapshot, CommitWithoutMessageHasADefault) {
    quill::tome_stage_and_commit(project_, {"a"}, fake_remote, "");
    EXPECT_EQ(fake_tome::calls().at(1).value("message"), "Quill workspace edit");
}

TEST_F(WorkspaceSnapshot, NothingStagedIsNoFailureAndReturnsTheBase) {
    fake_tome::on("tome_revision_commit",
                  [](const Call&, const Events& events) { return events.fail(8, "Nothing staged for commit"); });
    bool committed = true;
    EXPECT_EQ(quill::tome_stage_and_commit(project_, {"a"}, fake_remote, "m", &committed), make_hash_hex(0));
    EXPECT_FALSE(committed);
}

TEST_F(WorkspaceSnapshot, OtherFailuresOfCommitPropagate) {
    fake_tome::fail_call(2, 8, "disk full");
    EXPECT_EQ(failure_of([&] { quill::tome_stage_and_commit(project_, {"a"}, fake_remote, "m"); }),
              "tome_revision_commit: disk full");
}

TEST_F(WorkspaceSnapshot, FailureOfStageMakesNoCommit) {
    fake_tome::fail_call(1, 8, "disk full");
    EXPECT_EQ(failure_of([&] { quill::tome_stage_and_commit(project_, {"a"}, fake_remote, "m"); }),
              "tome_file_stage: disk full");
    EXPECT_EQ(count_calls("tome_revision_commit"), 0u);
}

}  // namespace
