#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <quill/quill.h>

#include <iostream>

#include "tests/support/run_process.h"
#include "tests/workspace/history_project.h"

namespace quill {
namespace {

using quill_test::HistoryProject;
using quill_test::read_file;
using quill_test::run_process;
using quill_test::write_file;

constexpr int process_count = 4;
constexpr int commits_each = 3;

// Commits files of its own to main, from a process of its own; the exit status counts failures.
int commit_in_a_process(const HistoryProject& project, int process) {
    int failures = 0;
    for (int i = 0; i < commits_each; ++i) {
        const std::string path = "Assets/p" + std::to_string(process) + "-" + std::to_string(i) + ".txt";
        write_file(project.package() / path, path);
        const auto result = run_process({QUILL_TOOL, "commit-workspace", project.package().string(), "main", path},
                                        {{"QUILL_TOME_REMOTE_URL", project.remote().string()}});
        if (result.status != 0) {
            ++failures;
            std::cerr << result.err;
        }
    }
    return failures;
}

TEST(ConcurrentCommits, OfSeveralProcessesAllLandInOneLine) {
    const HistoryProject project;
    std::vector<pid_t> children;
    for (int process = 0; process < process_count; ++process) {
        const pid_t child = fork();
        if (child == 0) {
            _exit(commit_in_a_process(project, process));
        }
        children.push_back(child);
    }
    for (const pid_t child : children) {
        int status = 0;
        waitpid(child, &status, 0);
        EXPECT_EQ(status, 0);
    }
    const auto revisions = list_project_workspace_revisions(project.package(), "main", 100);
    ASSERT_EQ(revisions.size(), 1U + process_count * commits_each);
    for (std::size_t i = 0; i + 1 < revisions.size(); ++i) {
        EXPECT_EQ(revisions[i].linkedHash1, revisions[i + 1].id);
    }
    const auto head = resolve_project_workspace_revision_scene(project.package(), {}, "main", revisions[0].id);
    for (int process = 0; process < process_count; ++process) {
        for (int i = 0; i < commits_each; ++i) {
            const std::string path = "Assets/p" + std::to_string(process) + "-" + std::to_string(i) + ".txt";
            EXPECT_EQ(read_file(head.checkoutRoot / path), path);
        }
    }
}

}  // namespace
}  // namespace quill
