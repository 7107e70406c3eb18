#include "project/checkout_configuration.h"

#include <gtest/gtest.h>

#include "tests/support/temporary_folder.h"

namespace {

class CheckoutConfiguration : public testing::Test {
  protected:
    void write(const std::string& text) const { quill_test::write_file(folder_ / ".tome/config.toml", text); }
    std::optional<std::string> assigned() const {
        return quill::assigned_tome_configuration(folder_.path(), "remote_url");
    }
    std::optional<std::string> quoted() const { return quill::quoted_tome_configuration(folder_.path(), "remote_url"); }

    quill_test::TemporaryFolder folder_;
};

TEST_F(CheckoutConfiguration, BothWaysReadWhatTheEngineWrites) {
    write("version = 1\nremote_url = \"file:///srv\"\n");
    EXPECT_EQ(assigned(), "file:///srv");
    EXPECT_EQ(quoted(), "file:///srv");
}

TEST_F(CheckoutConfiguration, WithoutTheKeyThereIsNoValue) {
    EXPECT_EQ(assigned(), std::nullopt);
    EXPECT_EQ(quoted(), std::nullopt);
    write("version = 1");
    EXPECT_EQ(assigned(), std::nullopt);
    EXPECT_EQ(quoted(), std::nullopt);
}

TEST_F(CheckoutConfiguration, AssignmentPassesOverOtherKeysThatHoldTheKeyAndComments) {
    write("# remote_url = \"a\"\nold_remote_url = \"b\"\n  remote_url\t= \"c\"  # \"d\"\r\nremote_url = \"e\"\n");
    EXPECT_EQ(assigned(), "c");
    EXPECT_EQ(quoted(), "a");
}

TEST_F(CheckoutConfiguration, AssignedValueNeedsNoQuotes) {
    write("remote_url = file:///srv\n");
    EXPECT_EQ(assigned(), "file:///srv");
    EXPECT_EQ(quoted(), "");
}

TEST_F(CheckoutConfiguration, LastLineNeedsNoEnd) {
    write("\n\nremote_url = \"x\"");
    EXPECT_EQ(assigned(), "x");
    EXPECT_EQ(quoted(), "x");
}

}  // namespace
