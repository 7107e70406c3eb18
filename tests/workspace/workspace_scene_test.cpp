#include "workspace/checkout/workspace_scene.h"

#include <gtest/gtest.h>

#include "tests/support/package_folder.h"

namespace {

namespace fs = std::filesystem;
using quill::canonical_workspace_scene_uri;
using quill::ProjectWorkspace;

class WorkspaceScene : public quill_test::PackageFolder {
  protected:
    WorkspaceScene() {
        write_manifest("{\n  \"mainScene\": \"Scenes/../Sets/A.usda\"\n}\n");
        workspace_.id = "feature";
    }

    ProjectWorkspace workspace_;
};

TEST_F(WorkspaceScene, MainWorkspaceIsMadeFromThePackage) {
    const ProjectWorkspace main = quill::main_workspace(project_);
    EXPECT_EQ(main.id, "main");
    EXPECT_EQ(main.name, "Main");
    EXPECT_EQ(main.parentId, "");
    EXPECT_EQ(main.baseScene, "Sets/A.usda");
    EXPECT_EQ(main.headKey, "");
    EXPECT_FALSE(main.archived);
    EXPECT_EQ(main.createdAt, "0");
    EXPECT_EQ(main.updatedAt, "0");
    EXPECT_EQ(main.author, "");
}

TEST_F(WorkspaceScene, BaseSceneIsTheRecordsElseTheProjects) {
    EXPECT_EQ(quill::resolve_workspace_base_scene(project_, workspace_), project_ / "Sets/A.usda");
    workspace_.baseScene = "Scenes/./B.usda";
    EXPECT_EQ(quill::resolve_workspace_base_scene(project_, workspace_), project_ / "Scenes/B.usda");
}

TEST_F(WorkspaceScene, PathRelativeToTheCheckoutIsNormal) {
    EXPECT_EQ(quill::scene_relative_path("/a/./checkout/", "/a/checkout/Scenes/../B.usda"), "B.usda");
}

TEST_F(WorkspaceScene, CanonicalSceneOfAnEmptyPathIsTheBaseScene) {
    workspace_.baseScene = "Scenes/B.usda";
    EXPECT_EQ(canonical_workspace_scene_uri(project_, workspace_, ""), "Scenes/B.usda");
}

TEST_F(WorkspaceScene, CanonicalSceneIsRelativeToTheProject) {
    EXPECT_EQ(canonical_workspace_scene_uri(project_, workspace_, project_ / "Sets/../C.usda"), "C.usda");
    EXPECT_EQ(canonical_workspace_scene_uri(project_, workspace_, project_ / "a..b/C.usda"), "a..b/C.usda");
}

TEST_F(WorkspaceScene, SceneOutsideThePackageHasNoCanonicalPath) {
    EXPECT_FALSE(canonical_workspace_scene_uri(project_, workspace_, folder_ / "C.usda"));
    EXPECT_FALSE(canonical_workspace_scene_uri(project_, workspace_, project_ / "../C.usda"));
    EXPECT_FALSE(canonical_workspace_scene_uri(project_, workspace_, project_));
    workspace_.baseScene = "../C.usda";
    EXPECT_FALSE(canonical_workspace_scene_uri(project_, workspace_, ""));
}

TEST_F(WorkspaceScene, HiddenSceneHasNoCanonicalPath) {
    EXPECT_FALSE(canonical_workspace_scene_uri(project_, workspace_, project_ / "..sets/C.usda"));
    EXPECT_FALSE(canonical_workspace_scene_uri(project_, workspace_, project_ / ".ssh/authorized_keys"));
    workspace_.baseScene = ".ssh/authorized_keys";
    EXPECT_FALSE(canonical_workspace_scene_uri(project_, workspace_, ""));
}

}  // namespace
