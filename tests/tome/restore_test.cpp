#include "tome/checkout/restore.h"

#include <gtest/gtest.h>

#include "tests/tome/engine_client.h"
#include "tome/base/error.h"

namespace quill_test {
namespace {

tome::Checkout open_checkout(const EngineClient& client) {
    return {client.path(), tome::Checkout::Access::Change, false};
}

class Restore : public EngineOperations {};

TEST_F(Restore, AddsARevisionWithTheEarlierTreeAndLeavesTheWorkingFiles) {
    const EngineClient client = new_repository({{"a", "1"}});
    const tome::Digest first = open_checkout(client).state().base();
    client.write("a", "2");
    client.write("b", "2");
    client.commit_paths({"a", "b"});
    tome::Checkout checkout = open_checkout(client);
    const tome::Digest second = checkout.state().base();
    const tome::RestoredRevision restored = restore_revision(checkout, first, "back");
    EXPECT_EQ(restored.revision.revision.tree, checkout.tree_of(first));
    EXPECT_EQ(restored.revision.revision.first_parent, second);
    ASSERT_EQ(restored.differences.size(), 2U);
    EXPECT_EQ(restored.differences[0].path + restored.differences[1].path, "ab");
    EXPECT_EQ(checkout.state().base(), restored.revision.digest);
    EXPECT_EQ(client.read("a") + client.read("b"), "22");
}

TEST_F(Restore, OfARevisionThatIsNotInTheHistoryIsRefused) {
    const EngineClient client = new_repository({{"a", "1"}});
    tome::Checkout checkout = open_checkout(client);
    const tome::Digest base = checkout.state().base();
    for (const tome::Digest& revision : {tome::Digest{}, checkout.tree_of(base), tome::digest_of("nothing")}) {
        EXPECT_THROW(restore_revision(checkout, revision, "back"), tome::Error);
    }
    EXPECT_EQ(checkout.state().base(), base);
}

}  // namespace
}  // namespace quill_test
