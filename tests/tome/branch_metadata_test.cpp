#include "tome/checkout/branch_metadata.h"

#include <gtest/gtest.h>

#include "tests/tome/engine_client.h"
#include "tome/base/error.h"

namespace quill_test {
namespace {

tome::Checkout open_checkout(const EngineClient& client) {
    return {client.path(), tome::Checkout::Access::Change, false};
}

using Values = std::map<std::string, std::string>;

class BranchMetadata : public EngineOperations {
  protected:
    const tome::BranchName main_ = tome::BranchName::parse("main");
};

TEST_F(BranchMetadata, IsWhatTheRemoteHasWithWhatWasNotedHereInItsPlace) {
    const EngineClient client = new_repository({{"a", "1"}});
    must(client.set_metadata("main", {"a", "b"}, {"1", "1"}));
    must(client.push());
    tome::Checkout checkout = open_checkout(client);
    note_metadata(checkout, main_, {"b", "c"}, {"2", "2"});
    EXPECT_EQ(branch_metadata(checkout, main_, {}), (Values{{"a", "1"}, {"b", "2"}, {"c", "2"}}));
    EXPECT_EQ(branch_metadata(checkout, main_, {"b"}), (Values{{"b", "2"}}));
}

TEST_F(BranchMetadata, IsNotedAllOrNone) {
    const EngineClient client = new_repository({{"a", "1"}});
    tome::Checkout checkout = open_checkout(client);
    EXPECT_THROW(note_metadata(checkout, main_, {"a", ""}, {"1", "1"}), tome::Error);
    EXPECT_THROW(note_metadata(checkout, main_, {"a", "b"}, {"1"}), tome::Error);
    EXPECT_EQ(branch_metadata(checkout, main_, {}), Values());
}

}  // namespace
}  // namespace quill_test
