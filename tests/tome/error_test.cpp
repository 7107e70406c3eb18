#include "tome/base/error.h"

#include <gtest/gtest.h>

#include <cerrno>

#include "tests/support/file_test_support.h"

namespace {

TEST(EngineError, HasItsTextAndCode) {
    const tome::Error error(tome::ErrorCode::Moved, "branch has moved");
    EXPECT_STREQ(error.what(), "branch has moved");
    EXPECT_EQ(error.code(), tome::ErrorCode::Moved);
}

TEST(EngineError, OfTheSystemSaysWhatTheSystemSays) {
    const tome::Error error = tome::system_error("could not open file", ENOSPC);
    EXPECT_EQ(error.what(), "could not open file: " + quill_test::system_message(ENOSPC));
    EXPECT_EQ(error.code(), tome::ErrorCode::Io);
}

}  // namespace
