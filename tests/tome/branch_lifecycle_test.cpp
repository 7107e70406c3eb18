#include "tome/checkout/branch_lifecycle.h"

#include <gtest/gtest.h>

#include "tests/tome/engine_client.h"
#include "tome/base/error.h"

namespace quill_test {
namespace {

tome::Checkout open_checkout(const EngineClient& client) {
    return {client.path(), tome::Checkout::Access::Change, false};
}

class BranchLifecycle : public EngineOperations {
  protected:
    const tome::BranchName main_ = tome::BranchName::parse("main");
    const tome::BranchName draft_ = tome::BranchName::parse("draft");
};

TEST_F(BranchLifecycle, BeginsWithTheHeadAndTheMetadataOfAnotherBranch) {
    const EngineClient client = new_repository({{"a", "1"}});
    must(client.set_metadata("main", {"key"}, {"value"}));
    must(client.push());
    tome::Checkout checkout = open_checkout(client);
    const tome::CreatedBranch created = create_branch(checkout, {draft_, main_, "kind", "author"});
    const auto parent = checkout.remote().find_branch(main_);
    const auto branch = checkout.remote().find_branch(draft_);
    ASSERT_TRUE(branch);
    EXPECT_EQ(branch->head, parent->head);
    EXPECT_EQ(created.head, parent->head);
    EXPECT_EQ(created.order, 1U);
    EXPECT_EQ(branch->metadata, parent->metadata);
    EXPECT_EQ(branch->kind + " " + branch->author, "kind author");
}

TEST_F(BranchLifecycle, RefusesANameThatIsTakenAndAParentThatIsNot) {
    const EngineClient client = new_repository({{"a", "1"}});
    tome::Checkout checkout = open_checkout(client);
    EXPECT_THROW(create_branch(checkout, {main_, main_, "", ""}), tome::Error);
    EXPECT_THROW(create_branch(checkout, {draft_, tome::BranchName::parse("none"), "", ""}), tome::Error);
    EXPECT_EQ(checkout.remote().branches().size(), 1U);
}

TEST_F(BranchLifecycle, EndsInTheArchiveWithTheHeadAsItWas) {
    const EngineClient client = new_repository({{"a", "1"}});
    tome::Checkout checkout = open_checkout(client);
    const tome::Digest head = create_branch(checkout, {draft_, main_, "", ""}).head;
    archive_branch(checkout, draft_);
    const auto branch = checkout.remote().find_branch(draft_);
    EXPECT_TRUE(branch->archived);
    EXPECT_EQ(branch->head, head);
    EXPECT_THROW(archive_branch(checkout, tome::BranchName::parse("none")), tome::Error);
}

}  // namespace
}  // namespace quill_test
