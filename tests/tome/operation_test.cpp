#include "tome/operations/operation.h"

#include <gtest/gtest.h>

#include <functional>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "tests/tome/engine_test_objects.h"

namespace quill_test {
namespace {

// The kinds of the events and the texts and codes in them.
using Report = std::vector<std::pair<int, std::string>>;

void collect(const tome_event_t* event, std::uint64_t user) {
    std::string text;
    if (event->kind == TOME_EVENT_ERROR_TEXT) {
        text.assign(event->as.text.data, event->as.text.length);
    } else if (event->kind == TOME_EVENT_ERROR_CODE) {
        text = std::to_string(event->as.code);
    }
    reinterpret_cast<Report*>(user)->emplace_back(event->kind, text);
}

std::pair<int, Report> run(const std::function<void(const tome::Events&)>& body, bool globals_given = true) {
    tome_globals_t globals{};
    globals.size = sizeof globals;
    Report report;
    const int params = 0;
    const int result = tome::run_operation(globals_given ? &globals : nullptr, &params,
                                           reinterpret_cast<std::uint64_t>(&report), collect, body);
    return {result, report};
}

Report failure(const std::string& text, tome::ErrorCode code) {
    return {{TOME_EVENT_ERROR_TEXT, text}, {TOME_EVENT_ERROR_CODE, std::to_string(static_cast<int>(code))}};
}

TEST(Operation, ThatSucceedsReportsNothingOfItsOwn) {
    EXPECT_EQ(run([](const tome::Events&) {}), (std::pair{0, Report()}));
}

TEST(Operation, ThatFailsReportsTextThenCodeAndReturnsTheCode) {
    EXPECT_EQ(run([](const tome::Events&) { throw tome::Error(tome::ErrorCode::Moved, "moved"); }),
              (std::pair{5, failure("moved", tome::ErrorCode::Moved)}));
}

TEST(Operation, LetsNoExceptionOut) {
    EXPECT_EQ(run([](const tome::Events&) { throw std::bad_alloc(); }),
              (std::pair{9, failure("out of memory", tome::ErrorCode::Internal)}));
    EXPECT_EQ(run([](const tome::Events&) { throw std::logic_error("a mistake"); }).first, 9);
}

TEST(Operation, WithoutItsRecordsIsRefused) {
    bool ran = false;
    EXPECT_EQ(run([&](const tome::Events&) { ran = true; }, false).first, 1);
    EXPECT_FALSE(ran);
}

TEST(Operation, TakesAbsoluteCheckoutsAlone) {
    tome_globals_t globals{};
    globals.checkout = tome::view_of("/a/./b");
    EXPECT_EQ(tome::checkout_directory(globals), "/a/b");
    for (const char* path : {"", "a/b", "./a"}) {
        globals.checkout = tome::view_of(path);
        EXPECT_EQ(engine_failure_of([&] { tome::checkout_directory(globals); }),
                  "the checkout's directory is no absolute path: " + std::string(path));
    }
}

TEST(Operation, DoesWithoutTheRemoteUnlessItIsToldToUseIt) {
    tome_globals_t globals{};
    EXPECT_FALSE(tome::is_offline(globals));
    globals.offline = 1;
    EXPECT_TRUE(tome::is_offline(globals));
    globals.use_remote = 1;
    EXPECT_FALSE(tome::is_offline(globals));
}

}  // namespace
}  // namespace quill_test
