// A system call that fails, any one of a command's, makes the command fail in one line, or does not matter: what it
// says it did, it did wholly.
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <functional>

#include "content/content_key.h"
#include "project/visible_files.h"
#include "tests/faults/fault_project.h"
#include "workspace/history/history_preview.h"
#include "workspace/history/revision_history.h"

namespace quill_test {
namespace {

namespace fs = std::filesystem;

// Each shard strikes other calls, and only some of them: a command makes some thousand. With QUILL_FAULT_STRIDE=4 the
// shards strike all of them; that takes half an hour.
constexpr unsigned long shards = 4;

unsigned long stride() {
    const char* text = std::getenv("QUILL_FAULT_STRIDE");
    return text != nullptr ? std::stoul(text) : 131;
}

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

    /// Lets calls of the command fail, each time from the present state, and has `check` look at what it left.
    void fail_at_many_calls(const Arguments& command, const std::vector<int>& errors,
                            const std::function<void(const ProcessResult&)>& check) const {
        project.save();
        unsigned long first = 1 + GetParam() * stride() / shards;
        for (const int error : errors) {
            const std::string kind = "error:" + std::to_string(error);
            const unsigned long steps = project.count_steps(command, kind);
            EXPECT_GT(steps, 200U);
            for (unsigned long step = first; step <= steps; step += stride()) {
                const ProcessResult result = project.run_struck(command, kind, step);
                SCOPED_TRACE(kind + " at " + project.struck_call() + "\n" + result.err);
                try {
                    result.status == 0 ? void() : expect_one_line(result);
                    check(result);
                } catch (const std::exception& failure) {
                    ADD_FAILURE() << failure.what();
                }
            }
            first += stride() / shards / 4;
        }
    }

    /// The same for a command that commits: done, main's newest revision has all files of the package; `next` is to
    /// succeed afterwards.
    void fail_to_commit(const Arguments& command, const Arguments& next) const {
        const std::string whole = files_text(project.path(package));
        fail_at_many_calls(command, {EIO, EMFILE, EACCES, ENOSPC}, [&](const ProcessResult& result) {
            if (result.status == 0) {
                EXPECT_EQ(newest_files("main"), whole);
            }
            project.must(next);
        });
    }

    bool is_kept(const std::string& path, const std::string& bytes) const {
        for (const auto& set : fs::directory_iterator(project.path(checkouts + ".kept-files"))) {
            if (fs::exists(set.path() / path) && read_file(set.path() / path) == bytes) {
                return true;
            }
        }
        return false;
    }

    void edit() const {
        project.write(package + "/" + scene_path, "#usda 1.0\n# new\n");
        project.write(package + "/" + asset_path, asset_bytes(4));
        project.write(package + "/Fresh/c.txt", "c");
    }

    FaultProject project;
};

const Arguments commit{"commit-workspace", package, "main", scene_path, asset_path, "Fresh/c.txt"};

TEST_P(FailingCalls, MakeNoCommitIncomplete) {
    edit();
    fail_to_commit(commit, commit);
}

TEST_P(FailingCalls, MakeNoHistoryIncomplete) {
    edit();
    const Arguments initialize{"initialize-history", package};
    fail_to_commit(initialize, initialize);
}

TEST_P(FailingCalls, MakeNoWorkspaceIncomplete) {
    edit();
    const Arguments create{"create-workspace", package, "main", "fresh"};
    fail_to_commit(create, create);
}

TEST_P(FailingCalls, MakeNoSyncIncomplete) {
    edit();
    project.must(commit);
    project.must({"create-workspace", package, "main", "other"});
    project.write(package + "/" + asset_path, "to be replaced");
    const Arguments sync{"sync-workspace", package, "other", asset_path};
    fail_at_many_calls(sync, {EIO}, [&](const ProcessResult& result) {
        result.status == 0 ? std::string() : project.must(sync);
        EXPECT_TRUE(project.text(package + "/" + asset_path) == asset_bytes(4));
        EXPECT_TRUE(is_kept(asset_path, "to be replaced"));
    });
}

TEST_P(FailingCalls, MakeNoRestoreIncomplete) {
    const std::string before = files_text(project.path(package));
    edit();
    const std::string after = files_text(project.path(package));
    project.must(commit);
    const Arguments restore{"library", "restore", package, "main"};
    fail_at_many_calls(restore, {EIO, EMFILE}, [&](const ProcessResult& result) {
        if (result.status == 0) {
            EXPECT_EQ(files_text(project.path(package)), before);
            EXPECT_EQ(newest_files("main"), before);
        }
        project.must(restore);  // Of the revision before that, where the first one was published.
        const std::string files = files_text(project.path(package));
        EXPECT_TRUE(files == before || files == after) << files;
        EXPECT_EQ(newest_files("main"), files);
    });
}

INSTANTIATE_TEST_SUITE_P(Shard, FailingCalls, testing::Range(0UL, shards));

}  // namespace
}  // namespace quill_test
