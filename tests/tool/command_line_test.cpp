#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>

#include "tests/tool/tool_project.h"

namespace quill_test {
namespace {

void expect_failure(const ProcessResult& result, const std::string& message) {
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "quill_project_tool: " + message + "\n");
}

TEST(CommandLine, MissingPackageIsOneErrorLine) {
    expect_failure(ToolFolder().run_without_remote({"id", "P.quillproject"}),
                   "Project is not a directory: P.quillproject");
}

TEST(CommandLine, LineFeedInAPathStaysOneErrorLine) {
    expect_failure(ToolFolder().run_without_remote({"id", "P\n.quillproject"}),
                   "Project is not a directory: P .quillproject");
}

TEST(CommandLine, ControlCharactersOfAPathDoNotReachTheTerminal) {
    expect_failure(ToolFolder().run_without_remote({"id", "P\x1b[2J\r\a\x7f.quillproject"}),
                   "Project is not a directory: P [2J   .quillproject");
}

TEST(CommandLine, CreateWithoutAPathTouchesNothing) {
    const ToolFolder folder;
    folder.write("project.json", "mine");
    expect_failure(folder.run_without_remote({"create", "", "--name", "x"}), "Project path is empty");
    EXPECT_EQ(folder.text("project.json"), "mine");
    EXPECT_FALSE(std::filesystem::exists(folder / "Scenes"));
}

TEST(CommandLine, OutputThatCannotBeWrittenIsAFailure) {
    if (!std::filesystem::exists("/dev/full")) {
        GTEST_SKIP() << "no /dev/full here";
    }
    const ToolFolder folder;
    folder.run_without_remote({"create", "P.quillproject"});
    const ProcessResult result =
        run_process({"/bin/sh", "-c", "\"$0\" id P.quillproject > /dev/full", QUILL_TOOL}, {}, folder / "");
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "quill_project_tool: could not write to standard output\n");
}

TEST(CommandLine, NamedPipesInPlaceOfFilesAreNotWaitedFor) {
    const ToolFolder folder;
    folder.must({"create", "P.quillproject"});
    std::filesystem::remove(folder / "P.quillproject/Scenes/Main.usda");
    ASSERT_EQ(mkfifo((folder / "P.quillproject/Scenes/Main.usda").c_str(), 0600), 0);
    expect_failure(folder.run({"restore-proof", "P.quillproject"}),
                   "could not read " + (folder / "P.quillproject/Scenes/Main.usda").string());
    std::filesystem::remove(folder / "P.quillproject/project.json");
    ASSERT_EQ(mkfifo((folder / "P.quillproject/project.json").c_str(), 0600), 0);
    expect_failure(folder.run({"id", "P.quillproject"}), "Could not open P.quillproject/project.json");
}

TEST(CommandLine, ProofOfASceneOutsideThePackageTouchesNothing) {
    const ToolFolder folder;
    folder.must({"create", "P.quillproject"});
    folder.write("victim.txt", "mine");
    std::string manifest = folder.text("P.quillproject/project.json");
    manifest.replace(manifest.find("Scenes/Main.usda"), 16, "../victim.txt");
    folder.write("P.quillproject/project.json", manifest);
    expect_failure(folder.run({"restore-proof", "P.quillproject"}),
                   "scene lies outside the project: " + (folder / "victim.txt").string());
    EXPECT_EQ(folder.text("victim.txt"), "mine");
}

TEST(CommandLine, CreatePrintsTheAbsoluteNormalisedPath) {
    const ToolFolder folder;
    const ProcessResult result = folder.run_without_remote({"create", "a/../P.quillproject"});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.out, (folder / "P.quillproject").string() + "\n");
    EXPECT_FALSE(std::filesystem::exists(folder / "P.quillproject/.tome"));
}

TEST(CommandLine, SlashAfterAPackageMakesNoDifference) {
    const ToolFolder folder;
    folder.must({"create", "P.quillproject/"});
    EXPECT_NE(folder.text("P.quillproject/project.json").find("\"name\": \"P\""), std::string::npos);
    EXPECT_EQ(folder.must({"scene", "P.quillproject//"}), folder.must({"scene", "P.quillproject"}));
    EXPECT_EQ(folder.must({"create-workspace", "P.quillproject/", "main", "x"}), "x\n");
    EXPECT_EQ(folder.must({"restore-proof", "P.quillproject/"}).substr(0, 18), "RESTORE_PROOF_PASS");
    EXPECT_EQ(folder.must({"scene", "Scenes/"}), (folder / "Scenes/").string() + "\n");
}

TEST(CommandLine, NameWithoutAValueIsPassedOver) {
    const ToolFolder folder;
    ASSERT_EQ(folder.run_without_remote({"create", "P.quillproject", "--name"}).status, 0);
    EXPECT_NE(folder.text("P.quillproject/project.json").find("\"name\": \"P\""), std::string::npos);
}

TEST(CommandLine, EmptyNameIsPassedOverAndTheTemplateHonoured) {
    const ToolFolder folder;
    folder.write("t.usda", "#usda 1.0\n");
    ASSERT_EQ(folder.run_without_remote({"create", "P.quillproject", "--name", "", "--template", "t.usda"}).status, 0);
    EXPECT_NE(folder.text("P.quillproject/project.json").find("\"name\": \"P\""), std::string::npos);
    EXPECT_EQ(folder.text("P.quillproject/Scenes/Main.usda"), "#usda 1.0\n");
}

TEST(CommandLine, StrayWordsArePassedOverAndTheLastOptionWins) {
    const ToolFolder folder;
    ASSERT_EQ(folder.run_without_remote({"create", "P.quillproject", "extra", "--name", "M", "--name", "N"}).status, 0);
    EXPECT_NE(folder.text("P.quillproject/project.json").find("\"name\": \"N\""), std::string::npos);
}

TEST(CommandLine, SceneIdAndSceneReferencePrintWhatTheManifestHolds) {
    const ToolFolder folder;
    folder.write("P.quillproject/project.json", "{\"id\": \"abcdefghijkl\", \"mainScene\": \"Sets/../A.usda\"}");
    EXPECT_EQ(folder.run_without_remote({"scene", "P.quillproject"}).out,
              (folder / "P.quillproject/A.usda").string() + "\n");
    EXPECT_EQ(folder.run_without_remote({"id", "P.quillproject"}).out, "abcdefghijkl\n");
    EXPECT_EQ(folder.run_without_remote({"scene-ref", "P.quillproject", "ignored"}).out, "Sets/../A.usda\n");
    EXPECT_EQ(folder.run_without_remote({"scene", "model.usda"}).out, (folder / "model.usda").string() + "\n");
}

TEST(CommandLine, HistoryWithoutARemoteSaysHowToSetOne) {
    const ToolFolder folder;
    ASSERT_EQ(folder.run_without_remote({"create", "P.quillproject"}).status, 0);
    expect_failure(folder.run_without_remote({"initialize-history", "P.quillproject"}),
                   "native Tome workspaces require a configured Tome remote. Set tomeRemoteURL in project.json or "
                   "QUILL_TOME_REMOTE_URL.");
}

TEST(CommandLine, EmptyAndHostileManifestsAreOneErrorLine) {
    for (const std::string manifest : {"", "{", "{\"id\": \"../../../../etc\"}", "{\"id\": \"x", "not json"}) {
        const ToolFolder folder;
        folder.write("P.quillproject/project.json", manifest);
        folder.write("P.quillproject/Scenes/Main.usda", "#usda 1.0\n");
        const ProcessResult result = folder.run({"initialize-history", "P.quillproject"});
        EXPECT_EQ(result.status, 1) << manifest;
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
        EXPECT_EQ(folder.text("P.quillproject/project.json"), manifest);
    }
}

TEST(CommandLine, RemoteThatIsAFileIsOneErrorLine) {
    const ToolFolder folder;
    folder.write("remote", "a file");
    const ProcessResult result = folder.run({"create", "P.quillproject"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "quill_project_tool: tome_repository_create: the remote is not a directory: " +
                              (folder / "remote").string() + "\n");
    EXPECT_EQ(folder.text("remote"), "a file");
}

TEST(CommandLine, RemoteThatIsNoTomeRemoteIsOneErrorLine) {
    const ToolFolder folder;
    folder.write("remote/holiday.txt", "mine");
    const ProcessResult result = folder.run({"create", "P.quillproject"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "quill_project_tool: tome_repository_create: the directory is not a Tome remote: " +
                              (folder / "remote").string() + "\n");
}

}  // namespace
}  // namespace quill_test
