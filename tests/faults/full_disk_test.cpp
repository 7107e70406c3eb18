// A disk that is full at any step, for one call or for good, makes a command fail in one line and damages nothing.
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/faults/fault_project.h"

namespace quill_test {
namespace {

constexpr unsigned long shards = 4;
const std::string new_scene = "#usda 1.0\n# new\n";

// Each shard strikes every fourth step, so that the shards run side by side.
class FullDisk : public testing::TestWithParam<unsigned long> {
  protected:
    FullDisk() {
        project.write(package + "/" + scene_path, after.scene);
        project.write(package + "/" + asset_path, after.asset);
        project.save();
    }

    void fill_at_every_step(const Arguments& command, const std::string& kind) const {
        const unsigned long steps = project.count_steps(command, kind);
        ASSERT_GT(steps, 20U);
        for (unsigned long step = 1 + GetParam(); step <= steps; step += shards) {
            const ProcessResult result = project.run_struck(command, kind, step);
            SCOPED_TRACE(kind + " at " + project.struck_call() + "\n" + result.err);
            try {
                expect_success_or_one_line(result);
                expect_nothing_lost();
                const ProcessResult again = project.run(command);
                EXPECT_EQ(again.status, 0) << again.err;
                EXPECT_TRUE(project.head("main") == after);
            } catch (const std::exception& error) {
                ADD_FAILURE() << error.what();
            }
        }
    }

    static void expect_success_or_one_line(const ProcessResult& result) {
        if (result.status == 0) {
            EXPECT_EQ(result.err, "");
            return;
        }
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.out, "");
        EXPECT_TRUE(result.err.starts_with("quill_project_tool: "));
        EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1);
    }

    void expect_nothing_lost() const {
        EXPECT_EQ(project.text(package + "/project.json"), manifest);
        const std::string index = project.text(package + "/Workspaces/workspaces.json");
        EXPECT_TRUE(index == old_index ||
                    (index.starts_with(old_index.substr(0, 20)) && index.ends_with("}\n  ]\n}\n")))
            << index;
        EXPECT_TRUE(project.text(package + "/" + scene_path) == after.scene);
        EXPECT_TRUE(project.text(package + "/" + asset_path) == after.asset);
        const WorkspaceHead left = project.head("main");
        EXPECT_TRUE(left == before || left == after) << "order " << left.order;
    }

    FaultProject project;
    const WorkspaceHead before = project.head("main");
    const WorkspaceHead after{before.order + 1, new_scene, asset_bytes(2)};
    const std::string manifest = project.text(package + "/project.json");
    const std::string old_index = project.text(package + "/Workspaces/workspaces.json");
};

const Arguments commit{"commit-workspace", package, "main", scene_path, asset_path};
const Arguments create{"create-workspace", package, "main", "fresh"};

TEST_P(FullDisk, ForOneCallOfACommit) {
    fill_at_every_step(commit, "full-once");
}

TEST_P(FullDisk, ForTheRestOfACommit) {
    fill_at_every_step(commit, "full");
}

TEST_P(FullDisk, ForOneCallOfAWorkspaceCreation) {
    fill_at_every_step(create, "full-once");
}

TEST_P(FullDisk, ForTheRestOfAWorkspaceCreation) {
    fill_at_every_step(create, "full");
}

INSTANTIATE_TEST_SUITE_P(Shard, FullDisk, testing::Range(0UL, shards));

}  // namespace
}  // namespace quill_test
