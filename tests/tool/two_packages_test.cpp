// Two copies of a package on one remote, in real processes: a commit takes what was changed in its copy, and undoes
// nothing that was published from the other.
#include <gtest/gtest.h>

#include <optional>

#include <quill/quill.h>

#include "tests/tool/tool_project.h"

namespace quill_test {
namespace {

namespace fs = std::filesystem;

class TwoPackages : public testing::Test {
  protected:
    /// A has the files on main; B and an observer are copies of it as it was then.
    TwoPackages() {
        tool.must({"create", "A.quillproject", "--name", "P"});
        for (const char* name : {"one", "two", "three"}) {
            write("A", name, std::string(name) + " 1\n2\n3\n4\n5\n");
        }
        tool.must({"initialize-history", "A.quillproject"});
        copy("A", "B");
        copy("A", "observer");
    }

    void copy(const std::string& from, const std::string& to) const {
        fs::copy(tool / (from + ".quillproject"), tool / (to + ".quillproject"), fs::copy_options::recursive);
    }

    fs::path file(const std::string& package, const std::string& name) const {
        return tool / (package + ".quillproject/Assets/" + name + ".txt");
    }
    void write(const std::string& package, const std::string& name, const std::string& bytes) const {
        write_file(file(package, name), bytes);
    }
    void remove(const std::string& package, const std::string& name) const { fs::remove(file(package, name)); }
    std::string read(const std::string& package, const std::string& name) const {
        return fs::exists(file(package, name)) ? read_file(file(package, name)) : "none";
    }

    std::string commit(const std::string& package, const std::string& name) const {
        return outcome({"commit-workspace", package + ".quillproject", "main", "Assets/" + name + ".txt"});
    }
    /// Its first step commits everything.
    std::string create_workspace(const std::string& package) const {
        return outcome({"create-workspace", package + ".quillproject", "main", "Feature"});
    }
    std::string initialize(const std::string& package) const {
        return outcome({"initialize-history", package + ".quillproject"});
    }
    std::string sync(const std::string& package, const std::string& name) const {
        return outcome({"sync-workspace", package + ".quillproject", "main", "Assets/" + name + ".txt"});
    }

    /// Both packages have the workspace and its checkout, and so has the observer.
    void share_workspace() const {
        EXPECT_EQ(create_workspace("A"), "done");
        for (const char* package : {"A", "B", "observer"}) {
            EXPECT_EQ(outcome({"sync-workspace", std::string(package) + ".quillproject", "feature", scene}), "done");
        }
    }
    fs::path workspace_scene(const std::string& package) const {
        return tool / (package + ".quillproject/.derived/tome-workspaces/feature/" + scene);
    }
    std::string commit_scene(const std::string& package) const {
        return outcome({"commit-workspace", package + ".quillproject", "feature", scene});
    }
    /// A child's first step.
    std::string commit_everything(const std::string& package) const {
        return outcome({"create-workspace", package + ".quillproject", "feature", "Child"});
    }
    std::string scene_on_feature() const {
        tool.must({"sync-workspace", "observer.quillproject", "feature", scene});
        return read_file(workspace_scene("observer"));
    }

    /// What main has, "none" for no file.
    std::string on_main(const std::string& name) const {
        tool.must({"sync-workspace", "observer.quillproject", "main", "Assets/" + name + ".txt"});
        return read("observer", name);
    }

    static std::string conflict(const std::string& names) {
        return "quill_project_tool: changed here and, otherwise, on main: " + names +
               "; sync these files from main, which keeps a copy of what is here, put your changes in again and commit "
               "then\n";
    }

    ToolFolder tool;
    const std::string scene = "Scenes/Main.usda";

  private:
    std::string outcome(const std::vector<std::string>& arguments) const {
        const ProcessResult result = tool.run(arguments);
        return result.status == 0 ? "done" : result.err;
    }
};

const std::string one = "one 1\n2\n3\n4\n5\n";

// ---- A commit of everything

TEST_F(TwoPackages, CommitOfEverythingLeavesWhatOthersChangedAddedAndDeleted) {
    write("A", "one", "changed by A");
    write("A", "new", "added by A");
    remove("A", "two");
    for (const char* name : {"one", "new", "two"}) {
        EXPECT_EQ(commit("A", name), "done");
    }
    EXPECT_EQ(create_workspace("B"), "done");
    EXPECT_EQ(on_main("one"), "changed by A");
    EXPECT_EQ(on_main("new"), "added by A");
    EXPECT_EQ(on_main("two"), "none");
    EXPECT_EQ(read("B", "one"), one);
}

TEST_F(TwoPackages, CommitOfEverythingTakesWhatWasChangedAddedAndDeletedHereAlone) {
    write("A", "three", "changed by A");
    EXPECT_EQ(commit("A", "three"), "done");
    write("B", "one", "changed by B");
    write("B", "new", "added by B");
    remove("B", "two");
    EXPECT_EQ(create_workspace("B"), "done");
    EXPECT_EQ(on_main("one"), "changed by B");
    EXPECT_EQ(on_main("new"), "added by B");
    EXPECT_EQ(on_main("two"), "none");
    EXPECT_EQ(on_main("three"), "changed by A");
}

TEST_F(TwoPackages, CommitOfEverythingTakesTheSameChangeOnBothSidesForDone) {
    for (const char* package : {"A", "B"}) {
        write(package, "one", "the same");
        remove(package, "two");
        write(package, "new", "the same");
    }
    EXPECT_EQ(create_workspace("A"), "done");
    EXPECT_EQ(create_workspace("B"), "done");
    EXPECT_EQ(on_main("one") + on_main("two") + on_main("new"), "the samenonethe same");
}

TEST_F(TwoPackages, CommitOfEverythingWithConflictsIsRefusedBeforeAnythingIsDone) {
    write("A", "one", "changed by A");
    write("A", "two", "changed by A");
    remove("A", "three");
    EXPECT_EQ(create_workspace("A"), "done");
    write("B", "one", "changed by B");
    remove("B", "two");
    write("B", "three", "changed by B");
    write("B", "new", "added by B");
    EXPECT_EQ(create_workspace("B"), conflict("Assets/one.txt, Assets/three.txt, Assets/two.txt"));
    EXPECT_EQ(on_main("one") + on_main("new"), "changed by Anone");
    EXPECT_EQ(read("B", "one") + read("B", "three"), "changed by Bchanged by B");
}

TEST_F(TwoPackages, ConflictsBeyondTenAreCounted) {
    for (int i = 10; i < 22; ++i) {
        write("A", "f" + std::to_string(i), "added by A");
        write("B", "f" + std::to_string(i), "added by B");
    }
    EXPECT_EQ(create_workspace("A"), "done");
    std::string names;
    for (int i = 10; i < 20; ++i) {
        names += std::string(i == 10 ? "" : ", ") + "Assets/f" + std::to_string(i) + ".txt";
    }
    EXPECT_EQ(create_workspace("B"), conflict(names + " and 2 more"));
}

TEST_F(TwoPackages, StartingTheHistoryASecondTimeUndoesNothing) {
    write("A", "one", "changed by A");
    write("A", "new", "added by A");
    EXPECT_EQ(initialize("A"), "done");
    write("B", "two", "changed by B");
    EXPECT_EQ(initialize("B"), "done");
    EXPECT_EQ(on_main("one") + on_main("new") + on_main("two"), "changed by Aadded by Achanged by B");
    write("B", "one", "changed by B");
    EXPECT_EQ(initialize("B"), conflict("Assets/one.txt"));
}

TEST_F(TwoPackages, SyncBringsAFileUpSoThatItCanBeChangedAgain) {
    write("A", "one", "changed by A");
    EXPECT_EQ(commit("A", "one"), "done");
    write("B", "one", "changed by B");
    EXPECT_EQ(create_workspace("B"), conflict("Assets/one.txt"));
    EXPECT_EQ(sync("B", "one"), "done");
    EXPECT_EQ(read("B", "one"), "changed by A");
    write("B", "one", "changed by both");
    EXPECT_EQ(create_workspace("B"), "done");
    EXPECT_EQ(on_main("one"), "changed by both");
}

// ---- A commit of given paths

TEST_F(TwoPackages, CommitOfAPathThatWasNotChangedHereUndoesNothing) {
    write("A", "one", "changed by A");
    EXPECT_EQ(commit("A", "one"), "done");
    EXPECT_EQ(commit("B", "one"), "done");
    EXPECT_EQ(on_main("one"), "changed by A");
}

TEST_F(TwoPackages, CommitOfAPathThatBothChangedIsRefused) {
    write("A", "one", "changed by A");
    EXPECT_EQ(commit("A", "one"), "done");
    write("B", "one", "changed by B");
    EXPECT_EQ(commit("B", "one"), conflict("Assets/one.txt"));
    EXPECT_EQ(on_main("one"), "changed by A");
    EXPECT_EQ(read("B", "one"), "changed by B");
}

TEST_F(TwoPackages, CommitOfATextThatBothChangedHasBothChangesAndTheFileFollows) {
    write("A", "one", "one 1\n2\n3\n4\nchanged by A\n");
    EXPECT_EQ(commit("A", "one"), "done");
    write("B", "one", "changed by B\n2\n3\n4\n5\n");
    EXPECT_EQ(commit("B", "one"), "done");
    const std::string both = "changed by B\n2\n3\n4\nchanged by A\n";
    EXPECT_EQ(on_main("one"), both);
    EXPECT_EQ(read("B", "one"), both);
    const auto kept = quill::list_kept_files(tool / "B.quillproject");
    ASSERT_EQ(kept.size(), 1U);
    EXPECT_EQ(kept[0].operation, "commit");
    quill::restore_kept_files(tool / "B.quillproject", kept[0].id, {});
    EXPECT_EQ(read("B", "one"), "changed by B\n2\n3\n4\n5\n");
}

TEST_F(TwoPackages, CommitOfPathsOfWhichOneCannotBeMergedDoesNothing) {
    write("A", "one", "one 1\n2\n3\n4\nchanged by A\n");
    write("A", "two", "changed by A");
    EXPECT_EQ(create_workspace("A"), "done");
    write("B", "one", "changed by B\n2\n3\n4\n5\n");
    write("B", "two", "changed by B");
    EXPECT_EQ(tool.run({"commit-workspace", "B.quillproject", "main", "Assets/one.txt", "Assets/two.txt"}).err,
              conflict("Assets/two.txt"));
    EXPECT_EQ(read("B", "one"), "changed by B\n2\n3\n4\n5\n");
    EXPECT_TRUE(quill::list_kept_files(tool / "B.quillproject").empty());
}

TEST_F(TwoPackages, CommitOfAPathLeavesTheFilesThatAreBehind) {
    write("A", "one", "changed by A");
    EXPECT_EQ(commit("A", "one"), "done");
    write("B", "two", "changed by B");
    EXPECT_EQ(commit("B", "two"), "done");
    EXPECT_EQ(create_workspace("B"), "done");
    EXPECT_EQ(on_main("one") + on_main("two"), "changed by Achanged by B");
}

// ---- A workspace's own checkout

TEST_F(TwoPackages, CommitOfAWorkspacesFileThatWasNotChangedHereUndoesNothing) {
    share_workspace();
    write_file(workspace_scene("B"), "changed by B");
    EXPECT_EQ(commit_scene("B"), "done");
    EXPECT_EQ(commit_scene("A"), "done");
    EXPECT_EQ(commit_everything("A"), "done");
    EXPECT_EQ(scene_on_feature(), "changed by B");
}

TEST_F(TwoPackages, CommitOfAWorkspacesFileThatBothChangedIsRefused) {
    share_workspace();
    write_file(workspace_scene("B"), "changed by B");
    EXPECT_EQ(commit_scene("B"), "done");
    write_file(workspace_scene("A"), "changed by A");
    const std::string refused =
        "quill_project_tool: changed here and, otherwise, on feature: Scenes/Main.usda; sync these files from feature, "
        "which keeps a copy of what is here, put your changes in again and commit then\n";
    EXPECT_EQ(commit_scene("A"), refused);
    EXPECT_EQ(commit_everything("A"), refused);
    EXPECT_EQ(scene_on_feature(), "changed by B");
    EXPECT_EQ(read_file(workspace_scene("A")), "changed by A");
}

// ---- Bytes of earlier versions

TEST_F(TwoPackages, FileWithTheBytesOfAnEarlierVersionIsNoEditThatCouldBeLost) {
    write("A", "one", "second");
    EXPECT_EQ(commit("A", "one"), "done");
    EXPECT_EQ(sync("B", "one"), "done");
    write("A", "one", "third");
    EXPECT_EQ(commit("A", "one"), "done");
    write("B", "one", one);
    EXPECT_EQ(create_workspace("B"), "done");
    EXPECT_EQ(on_main("one"), "third");
}

// ---- Without a record

TEST_F(TwoPackages, WithoutARecordFilesOfEarlierVersionsAndMissingFilesAreNoEdits) {
    write("A", "one", "changed by A");
    write("A", "new", "added by A");
    EXPECT_EQ(create_workspace("A"), "done");
    fs::remove_all(tool / "B.quillproject/.derived");
    fs::remove_all(tool / "B.quillproject/.tome");
    remove("B", "three");
    EXPECT_EQ(create_workspace("B"), "done");
    EXPECT_EQ(on_main("one") + on_main("new") + on_main("three"), "changed by Aadded by Athree 1\n2\n3\n4\n5\n");
}

TEST_F(TwoPackages, WithoutARecordAnEditIsCommittedByItsPathAndRefusedWithEverything) {
    fs::remove_all(tool / "B.quillproject/.derived");
    fs::remove_all(tool / "B.quillproject/.tome");
    write("B", "one", "changed by B");
    EXPECT_EQ(create_workspace("B"), conflict("Assets/one.txt"));
    EXPECT_EQ(commit("B", "one"), "done");
    EXPECT_EQ(on_main("one"), "changed by B");
    EXPECT_EQ(create_workspace("B"), "done");
}

// ---- One package

TEST_F(TwoPackages, PackageThatWasMovedKnowsWhatItIsBasedOn) {
    write("A", "one", "changed by A");
    EXPECT_EQ(commit("A", "one"), "done");
    fs::rename(tool / "B.quillproject", tool / "moved \"B\"\\.quillproject");
    write_file(tool / "moved \"B\"\\.quillproject/Assets/two.txt", "changed by B");
    const ProcessResult result = tool.run({"create-workspace", "moved \"B\"\\.quillproject", "main", "Feature"});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(on_main("one") + on_main("two"), "changed by Achanged by B");
}

}  // namespace
}  // namespace quill_test
