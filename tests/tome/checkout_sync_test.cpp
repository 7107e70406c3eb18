#include "tome/checkout/checkout_sync.h"

#include <gtest/gtest.h>

#include "tests/tome/engine_client.h"

namespace quill_test {
namespace {

tome::Checkout open_checkout(const EngineClient& client) {
    return {client.path(), tome::Checkout::Access::Change, false};
}

class CheckoutSync : public EngineOperations {
  protected:
    CheckoutSync() {
        other_.write("a", "2");
        other_.publish({"a"});
    }
    EngineClient client_ = new_repository({{"a", "1"}});
    EngineClient other_ = new_clone();
};

TEST_F(CheckoutSync, MakesTheNewestHeadTheBaseAndBringsItsFiles) {
    tome::Checkout checkout = open_checkout(client_);
    tome::SyncRequest request;
    request.fetch_newest = true;
    const tome::SyncedFiles synced = sync_checkout(checkout, request);
    EXPECT_EQ(to_hex(synced.revision), remote_head());
    EXPECT_EQ(synced.changed, std::vector<std::string>{"a"});
    EXPECT_EQ(checkout.state().base(), synced.revision);
    EXPECT_EQ(client_.read("a"), "2");
}

TEST_F(CheckoutSync, ToAnotherRevisionLeavesTheBaseWhereItIs) {
    tome::Checkout checkout = open_checkout(client_);
    const tome::Digest base = checkout.state().base();
    tome::SyncRequest request;
    request.revision = open_checkout(other_).state().base();
    request.fetch_newest = true;
    EXPECT_EQ(sync_checkout(checkout, request).revision, request.revision);
    EXPECT_EQ(checkout.state().base(), base);
    EXPECT_EQ(client_.read("a"), "2");
}

TEST_F(CheckoutSync, WithoutFetchingBringsTheFilesOfTheBase) {
    std::filesystem::remove(client_ / "a");
    tome::Checkout checkout = open_checkout(client_);
    EXPECT_EQ(sync_checkout(checkout, {}).revision, checkout.state().base());
    EXPECT_EQ(client_.read("a"), "1");
}

}  // namespace
}  // namespace quill_test
