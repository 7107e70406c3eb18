#include "project/workspace_paths.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <stdexcept>
#include <thread>

#include "tests/support/temporary_folder.h"

namespace {

namespace fs = std::filesystem;
using quill_test::write_file;

class WorkspacePaths : public testing::Test {
  protected:
    WorkspacePaths() { write_file(project_ / "project.json", "{\n}\n"); }

    quill_test::TemporaryFolder folder_;
    fs::path project_ = folder_ / "P.quillproject";
};

TEST_F(WorkspacePaths, CheckoutsLieBelowTheDerivedFolder) {
    EXPECT_EQ(quill::workspace_checkout_base(project_), project_ / ".derived/tome-workspaces");
    EXPECT_EQ(quill::checkout_root_for_workspace_id(project_, "feature"),
              project_ / ".derived/tome-workspaces/feature");
    EXPECT_EQ(quill::workspace_kept_files(project_), project_ / ".derived/tome-workspaces/.kept-files");
    EXPECT_EQ(quill::workspace_shared_store_path(project_), project_ / ".derived/tome-shared-store");
    EXPECT_EQ(quill::workspace_shared_store_path_string(project_), (project_ / ".derived/tome-shared-store").string());
}

TEST_F(WorkspacePaths, PackagePathIsMadeNormal) {
    EXPECT_EQ(quill::workspace_checkout_base(project_ / "Scenes/.."), project_ / ".derived/tome-workspaces");
    EXPECT_EQ(quill::workspace_shared_store_path_string(folder_ / "./P.quillproject/"),
              (project_ / ".derived/tome-shared-store").string());
    EXPECT_TRUE(quill::project_workspaces_index_path("P.quillproject").is_absolute());
}

TEST_F(WorkspacePaths, MainIsTheProjectsRepository) {
    EXPECT_EQ(quill::project_workspace_checkout_root(project_, ""), project_);
    EXPECT_EQ(quill::project_workspace_checkout_root(project_, "main"), project_);
    write_file(project_ / "project.json", "{\n  \"tomeRepository\": \"History\"\n}\n");
    EXPECT_EQ(quill::project_workspace_checkout_root(project_, ""), project_ / "History");
}

TEST_F(WorkspacePaths, IdThatWouldLeaveTheFolderIsRefused) {
    for (const std::string id : {"..", "../x", "/etc", ".branch-index", "a/b"}) {
        try {
            quill::checkout_root_for_workspace_id(project_, id);
            ADD_FAILURE() << id;
        } catch (const std::runtime_error& error) {
            EXPECT_EQ(error.what(), "invalid workspace id: " + id);
        }
    }
}

TEST_F(WorkspacePaths, ProcessTokenIsProcessAndClockAndStaysTheSame) {
    const std::string token = quill::workspace_process_token();
    const std::size_t dash = token.find('-');
    ASSERT_NE(dash, std::string::npos);
    EXPECT_EQ(token.substr(0, dash), std::to_string(getpid()));
    EXPECT_GT(token.size(), dash + 1);
    EXPECT_EQ(token.find_first_not_of("0123456789", dash + 1), std::string::npos);
    std::string other;
    std::thread([&] { other = quill::workspace_process_token(); }).join();
    EXPECT_EQ(other, token);
}

TEST_F(WorkspacePaths, TemporaryCheckoutsCarryTheProcessToken) {
    const fs::path base = quill::workspace_checkout_base(project_);
    const std::string token = quill::workspace_process_token();
    EXPECT_EQ(quill::workspace_main_commit_checkout(project_), base / (".main-commit-" + token));
    EXPECT_EQ(quill::workspace_main_materialize_checkout(project_), base / (".main-materialize-" + token));
    EXPECT_EQ(quill::workspace_branch_commit_checkout(project_, "feature"),
              base / (".workspace-commit-feature-" + token));
}

TEST_F(WorkspacePaths, RecordFilesLieInTheWorkspacesFolder) {
    EXPECT_EQ(quill::project_workspaces_index_path(project_), project_ / "Workspaces/workspaces.json");
    EXPECT_EQ(quill::project_reviews_index_path(project_), project_ / "Workspaces/reviews.json");
    EXPECT_EQ(quill::project_comments_index_path(project_), project_ / "Workspaces/comments.json");
}

}  // namespace
