#include "records/wall_clock.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>

namespace {

std::string now_in_milliseconds() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return std::to_string(std::chrono::duration_cast<std::chrono::milliseconds>(now).count());
}

TEST(WallClock, CountsMillisecondsSinceTheEpoch) {
    const std::string before = now_in_milliseconds();
    const std::string time = quill::wall_clock_milliseconds();
    EXPECT_LE(before, time);
    EXPECT_LE(time, now_in_milliseconds());
}

}  // namespace
