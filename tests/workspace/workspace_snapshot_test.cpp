#include "workspace/checkout/workspace_snapshot.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/support/temporary_folder.h"

namespace {

// A walk needs a descriptor for each folder on its way down; in a process that has too few it ends early, wherever the
// deep folders come in it.
TEST(WorkspaceSnapshot, FileThatAnIncompleteWalkDidNotListIsNotTakenForDeleted) {
    const quill_test::TemporaryFolder folder;
    for (int file = 0; file < 40; ++file) {
        quill_test::write_file(folder / ("source/Assets" + std::to_string(file) + "/file"), "kept");
    }
    std::filesystem::create_directory(folder / "checkout");
    quill::mirror_visible_project_files(folder / "source", folder / "checkout");
    for (int tree = 0; tree < 8; ++tree) {
        std::filesystem::path deep = folder / ("source/Deep" + std::to_string(tree));
        for (int level = 0; level < 60; ++level) {
            deep /= "folder";
        }
        quill_test::write_file(deep / "file", "deep");
    }
    const pid_t child = fork();
    if (child == 0) {
        const auto next = static_cast<rlim_t>(dup(0));  // the lowest that is free
        const rlimit few{next + 40, next + 40};
        setrlimit(RLIMIT_NOFILE, &few);
        try {
            quill::mirror_visible_project_files(folder / "source", folder / "checkout");
        } catch (const std::runtime_error&) {
            _exit(1);
        }
        _exit(0);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_NE(status, 0) << "the walk was whole, and nothing was tried";
    for (int file = 0; file < 40; ++file) {
        EXPECT_TRUE(std::filesystem::exists(folder / ("checkout/Assets" + std::to_string(file) + "/file")));
    }
}

}  // namespace
