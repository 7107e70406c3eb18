#include "tome/checkout/branch_switch.h"

#include <gtest/gtest.h>

#include "tests/tome/engine_client.h"
#include "tome/base/error.h"

namespace quill_test {
namespace {

tome::Checkout open_checkout(const EngineClient& client) {
    return {client.path(), tome::Checkout::Access::Change, false};
}

class BranchSwitch : public EngineOperations {
  protected:
    const tome::BranchName draft_ = tome::BranchName::parse("draft");
};

TEST_F(BranchSwitch, MakesTheHeadOfTheOtherBranchTheBaseAndBringsTheFiles) {
    const EngineClient client = new_repository({{"a", "1"}, {"b", "1"}});
    must(client.create_branch("draft"));
    client.write("a", "2");
    client.publish({"a"});
    tome::Checkout checkout = open_checkout(client);
    const tome::SwitchedBranch switched = switch_branch(checkout, draft_, true);
    EXPECT_EQ(switched.changed, std::vector<std::string>{"a"});
    EXPECT_EQ(checkout.state().branch(), draft_);
    EXPECT_EQ(checkout.state().base(), switched.head);
    EXPECT_EQ(client.read("a"), "1");
}

TEST_F(BranchSwitch, TakesTheHeadThatIsKnownHereWhenNothingIsToBeFetched) {
    const EngineClient client = new_repository({{"a", "1"}});
    const EngineClient other = new_clone();
    other.write("a", "2");
    other.publish({"a"});
    tome::Checkout checkout = open_checkout(client);
    const tome::Digest known = checkout.state().base();
    EXPECT_EQ(switch_branch(checkout, checkout.state().branch(), false).head, known);
    EXPECT_EQ(to_hex(switch_branch(checkout, checkout.state().branch(), true).head), remote_head());
}

}  // namespace
}  // namespace quill_test
