#include "workspace/index/workspace_lookup.h"

#include <gtest/gtest.h>

#include <quill/quill.h>

#include "tests/support/failure.h"
#include "tests/workspace/history_project.h"

namespace quill {
namespace {

using quill_test::failure_of;

// The remote has a workspace of which the package's index knows nothing.
class WorkspaceLookup : public testing::Test {
  protected:
    WorkspaceLookup() {
        create_project_workspace(package_, project_.scene(), "main", "Feature", "ben");
        std::filesystem::remove_all(package_ / "Workspaces");
        invalidate_tome_branch_index_cache(package_);
    }

    const quill_test::HistoryProject project_;
    const std::filesystem::path package_ = project_.package();
};

TEST_F(WorkspaceLookup, AsksTheRemoteForAWorkspaceThatItDoesNotKnow) {
    EXPECT_EQ(find_project_workspace_fresh(package_, "feature", false).value().name, "Feature");
    EXPECT_EQ(find_project_workspace_fresh(package_, "nobody", false), std::nullopt);
}

TEST_F(WorkspaceLookup, OfNothingIsThatOfMain) {
    EXPECT_EQ(find_project_workspace_fresh(package_, "", false).value().id, "main");
    EXPECT_EQ(require_workspace_branch(package_, "").id, "main");
    EXPECT_EQ(require_fresh_workspace_branch(package_, "").id, "main");
}

TEST_F(WorkspaceLookup, AsksTheRemoteAgainWhereThatIsForced) {
    const std::string before = require_workspace_branch(package_, "feature").headKey;
    quill_test::write_file(project_.scene(), "edit");
    const std::string head =
        update_project_workspace_head(package_, "feature", package_, {"Scenes/Main.usda"}, "ben", "edit").headKey;
    EXPECT_NE(head, before);
    EXPECT_EQ(find_project_workspace_fresh(package_, "feature", true).value().headKey, head);
    EXPECT_EQ(require_fresh_workspace_branch(package_, "feature").headKey, head);
}

TEST_F(WorkspaceLookup, SaysThatAWorkspaceDoesNotExist) {
    EXPECT_EQ(failure_of([&] { require_workspace_branch(package_, "nobody"); }),
              "workspace branch does not exist: nobody");
    EXPECT_EQ(failure_of([&] { require_fresh_workspace_branch(package_, "nobody"); }),
              "workspace branch does not exist");
}

}  // namespace
}  // namespace quill
