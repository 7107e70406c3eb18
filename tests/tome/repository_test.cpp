#include "tome/remote/repository.h"

#include <gtest/gtest.h>

#include "tests/support/temporary_folder.h"
#include "tome/base/error.h"

namespace quill_test {
namespace {

class Repository : public testing::Test {
  protected:
    TemporaryFolder folder_;
    const tome::RepositoryLocation location_ =
        tome::parse_repository_url("file://" + (folder_ / "remote").string() + "/project");
};

TEST_F(Repository, IsMadeWithAMainBranchThatHasNoRevision) {
    tome::create_repository(location_);
    EXPECT_TRUE(tome::repository_is_there(location_));
    const auto branches = tome::open_repository(location_)->branches();
    ASSERT_EQ(branches.size(), 1U);
    EXPECT_EQ(branches.front().name, "main");
    EXPECT_TRUE(branches.front().head.is_zero());
}

TEST_F(Repository, SaysWhereItLiesAlsoWhenItCannotBeOpened) {
    EXPECT_EQ(tome::repository_place(location_), (folder_ / "remote/project").string());
    EXPECT_THROW(tome::open_repository(location_), tome::Error);
    tome::create_repository(location_);
    EXPECT_EQ(tome::open_repository(location_)->place(), tome::repository_place(location_));
}

TEST_F(Repository, OfAnUnknownKindIsRefused) {
    try {
        tome::open_repository({"other://host/remote", "project"});
        FAIL();
    } catch (const tome::Error& error) {
        EXPECT_STREQ(error.what(), "invalid remote URL (unknown scheme): other://host/remote");
    }
}

}  // namespace
}  // namespace quill_test
