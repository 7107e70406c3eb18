#include "workspace/index/branch_index_cache.h"

#include <cerrno>
#include <future>
#include <thread>

#include "tests/fake_tome/fake_project.h"
#include "tests/support/file_test_support.h"
#include "workspace/index/workspace_index.h"
#include "workspace/index/workspace_index_file.h"

namespace {

using fake_tome::Call;
using fake_tome::Events;
using quill::ProjectWorkspace;
using quill_test::failure_of;
using quill_test::write_file;
using Texts = std::vector<std::string>;

class BranchIndexCache : public quill_test::FakeProject {
  protected:
    BranchIndexCache() { list_branches({{"main", ""}, {"feature", "quill-workspace"}}); }

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

TEST_F(BranchIndexCache, BackgroundRefreshThatFailsWithoutATextGetsOne) {
    fake_tome::on("tome_branch_list", [](const Call&, const Events&) -> std::int32_t { throw 7; });
    quill::list_project_workspaces(project_, false);
    await_refresh();
    EXPECT_EQ(quill::tome_branch_index_cache(project_).error, "unknown Tome branch index refresh error");
}

TEST_F(BranchIndexCache, RefreshForWhichNoThreadCanBeStartedSaysSoAndIsOver) {
    const auto message = quill_test::with_idle_calls(quill_test::thread_starting_calls(), EAGAIN, [&] {
        const std::string failure = failure_of([&] { quill::maybe_refresh_tome_branch_index_async(project_); });
        const quill::WorkspaceBranchIndexCache cache = quill::tome_branch_index_cache(project_);
        return failure + "; " + cache.error + (cache.refreshing ? "; refreshing" : "");
    });
    if (!message) {
        GTEST_SKIP() << "cannot refuse threads here";
    }
    EXPECT_EQ(*message,
              "thread constructor failed: " + quill_test::system_message(EAGAIN) + "; thread constructor failed");
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
