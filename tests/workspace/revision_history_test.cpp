#include "workspace/history/revision_history.h"

#include <gtest/gtest.h>

#include <quill/quill.h>

#include "records/wall_clock.h"
#include "tests/support/failure.h"
#include "tests/workspace/history_project.h"

namespace quill {
namespace {

using quill_test::failure_of;
using quill_test::HistoryProject;
using quill_test::read_file;
using quill_test::write_file;

TEST(RevisionHistory, ListsNewestFirstWithWhatTheCommitSaid) {
    const std::string since = wall_clock_milliseconds();
    const HistoryProject project;
    const std::string head = project.commit("two", "Scenes/Main.usda", "second");
    const auto revisions = list_project_workspace_revisions(project.package(), "", 0);
    ASSERT_EQ(revisions.size(), 2U);
    EXPECT_EQ(revisions[0].id, head);
    EXPECT_EQ(revisions[0].order, 2U);
    EXPECT_EQ(revisions[0].author, "ana");
    EXPECT_EQ(revisions[0].summary, "second");
    EXPECT_EQ(revisions[0].changedFileCount, 1U);
    EXPECT_TRUE(revisions[0].current);
    EXPECT_EQ(revisions[0].linkedHash1, revisions[1].id);
    EXPECT_EQ(revisions[0].linkedHash2, "");
    EXPECT_FALSE(revisions[1].current);
    EXPECT_EQ(revisions[1].summary, "Initialize Keel project workspace state");
    EXPECT_GE(std::stoull(revisions[1].createdAt), std::stoull(since));
}

TEST(RevisionHistory, MergesAndRestartsShowWhatTheRevisionSays) {
    const std::string since = wall_clock_milliseconds();
    const HistoryProject project;
    create_project_workspace(project.package(), project.scene(), "main", "Feature", "ben");
    write_file(project.package() / "Assets/a.txt", "a");
    update_project_workspace_head(project.package(), "feature", project.package(), {"Assets/a.txt"}, "ben", "more");
    project.commit("b", "Assets/b.txt");
    merge_project_workspace_into(project.package(), "feature", "main", "");
    const ProjectWorkspaceRevision merge = list_project_workspace_revisions(project.package(), "main", 1).at(0);
    EXPECT_NE(merge.linkedHash2, "");
    EXPECT_EQ(merge.summary, "Merge Quill workspace feature into main");
    EXPECT_GE(std::stoull(merge.createdAt), std::stoull(since));
    write_file(project.package() / "Assets/c.txt", "c");
    initialize_project_tome_repository(project.package());
    EXPECT_EQ(list_project_workspace_revisions(project.package(), "main", 1).at(0).summary,
              "Initialize imported Keel project workspace state");
}

TEST(RevisionHistory, LimitHoldsAndZeroMeansFifty) {
    const HistoryProject project;
    for (int i = 0; i < 51; ++i) {
        project.commit(std::to_string(i));
    }
    EXPECT_EQ(list_project_workspace_revisions(project.package(), "main", 3).size(), 3U);
    EXPECT_EQ(list_project_workspace_revisions(project.package(), "main", 0).size(), 50U);
}

TEST(RevisionHistory, SummariesThatSayNothingAreReplaced) {
    EXPECT_EQ(displayed_revision_summary("Workspace revision", 1), "Scene updated");
    EXPECT_EQ(displayed_revision_summary("Quill workspace edit", 3), "Updated 3 project files");
    EXPECT_EQ(displayed_revision_summary("", 0), "Scene updated");
    EXPECT_EQ(displayed_revision_summary("Moved the pond", 3), "Moved the pond");
}

TEST(RevisionHistory, NewWorkspaceKeepsTheDisplayValuesOfItsParent) {
    const HistoryProject project;
    project.commit("two", "Scenes/Main.usda", "second");
    create_project_workspace(project.package(), project.scene(), "main", "Feature", "ben");
    EXPECT_EQ(list_project_workspace_revisions(project.package(), "feature", 1).at(0).summary, "second");
}

// Nor is a new one made in its place.
TEST(RevisionHistory, OfARepositoryThatLostItsDatabaseIsNotEmpty) {
    const HistoryProject project;
    const std::filesystem::path repository = project.remote() / project.id();
    std::filesystem::remove(repository / "store.db");
    const auto names_it = [&](const std::string& text) {
        return text.find("corrupt store: " + repository.string()) != std::string::npos;
    };
    EXPECT_PRED1(names_it, failure_of([&] { list_project_workspace_revisions(project.package(), "main", 0); }));
    EXPECT_PRED1(names_it, failure_of([&] { project.commit("edit"); }));
    EXPECT_FALSE(std::filesystem::exists(repository / "store.db"));
}

TEST(RevisionHistory, UnknownWorkspaceIsRefused) {
    const HistoryProject project;
    EXPECT_EQ(failure_of([&] { list_project_workspace_revisions(project.package(), "nobody", 1); }),
              "workspace branch does not exist: nobody");
}

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

}  // namespace
}  // namespace quill
