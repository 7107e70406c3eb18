// The trace of a command: what it says, where it goes, and that it changes nothing else.
#include <gtest/gtest.h>

#include <regex>
#include <set>
#include <sstream>

#include "tests/support/temporary_folder.h"
#include "tests/tool/tool_project.h"

namespace quill_test {
namespace {

const std::string project = "P.quillproject";

class Trace : public testing::Test {
  protected:
    void SetUp() override {
        folder_.must({"create", project});
        folder_.must({"initialize-history", project});
    }

    // A commit of one edited file with `variable` set to `target`.
    ProcessResult commit(const std::string& variable, const std::string& target) {
        folder_.write(project + "/Scenes/Main.usda", "#usda 1.0\n# edit " + std::to_string(++edits_) + "\n");
        auto environment = folder_.remote_environment();
        environment[variable] = target;
        return folder_.run_with(environment, {"commit-workspace", project, "main", "Scenes/Main.usda"});
    }

    static bool has(const std::string& lines, const std::string& pattern) {
        return std::regex_search(lines, std::regex(pattern));
    }

    ToolFolder folder_;
    int edits_ = 0;
};

TEST_F(Trace, NamesEachEngineCallWrittenFileAndLockWithItsTime) {
    const std::string file = (folder_ / "trace").string();
    auto environment = folder_.remote_environment();
    environment["QUILL_TRACE"] = file;
    ASSERT_EQ(folder_.run_with(environment, {"create-workspace", project, "main", "Evening"}).status, 0);
    const std::string lines = read_file(file);
    const std::string begin = R"((^|\n)\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{6}Z \d+ \d+\.\d{3}ms )";
    EXPECT_TRUE(has(lines, begin + R"(tome_branch_push /\S+P\.quillproject/\.derived/\S+\n)")) << lines;
    EXPECT_TRUE(has(lines, begin + "operation tome_branch_push\n")) << lines;
    EXPECT_TRUE(has(lines, begin + R"(written /\S+/remote/\S+/store\.db\n)")) << lines;
    EXPECT_TRUE(has(lines, begin + R"(written /\S+/Workspaces/workspaces\.json\n)")) << lines;
    EXPECT_TRUE(has(lines, begin + R"(lock /\S+/\.tome/index\.db\n)")) << lines;
    EXPECT_TRUE(has(lines, begin + R"(remote read branch main at /\S+/remote/\S+\n)")) << lines;
    EXPECT_TRUE(has(lines, begin + R"(remote move branch evening at /\S+/remote/\S+\n)")) << lines;
}

TEST_F(Trace, HasOneCompleteLineForEachStep) {
    const std::string file = (folder_ / "trace").string();
    ASSERT_EQ(commit("QUILL_TRACE", file).status, 0);
    std::istringstream lines(read_file(file));
    const std::regex form(R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{6}Z \d+ (-|\d+\.\d{3}ms( failed| errno=\d+)?) \S+ .+)");
    int count = 0;
    for (std::string line; std::getline(lines, line); ++count) {
        EXPECT_TRUE(std::regex_match(line, form)) << line;
    }
    EXPECT_GT(count, 10);
}

TEST_F(Trace, OfTheEngineAloneNamesNoCallOfTheLibrary) {
    const std::string file = (folder_ / "trace").string();
    ASSERT_EQ(commit("TOME_TRACE", file).status, 0);
    const std::string lines = read_file(file);
    EXPECT_TRUE(has(lines, "operation tome_revision_commit\n")) << lines;
    EXPECT_FALSE(has(lines, "workspaces\\.json")) << lines;
}

TEST_F(Trace, GoesToStandardErrorForADashAndLeavesTheOutputAlone) {
    const ProcessResult result = commit("QUILL_TRACE", "-");
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, "Committed 1 project files in workspace main\n");
    EXPECT_TRUE(has(result.err, "operation tome_revision_commit\n")) << result.err;
}

TEST_F(Trace, ThatCannotBeWrittenIsSaidOnceAndStopsNothing) {
    const ProcessResult result = commit("QUILL_TRACE", (folder_ / "missing/trace").string());
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, "Committed 1 project files in workspace main\n");
    EXPECT_TRUE(has(result.err, "^could not write the trace /\\S+/missing/trace: No such file or directory\n"))
        << result.err;
}

TEST_F(Trace, IsAppendedToWhatTheFileHolds) {
    const std::string file = (folder_ / "trace").string();
    folder_.write("trace", "before\n");
    ASSERT_EQ(commit("QUILL_TRACE", file).status, 0);
    EXPECT_TRUE(read_file(file).starts_with("before\n"));
}

TEST_F(Trace, OfAFailureHasTheErrorAndTheSystemsNumber) {
    const std::string file = (folder_ / "trace").string();
    std::filesystem::remove_all(folder_ / (project + "/.derived"));
    folder_.write(project + "/.derived", "a file where a folder belongs");
    const ProcessResult result = commit("QUILL_TRACE", file);
    EXPECT_EQ(result.status, 1) << result.err;
    EXPECT_TRUE(has(read_file(file), R"( error .* \(errno \d+\)\n)")) << read_file(file);
}

TEST_F(Trace, HoldsNoContentOfFilesAndNoValueOfMetadata) {
    const std::string file = (folder_ / "trace").string();
    auto environment = folder_.remote_environment();
    environment["QUILL_TRACE"] = file;
    const ProcessResult result = folder_.run_with(
        environment, {"create-workspace", project, "main", "Evening light", "--author", "secret-author"});
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_FALSE(has(read_file(file), "secret-author"));
    EXPECT_FALSE(has(read_file(file), "#usda"));
}

}  // namespace
}  // namespace quill_test
