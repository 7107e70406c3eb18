#include <gtest/gtest.h>
#include <quill/quill.h>

#include <stdexcept>

#include "tests/support/concurrency.h"
#include "tests/support/run_process.h"
#include "tests/workspace/history_project.h"

namespace quill {
namespace {

using quill_test::HistoryProject;
using quill_test::in_processes;
using quill_test::read_file;
using quill_test::run_process;
using quill_test::write_file;

// Sanitizers make a commit many times as long.
#if defined(QUILL_ADDRESS_SANITIZER) || defined(QUILL_THREAD_SANITIZER)
constexpr int writers = 4;
constexpr int commits_each = 3;
constexpr int rounds = 2;
#else
constexpr int writers = 16;
constexpr int commits_each = 25;
constexpr int rounds = 8;
#endif
constexpr int initializers = 6;

std::string own_path(int process, int commit) {
    return "Assets/p" + std::to_string(process) + "-" + std::to_string(commit) + ".txt";
}

void run_tool(const HistoryProject& project, const std::vector<std::string>& command) {
    std::vector<std::string> arguments{QUILL_TOOL};
    arguments.insert(arguments.end(), command.begin(), command.end());
    const auto result = run_process(arguments, {{"QUILL_TOME_REMOTE_URL", project.remote().string()}});
    if (result.status != 0) {
        throw std::runtime_error(result.err);
    }
}

void commit_own_files(const HistoryProject& project, int process, int commits) {
    for (int i = 0; i < commits; ++i) {
        const std::string path = own_path(process, i);
        write_file(project.package() / path, path);
        run_tool(project, {"commit-workspace", project.package().string(), "main", path});
    }
}

// Each revision follows the one before, and the last has everybody's files.
void expect_one_line_of_all(const HistoryProject& project, int processes, int commits) {
    const auto count = static_cast<std::size_t>(1 + processes * commits);
    const auto revisions = list_project_workspace_revisions(project.package(), "main", count + 1);
    ASSERT_EQ(revisions.size(), count);
    for (std::size_t i = 0; i + 1 < revisions.size(); ++i) {
        EXPECT_EQ(revisions[i].linkedHash1, revisions[i + 1].id);
    }
    const auto head = resolve_project_workspace_revision_scene(project.package(), {}, "main", revisions[0].id);
    for (int process = 0; process < processes; ++process) {
        for (int i = 0; i < commits; ++i) {
            EXPECT_EQ(read_file(head.checkoutRoot / own_path(process, i)), own_path(process, i));
        }
    }
}

TEST(ConcurrentCommits, OfManyProcessesAreNeitherRefusedNorLost) {
    const HistoryProject project;
    in_processes(writers, [&](int writer) { commit_own_files(project, writer, commits_each); });
    expect_one_line_of_all(project, writers, commits_each);
}

TEST(ConcurrentInitializations, OfOneProjectAllSucceed) {
    const HistoryProject project;
    for (int round = 0; round < rounds; ++round) {
        write_file(project.package() / "Assets/round.txt", std::to_string(round));
        in_processes(initializers, [&](int) { run_tool(project, {"initialize-history", project.package().string()}); });
    }
    EXPECT_EQ(list_project_workspace_revisions(project.package(), "main", 50).size(), 1U + rounds);
}

}  // namespace
}  // namespace quill
