#include <gtest/gtest.h>

#include <quill/quill.h>

#include "tests/support/run_process.h"
#include "tests/workspace/history_project.h"

namespace quill {
namespace {

using quill_test::HistoryProject;
using quill_test::write_file;

const std::string asset = "Assets/lamp.txt";

// Commits an asset in a process of its own, of which this process's branch list knows nothing; the new head.
std::string commit_elsewhere(const HistoryProject& project, const std::string& workspace, const std::string& bytes) {
    write_file(project_workspace_checkout_root(project.package(), workspace) / asset, bytes);
    const auto result =
        quill_test::run_process({QUILL_TOOL, "commit-workspace", project.package().string(), workspace, asset},
                                {{"QUILL_TOME_REMOTE_URL", project.remote().string()}});
    EXPECT_EQ(result.status, 0) << result.err;
    for (const ProjectWorkspaceRevision& newest : list_project_workspace_revisions(project.package(), workspace, 1)) {
        return newest.id;
    }
    return "no revision";
}

class ReviewsOfWorkspaces : public testing::Test {
  protected:
    ReviewsOfWorkspaces() {
        create_project_workspace(project_.package(), project_.scene(), "main", "Evening light", "ana");
        // In its own checkout, so that there is one.
        sync_project_workspace_files(project_.package(), "evening-light", {"Scenes/Main.usda"}, false);
        refresh_project_workspaces(project_.package(), false);
    }

    HistoryProject project_;
};

TEST_F(ReviewsOfWorkspaces, CreatedOneHoldsTheHeadsOnTheRemote) {
    const std::string source = commit_elsewhere(project_, "evening-light", "a");
    const std::string base = commit_elsewhere(project_, "main", "b");
    const ProjectReview review =
        create_project_review(project_.package(), "evening-light", "", "softer", "ana", {"ben"});
    EXPECT_EQ(review.title, "Evening light");
    EXPECT_EQ(review.targetWorkspace, "main");
    EXPECT_EQ(review.sourceHeadKey, source);
    EXPECT_EQ(review.baseHeadKey, base);
    EXPECT_EQ(base.size(), 64U);
    EXPECT_NE(source, base);
}

TEST_F(ReviewsOfWorkspaces, MergedOneHoldsTheHeadsOnTheRemote) {
    const ProjectReview created = create_project_review(project_.package(), "evening-light", "r", "", "ana", {});
    const std::string source = commit_elsewhere(project_, "evening-light", "a");
    const std::string base = commit_elsewhere(project_, "main", "b");
    const ProjectReview approved = update_project_review_status(project_.package(), "r", "approved");
    EXPECT_EQ(approved.sourceHeadKey, created.sourceHeadKey);
    EXPECT_EQ(approved.baseHeadKey, created.baseHeadKey);
    update_project_review_status(project_.package(), "r", "merged");
    const ProjectReview merged = find_project_review(project_.package(), "r").value();
    EXPECT_EQ(merged.status, "merged");
    EXPECT_EQ(merged.sourceHeadKey, source);
    EXPECT_EQ(merged.baseHeadKey, base);
    EXPECT_EQ(base.size(), 64U);
    EXPECT_NE(merged.baseHeadKey, created.baseHeadKey);
}

TEST_F(ReviewsOfWorkspaces, CommentReachesAWorkspaceThatOnlyTheRemoteKnows) {
    std::filesystem::remove(project_workspaces_index_path(project_.package()));
    invalidate_tome_branch_index_cache(project_.package());
    ProjectReviewComment comment;
    comment.body = "warmer";
    EXPECT_EQ(add_project_workspace_comment(project_.package(), "evening-light", comment).size(), 1U);
    EXPECT_EQ(list_project_workspace_comments(project_.package(), "evening-light").at(0).body, "warmer");
}

TEST_F(ReviewsOfWorkspaces, CommentsOnABranchWithCapitalsAreItsOwn) {
    const CheckoutLocation checkout{ensure_tome_metadata_checkout(project_.package()), project_.remote().string()};
    call_tome_branch_create(checkout, "Evening_Light", "main", "quill-workspace", "ana");
    push_tome_branch(checkout.root, "Evening_Light", checkout.remote_url, false);
    ProjectReviewComment comment;
    comment.body = "warmer";
    refresh_project_workspaces(project_.package(), false);
    EXPECT_EQ(add_project_workspace_comment(project_.package(), "Evening_Light", comment).size(), 1U);
    EXPECT_TRUE(list_project_workspace_comments(project_.package(), "evening-light").empty());
    EXPECT_EQ(add_project_workspace_comment(project_.package(), "Evening Light", comment).size(), 1U);
    EXPECT_EQ(list_project_workspace_comments(project_.package(), "evening-light").size(), 1U);
    EXPECT_EQ(list_project_workspace_comments(project_.package(), "Evening_Light").size(), 1U);
}

}  // namespace
}  // namespace quill
