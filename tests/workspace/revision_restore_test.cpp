#include "workspace/history/revision_restore.h"

#include <gtest/gtest.h>

#include <quill/quill.h>

#include "project/workspace_paths.h"
#include "tests/support/failure.h"
#include "tests/workspace/history_project.h"
#include "workspace/history/live_project_restore.h"
#include "workspace/index/workspace_index_file.h"

namespace quill {
namespace {

using quill_test::failure_of;
using quill_test::HistoryProject;
using quill_test::read_file;
using quill_test::write_file;

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

TEST(RevisionRestore, BringsBackAFileWhereAFolderIsNowAndAFolderWhereAFileIs) {
    const HistoryProject project;
    project.commit("file", "Assets/a");
    const std::string first = project.commit("inner", "Assets/b/inner.txt");
    const auto assets = project.package() / "Assets";
    std::filesystem::remove(assets / "a");
    std::filesystem::remove_all(assets / "b");
    project.commit("new", "Assets/a/new.txt");
    project.commit("flat", "Assets/b");
    restore_project_workspace_revision(project.package(), "main", first, "", "", "", project.id(), {});
    EXPECT_EQ(read_file(assets / "a"), "file");
    EXPECT_EQ(read_file(assets / "b/inner.txt"), "inner");
}

TEST(RevisionRestore, KeepsWhatItReplacedThatWasNeverCommitted) {
    const HistoryProject project;
    const std::string first = project.commit("first");
    project.commit("second");
    write_file(project.scene(), "an edit");
    write_file(project.package() / "Assets/new.txt", "a new file");
    restore_project_workspace_revision(project.package(), "main", first, "", "", "", project.id(), {});
    EXPECT_EQ(read_file(project.scene()), "first");
    EXPECT_FALSE(std::filesystem::exists(project.package() / "Assets/new.txt"));
    const KeptFileSet kept = list_kept_files(project.package()).at(0);
    EXPECT_EQ(kept.operation, "restore");
    EXPECT_EQ(kept.workspace, "main");
    EXPECT_TRUE(kept.complete);
    restore_kept_files(project.package(), kept.id, {});
    EXPECT_EQ(read_file(project.scene()), "an edit");
    EXPECT_EQ(read_file(project.package() / "Assets/new.txt"), "a new file");
}

TEST(RevisionRestore, RefusesAFolderInTheWayThatHoldsOtherThanTheProjectsFiles) {
    const quill_test::TemporaryFolder folder;
    write_file(folder / "restored/Workspaces", "a file of that name");
    write_file(folder / "live/Workspaces/workspaces.json", "{}");
    EXPECT_EQ(failure_of([&] { check_live_project(folder / "live", folder / "restored"); }),
              "workspace restore encountered an unsupported project entry: Workspaces");
}

TEST(RevisionRestore, OfABranchLeavesACheckoutThatKnowsItsFiles) {
    const HistoryProject project;
    project.commit("one", "Assets/a.txt");
    create_project_workspace(project.package(), project.scene(), "main", "Feature", "ben");
    const auto root = resolve_project_workspace_scene(project.package(), {}, "feature").checkoutRoot;
    const std::string first = list_project_workspace_revisions(project.package(), "feature", 1).at(0).id;
    write_file(root / "Scenes/Main.usda", "changed");
    update_project_workspace_head(project.package(), "feature", root, {"Scenes/Main.usda"}, "ben", "change");
    restore_project_workspace_revision(project.package(), "feature", first, "", "ben", "", project.id(), {});
    std::filesystem::remove(root / "Assets/a.txt");
    const auto result = update_project_workspace_head(project.package(), "feature", root, {"Assets/a.txt"}, "ben", "");
    ASSERT_EQ(result.files.size(), 1U);
    EXPECT_EQ(result.files[0].change, "delete");
}

TEST(RevisionRestore, IsRefusedBeforeAnythingIsPublishedWhenALinkStandsInTheWay) {
    const HistoryProject project;
    const std::string first = project.commit("a", "Assets/a.txt");
    const std::string head = project.commit("second");
    std::filesystem::rename(project.package() / "Assets", project.package() / ".moved");
    std::filesystem::create_directory_symlink(".moved", project.package() / "Assets");
    EXPECT_EQ(failure_of([&] {
                  restore_project_workspace_revision(project.package(), "main", first, head, "", "", project.id(), {});
              }),
              "could not create restored workspace folder: a symbolic link stands in the way of Assets/a.txt");
    EXPECT_EQ(list_project_workspace_revisions(project.package(), "main", 1).at(0).id, head);
    EXPECT_EQ(read_file(project.scene()), "second");
}

TEST(RevisionRestore, FileLeftByAKilledRestoreIsNotCommittedWithTheProject) {
    const HistoryProject project;
    project.commit("first");
    const std::string left = "Assets/a.txt.keel-restore-1795000000000-140230.tmp";
    write_file(project.package() / left, "half");
    write_file(project.package() / "Assets/a.txt.keel-restore-notes.tmp", "the user's");
    create_project_workspace(project.package(), project.scene(), "main", "Feature", "ben");
    sync_project_workspace_files(project.package(), "feature", {"Assets/a.txt.keel-restore-notes.tmp", left}, false);
    EXPECT_TRUE(std::filesystem::exists(project_workspace_checkout_root(project.package(), "feature") /
                                        "Assets/a.txt.keel-restore-notes.tmp"));
    EXPECT_FALSE(std::filesystem::exists(project_workspace_checkout_root(project.package(), "feature") / left));
}

}  // namespace
}  // namespace quill
