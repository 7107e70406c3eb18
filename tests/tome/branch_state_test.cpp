#include "tome/checkout/branch_state.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/tome/engine_client.h"
#include "tests/tome/engine_test_objects.h"

namespace quill_test {
namespace {

using tome::BranchName;
using tome::Checkout;

class BranchState : public EngineOperations {
  protected:
    BranchState() {
        new_repository({{"a", "1"}});
        first_ = remote_head();
    }

    // The head that goes on, and whether the checkout's own commit is no part of it.
    static std::pair<std::string, bool> newest(const EngineClient& client, bool offline = false) {
        Checkout checkout(client.path(), Checkout::Access::Read, offline);
        const tome::NewestHead newest = tome::newest_head(checkout, BranchName::parse("main"));
        return {tome::to_hex(newest.head), newest.overtaken};
    }
    static std::string commit(const EngineClient& client, const std::string& bytes) {
        client.write("a", bytes);
        return client.commit_paths({"a"});
    }
    static std::string publish(const EngineClient& client) {
        Checkout checkout(client.path(), Checkout::Access::Change, false);
        return tome::to_hex(tome::publish_branch(checkout, BranchName::parse("main"), true));
    }

    std::string first_;
};

TEST_F(BranchState, IsTheRemotesWhereNothingWasCommittedHere) {
    const EngineClient client = new_clone();
    EXPECT_EQ(newest(client), (std::pair{first_, false}));
    const EngineClient other = new_clone();
    const std::string head = commit(other, "2");
    must(other.push());
    EXPECT_EQ(newest(client), (std::pair{head, false}));
}

TEST_F(BranchState, IsTheLocalOneWhereThatGoesBeyondTheRemotes) {
    const EngineClient client = new_clone();
    const std::string mine = commit(client, "mine");
    EXPECT_EQ(newest(client), (std::pair{mine, false}));
    EXPECT_EQ(newest(client, true), (std::pair{mine, false}));
}

TEST_F(BranchState, IsOvertakenWhereTheRemoteWentAnotherWay) {
    const EngineClient client = new_clone();
    commit(client, "mine");
    const EngineClient other = new_clone();
    const std::string theirs = commit(other, "theirs");
    must(other.push());
    EXPECT_EQ(newest(client), (std::pair{theirs, true}));
    EXPECT_EQ(engine_failure_of([&] { publish(client); }), "branch has moved on the remote: main");
    EXPECT_EQ(remote_head(), theirs);
}

TEST_F(BranchState, IsPublishedOnceWithWhatWasCommittedHere) {
    const EngineClient client = new_clone();
    const std::string mine = commit(client, "mine");
    EXPECT_EQ(publish(client), mine);
    EXPECT_EQ(remote_head(), mine);
    EXPECT_EQ(publish(client), mine);
}

TEST_F(BranchState, OfAnUnknownBranchIsRefused) {
    const EngineClient client = new_clone();
    Checkout checkout(client.path(), Checkout::Access::Read, false);
    const BranchName nobody = BranchName::parse("nobody");
    EXPECT_EQ(engine_failure_of([&] { tome::newest_head(checkout, nobody); }), "branch does not exist: nobody");
    EXPECT_EQ(tome::known_head(checkout, nobody), std::nullopt);
    EXPECT_FALSE(tome::branch_to_write(checkout, nobody));
}

}  // namespace
}  // namespace quill_test
