#include "tome/checkout/clone.h"

#include <gtest/gtest.h>

#include "tests/tome/engine_client.h"
#include "tome/base/error.h"
#include "tome/remote/repository.h"

namespace quill_test {
namespace {

class Clone : public EngineOperations {
  protected:
    tome::CloneRequest request(const std::string& branch = "main") const {
        return {tome::parse_repository_url(url_), tome::BranchName::parse(branch)};
    }
};

TEST_F(Clone, WritesTheFilesThatAreAskedFor) {
    new_repository({{"a/1", "1"}, {"b/1", "1"}});
    tome::CloneRequest wanted = request();
    wanted.paths = {"a"};
    const EngineClient clone(new_folder());
    const tome::ClonedCheckout cloned = clone_repository(clone.path(), wanted);
    EXPECT_EQ(cloned.changed, std::vector<std::string>{"a/1"});
    EXPECT_EQ(to_hex(cloned.head), remote_head());
    EXPECT_EQ(cloned.order, 1U);
    EXPECT_FALSE(clone.has("b/1"));
}

TEST_F(Clone, OfABranchThatIsNotThereLeavesNoCheckout) {
    new_repository({{"a", "1"}});
    const EngineClient clone(new_folder());
    EXPECT_THROW(clone_repository(clone.path(), request("none")), tome::Error);
    EXPECT_FALSE(clone.has(".tome"));
}

TEST_F(Clone, IntoACheckoutOfAnotherBranchIsRefusedAndLeavesThatAsItIs) {
    const EngineClient client = new_repository({{"a", "1"}});
    must(client.create_branch("draft"));
    EXPECT_THROW(clone_repository(client.path(), request("draft")), tome::Error);
    EXPECT_TRUE(client.status().ok());
}

TEST_F(Clone, OfANewRepositoryIsMadeTogetherWithIt) {
    const std::filesystem::path folder = new_folder();
    tome::create_repository_and_checkout(folder, {tome::parse_repository_url(url_), "text", {}});
    EXPECT_TRUE(tome::repository_is_there(tome::parse_repository_url(url_)));
    EXPECT_EQ(tome::read_config(tome::config_path(folder)).description, "text");
    EXPECT_THROW(tome::create_repository_and_checkout(folder, {std::nullopt, "", {}}), tome::Error);
}

}  // namespace
}  // namespace quill_test
