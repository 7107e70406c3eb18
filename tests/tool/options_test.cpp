#include "tool/options.h"

#include <gtest/gtest.h>

namespace {

using quill_tool::scan_options;
using Options = std::map<std::string, std::string>;

TEST(Options, CountWithTheirValuesBehindTheFixedArguments) {
    EXPECT_EQ(scan_options({"tool", "create", "P", "--name", "N", "--template", "T"}, 3, {"--name", "--template"}),
              (Options{{"--name", "N"}, {"--template", "T"}}));
    EXPECT_EQ(scan_options({"tool", "--name", "early", "--name"}, 3, {"--name"}), Options());
}

TEST(Options, OfWhichOneStandsTwiceTakeTheLast) {
    EXPECT_EQ(scan_options({"--name", "first", "--name", "last"}, 0, {"--name"}), (Options{{"--name", "last"}}));
}

TEST(Options, WithoutAValueArePassedOver) {
    EXPECT_EQ(scan_options({"--name", "", "--author", "ana"}, 0, {"--name", "--author"}),
              (Options{{"--author", "ana"}}));
    EXPECT_EQ(scan_options({"--author", "ana", "--name"}, 0, {"--name", "--author"}), (Options{{"--author", "ana"}}));
    EXPECT_EQ(scan_options({}, 0, {"--name"}), Options());
}

TEST(Options, PassOverWhatTheyDoNotKnowOneArgumentAtATime) {
    EXPECT_EQ(scan_options({"--other", "--name", "N", "stray", "--Name", "x"}, 0, {"--name"}),
              (Options{{"--name", "N"}}));
}

}  // namespace
