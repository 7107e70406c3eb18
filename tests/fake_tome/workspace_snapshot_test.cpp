#include "workspace/checkout/workspace_snapshot.h"

#include <cerrno>

#include "tests/fake_tome/fake_project.h"
#include "tests/support/file_test_support.h"

namespace {

namespace fs = std::filesystem;
using fake_tome::Call;
using fake_tome::Events;
using fake_tome::make_hash_hex;
using quill_test::failure_of;
using quill_test::fake_remote;
using quill_test::write_file;
using Texts = std::vector<std::string>;

using WorkspaceSnapshot = quill_test::FakeProject;

// Copies from one folder to another, in each of which something stands in the way.
class SnapshotInTheWay : public testing::Test {
  protected:
    SnapshotInTheWay() {
        write_file(source_ / "Assets/file", "bytes");
        fs::create_directory(checkout_);
    }

    void mirror_all() const { quill::mirror_visible_project_files(source_, checkout_); }
    void mirror(const std::string& path) const { quill::mirror_selected_project_files(source_, checkout_, {path}); }

    void link_folder_of_the_checkout() const {
        fs::create_directory(folder_ / "elsewhere");
        fs::create_directory_symlink(folder_ / "elsewhere", checkout_ / "Assets");
    }

    // What `action` fails with where no file can be removed; nothing where that cannot be had.
    static std::optional<std::string> failure_without_removals(const std::function<void()>& action) {
        return quill_test::with_idle_calls(quill_test::removing_calls(), EIO, [&] { return failure_of(action); });
    }

    quill_test::TemporaryFolder folder_;
    fs::path source_ = folder_ / "source";
    fs::path checkout_ = folder_ / "checkout";
};

TEST_F(SnapshotInTheWay, LinkInThePlaceOfAFolderOfTheWholeSnapshotIsReportedAndNotFollowed) {
    link_folder_of_the_checkout();
    EXPECT_EQ(failure_of([&] { mirror_all(); }), "could not create main workspace snapshot folder: Assets/file");
    EXPECT_TRUE(fs::is_empty(folder_ / "elsewhere"));
}

TEST_F(SnapshotInTheWay, LinkInThePlaceOfAFolderOfAChangedFileIsReportedAndNotFollowed) {
    link_folder_of_the_checkout();
    EXPECT_EQ(failure_of([&] { mirror("Assets/file"); }), "could not create changed workspace folder: Assets/file");
    EXPECT_TRUE(fs::is_empty(folder_ / "elsewhere"));
}

TEST_F(SnapshotInTheWay, StaleFileThatCannotBeRemovedIsReported) {
    write_file(checkout_ / "Assets/stale", "bytes");
    const auto message = failure_without_removals([&] { mirror_all(); });
    if (!message) {
        GTEST_SKIP() << "cannot make removals fail here";
    }
    EXPECT_EQ(*message, "could not remove stale main workspace file: Assets/stale");
}

TEST_F(SnapshotInTheWay, ChangedFileThatCannotBeRemovedIsReported) {
    write_file(checkout_ / "Assets/gone", "bytes");
    const auto message = failure_without_removals([&] { mirror("Assets/gone"); });
    if (!message) {
        GTEST_SKIP() << "cannot make removals fail here";
    }
    EXPECT_EQ(*message, "could not remove changed workspace file: Assets/gone");
}

TEST_F(SnapshotInTheWay, ChangedFileThatIsALinkToItselfIsReported) {
    fs::create_symlink("circle", source_ / "Assets/circle");
    EXPECT_EQ(failure_of([&] { mirror("Assets/circle"); }), "could not inspect changed workspace file: Assets/circle");
}

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
