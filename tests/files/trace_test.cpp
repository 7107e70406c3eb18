// Lines of the trace. The variables are read once, so what is traced happens in a process of its own: a test of this
// program, which passes without a trace as well.
#include "files/trace.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <stdexcept>

#include "tests/support/run_process.h"
#include "tests/support/temporary_folder.h"

namespace quill {
namespace {

using quill_test::read_file;
using quill_test::TemporaryFolder;

// What the test `TracedSteps.name` traces with `variable` set.
std::string lines_of(const std::string& name, const std::string& variable = "QUILL_TRACE") {
    const TemporaryFolder folder;
    const std::string file = (folder.path() / "trace").string();
    const quill_test::ProcessResult result =
        quill_test::run_process({QUILL_TEST_PROGRAMS "/files_tests", "--gtest_filter=TracedSteps." + name},
                                {{variable, file}, {"GTEST_TOTAL_SHARDS", "1"}, {"GTEST_SHARD_INDEX", "0"}});
    EXPECT_EQ(result.status, 0) << result.out;
    return std::filesystem::exists(file) ? read_file(file) : std::string();
}

TEST(TracedSteps, TextWithControlCharacters) {
    trace_line("error", "a\nb\x7f\tc\xC3\xA9");
}

TEST(TracedSteps, StepThatThrows) {
    const auto step = [] {
        const TraceStep traced("lock", "/x");
        throw std::runtime_error("refused");
    };
    EXPECT_THROW(step(), std::runtime_error);
}

TEST(TracedSteps, StepThatFails) {
    TraceStep step("written", "/x");
    step.fail(28);
}

TEST(TracedSteps, StepsWhileAnErrorIsReported) {
    errno = ENOSPC;
    { const TraceStep step("written", "/x"); }
    trace_line("error", "x");
    EXPECT_EQ(errno, ENOSPC);
}

TEST(TracedSteps, StepWithAFallback) {
    set_trace_fallback("TOME_TRACE");
    trace_line("error", "x");
}

TEST(Trace, EscapesControlCharacters) {
    const std::string lines = lines_of("TextWithControlCharacters");
    EXPECT_TRUE(lines.ends_with(" - error a\\x0ab\\x7f\\x09c\xC3\xA9\n")) << lines;
}

TEST(Trace, SaysThatAStepEndedByAnException) {
    const std::string lines = lines_of("StepThatThrows");
    EXPECT_TRUE(lines.ends_with("ms failed lock /x\n")) << lines;
}

TEST(Trace, SaysTheSystemsNumberOfAStepThatFailed) {
    const std::string lines = lines_of("StepThatFails");
    EXPECT_TRUE(lines.ends_with("ms errno=28 written /x\n")) << lines;
}

TEST(Trace, LeavesTheErrorNumberAsItWas) {
    EXPECT_FALSE(lines_of("StepsWhileAnErrorIsReported").empty());
}

TEST(Trace, IsNotWrittenWithoutTheVariable) {
    EXPECT_EQ(lines_of("StepThatFails", "QUILL_OTHER"), "");
}

TEST(Trace, GoesWhereTheFallbackSaysWhenTheVariableIsNotSet) {
    EXPECT_TRUE(lines_of("StepWithAFallback", "TOME_TRACE").ends_with(" - error x\n"));
    EXPECT_EQ(lines_of("StepThatFails", "TOME_TRACE"), "");
}

}  // namespace
}  // namespace quill
