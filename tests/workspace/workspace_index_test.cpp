#include "workspace/index/workspace_index.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <chrono>

#include "tests/support/package_folder.h"
#include "workspace/index/branch_index_cache.h"
#include "workspace/index/workspace_index_file.h"

namespace {

using namespace std::chrono_literals;
using quill::ProjectWorkspace;
using Names = std::vector<std::string>;

ProjectWorkspace workspace(const std::string& id, const std::string& name) {
    ProjectWorkspace made;
    made.id = id;
    made.name = name;
    return made;
}

// A project without a remote: what is shown is the index file.
class WorkspaceIndex : public quill_test::PackageFolder {
  protected:
    WorkspaceIndex() {
        write_manifest("{\n}\n");
        ProjectWorkspace archived = workspace("old", "Old");
        archived.archived = true;
        quill::write_workspaces_without_main(project_, {workspace("feature", "Feature"), archived});
    }
};

TEST_F(WorkspaceIndex, WithoutARemoteListsTheIndexFile) {
    for (const auto& list :
         {quill::list_project_workspaces(project_, false), quill::refresh_project_workspaces(project_, false)}) {
        ASSERT_EQ(list.size(), 2u);
        EXPECT_EQ(list[0].id, "main");
        EXPECT_EQ(list[1].id, "feature");
    }
    EXPECT_EQ(quill::list_project_workspaces(project_, true).size(), 3u);
}

TEST_F(WorkspaceIndex, FindsByTheExactId) {
    ASSERT_TRUE(quill::find_project_workspace(project_, "feature", false));
    EXPECT_EQ(quill::find_project_workspace(project_, "feature", false)->name, "Feature");
    EXPECT_EQ(quill::find_project_workspace(project_, "main", false)->name, "Main");
    EXPECT_FALSE(quill::find_project_workspace(project_, "Feature", false));
    EXPECT_FALSE(quill::find_project_workspace(project_, "", false));
}

TEST_F(WorkspaceIndex, FindsArchivedOnesWhenAsked) {
    EXPECT_FALSE(quill::find_project_workspace(project_, "old", false));
    EXPECT_TRUE(quill::find_project_workspace(project_, "old", true));
}

// ---- When a refresh is due

TEST(WorkspaceIndexRefresh, IsDueAtFirstAndTenSecondsAfterAFailure) {
    quill::WorkspaceBranchIndexCache cache;
    EXPECT_TRUE(quill::branch_index_refresh_is_due(cache, 1ns));
    cache.last_attempt = 100s;
    EXPECT_FALSE(quill::branch_index_refresh_is_due(cache, 110s - 1ns));
    EXPECT_TRUE(quill::branch_index_refresh_is_due(cache, 110s));
}

TEST(WorkspaceIndexRefresh, IsDueFiveSecondsAfterASuccess) {
    quill::WorkspaceBranchIndexCache cache;
    cache.has_index = true;
    cache.last_attempt = 1s;
    cache.last_success = 100s;
    EXPECT_FALSE(quill::branch_index_refresh_is_due(cache, 105s - 1ns));
    EXPECT_TRUE(quill::branch_index_refresh_is_due(cache, 105s));
}

TEST(WorkspaceIndexRefresh, IsNeverDueWhileOneRuns) {
    quill::WorkspaceBranchIndexCache cache;
    cache.refreshing = true;
    EXPECT_FALSE(quill::branch_index_refresh_is_due(cache, 1000s));
    cache.has_index = true;
    EXPECT_FALSE(quill::branch_index_refresh_is_due(cache, 1000s));
}

// ---- Display names

TEST(WorkspaceDisplayNames, AreTheNames) {
    EXPECT_EQ(quill::project_workspace_display_names({workspace("main", "x"), workspace("a", "Alpha")}),
              (Names{"Main", "Alpha"}));
    EXPECT_TRUE(quill::project_workspace_display_names({}).empty());
}

TEST(WorkspaceDisplayNames, ThatNormalizeAlikeCarryTheId) {
    EXPECT_EQ(quill::project_workspace_display_names(
                  {workspace("main", ""), workspace("a", "Look"), workspace("b", "look!"), workspace("c", "Look")}),
              (Names{"Main", "Look", "look! (b)", "Look (c)"}));
}

TEST(WorkspaceDisplayNames, MainIsTheMainWorkspaceAloneWhereverItStands) {
    EXPECT_EQ(quill::project_workspace_display_names({workspace("other", "Main"), workspace("main", "")}),
              (Names{"Main (other)", "Main"}));
}

TEST(WorkspaceDisplayNames, StayDistinctWhenAPlainNameLooksLikeASuffixedOne) {
    EXPECT_EQ(
        quill::project_workspace_display_names({workspace("x", "A (b)"), workspace("a", "A"), workspace("b", "A")}),
        (Names{"A (b)", "A", "A (b, 2)"}));
}

}  // namespace
