// A system call that fails, any one of a command's, makes the command fail in one line, or does not matter: what it
// says it did, it did wholly.
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>

#include "content/content_key.h"
#include "identity/visible_files.h"
#include "tests/faults/fault_project.h"
#include "workspace/history_preview.h"
#include "workspace/revision_history.h"

namespace quill_test {
namespace {

namespace fs = std::filesystem;

// Each shard strikes other calls, and only some of them: a command makes some thousand.
constexpr unsigned long shards = 4;
constexpr unsigned long stride = 61;

std::string files_text(const fs::path& folder) {
    std::string text;
    for (const std::string& file : quill::visible_project_files(folder)) {
        const std::string bytes = read_file(folder / file);
        text += file + " " + quill::sha256_content_key(std::as_bytes(std::span(bytes))) + "\n";
    }
    return text;
}

class FailingCalls : public testing::TestWithParam<unsigned long> {
  protected:
    std::string newest_files(const std::string& workspace) const {
        return project.look_aside([&] {
            const fs::path folder = project.path(package);
            const auto revisions = quill::list_project_workspace_revisions(folder, workspace, 1);
            return files_text(quill::resolve_project_workspace_revision_scene(folder, {}, workspace, revisions.at(0).id)
                                  .checkoutRoot);
        });
    }

    static void expect_one_line(const ProcessResult& result) {
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
    }

    /// Lets calls of the command fail, from the present state; `next` is to succeed afterwards. Done, the workspace's
    /// newest revision has all files of the package.
    void fail_at_many_calls(const Arguments& command, const std::string& workspace, const Arguments& next) const {
        const std::string whole = files_text(project.path(package));
        project.save();
        unsigned long first = 1 + GetParam() * stride / shards;
        for (const int error : {EIO, EMFILE, EACCES, ENOSPC}) {
            const std::string kind = "error:" + std::to_string(error);
            const unsigned long steps = project.count_steps(command, kind);
            EXPECT_GT(steps, 200U);
            for (unsigned long step = first; step <= steps; step += stride) {
                const ProcessResult result = project.run_struck(command, kind, step);
                SCOPED_TRACE(kind + " at " + project.struck_call() + "\n" + result.err);
                try {
                    if (result.status == 0) {
                        EXPECT_EQ(newest_files(workspace), whole);
                    } else {
                        expect_one_line(result);
                    }
                    const ProcessResult again = project.run(next);
                    EXPECT_EQ(again.status, 0) << again.err;
                } catch (const std::exception& failure) {
                    ADD_FAILURE() << failure.what();
                }
            }
            first += stride / shards / 4;
        }
    }

    void edit() const {
        project.write(package + "/" + scene_path, "#usda 1.0\n# new\n");
        project.write(package + "/" + asset_path, asset_bytes(4));
        project.write(package + "/Fresh/c.txt", "c");
    }

    FaultProject project;
};

TEST_P(FailingCalls, MakeNoCommitIncomplete) {
    edit();
    const Arguments commit{"commit-workspace", package, "main", scene_path, asset_path, "Fresh/c.txt"};
    fail_at_many_calls(commit, "main", commit);
}

TEST_P(FailingCalls, MakeNoHistoryIncomplete) {
    edit();
    const Arguments initialize{"initialize-history", package};
    fail_at_many_calls(initialize, "main", initialize);
}

TEST_P(FailingCalls, MakeNoWorkspaceIncomplete) {
    edit();
    const Arguments create{"create-workspace", package, "main", "fresh"};
    fail_at_many_calls(create, "main", create);
}

TEST_P(FailingCalls, MakeNoSyncIncomplete) {
    edit();
    project.must({"commit-workspace", package, "main", scene_path, asset_path, "Fresh/c.txt"});
    project.must({"create-workspace", package, "main", "other"});
    project.write(package + "/" + asset_path, "to be replaced");
    const std::string wanted = asset_bytes(4);
    project.save();
    const Arguments sync{"sync-workspace", package, "other", asset_path};
    const unsigned long steps = project.count_steps(sync, "error:5");
    for (unsigned long step = 1 + GetParam() * stride / shards; step <= steps; step += stride) {
        const ProcessResult result = project.run_struck(sync, "error:5", step);
        SCOPED_TRACE(project.struck_call() + "\n" + result.err);
        if (result.status != 0) {
            expect_one_line(result);
            project.must(sync);
        }
        EXPECT_TRUE(project.text(package + "/" + asset_path) == wanted);
    }
}

INSTANTIATE_TEST_SUITE_P(Shard, FailingCalls, testing::Range(0UL, shards));

}  // namespace
}  // namespace quill_test
