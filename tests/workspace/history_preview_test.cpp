#include "workspace/history/history_preview.h"

#include <gtest/gtest.h>

#include <quill/quill.h>

#include "tests/support/failure.h"
#include "tests/workspace/history_project.h"

namespace quill {
namespace {

using quill_test::failure_of;
using quill_test::HistoryProject;
using quill_test::read_file;
using quill_test::write_file;

TEST(HistoryPreview, IdsAreBuiltAndParsed) {
    std::string workspace;
    std::string revision;
    EXPECT_EQ(history_preview_workspace_id("", "abc123"), "history-preview--main--abc123");
    ASSERT_TRUE(parse_history_preview_workspace_id("history-preview--main--abc123", workspace, revision));
    EXPECT_EQ(workspace, "main");
    EXPECT_EQ(revision, "abc123");
    ASSERT_TRUE(parse_history_preview_workspace_id("history-preview--a--b--c", workspace, revision));
    EXPECT_EQ(workspace, "a--b");
    EXPECT_EQ(revision, "c");
}

TEST(HistoryPreview, MalformedScopesAreRefused) {
    std::string workspace;
    std::string revision;
    for (const std::string id : {"", "main", "history-preview--", "history-preview----r", "history-preview--main--",
                                 "history-preview--main--a.b", "history-preview--../x--a", "History-preview--a--b"}) {
        EXPECT_FALSE(parse_history_preview_workspace_id(id, workspace, revision)) << id;
    }
    for (const std::string bad : {"", "a-b", "a.b"}) {
        EXPECT_EQ(failure_of([&] { history_preview_workspace_id("main", bad); }),
                  "invalid workspace history preview scope");
    }
    EXPECT_THROW(history_preview_workspace_id("../x", "abc"), std::runtime_error);
}

TEST(HistoryPreview, ShowsTheSceneOfAnEarlierRevisionAndIsReused) {
    const HistoryProject project;
    const std::string first = project.commit("first");
    project.commit("second");
    const std::string id = history_preview_workspace_id("main", first);
    const ProjectWorkspaceResolution preview = resolve_project_workspace_scene(project.package(), {}, id);
    EXPECT_EQ(preview.workspaceId, id);
    EXPECT_EQ(preview.scenePath, "Scenes/Main.usda");
    EXPECT_EQ(read_file(preview.absoluteScene), "first");
    EXPECT_EQ(read_file(project.scene()), "second");
    write_file(preview.checkoutRoot / "mark", "kept");
    resolve_project_workspace_scene(project.package(), {}, id);
    EXPECT_EQ(read_file(preview.checkoutRoot / "mark"), "kept");
}

TEST(HistoryPreview, RefusesForeignRevisionsAndMissingScenes) {
    const HistoryProject project;
    const std::string head = project.commit("first");
    EXPECT_EQ(failure_of([&] {
                  resolve_project_workspace_revision_scene(project.package(), {}, "main", std::string(64, 'a'));
              }),
              "target revision is not in this workspace's history");
    EXPECT_EQ(failure_of([&] {
                  resolve_project_workspace_revision_scene(project.package(), project.package() / "Scenes/No.usda",
                                                           "main", head);
              }),
              "scene does not exist in the selected historical revision");
}

TEST(HistoryPreview, WorkspaceSceneLiesInItsCheckout) {
    const HistoryProject project;
    create_project_workspace(project.package(), project.scene(), "main", "Feature", "ben");
    const ProjectWorkspaceResolution main = resolve_project_workspace_scene(project.package(), {}, "");
    EXPECT_EQ(main.absoluteScene, project.scene());
    const ProjectWorkspaceResolution feature = resolve_project_workspace_scene(project.package(), {}, "feature");
    EXPECT_EQ(feature.checkoutRoot, project_workspace_checkout_root(project.package(), "feature"));
    EXPECT_TRUE(std::filesystem::is_regular_file(feature.absoluteScene));
    EXPECT_EQ(failure_of([&] { resolve_project_workspace_scene(project.package(), {}, "nobody"); }),
              "workspace not found: nobody");
}

TEST(HistoryPreview, SceneOfAKnownWorkspaceIsFoundWhileTheRemoteIsAway) {
    const HistoryProject project;
    create_project_workspace(project.package(), project.scene(), "main", "Feature", "ben");
    const ProjectWorkspaceResolution before = resolve_project_workspace_scene(project.package(), {}, "feature");
    std::filesystem::rename(project.remote(), project.remote().string() + " away");
    const ProjectWorkspaceResolution after = resolve_project_workspace_scene(project.package(), {}, "feature");
    EXPECT_EQ(after.absoluteScene, before.absoluteScene);
}

}  // namespace
}  // namespace quill
