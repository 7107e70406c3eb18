#include "files/folder_lock.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <optional>
#include <thread>

#include "files/file_descriptor.h"
#include "tests/support/failure.h"
#include "tests/support/temporary_folder.h"

namespace {

using quill::FolderLock;
using quill_test::failure_of;

// Whether somebody else could have the lock now.
bool is_free(const std::filesystem::path& folder) {
    const quill::FileDescriptor descriptor = quill::open_at(AT_FDCWD, folder.c_str(), O_RDONLY);
    return flock(descriptor.get(), LOCK_EX | LOCK_NB) == 0;
}

TEST(FolderLock, IsHeldAsLongAsItLives) {
    const quill_test::TemporaryFolder folder;
    EXPECT_TRUE(is_free(folder.path()));
    {
        const FolderLock lock(folder.path());
        EXPECT_FALSE(is_free(folder.path()));
    }
    EXPECT_TRUE(is_free(folder.path()));
}

TEST(FolderLock, OfOneFolderLeavesOthersFree) {
    const quill_test::TemporaryFolder folder;
    const quill_test::TemporaryFolder other;
    const FolderLock lock(folder.path());
    EXPECT_TRUE(is_free(other.path()));
}

TEST(FolderLock, IsWaitedForByAnotherThread) {
    const quill_test::TemporaryFolder folder;
    std::atomic<bool> let_go = false;
    std::optional<FolderLock> lock;
    lock.emplace(folder.path());
    std::thread other([&] {
        const FolderLock second(folder.path());
        EXPECT_TRUE(let_go);
    });
    let_go = true;
    lock.reset();
    other.join();
}

TEST(FolderLock, EndsWithItsProcess) {
    const quill_test::TemporaryFolder folder;
    const pid_t child = fork();
    if (child == 0) {
        const FolderLock lock(folder.path());
        _exit(is_free(folder.path()) ? 1 : 0);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_TRUE(is_free(folder.path()));
}

TEST(FolderLock, OfAFolderThatIsNotThereFails) {
    const quill_test::TemporaryFolder folder;
    const std::filesystem::path missing = folder / "missing";
    EXPECT_EQ(failure_of([&] { const FolderLock lock(missing); }),
              "could not lock workspace folder: " + missing.string());
}

}  // namespace
