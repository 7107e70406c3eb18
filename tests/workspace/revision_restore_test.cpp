#include "workspace/revision_restore.h"

#include <gtest/gtest.h>

#include <quill/quill.h>

#include "tests/workspace/history_project.h"
#include "workspace/workspace_index_file.h"
#include "workspace/workspace_paths.h"

namespace quill {
namespace {

using quill_test::HistoryProject;
using quill_test::read_file;
using quill_test::write_file;

std::string failure_of(const std::function<void()>& action) {
    try {
        action();
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "(no failure)";
}

bool has_scratch_folders(const HistoryProject& project) {
    for (const auto& entry : std::filesystem::directory_iterator(workspace_checkout_base(project.package()))) {
        if (entry.path().filename().string().starts_with(".workspace-restore-")) {
            return true;
        }
    }
    return false;
}

TEST(RevisionRestore, BringsFilesBackAndRemovesLaterOnes) {
    const HistoryProject project;
    const std::string first = project.commit("first");
    project.commit("later", "Assets/later.txt");
    const std::string head = project.commit("second");
    const auto result =
        restore_project_workspace_revision(project.package(), "", first, head, "ana", "", project.id(), {});
    EXPECT_EQ(result.workspaceId, "main");
    EXPECT_EQ(result.targetRevision, first);
    EXPECT_EQ(result.previousHead, head);
    EXPECT_EQ(result.restoredHeadInfo, 5U);
    EXPECT_EQ(result.verifiedLiveFileCount, 2U);
    EXPECT_TRUE(result.liveVerified);
    EXPECT_EQ(read_file(project.scene()), "first");
    EXPECT_FALSE(std::filesystem::exists(project.package() / "Assets/later.txt"));
    const auto revision = list_project_workspace_revisions(project.package(), "main", 1).at(0);
    EXPECT_EQ(revision.id, result.restoredHead);
    EXPECT_EQ(revision.summary, "Restored earlier workspace state");
    EXPECT_EQ(revision.changedFileCount, 2U);
    EXPECT_FALSE(has_scratch_folders(project));
}

TEST(RevisionRestore, RefusesWhatDoesNotFitTheHistoryThatWasSeen) {
    const HistoryProject project;
    const std::string first = project.commit("first");
    const std::string head = project.commit("second");
    const auto restore = [&](const std::string& workspace, const std::string& target, const std::string& expected,
                             const std::string& id) {
        return failure_of([&] {
            restore_project_workspace_revision(project.package(), workspace, target, expected, "", "", id, {});
        });
    };
    EXPECT_EQ(restore("main", first, head, ""),
              "project changed since history was opened; reopen history and try again");
    EXPECT_EQ(restore("main", first, head, "another-project"),
              "project changed since history was opened; reopen history and try again");
    EXPECT_EQ(restore("main", "", head, project.id()), "restore requires a target revision");
    EXPECT_EQ(restore("nobody", first, head, project.id()), "workspace branch does not exist: nobody");
    EXPECT_EQ(restore("main", first, first, project.id()),
              "workspace changed since history was opened; refresh history and try again");
    EXPECT_EQ(restore("main", std::string(64, 'a'), "", project.id()),
              "target revision is not in this workspace's history");
    EXPECT_EQ(restore("main", head, "", project.id()), "that revision is already current");
    EXPECT_EQ(read_file(project.scene()), "second");
}

TEST(RevisionRestore, ProjectWithoutAStableIdIsRefused) {
    const HistoryProject project;
    write_file(project.package() / "project.json", "{}");
    EXPECT_EQ(
        failure_of([&] { restore_project_workspace_revision(project.package(), "main", "a", "", "", "", "x", {}); }),
        "restore requires a project with a stable project ID");
}

TEST(RevisionRestore, WithoutAnExpectedHeadOrAuthorItRestoresAllTheSame) {
    const HistoryProject project;
    const std::string first = project.commit("first");
    project.commit("second");
    restore_project_workspace_revision(project.package(), "main", first, "", "", "Back", project.id(), {});
    const auto revision = list_project_workspace_revisions(project.package(), "main", 1).at(0);
    EXPECT_EQ(revision.author, "");
    EXPECT_EQ(revision.summary, "Back");
}

TEST(RevisionRestore, FailureOfTheCallbackEndsItBeforeAnythingChanged) {
    const HistoryProject project;
    const std::string first = project.commit("first");
    const std::string head = project.commit("second");
    const std::string failure = failure_of([&] {
        restore_project_workspace_revision(project.package(), "main", first, head, "", "", project.id(),
                                           [](const std::filesystem::path& root) {
                                               EXPECT_EQ(read_file(root / "Scenes/Main.usda"), "first");
                                               throw std::runtime_error("not this one");
                                           });
    });
    EXPECT_EQ(failure, "not this one");
    EXPECT_EQ(list_project_workspace_revisions(project.package(), "main", 1).at(0).id, head);
    EXPECT_EQ(read_file(project.scene()), "second");
    EXPECT_FALSE(has_scratch_folders(project));
}

TEST(RevisionRestore, OfABranchWritesItsCheckoutAndItsIndexRecord) {
    const HistoryProject project;
    create_project_workspace(project.package(), project.scene(), "main", "Feature", "ben");
    const auto root = resolve_project_workspace_scene(project.package(), {}, "feature").checkoutRoot;
    const std::string first = list_project_workspace_revisions(project.package(), "feature", 1).at(0).id;
    const std::string bytes = read_file(root / "Scenes/Main.usda");
    write_file(root / "Scenes/Main.usda", "changed");
    update_project_workspace_head(project.package(), "feature", root, {"Scenes/Main.usda"}, "ben", "change");
    const auto result =
        restore_project_workspace_revision(project.package(), "feature", first, "", "ben", "", project.id(), {});
    EXPECT_EQ(read_file(root / "Scenes/Main.usda"), bytes);
    EXPECT_EQ(read_workspaces_without_main(project.package()).at(0).headKey, result.restoredHead);
    EXPECT_EQ(list_project_workspace_revisions(project.package(), "main", 10).size(), 1U);
}

}  // namespace
}  // namespace quill
