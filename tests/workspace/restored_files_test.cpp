// What a restore, a sync and a merge do to modes and links of the files that the user works on.

#include <gtest/gtest.h>
#include <quill/quill.h>
#include <sys/stat.h>

#include <filesystem>
#include <string>

#include "project/visible_files.h"
#include "project/workspace_paths.h"
#include "tests/support/failure.h"
#include "tests/workspace/history_project.h"
#include "workspace/operations/workspace_creation.h"

namespace quill {
namespace {

namespace fs = std::filesystem;
using quill_test::failure_of;
using quill_test::HistoryProject;
using quill_test::read_file;
using quill_test::write_file;

class RestoredFiles : public testing::Test {
  protected:
    fs::path path(const std::string& relative) const { return project_.package() / relative; }
    fs::perms mode(const std::string& relative) const { return fs::status(path(relative)).permissions(); }

    std::string commit_everything() const {
        return update_project_workspace_head(project_.package(), "main", project_.package(), {}, "", "all").headKey;
    }
    ProjectWorkspaceRestoreResult restore(const std::string& revision, const std::string& workspace = "main") const {
        return restore_project_workspace_revision(project_.package(), workspace, revision, "", "", "", project_.id(),
                                                  {});
    }
    std::vector<std::string> paths_of_main() const {
        const auto head = list_project_workspace_revisions(project_.package(), "main", 1).at(0).id;
        const auto preview = resolve_project_workspace_revision_scene(project_.package(), {}, "main", head);
        return visible_project_files(preview.checkoutRoot);
    }

    HistoryProject project_;
};

TEST_F(RestoredFiles, HaveTheExecutableBitOfTheRevision) {
    write_file(path("run.sh"), "#!/bin/sh\n");
    fs::permissions(path("run.sh"), fs::perms(0755));
    const std::string executable = commit_everything();
    fs::permissions(path("run.sh"), fs::perms(0644));
    const std::string plain = commit_everything();
    const ProjectWorkspaceRestoreResult result = restore(executable);
    EXPECT_EQ(mode("run.sh"), fs::perms(0755));
    EXPECT_EQ(result.verifiedLiveFileCount, 1u);
    restore(plain);
    EXPECT_EQ(mode("run.sh"), fs::perms(0644));
    EXPECT_EQ(commit_everything(), list_project_workspace_revisions(project_.package(), "main", 1).at(0).id);
}

TEST_F(RestoredFiles, HaveTheExecutableBitOfTheRevisionAfterASyncThatWritesNoBytes) {
    write_file(path("run.sh"), "#!/bin/sh\n");
    fs::permissions(path("run.sh"), fs::perms(0755));
    commit_everything();
    fs::permissions(path("run.sh"), fs::perms(0644));
    sync_project_workspace_files(project_.package(), "main", {"run.sh"}, false);
    EXPECT_EQ(mode("run.sh"), fs::perms(0755));
}

TEST_F(RestoredFiles, KeepThePermissionsThatTheyHave) {
    write_file(path("private.txt"), "one");
    fs::permissions(path("private.txt"), fs::perms(0600));
    const std::string first = commit_everything();
    write_file(path("private.txt"), "two");
    const std::string second = commit_everything();
    restore(first);
    EXPECT_EQ(read_file(path("private.txt")), "one");
    EXPECT_EQ(mode("private.txt"), fs::perms(0600));
    restore(second);
    write_file(path("private.txt"), "three");
    sync_project_workspace_files(project_.package(), "main", {"private.txt"}, false);
    EXPECT_EQ(read_file(path("private.txt")), "two");
    EXPECT_EQ(mode("private.txt"), fs::perms(0600));
}

TEST_F(RestoredFiles, AreNotWrittenWhereTheyHoldTheSameBytes) {
    const std::string first = project_.commit("same", "Assets/a.txt");
    const fs::file_time_type before = fs::last_write_time(path("Assets/a.txt"));
    sync_project_workspace_files(project_.package(), "main", {"Assets/a.txt"}, false);
    EXPECT_EQ(fs::last_write_time(path("Assets/a.txt")), before);
    project_.commit("other", "Assets/b.txt");
    restore(first);
    EXPECT_EQ(fs::last_write_time(path("Assets/a.txt")), before);
}

TEST_F(RestoredFiles, AreCountedInAWorkspaceWhoseCheckoutIsYetToBeMade) {
    const std::string first = project_.commit("first");
    project_.commit("second");
    create_project_workspace(project_.package(), {}, "main", "Feature", "ana");
    const ProjectWorkspaceRestoreResult result = restore(first, "feature");
    EXPECT_NE(result.verifiedLiveFileCount, 0u);
    EXPECT_EQ(read_file(project_workspace_checkout_root(project_.package(), "feature") / "Scenes/Main.usda"), "first");
}

TEST_F(RestoredFiles, AreFilesOfTheirOwnWhereALinkLedToOneThatGoes) {
    project_.commit("wood", "Assets/wood.png");
    const std::string before = commit_everything();
    fs::remove(path("Assets/wood.png"));
    write_file(path("Assets/textures/wood.png"), "wood");
    fs::create_symlink("textures/wood.png", path("Assets/wood.png"));
    commit_everything();
    const ProjectWorkspaceRestoreResult result = restore(before);
    EXPECT_TRUE(result.liveVerified);
    EXPECT_FALSE(fs::is_symlink(path("Assets/wood.png")));
    EXPECT_EQ(read_file(path("Assets/wood.png")), "wood");
    EXPECT_FALSE(fs::exists(path("Assets/textures/wood.png")));
}

TEST_F(RestoredFiles, AreFilesOfTheirOwnWhereAMergeRemovesWhatALinkLedTo) {
    write_file(path("Assets/textures/wood.png"), "wood");
    fs::create_symlink("textures/wood.png", path("Assets/wood.png"));
    commit_everything();
    create_project_workspace(project_.package(), {}, "main", "Feature", "ana");
    const fs::path checkout = project_workspace_checkout_root(project_.package(), "feature");
    sync_project_workspace_files(project_.package(), "feature", {"Assets/textures/wood.png"}, false);
    fs::remove(checkout / "Assets/textures/wood.png");
    update_project_workspace_head(project_.package(), "feature", checkout, {"Assets/textures/wood.png"}, "", "");
    merge_project_workspace_into(project_.package(), "feature", "main", "");
    EXPECT_FALSE(fs::exists(path("Assets/textures/wood.png")));
    EXPECT_FALSE(fs::is_symlink(path("Assets/wood.png")));
    EXPECT_EQ(read_file(path("Assets/wood.png")), "wood");
    commit_everything();
    const std::vector<std::string> paths = paths_of_main();
    EXPECT_NE(std::find(paths.begin(), paths.end(), "Assets/wood.png"), paths.end());
}

}  // namespace
}  // namespace quill
