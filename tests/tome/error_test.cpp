#include "tome/base/error.h"

#include <gtest/gtest.h>

#include <cerrno>

#include "tests/support/file_test_support.h"
#include "tests/support/run_process.h"
#include "tests/support/temporary_folder.h"

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

// QUILL_TRACE is read once, so the test above is traced in a process of its own.
TEST(EngineError, OfTheSystemIsTracedWithItsNumber) {
    const quill_test::TemporaryFolder folder;
    const std::string file = (folder / "trace").string();
    const quill_test::ProcessResult result = quill_test::run_process(
        {QUILL_TEST_PROGRAMS "/tome_tests", "--gtest_filter=EngineError.OfTheSystemSaysWhatTheSystemSays"},
        {{"QUILL_TRACE", file}, {"GTEST_TOTAL_SHARDS", "1"}, {"GTEST_SHARD_INDEX", "0"}});
    ASSERT_EQ(result.status, 0) << result.out;
    const std::string lines = quill_test::read_file(file);
    EXPECT_TRUE(lines.ends_with(" - error could not open file (errno " + std::to_string(ENOSPC) + ")\n")) << lines;
}

}  // namespace
