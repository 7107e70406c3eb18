// Merges of random small texts, whose lines repeat, held against those of `git merge-file`.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <map>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "tests/support/run_process.h"
#include "tests/support/temporary_folder.h"
#include "tome/merge/text_merge.h"

namespace quill_test {
namespace {

using Lines = std::vector<std::string>;

struct Texts {
    std::string base;
    std::string ours;
    std::string theirs;
};

std::ostream& operator<<(std::ostream& out, const Texts& texts) {
    return out << "base\n" << texts.base << "\nours\n" << texts.ours << "\ntheirs\n" << texts.theirs << "\n";
}

class RandomTexts {
  public:
    explicit RandomTexts(unsigned seed) : random_(seed) {}

    Texts next() {
        Lines base(below(13));
        const unsigned distinct = 1 + below(5);
        for (std::string& line : base) {
            line = letter(distinct);
        }
        const Lines ours = edited(base);
        const Lines theirs = edited(base);
        return {text_of(base), text_of(ours), text_of(theirs)};
    }

  private:
    unsigned below(unsigned limit) { return static_cast<unsigned>(random_() % limit); }
    std::string letter(unsigned distinct) { return std::string(1, static_cast<char>('a' + below(distinct))); }
    std::ptrdiff_t place(const Lines& lines) {
        return static_cast<std::ptrdiff_t>(below(static_cast<unsigned>(lines.size())));
    }

    Lines edited(Lines lines) {
        for (unsigned edits = below(4); edits > 0; --edits) {
            const unsigned kind = below(4);
            if (lines.empty() || kind == 0) {
                lines.insert(lines.end() - (lines.empty() ? 0 : place(lines)), letter(6));
                continue;
            }
            const auto at = lines.begin() + place(lines);
            const std::string line = *at;
            if (kind == 1) {
                *at = letter(6);
            } else {
                lines.erase(at);
            }
            if (kind == 3) {  // moved
                lines.insert(lines.end() - (lines.empty() ? 0 : place(lines)), line);
            }
        }
        return lines;
    }

    // One in eight ends without a line feed.
    std::string text_of(const Lines& lines) {
        std::string text;
        for (const std::string& line : lines) {
            text += line + "\n";
        }
        if (!text.empty() && below(8) == 0) {
            text.pop_back();
        }
        return text;
    }

    std::mt19937 random_;
};

/// What `git merge-file` makes of the texts; nothing for a conflict.
class GitMerge {
  public:
    std::optional<std::string> operator()(const Texts& texts) const {
        write_file(folder_ / "base", texts.base);
        write_file(folder_ / "ours", texts.ours);
        write_file(folder_ / "theirs", texts.theirs);
        const ProcessResult result =
            run_process({"/usr/bin/env", "git", "merge-file", "-p", path("ours"), path("base"), path("theirs")});
        if (result.status >= 127) {  // Less is the number of conflicts.
            throw std::runtime_error("git merge-file: " + result.err);
        }
        return result.status == 0 ? std::optional(result.out) : std::nullopt;
    }

  private:
    std::string path(const char* name) const { return (folder_ / name).string(); }

    TemporaryFolder folder_;
};

std::map<std::string, int> counts_of(const std::string& text) {
    std::map<std::string, int> counts;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find('\n', begin), text.size());
        ++counts[text.substr(begin, end - begin)];
        begin = end + 1;
    }
    return counts;
}

// Of each line the result has as many more or less than the base as the sides have together; where both added some, or
// both took some away, at least as many as one of them, for they may have done the same.
bool has_all_changes(const Texts& texts, const std::string& merged) {
    std::map<std::string, int> base = counts_of(texts.base);
    std::map<std::string, int> ours = counts_of(texts.ours);
    std::map<std::string, int> theirs = counts_of(texts.theirs);
    for (auto& [line, count] : counts_of(texts.base + "\n" + texts.ours + "\n" + texts.theirs + "\n" + merged)) {
        const int our = ours[line] - base[line];
        const int their = theirs[line] - base[line];
        const int both = counts_of(merged)[line] - base[line];
        const bool up = our > 0 && their > 0 && both >= std::max(our, their) && both <= our + their;
        const bool down = our < 0 && their < 0 && both <= std::min(our, their) && both >= our + their;
        if (!up && !down && both != our + their) {
            return false;
        }
    }
    return true;
}

// QUILL_MERGE_CASES says how many; each takes a process of its own.
int number_of_cases() {
    const char* wanted = std::getenv("QUILL_MERGE_CASES");
    return wanted == nullptr ? 500 : std::atoi(wanted);
}

TEST(TextMergeComparison, WhereGitMergesTooTheResultIsTheSameOrHasEveryChangeOfBothSides) {
    RandomTexts random(1);
    const GitMerge git;
    int cases = 0;
    std::map<std::string, int> outcomes;
    for (; cases < number_of_cases(); ++cases) {
        const Texts texts = random.next();
        const std::optional<std::string> merged = tome::merge_texts(texts.base, texts.ours, texts.theirs);
        const std::optional<std::string> expected = git(texts);
        if (merged && expected && *merged != *expected) {
            EXPECT_TRUE(has_all_changes(texts, *merged)) << texts << "merged\n" << *merged << "\ngit\n" << *expected;
        }
        const bool same = merged && expected && *merged == *expected;
        ++outcomes[std::string(merged ? "merged" : "refused") + " here, " + (expected ? "merged" : "refused") +
                   " by git" + (merged && expected ? same ? ", the same" : ", differently" : "")];
    }
    for (const auto& [outcome, count] : outcomes) {
        RecordProperty(outcome, count);
        std::cout << "  " << count << " " << outcome << "\n";
    }
    EXPECT_GT(outcomes["merged here, merged by git, the same"], cases / 2);
}

TEST(TextMergeComparison, IsTheSameWhicheverSideComesFirst) {
    RandomTexts random(2);
    for (int round = 0; round < 20'000; ++round) {
        const Texts texts = random.next();
        EXPECT_EQ(tome::merge_texts(texts.base, texts.ours, texts.theirs),
                  tome::merge_texts(texts.base, texts.theirs, texts.ours))
            << texts;
    }
}

}  // namespace
}  // namespace quill_test
