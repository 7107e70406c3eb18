#include "workspace/checkout/commit_lock.h"

#include <gtest/gtest.h>

#include <mutex>
#include <thread>

namespace {

bool have_one_lock(const char* a, const char* b) {
    const std::mutex* const first = quill::lock_workspace_commits(a).mutex();
    return quill::lock_workspace_commits(b).mutex() == first;
}

TEST(CommitLock, OfMainIsItsOwn) {
    EXPECT_TRUE(have_one_lock("main", "main"));
    EXPECT_FALSE(have_one_lock("main", "feature"));
}

TEST(CommitLock, OfAllOtherWorkspacesIsOne) {
    EXPECT_TRUE(have_one_lock("feature", "other"));
}

TEST(CommitLock, IsHeldUntilItGoes) {
    std::mutex* mutex = nullptr;
    {
        const auto lock = quill::lock_workspace_commits("main");
        mutex = lock.mutex();
        EXPECT_TRUE(lock.owns_lock());
        std::thread([&] { EXPECT_FALSE(mutex->try_lock()); }).join();
    }
    ASSERT_TRUE(mutex->try_lock());
    mutex->unlock();
}

TEST(CommitLock, OfMainAndOfAnotherWorkspaceAreHeldSideBySide) {
    const auto main = quill::lock_workspace_commits("main");
    const auto other = quill::lock_workspace_commits("feature");
    EXPECT_NE(main.mutex(), other.mutex());
}

}  // namespace
