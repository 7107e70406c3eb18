#include "tome/merge/tree_merge.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "tests/tome/engine_test_objects.h"

namespace quill_test {
namespace {

using Files = std::map<std::string, std::string>;
using Paths = std::vector<std::string>;

const std::set<std::string> texts{"1", "1*", "2", "3"};

class TreeMerge : public testing::Test {
  protected:
    tome::TreeMerge merge(const Files& base, const Files& ours, const Files& theirs) {
        return tome::merge_trees(objects_, objects_.tree(base), objects_.tree(ours), objects_.tree(theirs));
    }
    Files merged(const Files& ours, const tome::TreeMerge& merge) {
        return objects_.files(
            tome::apply_changes(objects_, objects_.tree(ours), merge.changes, objects_, tome::NewNames::Any), texts);
    }
    EngineTestObjects objects_;
};

TEST_F(TreeMerge, TakesWhatOneSideChanged) {
    const struct {
        Files base;
        Files ours;
        Files theirs;
        Files expected;
    } cases[] = {
        {{{"a", "1"}}, {{"a", "1"}}, {{"a", "1"}}, {{"a", "1"}}},
        {{{"a", "1"}}, {{"a", "2"}}, {{"a", "1"}}, {{"a", "2"}}},
        {{{"a", "1"}}, {{"a", "1"}}, {{"a", "2"}}, {{"a", "2"}}},
        {{{"a", "1"}}, {{"a", "1"}}, {{"a", "1*"}}, {{"a", "1*"}}},
        {{{"a", "1"}}, {{"a", "2"}}, {{"a", "2"}}, {{"a", "2"}}},
        {{{"a", "1"}}, {{"a", "1"}}, {}, {}},
        {{{"a", "1"}}, {}, {{"a", "1"}}, {}},
        {{{"a", "1"}}, {}, {}, {}},
        {{}, {{"a", "1"}}, {{"b", "1"}}, {{"a", "1"}, {"b", "1"}}},
        {{}, {{"a", "1"}}, {{"a", "1"}}, {{"a", "1"}}},
        {{}, {{"x/a", "1"}}, {{"x/b", "2"}}, {{"x/a", "1"}, {"x/b", "2"}}},
        {{{"x/a", "1"}, {"x/b", "1"}}, {{"x/b", "1"}}, {{"x/a", "1"}}, {}},
        {{{"x/a", "1"}}, {}, {{"x/a", "1"}, {"x/b", "2"}}, {{"x/b", "2"}}},
        // One side changes a kind and the other leaves the place alone, or makes way.
        {{{"x", "1"}}, {{"x", "1"}}, {{"x/a", "2"}}, {{"x/a", "2"}}},
        {{{"x/a", "1"}}, {{"x/a", "1"}}, {{"x", "2"}}, {{"x", "2"}}},
        {{{"x", "1"}}, {}, {{"x/a", "2"}}, {{"x/a", "2"}}},
        {{{"x/a", "1"}}, {}, {{"x", "2"}}, {{"x", "2"}}},
        {{{"x/a", "1"}, {"x/b", "1"}}, {{"x/b", "1"}}, {{"x", "2"}}, {{"x", "2"}}},
        {{{"x/a", "1"}}, {{"x", "2"}}, {}, {{"x", "2"}}},
        {{{"x/a", "1"}}, {{"x", "2"}}, {{"x", "2"}}, {{"x", "2"}}},
        {{{"x", "1"}}, {{"x/a", "2"}}, {{"x/b", "3"}}, {{"x/a", "2"}, {"x/b", "3"}}},
        {{{"x", "1"}}, {{"x/a", "2"}}, {}, {{"x/a", "2"}}},
    };
    int number = 0;
    for (const auto& one : cases) {
        SCOPED_TRACE(++number);
        const tome::TreeMerge result = merge(one.base, one.ours, one.theirs);
        EXPECT_EQ(result.conflicts, Paths{});
        EXPECT_EQ(merged(one.ours, result), one.expected);
    }
}

TEST_F(TreeMerge, PathsChangedDifferentlyAreConflictsInByteOrder) {
    const struct {
        Files base;
        Files ours;
        Files theirs;
        Paths conflicts;
    } cases[] = {
        {{{"a", "1"}}, {{"a", "2"}}, {{"a", "3"}}, {"a"}},
        {{{"a", "1"}}, {{"a", "1*"}}, {{"a", "2"}}, {"a"}},
        {{{"a", "1"}}, {{"a", "2"}}, {}, {"a"}},
        {{{"a", "1"}}, {}, {{"a", "2"}}, {"a"}},
        {{}, {{"a", "1"}}, {{"a", "2"}}, {"a"}},
        {{}, {{"a", "1"}}, {{"a", "1*"}}, {"a"}},
        {{{"x/a", "1"}, {"x-a", "1"}}, {{"x/a", "2"}, {"x-a", "2"}}, {{"x/a", "3"}, {"x-a", "3"}}, {"x-a", "x/a"}},
        // A file where the other side has a folder.
        {{}, {{"x", "1"}}, {{"x/a", "2"}}, {"x/a"}},
        {{}, {{"x", "1"}}, {{"x/a/b", "2"}}, {"x/a/b"}},
        {{}, {{"x/a", "1"}}, {{"x", "2"}}, {"x"}},
        {{}, {{"x/a/b", "1"}}, {{"x", "2"}}, {"x"}},
        {{{"x/a", "1"}}, {{"x/a", "1"}, {"x/b", "2"}}, {{"x", "3"}}, {"x"}},
        {{{"x/a", "1"}}, {{"x/a", "2"}}, {{"x", "3"}}, {"x", "x/a"}},
        {{{"x/a", "1"}}, {{"x", "3"}}, {{"x/a", "2"}}, {"x/a"}},
        {{{"x/a", "1"}}, {{"x", "3"}}, {{"x/a", "1"}, {"x/b", "2"}}, {"x/b"}},
        {{{"x", "1"}}, {{"x", "2"}}, {{"x/a", "3"}}, {"x", "x/a"}},
        {{{"x", "1"}}, {{"x/a", "3"}}, {{"x", "2"}}, {"x"}},
    };
    int number = 0;
    for (const auto& one : cases) {
        SCOPED_TRACE(++number);
        EXPECT_EQ(merge(one.base, one.ours, one.theirs).conflicts, one.conflicts);
    }
}

TEST_F(TreeMerge, WithoutACommonTreeTakesBoth) {
    const tome::Digest ours = objects_.tree({{"a", "1"}, {"x/b", "1"}});
    const tome::Digest theirs = objects_.tree({{"a", "1"}, {"x/c", "1"}});
    const tome::TreeMerge result = tome::merge_trees(objects_, {}, ours, theirs);
    EXPECT_EQ(result.conflicts, Paths{});
    ASSERT_EQ(result.changes.size(), 1U);
    EXPECT_EQ(result.changes.begin()->first, "x/c");
}

TEST_F(TreeMerge, DoesNotLookAtWhatDidNotChange) {
    const tome::Digest base = objects_.tree({{"a", "1"}, {"same/x", "1"}});
    const tome::Digest ours = objects_.tree({{"a", "1"}, {"b", "1"}, {"same/x", "1"}});
    const tome::Digest theirs = objects_.tree({{"a", "2"}, {"same/x", "1"}});
    objects_.forget(objects_.tree({{"x", "1"}}));
    EXPECT_EQ(tome::merge_trees(objects_, base, ours, theirs).changes.size(), 1U);
}

// Files and no files that are folders to others.
bool can_stand(const Files& files) {
    for (const auto& [path, text] : files) {
        const auto next = files.lower_bound(path + "/");
        if (next != files.end() && next->first.starts_with(path + "/")) {
            return false;
        }
    }
    return true;
}

TEST_F(TreeMerge, AgreesWithAMergeOfEachPathByItself) {
    std::mt19937 random(1);
    const auto some_files = [&] {
        for (;;) {
            Files files;
            for (const std::string path : {"a", "a/x", "a/x/q", "a/y", "a-b", "b", "b/x"}) {
                if (const auto choice = random() % 4; choice < 2) {
                    files[path] = std::to_string(1 + choice);
                }
            }
            if (can_stand(files)) {
                return files;
            }
        }
    };
    const auto at = [](const Files& files, const std::string& path) {
        const auto found = files.find(path);
        return found != files.end() ? std::optional(found->second) : std::nullopt;
    };
    int clean = 0;
    for (int round = 0; round < 600; ++round) {
        SCOPED_TRACE(round);
        const Files base = some_files();
        const Files ours = random() % 3 != 0 ? some_files() : base;
        const Files theirs = some_files();
        Files expected = ours;
        std::set<std::string> conflicts;
        for (const Files* side : {&base, &theirs}) {
            for (const auto& [path, text] : *side) {
                if (at(theirs, path) == at(base, path) || at(theirs, path) == at(ours, path)) {
                    continue;
                }
                if (at(ours, path) != at(base, path)) {
                    conflicts.insert(path);
                } else if (at(theirs, path)) {
                    expected[path] = *at(theirs, path);
                } else {
                    expected.erase(path);
                }
            }
        }
        const tome::TreeMerge result = merge(base, ours, theirs);
        const std::set<std::string> found(result.conflicts.begin(), result.conflicts.end());
        for (const std::string& path : conflicts) {
            EXPECT_TRUE(found.contains(path)) << path;
        }
        const bool is_clean = conflicts.empty() && can_stand(expected);
        EXPECT_EQ(found.empty(), is_clean);
        if (is_clean) {
            ++clean;
            EXPECT_EQ(merged(ours, result), expected);
        }
    }
    EXPECT_GT(clean, 100);
}

}  // namespace
}  // namespace quill_test
