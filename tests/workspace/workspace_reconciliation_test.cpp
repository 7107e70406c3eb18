#include "workspace/index/workspace_reconciliation.h"

#include <gtest/gtest.h>

#include "tests/support/package_folder.h"
#include "tests/workspace/workspace_list.h"
#include "workspace/index/workspace_index_file.h"

namespace {

using quill::ProjectWorkspace;
using quill_test::ids;
using quill_test::workspace;
using Workspaces = std::vector<ProjectWorkspace>;

class WorkspaceReconciliation : public quill_test::PackageFolder {
  protected:
    WorkspaceReconciliation() { write_manifest("{\n}\n"); }
};

TEST_F(WorkspaceReconciliation, LocalIndexHoldsMainAndArchivedOnesWhenAsked) {
    ProjectWorkspace archived = workspace("old", "3");
    archived.archived = true;
    quill::write_workspaces_without_main(project_, {workspace("a", "1"), workspace("b", "2"), archived});
    EXPECT_EQ(ids(quill::local_workspace_index(project_, false)), "main b a");
    EXPECT_EQ(ids(quill::local_workspace_index(project_, true)), "main old b a");
}

TEST_F(WorkspaceReconciliation, ReconciledListHoldsTheRemotesWorkspaces) {
    ProjectWorkspace archived = workspace("old", "3");
    archived.archived = true;
    const Workspaces remote{workspace("a", "1"), workspace("b", "2"), archived, workspace("")};
    const Workspaces local{workspace("a"), workspace("only-here")};
    EXPECT_EQ(ids(quill::reconcile_local_workspaces_with_tome(local, remote, false)), "b a");
    EXPECT_EQ(ids(quill::reconcile_local_workspaces_with_tome(local, remote, true)), "old b a");
}

TEST_F(WorkspaceReconciliation, LocalNameParentAndSceneWinWhenThereAreAny) {
    ProjectWorkspace local = workspace("a");
    local.name = "Local";
    local.parentId = "parent";
    local.baseScene = "Scenes/Local.usda";
    const ProjectWorkspace remote = workspace("a");
    const ProjectWorkspace merged = quill::reconcile_local_workspaces_with_tome({local}, {remote}, false).at(0);
    EXPECT_EQ(merged.name, "Local");
    EXPECT_EQ(merged.parentId, "parent");
    EXPECT_EQ(merged.baseScene, "Scenes/Local.usda");
    local.name = local.parentId = local.baseScene = "";
    const ProjectWorkspace kept = quill::reconcile_local_workspaces_with_tome({local}, {remote}, false).at(0);
    EXPECT_EQ(kept.name, "Name of a");
    EXPECT_EQ(kept.parentId, "main");
    EXPECT_EQ(kept.baseScene, "Scenes/Main.usda");
}

TEST_F(WorkspaceReconciliation, LocalTimesAndAuthorFillInAlone) {
    ProjectWorkspace local = workspace("a", "5");
    local.createdAt = "4";
    local.author = "ana";
    local.headKey = "local";
    ProjectWorkspace remote = workspace("a", "");
    remote.createdAt = "";
    remote.headKey = "remote";
    const ProjectWorkspace filled = quill::reconcile_local_workspaces_with_tome({local}, {remote}, false).at(0);
    EXPECT_EQ(filled.createdAt + filled.updatedAt + filled.author, "45ana");
    EXPECT_EQ(filled.headKey, "remote");
    remote.createdAt = "7";
    remote.updatedAt = "8";
    remote.author = "bob";
    const ProjectWorkspace kept = quill::reconcile_local_workspaces_with_tome({local}, {remote}, false).at(0);
    EXPECT_EQ(kept.createdAt + kept.updatedAt + kept.author, "78bob");
}

TEST_F(WorkspaceReconciliation, WorkspaceWithoutNameOrParentGetsThem) {
    ProjectWorkspace remote = workspace("a");
    remote.name = remote.parentId = "";
    ProjectWorkspace main = workspace("main");
    main.parentId = "";
    const Workspaces merged = quill::reconcile_local_workspaces_with_tome({}, {remote, main}, false);
    EXPECT_EQ(merged.at(0).parentId, "");
    EXPECT_EQ(merged.at(1).name, "a");
    EXPECT_EQ(merged.at(1).parentId, "main");
}

}  // namespace
