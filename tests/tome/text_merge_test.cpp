#include "tome/merge/text_merge.h"

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

// Rows alike: which of them was removed, and which replaced, nothing in the text tells.
TEST(TextMerge, KeepsARemovalOfOneOfManyRowsAlikeBesideTheChangeOfAnother) {
    const std::string head = "float[] w = [\n";
    const std::string base = head + " 0,\n 0,\n 0,\n 0,\n]\nint n = 4\n";
    const std::string changed = head + " 1,\n 0,\n 0,\n 0,\n]\nint n = 5\n";
    const std::string removed = head + " 0,\n 0,\n 0,\n]\nint n = 4\n";
    const std::string merged = head + " 1,\n 0,\n 0,\n]\nint n = 5\n";
    EXPECT_EQ(merge_texts(base, changed, removed), merged);
    EXPECT_EQ(merge_texts(base, removed, changed), merged);
}

TEST(TextMerge, TakesTheRemovalOfARowAlikeOnceWhenBothSidesMadeIt) {
    const std::string base = "[\n0\n0\n0\n0\n]\nn = 4\nm = 0\n";
    const std::string ours = "[\n0\n0\n0\n]\nn = 4\nm = 1\n";
    const std::string theirs = "[\n0\n0\n0\n]\nn = 3\nm = 0\n";
    EXPECT_EQ(merge_texts(base, ours, theirs), "[\n0\n0\n0\n]\nn = 3\nm = 1\n");
}

// One side replaced the last line and added one, or added two lines and removed a row, as the other side did: in the
// one case two of the four rows are to be left, in the other three.
TEST(TextMerge, RefusesWhereItIsUnsureWhetherBothSidesRemovedTheSameRow) {
    const std::string base = "b\nb\nb\nb\na\nb\n";
    const std::string ours = "b\nb\nb\na\nb\na\nd\n";
    const std::string theirs = "b\nb\nb\na\nb\n";
    EXPECT_EQ(merge_texts(base, ours, theirs), std::nullopt);
    EXPECT_EQ(merge_texts(base, theirs, ours), std::nullopt);
}

TEST(TextMerge, OfTwoTextsAlikeIsThatTextHoweverItCameAbout) {
    EXPECT_EQ(merge_texts("b\na\nb\nb\nb\nb\n", "d\na\nb\na\nb\nb\nb\n", "d\na\nb\na\nb\nb\nb\n"),
              "d\na\nb\na\nb\nb\nb\n");
}

class RandomEdits {
  public:
    explicit RandomEdits(unsigned seed) : random_(seed) {}

    std::size_t below(std::size_t limit) { return random_() % limit; }

    // Lines of few kinds, so that they repeat.
    Lines rows(std::size_t count) {
        Lines lines(count);
        std::generate(lines.begin(), lines.end(), [&] { return std::to_string(below(3)); });
        return lines;
    }

    Lines edited(Lines lines, int edits) {
        for (; edits > 0; --edits) {
            const auto at = lines.begin() + static_cast<std::ptrdiff_t>(below(lines.size()));
            switch (below(3)) {
                case 0:
                    lines.insert(at, std::to_string(below(4)));
                    break;
                case 1:
                    lines.erase(at);
                    break;
                default:
                    *at = std::to_string(below(4));
            }
        }
        return lines;
    }

  private:
    std::mt19937 random_;
};

// One side edits the first half at random, the other the second: the merge has both halves.
TEST(TextMerge, KeepsEditsInDifferentHalvesWhateverTheyAre) {
    RandomEdits random(1);
    const std::string middle = "the middle\nof the file\n";
    for (int round = 0; round < 500; ++round) {
        const Lines first = numbered(20);
        Lines second = numbered(20);
        std::for_each(second.begin(), second.end(), [](std::string& line) { line += " below"; });
        const std::string a = text_of(random.edited(first, 6));
        const std::string b = text_of(random.edited(second, 6));
        EXPECT_EQ(merge_texts(text_of(first) + middle + text_of(second), a + middle + text_of(second),
                              text_of(first) + middle + b),
                  a + middle + b);
    }
}

// Each list of rows is edited by one side or by none, and comes out as that side left it.
TEST(TextMerge, KeepsEditsInDifferentListsOfRowsAlike) {
    RandomEdits random(3);
    for (int round = 0; round < 5000; ++round) {
        std::string base;
        std::string ours;
        std::string theirs;
        std::string merged;
        for (int list = 0; list < 5; ++list) {
            const std::string name = "list " + std::to_string(list) + " {\n";
            const Lines rows = random.rows(4 + random.below(8));
            const std::string before = name + text_of(rows) + "}\n";
            const std::string after = name + text_of(random.edited(rows, 2)) + "}\n";
            const std::size_t side = random.below(3);
            base += before;
            ours += side == 0 ? after : before;
            theirs += side == 1 ? after : before;
            merged += side == 2 ? before : after;
        }
        EXPECT_EQ(merge_texts(base, ours, theirs), merged) << base << "|\n" << ours << "|\n" << theirs;
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
