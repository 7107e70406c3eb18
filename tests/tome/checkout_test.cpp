#include "tome/checkout/checkout.h"

#include <gtest/gtest.h>

#include <atomic>
#include <optional>
#include <string>
#include <thread>

#include "tests/support/file_test_support.h"
#include "tests/tome/engine_client.h"
#include "tests/tome/engine_test_objects.h"

namespace quill_test {
namespace {

namespace fs = std::filesystem;
using tome::BranchName;
using tome::Checkout;

class EngineCheckout : public EngineOperations {
  protected:
    // Makes one of the remote's repository in `directory`.
    bool create(const fs::path& directory) const {
        tome::CheckoutConfig config;
        config.repository_url = url_;
        return tome::create_checkout(directory, config, BranchName::parse("main"), tome::Digest());
    }
};

TEST_F(EngineCheckout, IsMadeOnceAndWhole) {
    new_repository({{"a", "1"}});
    const fs::path directory = new_folder();
    EXPECT_TRUE(create(directory));
    EXPECT_FALSE(create(directory));
    EXPECT_EQ(names_in(directory), std::vector<std::string>{".tome"}) << "nothing of the second attempt is left";
    Checkout checkout(directory, Checkout::Access::Read, false);
    EXPECT_EQ(checkout.config().repository_url, url_);
    EXPECT_TRUE(checkout.reaches_remote());
    EXPECT_TRUE(checkout.tree_of(tome::Digest()).is_zero());
}

TEST_F(EngineCheckout, IsNotWhereNothingIsOne) {
    const fs::path directory = new_folder();
    EXPECT_EQ(engine_failure_of([&] { Checkout(directory, Checkout::Access::Read, true); }),
              "not a checkout: " + directory.string());
    EXPECT_FALSE(fs::exists(directory / ".tome"));
}

TEST_F(EngineCheckout, OfflineDoesWithoutItsRemote) {
    const EngineClient client = new_repository({{"a", "1"}});
    fs::remove_all(remote_);
    Checkout checkout(client.path(), Checkout::Access::Read, true);
    EXPECT_TRUE(checkout.has_remote());
    EXPECT_FALSE(checkout.reaches_remote());
    EXPECT_NE(engine_failure_of([&] { checkout.remote(); }), "no failure");
}

TEST_F(EngineCheckout, IsReadByManyAtATime) {
    const EngineClient client = new_repository({{"a", "1"}});
    Checkout first(client.path(), Checkout::Access::Read, true);
    Checkout second(client.path(), Checkout::Access::Read, true);
    EXPECT_EQ(first.state().base(), second.state().base());
}

TEST_F(EngineCheckout, IsChangedByOneAtATime) {
    const EngineClient client = new_repository({{"a", "1"}});
    std::optional<Checkout> first;
    first.emplace(client.path(), Checkout::Access::Change, true);
    std::atomic<bool> let_go = false;
    std::thread other([&] {
        Checkout second(client.path(), Checkout::Access::Change, true);
        EXPECT_TRUE(let_go);
    });
    let_go = true;
    first.reset();
    other.join();
}

TEST_F(EngineCheckout, WritesToTheSharedStoreThatItFoundFirst) {
    new_repository({{"a", "1"}});
    const fs::path shared = folder_ / "shared";
    ASSERT_TRUE(tome::Store::create(shared));
    const EngineClient client(new_folder());
    must(client.clone(url_, {.shared_store = shared}));
    std::optional<Checkout> checkout;
    checkout.emplace(client.path(), Checkout::Access::Change, true);
    EXPECT_EQ(checkout->writable_store().directory(), shared);
    fs::rename(shared, folder_ / "moved");
    EXPECT_EQ(checkout->writable_store().directory(), shared) << "one operation writes to one store";
    checkout.reset();
    checkout.emplace(client.path(), Checkout::Access::Change, true);
    EXPECT_EQ(checkout->writable_store().directory(), client / ".tome/objects");
}

TEST_F(EngineCheckout, GivesEachTemporaryFileANameOfItsOwn) {
    const EngineClient client = new_repository({{"a", "1"}});
    Checkout checkout(client.path(), Checkout::Access::Change, true);
    const fs::path one = checkout.temporary_path();
    EXPECT_EQ(one.parent_path(), client / ".tome/tmp");
    EXPECT_NE(one, checkout.temporary_path());
}

}  // namespace
}  // namespace quill_test
