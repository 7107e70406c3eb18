#include "tome/checkout/local_branches.h"

#include <gtest/gtest.h>

#include "tests/tome/engine_client.h"

namespace quill_test {
namespace {

class LocalBranches : public EngineOperations {};

TEST_F(LocalBranches, OfANewCheckoutAreMainWithoutARevision) {
    const EngineClient client(new_folder());
    must(client.create("local"));
    tome::LocalBranches branches(client.path());
    ASSERT_EQ(branches.branches().size(), 1U);
    EXPECT_EQ(branches.branches().front().name, "main");
    EXPECT_EQ(branches.place(), (client / ".tome/objects").string());
    EXPECT_FALSE(tome::LocalBranches::create(client.path()));
}

}  // namespace
}  // namespace quill_test
