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

}  // namespace
}  // namespace quill
