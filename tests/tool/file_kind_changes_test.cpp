// Paths whose kind changed between two commits: a folder where a file was, a file where a folder was.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "tests/tool/tool_project.h"

namespace quill_test {
namespace {

namespace fs = std::filesystem;

const std::string project = "P.quillproject";
const std::string scene = "Scenes/Main.usda";

// A project whose main workspace holds Assets/file and Assets/folder/inner.txt.
class FileKindChanges : public testing::Test {
  protected:
    void SetUp() override {
        folder.must({"create", project});
        folder.write(in_project("Assets/file"), "file");
        folder.write(in_project("Assets/folder/inner.txt"), "inner");
        folder.must({"commit-workspace", project, "main", "Assets/file", "Assets/folder/inner.txt"});
    }

    static std::string in_project(const std::string& path) { return project + "/" + path; }
    static std::string in_feature(const std::string& path) {
        return project + "/.derived/tome-workspaces/feature/" + path;
    }

    /// Swaps both kinds below `root`.
    void swap_kinds(const std::string& root) const {
        fs::remove(folder / (root + "Assets/file"));
        fs::remove_all(folder / (root + "Assets/folder"));
        folder.write(root + "Assets/file/new.txt", "new");
        folder.write(root + "Assets/folder", "flat");
    }

    /// Fetches the swapped kinds from a workspace into an emptied package and checks them.
    void expect_swapped_in(const std::string& workspace) const {
        fs::remove_all(folder / in_project("Assets"));
        folder.must({"sync-workspace", project, workspace, "Assets/file/new.txt", "Assets/folder"});
        EXPECT_EQ(folder.text(in_project("Assets/file/new.txt")), "new");
        EXPECT_EQ(folder.text(in_project("Assets/folder")), "flat");
    }

    /// A workspace "feature" whose checkout holds both files.
    void make_feature() const {
        folder.must({"create-workspace", project, "main", "feature"});
        folder.must({"sync-workspace", project, "feature", scene, "Assets/file", "Assets/folder/inner.txt"});
    }

    ToolFolder folder;
};

TEST_F(FileKindChanges, AreCommittedWithTheWholeProject) {
    swap_kinds(in_project(""));
    EXPECT_EQ(folder.must({"create-workspace", project, "main", "later"}), "later\n");
    expect_swapped_in("later");
}

TEST_F(FileKindChanges, AreCommittedWhenGivenInAnyOrder) {
    swap_kinds(in_project(""));
    folder.must({"commit-workspace", project, "main", "Assets/file/new.txt", "Assets/file", "Assets/folder",
                 "Assets/folder/inner.txt"});
    expect_swapped_in("main");
}

TEST_F(FileKindChanges, AreCommittedWhenOnlyTheNewFilesAreGiven) {
    swap_kinds(in_project(""));
    folder.must({"commit-workspace", project, "main", "Assets/file/new.txt", "Assets/folder"});
    expect_swapped_in("main");
}

TEST_F(FileKindChanges, AreCommittedFromAWorkspaceCheckoutWithItsChildren) {
    make_feature();
    swap_kinds(in_feature(""));
    EXPECT_EQ(folder.must({"create-workspace", project, "feature", "later"}), "later\n");
    expect_swapped_in("later");
}

TEST_F(FileKindChanges, AreCommittedFromAWorkspaceCheckoutThatHasItsOwnStore) {
    folder.write(in_project(".derived/tome-shared-store"), "not a store");
    make_feature();
    swap_kinds(in_feature(""));
    EXPECT_EQ(folder.must({"create-workspace", project, "feature", "later"}), "later\n");
    expect_swapped_in("later");
}

TEST_F(FileKindChanges, AreSyncedOverTheOldKindsInAnyOrder) {
    swap_kinds(in_project(""));
    folder.must({"create-workspace", project, "main", "later"});
    fs::remove_all(folder / in_project("Assets"));
    folder.write(in_project("Assets/file"), "file");
    folder.write(in_project("Assets/folder/inner.txt"), "inner");
    folder.must({"sync-workspace", project, "later", "Assets/file/new.txt", "Assets/file", "Assets/folder",
                 "Assets/folder/inner.txt"});
    EXPECT_EQ(folder.text(in_project("Assets/file/new.txt")), "new");
    EXPECT_EQ(folder.text(in_project("Assets/folder")), "flat");
}

TEST_F(FileKindChanges, SyncKeepsAFolderOfThePackageThatHoldsOtherFiles) {
    swap_kinds(in_project(""));
    folder.must({"create-workspace", project, "main", "later"});
    fs::remove_all(folder / in_project("Assets"));
    folder.write(in_project("Assets/folder/mine.txt"), "mine");
    folder.write(in_project(scene), "not synced");
    const ProcessResult result = folder.run({"sync-workspace", project, "later", scene, "Assets/folder"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "quill_project_tool: could not materialize merged project file: Assets/folder\n");
    EXPECT_EQ(folder.text(in_project("Assets/folder/mine.txt")), "mine");
    EXPECT_EQ(folder.text(in_project(scene)), "not synced");
}

TEST_F(FileKindChanges, FolderGivenToCommitIsRefusedAndNothingDeleted) {
    const ProcessResult result = folder.run({"commit-workspace", project, "main", "Assets"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "quill_project_tool: could not snapshot changed workspace file: Assets\n");
    fs::remove_all(folder / in_project("Assets"));
    folder.must({"sync-workspace", project, "main", "Assets/file", "Assets/folder/inner.txt"});
    EXPECT_EQ(folder.text(in_project("Assets/file")), "file");
    EXPECT_EQ(folder.text(in_project("Assets/folder/inner.txt")), "inner");
}

TEST_F(FileKindChanges, PipeGivenToCommitIsRefusedWithoutWaitingForAWriter) {
    ASSERT_EQ(mkfifo((folder / in_project("Assets/pipe")).c_str(), 0600), 0);
    const ProcessResult result = folder.run({"commit-workspace", project, "main", "Assets/pipe"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "quill_project_tool: could not snapshot changed workspace file: Assets/pipe\n");
}

}  // namespace
}  // namespace quill_test
