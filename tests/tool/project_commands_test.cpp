#include <gtest/gtest.h>

#include <algorithm>

#include "tests/tool/tool_project.h"

namespace quill_test {
namespace {

const std::string project = "P.quillproject";
const std::string scene = "Scenes/Main.usda";
const std::string feature = "P.quillproject/.derived/tome-workspaces/feature/";

// A project with a history and a workspace "feature" whose checkout holds the scene.
class WorkspaceCommands : public testing::Test {
  protected:
    void SetUp() override {
        folder.must({"create", project});
        ASSERT_EQ(folder.must({"create-workspace", project, "main", "Feature"}), "feature\n");
        folder.must({"sync-workspace", project, "feature", scene});
    }
    ToolFolder folder;
};

TEST_F(WorkspaceCommands, CreatingANameTwiceNumbersTheSecond) {
    EXPECT_EQ(folder.must({"create-workspace", project, "main", "Feature"}), "feature-2\n");
}

TEST_F(WorkspaceCommands, UnknownParentIsRefused) {
    const ProcessResult result = folder.run({"create-workspace", project, "nobody", "x"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "quill_project_tool: parent workspace does not exist: nobody\n");
}

TEST_F(WorkspaceCommands, CommitAndSyncCountTheGivenPaths) {
    folder.write(feature + scene, "#usda 1.0\n# one\n");
    EXPECT_EQ(folder.must({"commit-workspace", project, "feature", scene, scene}),
              "Committed 2 project files in workspace feature\n");
    EXPECT_EQ(folder.must({"sync-workspace", project, "feature", scene, scene, scene}),
              "Synced 3 project files into workspace feature\n");
    EXPECT_EQ(folder.text(project + "/" + scene), "#usda 1.0\n# one\n");
}

TEST_F(WorkspaceCommands, CommitToAWorkspaceLeavesMainAlone) {
    const std::string before = folder.text(project + "/" + scene);
    folder.write(feature + scene, "#usda 1.0\n# feature\n");
    folder.must({"commit-workspace", project, "feature", scene});
    folder.must({"sync-workspace", project, "main", scene});
    EXPECT_EQ(folder.text(project + "/" + scene), before);
}

TEST_F(WorkspaceCommands, SyncNeverOverwritesUncommittedEdits) {
    folder.write(feature + scene, "my edit");
    const std::string before = folder.text(project + "/" + scene);
    const ProcessResult result = folder.run({"sync-workspace", project, "feature", scene});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err,
              "quill_project_tool: tome_revision_sync: uncommitted changes would be overwritten: " + scene + "\n");
    EXPECT_EQ(folder.text(feature + scene), "my edit");
    EXPECT_EQ(folder.text(project + "/" + scene), before);
}

TEST_F(WorkspaceCommands, DeletedFileLeavesMainAndNewWorkspaces) {
    folder.write(project + "/Assets/old.txt", "old");
    folder.must({"commit-workspace", project, "main", "Assets/old.txt"});
    std::filesystem::remove(folder / (project + "/Assets/old.txt"));
    EXPECT_EQ(folder.must({"create-workspace", project, "main", "Later"}), "later\n");
    folder.write(project + "/Assets/old.txt", "still here");
    folder.must({"sync-workspace", project, "later", "Assets/old.txt"});
    EXPECT_FALSE(std::filesystem::exists(folder / (project + "/Assets/old.txt")));
}

TEST_F(WorkspaceCommands, DeletionOfAGivenPathIsCommitted) {
    folder.write(project + "/Assets/old.txt", "old");
    folder.must({"commit-workspace", project, "main", "Assets/old.txt"});
    std::filesystem::remove(folder / (project + "/Assets/old.txt"));
    folder.must({"commit-workspace", project, "main", "Assets/old.txt"});
    folder.write(project + "/Assets/old.txt", "back");
    folder.must({"sync-workspace", project, "main", "Assets/old.txt"});
    EXPECT_FALSE(std::filesystem::exists(folder / (project + "/Assets/old.txt")));
}

TEST_F(WorkspaceCommands, FileThatTheWorkspaceCheckoutNeverHeldIsNotDeleted) {
    folder.write(project + "/Assets/kept.txt", "kept");
    folder.must({"commit-workspace", project, "main", "Assets/kept.txt"});
    folder.must({"create-workspace", project, "main", "Second"});
    folder.must({"commit-workspace", project, "second", "Assets/kept.txt"});
    folder.must({"create-workspace", project, "second", "Third"});
    folder.must({"sync-workspace", project, "third", "Assets/kept.txt"});
    EXPECT_EQ(folder.text(project + "/Assets/kept.txt"), "kept");
}

TEST_F(WorkspaceCommands, FileDeletedInAWorkspaceCheckoutIsMissingFromItsChildren) {
    folder.write(project + "/Assets/old.txt", "old");
    folder.must({"commit-workspace", project, "main", "Assets/old.txt"});
    folder.must({"create-workspace", project, "main", "Second"});
    folder.must({"sync-workspace", project, "second", "Assets/old.txt"});
    std::filesystem::remove(folder / (project + "/.derived/tome-workspaces/second/Assets/old.txt"));
    folder.must({"create-workspace", project, "second", "Third"});
    folder.must({"sync-workspace", project, "third", "Assets/old.txt"});
    EXPECT_FALSE(std::filesystem::exists(folder / (project + "/Assets/old.txt")));
}

TEST_F(WorkspaceCommands, CommitOfANameThatDiffersByCaseAloneIsRefused) {
    folder.write(project + "/Assets/rock.png", "one");
    folder.must({"commit-workspace", project, "main", "Assets/rock.png"});
    std::filesystem::rename(folder / (project + "/Assets"), folder / (project + "/assets"));
    const ProcessResult result = folder.run({"commit-workspace", project, "main", "assets/rock.png"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err,
              "quill_project_tool: tome_revision_commit: names differ only by case or normalisation: Assets and "
              "assets\n");
    folder.must({"create-workspace", project, "main", "Second"});
    EXPECT_EQ(folder.must({"sync-workspace", project, "second", "assets/rock.png"}),
              "Synced 1 project files into workspace second\n");
}

TEST_F(WorkspaceCommands, PathThatNeverExistedCommitsNothing) {
    EXPECT_EQ(folder.must({"commit-workspace", project, "main", "Assets/none"}),
              "Committed 1 project files in workspace main\n");
    EXPECT_EQ(folder.must({"initialize-history", project}), "Initialized project history at revision 1\n");
}

TEST_F(WorkspaceCommands, SyncThroughALinkOutOfThePackageIsRefused) {
    folder.write(project + "/Assets/old.txt", "old");
    folder.must({"commit-workspace", project, "main", "Assets/old.txt"});
    std::filesystem::remove_all(folder / (project + "/Assets"));
    folder.write("outside/old.txt", "theirs");
    std::filesystem::create_directory_symlink(folder / "outside", folder / (project + "/Assets"));
    const ProcessResult result = folder.run({"sync-workspace", project, "main", "Assets/old.txt"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err,
              "quill_project_tool: could not create merged project folder: a symbolic link stands in the way of "
              "Assets/old.txt\n");
    EXPECT_EQ(folder.text("outside/old.txt"), "theirs");
}

TEST_F(WorkspaceCommands, PathOutsideTheProjectIsRefused) {
    folder.write("outside.usda", "x");
    const ProcessResult result = folder.run({"commit-workspace", project, "main", "../outside.usda"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err,
              "quill_project_tool: invalid changed project path while persisting workspace: ../outside.usda\n");
}

TEST_F(WorkspaceCommands, HiddenPathIsPassedOver) {
    folder.write(project + "/Build/out.bin", "x");
    EXPECT_EQ(folder.must({"commit-workspace", project, "main", "Build/out.bin"}),
              "Committed 1 project files in workspace main\n");
}

TEST_F(WorkspaceCommands, NamesWithQuotesLineFeedsAndOtherLettersGoRound) {
    const std::string name = "Assets/\"it's\"\n\xc3\xa4 %_'; DROP TABLE object.txt";
    folder.write(project + "/" + name, "bytes");
    folder.must({"commit-workspace", project, "main", name});
    std::filesystem::remove(folder / (project + "/" + name));
    folder.must({"sync-workspace", project, "main", name});
    EXPECT_EQ(folder.text(project + "/" + name), "bytes");
}

TEST_F(WorkspaceCommands, UnknownWorkspaceIsOneErrorLine) {
    for (const std::string command : {"commit-workspace", "sync-workspace"}) {
        const ProcessResult result = folder.run({command, project, "nobody", scene});
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.err, "quill_project_tool: workspace branch does not exist: nobody\n");
    }
}

TEST_F(WorkspaceCommands, MissingRemoteIsOneErrorLineAndComesBack) {
    std::filesystem::rename(folder / "remote", folder / "elsewhere");
    folder.write(feature + scene, "edit");
    const ProcessResult result = folder.run({"commit-workspace", project, "feature", scene});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
    std::filesystem::remove_all(folder / "remote");
    std::filesystem::rename(folder / "elsewhere", folder / "remote");
    folder.must({"commit-workspace", project, "feature", scene});
}

TEST_F(WorkspaceCommands, DamagedCheckoutIsOneErrorLine) {
    folder.write(feature + ".tome/config.toml", "remote_url = ");
    folder.write(feature + scene, "edit");
    const ProcessResult result = folder.run({"commit-workspace", project, "feature", scene});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
    EXPECT_EQ(folder.text(feature + scene), "edit");
}

TEST_F(WorkspaceCommands, InterruptedCloneIsReplaced) {
    std::filesystem::remove(folder / (feature + ".tome/config.toml"));
    folder.must({"sync-workspace", project, "feature", scene});
    EXPECT_TRUE(std::filesystem::exists(folder / (feature + ".tome/config.toml")));
}

TEST_F(WorkspaceCommands, EditsInAWorkspaceFolderOutliveTheLossOfItsState) {
    for (const char* lost : {".tome", ".tome/config.toml"}) {
        folder.must({"create-workspace", project, "main", "Other"});
        const std::string id = lost == std::string(".tome") ? "other" : "other-2";
        const std::string checkout = project + "/.derived/tome-workspaces/" + id + "/";
        folder.must({"sync-workspace", project, id, scene});
        folder.write(checkout + scene, "edited");
        folder.write(checkout + "new.txt", "new");
        std::filesystem::remove_all(folder / (checkout + lost));
        for (const char* command : {"commit-workspace", "sync-workspace"}) {
            const ProcessResult result = folder.run({command, project, id, scene});
            EXPECT_EQ(result.status, 1) << lost;
            EXPECT_EQ(
                result.err,
                "quill_project_tool: tome_repository_clone: uncommitted changes would be overwritten: " + scene + "\n");
            EXPECT_EQ(folder.text(checkout + scene), "edited");
            EXPECT_EQ(folder.text(checkout + "new.txt"), "new");
        }
    }
}

TEST_F(WorkspaceCommands, FilesPutIntoAWorkspaceFolderBeforeItsFirstUseAreCommitted) {
    folder.must({"create-workspace", project, "main", "Other"});
    const std::string checkout = project + "/.derived/tome-workspaces/other/";
    folder.write(checkout + "new.txt", "new");
    folder.must({"commit-workspace", project, "other", "new.txt"});
    std::filesystem::remove_all(folder / checkout);
    folder.must({"sync-workspace", project, "other", "new.txt"});
    EXPECT_EQ(folder.text(project + "/new.txt"), "new");
}

// A copy of the package, whose workspace's checkout names the store of the original and so commits in itself.
class CopiedWorkspace : public WorkspaceCommands {
  protected:
    void SetUp() override {
        WorkspaceCommands::SetUp();
        std::filesystem::copy(folder / project, folder / copy, std::filesystem::copy_options::recursive);
    }
    const std::string copy = "Copy.quillproject";
    const std::string copied_feature = "Copy.quillproject/.derived/tome-workspaces/feature/";
};

TEST_F(CopiedWorkspace, CommitOfAFileThatAnotherChangedIsRefusedEachTimeAndKept) {
    folder.write(feature + scene, "#usda 1.0\n# first\n");
    folder.must({"commit-workspace", project, "feature", scene});
    folder.write(copied_feature + scene, "#usda 1.0\n# second\n");
    for (int attempt = 0; attempt < 3; ++attempt) {
        const ProcessResult result = folder.run({"commit-workspace", copy, "feature", scene});
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.err,
                  "quill_project_tool: tome_revision_sync: uncommitted changes would be overwritten: " + scene + "\n");
        EXPECT_EQ(folder.text(copied_feature + scene), "#usda 1.0\n# second\n");
    }
}

TEST_F(CopiedWorkspace, CommitOfAnotherFileTakesInWhatWasCommittedBefore) {
    folder.write(feature + scene, "#usda 1.0\n# first\n");
    folder.must({"commit-workspace", project, "feature", scene});
    folder.write(copied_feature + "new.txt", "new");
    folder.must({"commit-workspace", copy, "feature", "new.txt"});
    EXPECT_EQ(folder.text(copied_feature + scene), "#usda 1.0\n# first\n");
    folder.must({"sync-workspace", project, "feature", scene, "new.txt"});
    EXPECT_EQ(folder.text(project + "/new.txt"), "new");
}

TEST_F(WorkspaceCommands, WorkspaceOfAMovedPackageGoesOn) {
    std::filesystem::rename(folder / project, folder / "Moved.quillproject");
    const std::string checkout = "Moved.quillproject/.derived/tome-workspaces/feature/";
    folder.write(checkout + scene, "#usda 1.0\n# moved\n");
    folder.must({"commit-workspace", "Moved.quillproject", "feature", scene});
    folder.must({"sync-workspace", "Moved.quillproject", "feature", scene});
    EXPECT_EQ(folder.text("Moved.quillproject/" + scene), "#usda 1.0\n# moved\n");
    EXPECT_EQ(folder.must({"create-workspace", "Moved.quillproject", "feature", "Child"}), "child\n");
}

TEST_F(WorkspaceCommands, WorkspacesOfAPackageMadeAnewGoToItsNewRepository) {
    folder.must({"create", project});  // a new ID
    folder.must({"create-workspace", project, "main", "Second"});
    folder.must({"sync-workspace", project, "second", scene});
}

TEST_F(WorkspaceCommands, RemoteThatWasMadeAnewTakesNewWorkspaces) {
    std::filesystem::remove_all(folder / "remote");
    folder.must({"initialize-history", project});
    folder.must({"create-workspace", project, "main", "Second"});
    folder.must({"sync-workspace", project, "second", scene});
}

TEST_F(WorkspaceCommands, CheckoutsOfDeadProcessesAreRemoved) {
    folder.write(project + "/" + scene, "#usda 1.0\n# 2\n");
    folder.must({"commit-workspace", project, "main", scene});
    folder.write(project + "/" + scene, "#usda 1.0\n# 3\n");
    folder.must({"commit-workspace", project, "main", scene});
    int left = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder / (project + "/.derived/tome-workspaces"))) {
        left += entry.path().filename().string().starts_with(".main-commit-") ? 1 : 0;
    }
    EXPECT_EQ(left, 1);
}

// Longer than the database library takes.
TEST(LongPackagePath, IsWorkedInAsAnyOther) {
    const ToolFolder folder;
    const std::string above = std::string(200, 'a') + "/" + std::string(200, 'b') + "/" + std::string(200, 'c') + "/";
    std::filesystem::create_directories(folder / above);
    const std::string package = above + project;
    const std::map<std::string, std::string> environment{{"QUILL_TOME_REMOTE_URL", (folder / above) / "remote"}};
    const auto must = [&](const std::vector<std::string>& arguments) {
        const ProcessResult result = folder.run_with(environment, arguments);
        EXPECT_EQ(result.status, 0) << result.err;
        return result.out;
    };
    must({"create", package});
    folder.write(package + "/" + scene, "#usda 1.0\n# one\n");
    EXPECT_EQ(must({"commit-workspace", package, "main", scene}), "Committed 1 project files in workspace main\n");
    EXPECT_EQ(must({"create-workspace", package, "main", "Feature"}), "feature\n");
    folder.write(package + "/" + scene, "edited");
    must({"sync-workspace", package, "feature", scene});
    EXPECT_EQ(folder.text(package + "/" + scene), "#usda 1.0\n# one\n");
    EXPECT_EQ(must({"restore-proof", package}).substr(0, 18), "RESTORE_PROOF_PASS");
}

}  // namespace
}  // namespace quill_test
