#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

#include "tests/tool/tool_project.h"

namespace quill_test {
namespace {

const std::string project = "P.quillproject";
const std::string scene = "P.quillproject/Scenes/Main.usda";
const std::string state_b =
    "\ndef Xform \"KeelRestoreProofB\" {\n  def Cube \"VisibleCube\" {\n    double size = 4\n"
    "    color3f[] primvars:displayColor = [(0.05, 0.8, 0.15)]\n  }\n}\n";

std::map<std::string, std::string> fields(const std::string& output) {
    std::map<std::string, std::string> result;
    std::istringstream lines(output);
    for (std::string line; std::getline(lines, line);) {
        const std::size_t equals = line.find('=');
        result[line.substr(0, equals)] = equals == std::string::npos ? "" : line.substr(equals + 1);
    }
    return result;
}

TEST(RestoreProof, BringsTheFirstStateBackAsANewRevision) {
    const ToolFolder folder;
    folder.must({"create", project});
    const std::string before = folder.text(scene);
    const std::string output = folder.must({"restore-proof", project});
    auto values = fields(output);
    EXPECT_EQ(output, "RESTORE_PROOF_PASS\nproject=" + values["project"] + "\nstate_a=" + values["state_a"] +
                          "\nstate_b=" + values["state_b"] + "\nrestored_head=" + values["restored_head"] +
                          "\nverified_live_files=1\n");
    EXPECT_EQ(values["restored_head"].size(), 64U);
    EXPECT_NE(values["restored_head"], values["state_a"]);
    EXPECT_EQ(folder.text(scene), before);
}

TEST(RestoreProof, PreparingTwiceStacksTheAddition) {
    const ToolFolder folder;
    folder.must({"create", project});
    const std::string before = folder.text(scene);
    auto first = fields(folder.must({"prepare-visual-restore-proof", project}));
    auto second = fields(folder.must({"prepare-visual-restore-proof", project}));
    EXPECT_TRUE(first.contains("VISUAL_RESTORE_PROOF_READY"));
    EXPECT_EQ(second["state_a"], first["state_b"]);
    EXPECT_EQ(state_b.size(), 144U);
    EXPECT_EQ(folder.text(scene), before + state_b + state_b);
}

TEST(RestoreProof, HistoryThatWasNeverStartedIsRefusedAndTheSceneKept) {
    const ToolFolder folder;
    ASSERT_EQ(folder.run_without_remote({"create", project}).status, 0);
    const std::string before = folder.text(scene);
    const ProcessResult result = folder.run({"restore-proof", project});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "quill_project_tool: restore proof requires an initial revision\n");
    EXPECT_EQ(folder.text(scene), before);
}

TEST(RestoreProof, UncommittedEditsOfTheSceneAreStateAOnDiskButNotInTheHistory) {
    const ToolFolder folder;
    folder.must({"create", project});
    folder.write(scene, "#usda 1.0\n# not committed\n");
    const ProcessResult result = folder.run({"restore-proof", project});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "quill_project_tool: historical checkout does not contain state A\n");
    EXPECT_EQ(folder.text(scene), "#usda 1.0\n# not committed\n" + state_b);
}

TEST(RestoreProof, RefusesASceneThatALinkLeadsOutOfThePackage) {
    const ToolFolder folder;
    folder.must({"create", project});
    folder.must({"initialize-history", project});
    const std::string outside = folder.text(scene);
    folder.write("outside/Main.usda", outside);
    const auto refused = [&] {
        const ProcessResult result = folder.run({"restore-proof", project});
        EXPECT_EQ(result.status, 1);
        EXPECT_TRUE(result.err.starts_with("quill_project_tool: scene lies outside the project: ")) << result.err;
        EXPECT_EQ(folder.text("outside/Main.usda"), outside);
    };
    std::filesystem::remove(folder / scene);
    std::filesystem::create_symlink(folder / "outside/Main.usda", folder / scene);
    refused();
    std::filesystem::remove_all((folder / scene).parent_path());
    std::filesystem::create_directory_symlink(folder / "outside", (folder / scene).parent_path());
    refused();
}

std::vector<std::filesystem::path> shared_scenes() {
    std::vector<std::filesystem::path> scenes;
    std::error_code ignored;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(QUILL_SCENES_DIR, ignored)) {
        const std::string extension = entry.path().extension().string();
        if (extension.starts_with(".usd") || extension == ".sdf") {
            scenes.push_back(entry.path());
        }
    }
    std::sort(scenes.begin(), scenes.end());
    return scenes;
}

TEST(RestoreProof, PassesOnEveryRealScene) {
#if defined(QUILL_THREAD_SANITIZER)
    GTEST_SKIP() << "the scenes change nothing about the threads";
#endif
    const std::vector<std::filesystem::path> scenes = shared_scenes();
    if (scenes.empty()) {
        GTEST_SKIP() << "no scenes in " << QUILL_SCENES_DIR;
    }
    for (const std::filesystem::path& path : scenes) {
        SCOPED_TRACE(path);
        const ToolFolder folder;
        ASSERT_EQ(folder.run_without_remote({"create", project, "--template", path.string()}).status, 0);
        EXPECT_EQ(folder.must({"initialize-history", project}), "Initialized project history at revision 1\n");
        const std::string edited = read_file(path) + "# edited\n";
        folder.write(scene, edited);
        folder.must({"commit-workspace", project, "main", "Scenes/Main.usda"});
        EXPECT_TRUE(folder.must({"restore-proof", project}).starts_with("RESTORE_PROOF_PASS\n"));
        EXPECT_EQ(folder.text(scene), edited);
    }
}

}  // namespace
}  // namespace quill_test
