// A command killed at any of its durable steps leaves the old state or the new one, and succeeds when it is run again.
#include <gtest/gtest.h>

#include <cstdlib>

#include "project/visible_files.h"
#include "tests/faults/fault_project.h"

namespace quill_test {
namespace {

namespace fs = std::filesystem;

constexpr unsigned long shards = 4;
constexpr int killed = 128 + 9;
const std::string new_scene = "#usda 1.0\n# new\n";

// Each shard strikes every fourth step, so that the shards run side by side.
class KilledCommands : public testing::TestWithParam<unsigned long> {
  protected:
    /// Kills the command at the shard's steps, each or every `nth` of them, and calls `check` on what each kill left.
    template <typename Check>
    void kill_at_every_step(const Arguments& command, const std::string& kind, Check check,
                            unsigned long nth = 1) const {
        project.save();
        const unsigned long steps = project.count_steps(command, kind);
        ASSERT_GT(steps, 20U);
        for (unsigned long step = 1 + GetParam(); step <= steps; step += shards * nth) {
            const ProcessResult result = project.run_struck(command, kind, step);
            SCOPED_TRACE(kind + " at " + project.struck_call());
            // Where threads race, a run may make a step less than the counted one did.
            EXPECT_TRUE(result.status == killed || result.status == 0) << result.status << ": " << result.err;
            try {
                expect_whole_records();
                check();
                expect_little_litter();
            } catch (const std::exception& error) {
                ADD_FAILURE() << error.what();
            }
        }
    }

    void expect_whole_records() const {
        EXPECT_EQ(project.text(package + "/project.json"), manifest);
        const std::string index = project.text(package + "/Workspaces/workspaces.json");
        EXPECT_TRUE(index.starts_with("{\n  \"version\": 1,")) << index;
        EXPECT_TRUE(index.ends_with("}\n  ]\n}\n")) << index;
        EXPECT_EQ(visible_files(), visible);
    }

    /// Without the files that a restore stages beside their destinations.
    std::vector<std::string> visible_files() const {
        std::vector<std::string> files = quill::visible_project_files(project.path(package));
        std::erase_if(files, [](const std::string& file) { return file.find(".keel-restore-") != std::string::npos; });
        return files;
    }

    /// The next command sweeps the killed one's temporary checkouts away, but for those for queries without an ID yet:
    /// they might be workspaces of such a name.
    void expect_little_litter() const {
        std::vector<std::string> temporary;
        for (const auto& entry : fs::directory_iterator(project.path(checkouts))) {
            const std::string name = entry.path().filename().string();
            const bool query = name.starts_with("metadata-") && fs::exists(entry.path() / ".keel-project-id");
            if (query || name.find("-commit-") != std::string::npos || name.starts_with(".workspace-restore-") ||
                name.starts_with(".remote-bootstrap-")) {
                temporary.push_back(name);
            }
        }
        EXPECT_LE(temporary.size(), 2U) << testing::PrintToString(temporary);
    }

    void expect_success(const Arguments& command) const {
        const ProcessResult result = project.run(command);
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.err, "");
    }

    /// Commits new bytes to a workspace whose files lie below `source`.
    void kill_commits(const std::string& workspace, const std::string& source, const std::string& kind) const {
        const WorkspaceHead before = project.head(workspace);
        const WorkspaceHead after{before.order + 1, new_scene, asset_bytes(2)};
        project.write(source + scene_path, after.scene);
        project.write(source + asset_path, after.asset);
        const Arguments command{"commit-workspace", package, workspace, scene_path, asset_path};
        kill_at_every_step(command, kind, [&] {
            EXPECT_TRUE(project.text(source + scene_path) == after.scene);
            EXPECT_TRUE(project.text(source + asset_path) == after.asset);
            const WorkspaceHead left = project.head(workspace);
            EXPECT_TRUE(left == before || left == after) << "order " << left.order;
            expect_success(command);
            EXPECT_TRUE(project.head(workspace) == after) << "order " << project.head(workspace).order;
        });
    }

    FaultProject project;
    const std::string manifest = project.text(package + "/project.json");
    const std::vector<std::string> visible = visible_files();
};

TEST_P(KilledCommands, CommitToMainIsDoneOrNot) {
    kill_commits("main", package + "/", "kill");
}

TEST_P(KilledCommands, CommitToMainSurvivesHalfAWrite) {
    kill_commits("main", package + "/", "kill-torn");
}

TEST_P(KilledCommands, CommitToAWorkspaceIsDoneOrNot) {
    kill_commits("feature", checkouts + "feature/", "kill");
}

TEST_P(KilledCommands, CommitInAWorkspaceWithItsOwnStoreIsDoneOrNot) {
    fs::remove_all(project.path(checkouts + "feature"));
    fs::remove_all(project.path(package + "/.derived/tome-shared-store"));
    project.write(package + "/.derived/tome-shared-store", "not a store");
    project.must({"sync-workspace", package, "feature", scene_path, asset_path});
    kill_commits("feature", checkouts + "feature/", "kill");
}

TEST_P(KilledCommands, CreatedWorkspaceIsThereOrNot) {
    const WorkspaceHead before = project.head("main");
    const WorkspaceHead after{before.order + 1, new_scene, asset_bytes(2)};
    project.write(package + "/" + scene_path, after.scene);
    project.write(package + "/" + asset_path, after.asset);
    const Arguments command{"create-workspace", package, "main", "fresh"};
    kill_at_every_step(command, "kill", [&] {
        const WorkspaceHead left = project.head("main");
        EXPECT_TRUE(left == before || left == after) << "order " << left.order;
        const std::string listed = project.workspaces();
        EXPECT_TRUE(listed == "main\nfeature\n" || listed == "main\nfeature\nfresh\n" ||
                    listed == "main\nfresh\nfeature\n")
            << listed;
        const ProcessResult again = project.run(command);
        EXPECT_EQ(again.status, 0) << again.err;
        EXPECT_TRUE(again.out == "fresh\n" || again.out == "fresh-2\n") << again.out;
        const std::string created = again.out.substr(0, again.out.find('\n'));
        EXPECT_NE(project.workspaces().find("\n" + again.out), std::string::npos);
        EXPECT_TRUE(project.head(created) == after);
        expect_success({"sync-workspace", package, created, scene_path, asset_path});
    });
}

TEST_P(KilledCommands, RestoreProofPassesAgainFromThePublishedState) {
    const WorkspaceHead before = project.head("main");
    const std::string state_a = project.text(package + "/" + scene_path);
    const unsigned long nth = std::getenv("QUILL_FAULT_STRIDE") != nullptr ? 1 : 2;  // It is the longest of all.
    kill_at_every_step(
        {"restore-proof", package}, "kill",
        [&] {
            const WorkspaceHead left = project.head("main");
            EXPECT_GE(left.order, before.order);
            EXPECT_LE(left.order, before.order + 2);
            EXPECT_EQ(left.scene == state_a, left.order != before.order + 1);
            EXPECT_TRUE(left.asset == before.asset);
            // The proof starts from a scene that is committed; a kill may leave it edited, or cut by the editing
            // itself.
            if (project.text(package + "/" + scene_path) != left.scene) {
                expect_success({"sync-workspace", package, "main", scene_path});
            }
            EXPECT_TRUE(project.text(package + "/" + scene_path) == left.scene);
            const ProcessResult again = project.run({"restore-proof", package});
            EXPECT_TRUE(again.out.starts_with("RESTORE_PROOF_PASS\n")) << again.err;
            EXPECT_EQ(quill::visible_project_files(project.path(package)), visible);
        },
        nth);
}

INSTANTIATE_TEST_SUITE_P(Shard, KilledCommands, testing::Range(0UL, shards));

}  // namespace
}  // namespace quill_test
