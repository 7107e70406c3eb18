#include "tome/text_merge.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

namespace {

using Lines = std::vector<std::string>;
using tome::merge_texts;

std::string text_of(const Lines& lines) {
    std::string text;
    for (const std::string& line : lines) {
        text += line + "\n";
    }
    return text;
}

Lines numbered(std::size_t count) {
    Lines lines;
    for (std::size_t i = 0; i < count; ++i) {
        lines.push_back("line " + std::to_string(i));
    }
    return lines;
}

TEST(TextMerge, TakesChangesOfBothSides) {
    const struct {
        const char* base;
        const char* ours;
        const char* theirs;
        const char* merged;
    } cases[] = {
        {"a\nb\nc\n", "A\nb\nc\n", "a\nb\nC\n", "A\nb\nC\n"},
        {"a\nb\nc\n", "a\nc\n", "a\nb\nc\nd\n", "a\nc\nd\n"},
        {"a\nb\nc\n", "0\na\nb\nc\n", "a\nb\nc\nd\n", "0\na\nb\nc\nd\n"},
        {"a\nb\nc\nd\n", "a\nX\nY\nb\nc\nd\n", "a\nb\nd\n", "a\nX\nY\nb\nd\n"},
        {"a\nb\nc", "a\nb\nc\nd", "A\nb\nc", "A\nb\nc\nd"},
        {"a\nb\n", "a\nb\n", "", ""},
        {"", "", "a\n", "a\n"},
        {"a\nb\nc", "A\nb\nc", "a\nb\nc\nd\n", "A\nb\nc\nd\n"},
        // Neighbouring lines are different lines.
        {"a\nb\n", "A\nb\n", "a\nB\n", "A\nB\n"},
        // What both changed alike is taken once.
        {"a\nb\nc\n", "a\nB\nc\n", "a\nB\nc\n", "a\nB\nc\n"},
        {"a\nb\n", "a\nX\nb\n", "a\nX\nb\n", "a\nX\nb\n"},
        {"a\nb\nc\nd\n", "a\nc\nd\n", "a\nc\nD\n", "a\nc\nD\n"},
        {"a\r\nb\r\n", "A\r\nb\r\n", "a\r\nB\r\n", "A\r\nB\r\n"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(merge_texts(c.base, c.ours, c.theirs), c.merged) << c.base << "|" << c.ours << "|" << c.theirs;
        EXPECT_EQ(merge_texts(c.base, c.theirs, c.ours).has_value(), true) << "the other way round";
    }
}

TEST(TextMerge, RefusesChangesOfTheSameLines) {
    const struct {
        const char* base;
        const char* ours;
        const char* theirs;
    } cases[] = {
        {"a\nb\nc\n", "a\nX\nc\n", "a\nY\nc\n"},
        {"a\nb\nc\n", "a\nc\n", "a\nB\nc\n"},
        {"a\nb\n", "a\nX\nb\n", "a\nY\nb\n"},
        {"", "a\n", "b\n"},
        {"a\nb\nc\n", "X\nY\nc\n", "a\nZ\nc\n"},
        {"a\nb\nc\n", "", "a\nB\nc\n"},
        {"a", "a\n", "b"},
        // Lines inserted beside changed ones may be the same insertion.
        {"a\nb\nc\n", "a\nX\nb\nc\n", "a\nX\nB\nc\n"},
        {"a\nb\nc\n", "a\nb\nX\nc\n", "a\nB\nX\nc\n"},
        {"a\nb\n", "a\nX\nb\n", "a\nB\n"},
        // No line is glued to one that lost its line feed.
        {"a\nc\n", "a\nc", "a\nc\nd\n"},
        {"a\nb\nc\n", "a\nb\nc", "a\nb\nc\nd\n"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(merge_texts(c.base, c.ours, c.theirs), std::nullopt) << c.base << "|" << c.ours << "|" << c.theirs;
        EXPECT_EQ(merge_texts(c.base, c.theirs, c.ours), std::nullopt) << c.base << "|" << c.theirs << "|" << c.ours;
    }
}

// One side edits the first half at random, the other the second: the merge has both halves.
TEST(TextMerge, KeepsEditsInDifferentHalvesWhateverTheyAre) {
    std::mt19937 random(1);
    const auto edited = [&](Lines lines) {
        for (int edit = 0; edit < 6; ++edit) {
            const auto at = static_cast<std::ptrdiff_t>(random() % lines.size());
            switch (random() % 3) {
                case 0:
                    lines.insert(lines.begin() + at, "new " + std::to_string(random() % 4));
                    break;
                case 1:
                    lines.erase(lines.begin() + at);
                    break;
                default:
                    lines[static_cast<std::size_t>(at)] = "changed " + std::to_string(random() % 4);
            }
        }
        return lines;
    };
    for (int round = 0; round < 500; ++round) {
        const Lines first = numbered(20);
        Lines second = numbered(20);
        std::for_each(second.begin(), second.end(), [](std::string& line) { line += " below"; });
        const std::string middle = "the middle\nof the file\n";
        const std::string a = text_of(edited(first));
        const std::string b = text_of(edited(second));
        EXPECT_EQ(merge_texts(text_of(first) + middle + text_of(second), a + middle + text_of(second),
                              text_of(first) + middle + b),
                  a + middle + b);
    }
}

TEST(TextMerge, WithASideThatChangedNothingIsTheOtherSide) {
    std::mt19937 random(2);
    const auto any = [&] {
        Lines lines;
        for (std::size_t count = random() % 12; count > 0; --count) {
            lines.push_back(std::to_string(random() % 4));
        }
        return text_of(lines);
    };
    for (int round = 0; round < 2000; ++round) {
        const std::string base = any();
        const std::string changed = any();
        EXPECT_EQ(merge_texts(base, changed, base), changed);
        EXPECT_EQ(merge_texts(base, base, changed), changed);
        EXPECT_EQ(merge_texts(base, changed, changed), changed);
    }
}

TEST(TextMerge, GivesUpOnTextsThatHaveLittleInCommon) {
    Lines other = numbered(5000);
    std::for_each(other.begin(), other.end(), [](std::string& line) { line += "!"; });
    EXPECT_EQ(merge_texts(text_of(numbered(5000)), text_of(other), text_of(numbered(5000)) + "more\n"), std::nullopt);
}

TEST(TextMerge, FindsAFewChangesInManyLines) {
    const Lines base = numbered(200'000);
    Lines ours = base;
    Lines theirs = base;
    ours[10] = "ours";
    theirs[199'000] = "theirs";
    Lines merged = ours;
    merged[199'000] = "theirs";
    EXPECT_EQ(merge_texts(text_of(base), text_of(ours), text_of(theirs)), text_of(merged));
}

TEST(TextMerge, IsForBytesWithoutNulOfUpTo16MiB) {
    EXPECT_TRUE(tome::is_mergeable_text(""));
    EXPECT_TRUE(tome::is_mergeable_text("\xff\xfe\n"));
    EXPECT_FALSE(tome::is_mergeable_text(std::string_view("a\0b", 3)));
    EXPECT_TRUE(tome::is_mergeable_text(std::string(tome::max_merged_text_bytes, 'x')));
    EXPECT_FALSE(tome::is_mergeable_text(std::string(tome::max_merged_text_bytes + 1, 'x')));
}

}  // namespace
