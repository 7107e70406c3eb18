#include "tome/merge/line_diff.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

namespace quill_test {
namespace {

using tome::find_hunks;
using tome::Hunk;
using tome::LineNumbers;
using tome::ReadFrom;

LineNumbers lines(const std::string& letters) {
    return {letters.begin(), letters.end()};
}

// "base lines>side lines", each as "begin-end", one after another.
std::string hunks(const std::string& base, const std::string& side, ReadFrom from = ReadFrom::Start) {
    std::string text;
    const auto found = find_hunks(lines(base), lines(side), from).value();
    for (const Hunk& hunk : found) {
        text += (text.empty() ? "" : " ") + std::to_string(hunk.base_begin) + "-" + std::to_string(hunk.base_end) +
                ">" + std::to_string(hunk.side_begin) + "-" + std::to_string(hunk.side_end);
    }
    return text;
}

TEST(LineDiff, OfEqualTextsIsEmpty) {
    EXPECT_EQ(hunks("", ""), "");
    EXPECT_EQ(hunks("abc", "abc"), "");
}

TEST(LineDiff, TellsWhatWasAddedTakenAwayAndReplaced) {
    EXPECT_EQ(hunks("ac", "abc"), "1-1>1-2");
    EXPECT_EQ(hunks("abc", "ac"), "1-2>1-1");
    EXPECT_EQ(hunks("abc", "axc"), "1-2>1-2");
    EXPECT_EQ(hunks("", "abc"), "0-0>0-3");
    EXPECT_EQ(hunks("abc", ""), "0-3>0-0");
    EXPECT_EQ(hunks("abcdef", "xbcdey"), "0-1>0-1 5-6>5-6");
}

TEST(LineDiff, PutsAnAddedLineBehindThoseThatEqualIt) {
    for (const ReadFrom from : {ReadFrom::Start, ReadFrom::End}) {
        EXPECT_EQ(hunks("aab", "aaab", from), "2-2>2-3");
        EXPECT_EQ(hunks("xaay", "xay", from), "2-3>2-2");
    }
}

TEST(LineDiff, SlidesAnAddedLineToAnotherChange) {
    for (const ReadFrom from : {ReadFrom::Start, ReadFrom::End}) {
        EXPECT_EQ(hunks("paaq", "xaaaq", from), "0-1>0-2");
    }
}

TEST(LineDiff, LeadsFromTheBaseToTheSide) {
    std::minstd_rand random(1);
    for (int n = 0; n < 2000; ++n) {
        std::string base(random() % 12, 'a');
        std::string side(random() % 12, 'a');
        for (std::string* text : {&base, &side}) {
            for (char& letter : *text) {
                letter = static_cast<char>('a' + random() % 3);
            }
        }
        for (const ReadFrom from : {ReadFrom::Start, ReadFrom::End}) {
            std::string made;
            std::size_t at = 0;
            const auto found = find_hunks(lines(base), lines(side), from).value();
            for (const Hunk& hunk : found) {
                ASSERT_LE(at, hunk.base_begin);
                made += base.substr(at, hunk.base_begin - at);
                EXPECT_EQ(made.size(), hunk.side_begin) << base << " " << side;
                made += side.substr(hunk.side_begin, hunk.side_end - hunk.side_begin);
                at = hunk.base_end;
            }
            EXPECT_EQ(made + base.substr(at), side) << base;
        }
    }
}

TEST(LineDiff, OfTextsThatAreDifferentInEveryOfTooManyLinesIsNotLookedFor) {
    LineNumbers base(200'000);
    LineNumbers side(200'000);
    for (std::uint32_t i = 0; i < base.size(); ++i) {
        base[i] = 2 * i;
        side[i] = 2 * (i * 7919U % 200'000U) + (i % 2);
    }
    EXPECT_EQ(find_hunks(base, side, ReadFrom::Start), std::nullopt);
}

}  // namespace
}  // namespace quill_test
