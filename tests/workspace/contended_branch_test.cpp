#include "workspace/checkout/contended_branch.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>

#include <filesystem>
#include <stdexcept>
#include <vector>

#include "files/file_descriptor.h"
#include "project/workspace_paths.h"
#include "tests/support/package_folder.h"

namespace {

namespace fs = std::filesystem;
using quill::repeat_while_branch_moves;
using quill_test::failure_of;

const std::string moved = "tome_branch_push: branch has moved on the remote: main";

class ContendedBranch : public quill_test::PackageFolder {
  protected:
    ContendedBranch() { fs::create_directories(quill::workspace_checkout_base(project_)); }

    // Whether those who come later need not wait.
    bool turn_is_free() const {
        const fs::path folder = quill::workspace_checkout_base(project_);
        const quill::FileDescriptor descriptor = quill::open_at(AT_FDCWD, folder.c_str(), O_RDONLY);
        return flock(descriptor.get(), LOCK_EX | LOCK_NB) == 0;
    }
};

TEST_F(ContendedBranch, IsTriedUntilNobodyWasFaster) {
    int attempts = 0;
    repeat_while_branch_moves(project_, [&] {
        if (++attempts < 4) {
            throw std::runtime_error(moved);
        }
    });
    EXPECT_EQ(attempts, 4);
}

TEST_F(ContendedBranch, IsGivenUpAfterFortyAttempts) {
    int attempts = 0;
    EXPECT_EQ(failure_of([&] {
                  repeat_while_branch_moves(project_, [&] {
                      ++attempts;
                      throw std::runtime_error(moved);
                  });
              }),
              moved);
    EXPECT_EQ(attempts, 40);
}

TEST_F(ContendedBranch, OtherFailuresPassAtOnce) {
    int attempts = 0;
    EXPECT_EQ(failure_of([&] {
                  repeat_while_branch_moves(project_, [&] {
                      ++attempts;
                      throw std::runtime_error("disk full");
                  });
              }),
              "disk full");
    EXPECT_EQ(attempts, 1);
}

TEST_F(ContendedBranch, WhoLostKeepsTheTurnFromThenOn) {
    std::vector<bool> free;
    repeat_while_branch_moves(project_, [&] {
        free.push_back(turn_is_free());
        if (free.size() < 3) {
            throw std::runtime_error(moved);
        }
    });
    EXPECT_EQ(free, (std::vector<bool>{true, false, false}));
    EXPECT_TRUE(turn_is_free());
}

TEST_F(ContendedBranch, OfAProjectWithoutCheckoutsNeedsNoTurnAsLongAsNobodyIsFaster) {
    fs::remove_all(project_);
    int attempts = 0;
    repeat_while_branch_moves(project_, [&] { ++attempts; });
    EXPECT_EQ(attempts, 1);
    EXPECT_FALSE(fs::exists(project_));
}

}  // namespace
