#include "tome/remote/store_remote.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/temporary_folder.h"
#include "tests/tome/engine_test_objects.h"

namespace quill_test {
namespace {

using tome::BranchName;

class StoreRemote : public testing::Test {
  protected:
    StoreRemote() { EXPECT_TRUE(tome::create_repository_store(directory_)); }

    TemporaryFolder folder_;
    const std::filesystem::path directory_ = folder_ / "repository";
};

TEST_F(StoreRemote, BeginsWithAMainThatHasNoRevision) {
    tome::StoreRemote remote(directory_);
    ASSERT_EQ(remote.branches().size(), 1U);
    const auto main = remote.find_branch(BranchName::parse("main"));
    ASSERT_TRUE(main);
    EXPECT_TRUE(main->head.is_zero());
    EXPECT_EQ(remote.place(), directory_.string());
}

TEST_F(StoreRemote, IsNotMadeWhereOneIs) {
    EXPECT_FALSE(tome::create_repository_store(directory_));
}

TEST_F(StoreRemote, GivesBackTheObjectsThatItWasGiven) {
    EngineTestObjects source;
    const tome::Digest first = source.revision({}, 1);
    const tome::Digest second = source.revision({first}, 2);
    tome::StoreRemote remote(directory_);
    remote.add_objects(source, {{tome::ObjectKind::Revision, first}}, {});
    EXPECT_TRUE(remote.objects()->contains(tome::ObjectKind::Revision, first));
    EXPECT_FALSE(remote.objects()->contains(tome::ObjectKind::Revision, second));
    EXPECT_EQ(tome::StoreRemote(directory_).objects()->find_object(first), source.find_object(first));
}

TEST_F(StoreRemote, MovesABranchForWhoeverSawItLastAlone) {
    tome::StoreRemote remote(directory_);
    tome::Remote& interface = remote;
    tome::BranchRecord first = remote.find_branch(BranchName::parse("main")).value();
    tome::BranchRecord second = first;
    first.author = "ana";
    second.author = "ben";
    EXPECT_TRUE(interface.compare_and_set(first));
    EXPECT_FALSE(interface.compare_and_set(second));
    EXPECT_EQ(remote.find_branch(BranchName::parse("main"))->author, "ana");
}

}  // namespace
}  // namespace quill_test
