#include "tome/checkout/commit.h"

#include <gtest/gtest.h>

#include "tests/tome/engine_client.h"
#include "tome/base/error.h"
#include "tome/checkout/local_branches.h"
#include "tome/checkout/staging.h"

namespace quill_test {
namespace {

tome::Checkout open_checkout(const EngineClient& client) {
    return {client.path(), tome::Checkout::Access::Change, false};
}

class Commit : public EngineOperations {
  protected:
    static tome::NamedRevision commit(const EngineClient& client, const std::string& path, const std::string& bytes) {
        client.write(path, bytes);
        tome::Checkout checkout = open_checkout(client);
        stage_files(checkout, {{path}, true, true});
        return commit_staged(checkout, "message");
    }
};

TEST_F(Commit, AddsARevisionOnTopOfTheBaseAndMakesItTheLocalHead) {
    const EngineClient client = new_repository({{"a", "1"}});
    const tome::Digest base = open_checkout(client).state().base();
    const tome::NamedRevision committed = commit(client, "a", "2");
    EXPECT_EQ(committed.revision.first_parent, base);
    EXPECT_EQ(committed.revision.order, 2U);
    EXPECT_EQ(committed.revision.message, "message");
    tome::Checkout checkout = open_checkout(client);
    EXPECT_EQ(checkout.state().base(), committed.digest);
    EXPECT_EQ(checkout.state().local_head(checkout.state().branch()), committed.digest);
    EXPECT_TRUE(checkout.state().staged_changes().empty());
    EXPECT_EQ(remote_head(), to_hex(base));
}

TEST_F(Commit, OfWhatTheBaseHasAlreadyIsRefused) {
    const EngineClient client = new_repository({{"a", "1"}});
    try {
        commit(client, "a", "1");
        FAIL();
    } catch (const tome::Error& error) {
        EXPECT_EQ(error.code(), tome::ErrorCode::NothingStaged);
        EXPECT_STREQ(error.what(), "Nothing staged for commit");
    }
}

TEST_F(Commit, WithoutARemoteIsOnTheBranchAtOnce) {
    const EngineClient client(new_folder());
    must(client.create("local"));
    const tome::NamedRevision committed = commit(client, "a", "1");
    EXPECT_EQ(tome::LocalBranches(client.path()).find_branch(tome::BranchName::parse("main"))->head, committed.digest);
    EXPECT_FALSE(open_checkout(client).state().local_head(tome::BranchName::parse("main")));
}

}  // namespace
}  // namespace quill_test
