#include "tome/checkout/checkout_folder.h"

#include <gtest/gtest.h>

namespace {

// Other programs and older ones find a checkout's files by these names.
TEST(CheckoutFolder, HasTheNamesOfTheFormat) {
    EXPECT_EQ(tome::state_folder("/c"), "/c/.tome");
    EXPECT_EQ(tome::config_path("/c"), "/c/.tome/config.toml");
    EXPECT_EQ(tome::index_path("/c"), "/c/.tome/index.db");
    EXPECT_EQ(tome::temporary_folder("/c"), "/c/.tome/tmp");
    EXPECT_EQ(tome::own_store_path("/c"), "/c/.tome/objects");
}

}  // namespace
