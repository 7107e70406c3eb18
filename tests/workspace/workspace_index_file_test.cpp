#include "workspace/index/workspace_index_file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <unistd.h>

#include <stdexcept>
#include <thread>

#include "tests/support/package_folder.h"
#include "tests/workspace/workspace_list.h"

namespace {

namespace fs = std::filesystem;
using quill::ProjectWorkspace;
using quill_test::ids;
using quill_test::read_file;
using quill_test::workspace;
using quill_test::write_file;
using Workspaces = std::vector<ProjectWorkspace>;

class WorkspaceIndexFile : public quill_test::PackageFolder {
  protected:
    WorkspaceIndexFile() { write_manifest("{\n}\n"); }

    Workspaces read_text(const std::string& text) const {
        write_file(file_, text);
        return quill::read_workspaces_without_main(project_);
    }

    std::string failure_of_write() const {
        return quill_test::failure_of([&] { quill::write_workspaces_without_main(project_, {workspace("b")}); });
    }

    fs::path file_ = project_ / "Workspaces/workspaces.json";
};

// ---- Writing

TEST_F(WorkspaceIndexFile, WritesOneLineForEachWorkspace) {
    ProjectWorkspace feature = workspace("feature", "1700000000");
    feature.name = "Feature";
    feature.createdAt = "1700000000";
    feature.author = "ana";
    ProjectWorkspace old = feature;
    old.id = "old";
    old.archived = true;
    quill::write_workspaces_without_main(project_, {feature, old});
    EXPECT_EQ(read_file(file_),
              "{\n  \"version\": 1,\n  \"default\": \"main\",\n  \"workspaces\": [\n"
              "    {\"id\":\"feature\",\"name\":\"Feature\",\"parentId\":\"main\",\"baseScene\":\"Scenes/Main.usda\","
              "\"headKey\":\"\",\"archived\":false,\"createdAt\":\"1700000000\",\"updatedAt\":\"1700000000\","
              "\"author\":\"ana\"},\n"
              "    {\"id\":\"old\",\"name\":\"Feature\",\"parentId\":\"main\",\"baseScene\":\"Scenes/Main.usda\","
              "\"headKey\":\"\",\"archived\":true,\"createdAt\":\"1700000000\",\"updatedAt\":\"1700000000\","
              "\"author\":\"ana\"}"
              "\n  ]\n}\n");
}

TEST_F(WorkspaceIndexFile, WithoutWorkspacesHoldsAnEmptyLine) {
    quill::write_workspaces_without_main(project_, {});
    EXPECT_EQ(read_file(file_), "{\n  \"version\": 1,\n  \"default\": \"main\",\n  \"workspaces\": [\n\n  ]\n}\n");
    EXPECT_TRUE(quill::read_workspaces_without_main(project_).empty());
}

TEST_F(WorkspaceIndexFile, EscapesQuoteBackslashAndNewlineAlone) {
    ProjectWorkspace entry = workspace("a");
    entry.name = "q\" b\\ n\n t\t \xc3\xa4";
    quill::write_workspaces_without_main(project_, {entry});
    EXPECT_NE(read_file(file_).find("\"name\":\"q\\\" b\\\\ n\\n t\t \xc3\xa4\""), std::string::npos);
}

TEST_F(WorkspaceIndexFile, FolderThatCannotBeMadeIsReported) {
    write_file(project_ / "Workspaces", "a file");
    EXPECT_EQ(failure_of_write().rfind("could not create workspace folder: ", 0), 0u);
    EXPECT_THROW(quill::update_workspaces_without_main(project_, [](Workspaces&) {}), std::runtime_error);
}

TEST_F(WorkspaceIndexFile, FileThatCannotBeWrittenIsReportedAndTheOldOneStands) {
    quill::write_workspaces_without_main(project_, {workspace("a")});
    fs::create_directories(file_.string() + ".tmp");
    EXPECT_EQ(failure_of_write(), "could not write workspace file: " + file_.string());
    EXPECT_EQ(ids(quill::read_workspaces_without_main(project_)), "a");
}

TEST_F(WorkspaceIndexFile, FileThatCannotBeInstalledIsReported) {
    write_file(file_ / "in the way", "");
    EXPECT_EQ(failure_of_write(), "could not install workspace file: " + file_.string());
    EXPECT_FALSE(fs::exists(file_.string() + ".tmp"));
}

// ---- Reading

TEST_F(WorkspaceIndexFile, ReadsBackEveryFieldWhateverItHolds) {
    ProjectWorkspace entry = workspace("a", "12");
    entry.name = "a \"quoted\" \\ name\nof two lines} ] {";
    entry.parentId = "ends in a backslash\\";
    entry.baseScene = "\",\"id\":\"b\",\"archived\":true,\"x\":\"";
    entry.headKey = std::string(64, 'f');
    entry.createdAt = "11";
    entry.author = "\\n";
    ProjectWorkspace next = workspace("c");
    next.archived = true;
    quill::write_workspaces_without_main(project_, {entry, next});
    const Workspaces read = quill::read_workspaces_without_main(project_);
    ASSERT_EQ(read.size(), 2u);
    EXPECT_EQ(read[0].id, "a");
    EXPECT_EQ(read[0].name, entry.name);
    EXPECT_EQ(read[0].parentId, entry.parentId);
    EXPECT_EQ(read[0].baseScene, entry.baseScene);
    EXPECT_EQ(read[0].headKey, entry.headKey);
    EXPECT_FALSE(read[0].archived);
    EXPECT_EQ(read[0].createdAt, "11");
    EXPECT_EQ(read[0].updatedAt, "12");
    EXPECT_EQ(read[0].author, entry.author);
    EXPECT_EQ(read[1].id, "c");
    EXPECT_TRUE(read[1].archived);
}

TEST_F(WorkspaceIndexFile, MissingOrEmptyFileHoldsNothing) {
    EXPECT_TRUE(quill::read_workspaces_without_main(project_).empty());
    EXPECT_TRUE(read_text("").empty());
}

TEST_F(WorkspaceIndexFile, TextWithoutKeyOrBracketsHoldsNothing) {
    EXPECT_TRUE(read_text("[{\"id\":\"a\"}]").empty());
    EXPECT_TRUE(read_text("{\"workspaces\": {\"id\":\"a\"}}").empty());
    EXPECT_TRUE(read_text("{\"workspaces\": [{\"id\":\"a\"}").empty());
    EXPECT_TRUE(read_text("] {\"workspaces\": [").empty());
}

TEST_F(WorkspaceIndexFile, ObjectThatDoesNotEndIsPassedOver) {
    EXPECT_EQ(ids(read_text("{\"workspaces\": [{\"id\":\"a\"}, {\"id\":\"b\" ]}")), "a");
}

TEST_F(WorkspaceIndexFile, MainAndInvalidIdsArePassedOver) {
    EXPECT_EQ(ids(read_text("{\"workspaces\": [{\"id\":\"main\"},{\"id\":\"../x\"},{\"id\":\"a\"},{\"id\":\"\"},{}]}")),
              "a");
}

TEST_F(WorkspaceIndexFile, MissingMembersAreEmptyButTheScene) {
    const Workspaces read = read_text("{ \"workspaces\" : [ { \"id\" : \"a\" } ] }");
    ASSERT_EQ(read.size(), 1u);
    EXPECT_EQ(read[0].baseScene, "Scenes/Main.usda");
    EXPECT_EQ(read[0].name + read[0].parentId + read[0].headKey + read[0].createdAt + read[0].author, "");
    EXPECT_FALSE(read[0].archived);
}

// ---- Changing

TEST_F(WorkspaceIndexFile, UpdateChangesWhatIsThere) {
    quill::write_workspaces_without_main(project_, {workspace("a")});
    quill::update_workspaces_without_main(project_, [](Workspaces& all) { all.push_back(workspace("b")); });
    EXPECT_EQ(ids(quill::read_workspaces_without_main(project_)), "a b");
}

TEST_F(WorkspaceIndexFile, UpdateThatThrowsChangesNothingAndFreesTheFolder) {
    quill::write_workspaces_without_main(project_, {workspace("a")});
    const auto failing = [](Workspaces& all) {
        all.clear();
        throw std::runtime_error("no");
    };
    EXPECT_THROW(quill::update_workspaces_without_main(project_, failing), std::runtime_error);
    quill::update_workspaces_without_main(project_, [](Workspaces& all) { all.push_back(workspace("b")); });
    EXPECT_EQ(ids(quill::read_workspaces_without_main(project_)), "a b");
}

TEST_F(WorkspaceIndexFile, UpdateLocksTheFolderAndLeavesNoOtherFile) {
    quill::update_workspaces_without_main(project_, [&](Workspaces&) {
        const int folder = open(file_.parent_path().c_str(), O_RDONLY | O_DIRECTORY);
        EXPECT_NE(flock(folder, LOCK_EX | LOCK_NB), 0);
        close(folder);
    });
    EXPECT_EQ(std::distance(fs::directory_iterator(file_.parent_path()), fs::directory_iterator()), 1);
}

TEST_F(WorkspaceIndexFile, UpdatesAtTheSameTimeLoseNothing) {
    const auto add_ten = [&](const std::string& prefix) {
        for (int i = 0; i < 10; ++i) {
            quill::update_workspaces_without_main(
                project_, [&](Workspaces& all) { all.push_back(workspace(prefix + std::to_string(i))); });
        }
    };
    std::thread other(add_ten, "a");
    add_ten("b");
    other.join();
    EXPECT_EQ(quill::read_workspaces_without_main(project_).size(), 20u);
}

}  // namespace
