#include "tome/object/tree_diff.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/tome/engine_test_objects.h"

namespace quill_test {
namespace {

using Files = std::map<std::string, std::string>;
using Lines = std::vector<std::string>;

class TreeDiff : public testing::Test {
  protected:
    // "-path" gone, "+path" new, "path" changed.
    static Lines lines(const std::vector<tome::FileDifference>& differences) {
        Lines result;
        for (const tome::FileDifference& difference : differences) {
            const char* sign = !difference.after ? "-" : !difference.before ? "+" : "";
            result.push_back(sign + difference.path);
        }
        return result;
    }
    static Lines changes(const std::vector<tome::FileDifference>& differences) {
        static constexpr const char* names[] = {"", "add", "delete", "move", "copy", "modify"};
        Lines result;
        for (const tome::PathChange& change : tome::find_changes(differences)) {
            const std::string from = change.previous_path.empty() ? "" : change.previous_path + " -> ";
            result.push_back(std::string(names[static_cast<int>(change.kind)]) + " " + from + change.path);
        }
        return result;
    }
    std::vector<tome::FileDifference> diff(const Files& before, const Files& after) {
        return tome::diff_trees(objects_, objects_.tree(before), objects_.tree(after));
    }
    EngineTestObjects objects_;
};

TEST_F(TreeDiff, NamesTheFilesThatDifferInByteOrder) {
    const struct {
        Files before;
        Files after;
        Lines expected;
    } cases[] = {
        {{}, {}, {}},
        {{{"a", "1"}}, {{"a", "1"}}, {}},
        {{{"a", "1"}}, {{"a", "2"}}, {"a"}},
        {{{"a", "1"}}, {{"a", "1*"}}, {"a"}},
        {{{"a", "1"}}, {{"b", "1"}}, {"-a", "+b"}},
        {{}, {{"b/c", "1"}, {"a/x/y", "1"}}, {"+a/x/y", "+b/c"}},
        {{{"b/c", "1"}, {"a/x/y", "1"}}, {}, {"-a/x/y", "-b/c"}},
        {{{"x", "1"}}, {{"x/y", "1"}, {"x/z/q", "1"}}, {"-x", "+x/y", "+x/z/q"}},
        {{{"x/y", "1"}, {"x/z/q", "1"}}, {{"x", "1"}}, {"+x", "-x/y", "-x/z/q"}},
        // A path's "/" comes after "-" and ".".
        {{{"a/x", "1"}}, {{"a-b", "1"}, {"a.b", "1"}, {"a/x", "2"}, {"a0", "1"}}, {"+a-b", "+a.b", "a/x", "+a0"}},
    };
    int number = 0;
    for (const auto& one : cases) {
        SCOPED_TRACE(++number);
        EXPECT_EQ(lines(diff(one.before, one.after)), one.expected);
    }
}

TEST_F(TreeDiff, CarriesBothStates) {
    const auto differences = diff({{"a", "old*"}}, {{"a", "newer"}});
    ASSERT_EQ(differences.size(), 1U);
    EXPECT_TRUE(differences[0].before->same_state(EngineTestObjects::file("old*")));
    EXPECT_TRUE(differences[0].after->same_state(EngineTestObjects::file("newer")));
    EXPECT_EQ(differences[0].after->size, 5U);
}

TEST_F(TreeDiff, NoTreeIsAnEmptyOne) {
    const tome::Digest tree = objects_.tree({{"a/b", "1"}});
    EXPECT_EQ(lines(tome::diff_trees(objects_, {}, tree)), Lines{"+a/b"});
    EXPECT_EQ(lines(tome::diff_trees(objects_, tree, {})), Lines{"-a/b"});
    EXPECT_EQ(lines(tome::diff_trees(objects_, {}, tome::empty_tree(objects_))), Lines{});
    EXPECT_EQ(lines(tome::diff_trees(objects_, {}, {})), Lines{});
}

TEST_F(TreeDiff, DoesNotEnterEqualFolders) {
    const tome::Digest before = objects_.tree({{"same/x", "1"}, {"a", "1"}});
    const tome::Digest after = objects_.tree({{"same/x", "1"}, {"a", "2"}});
    objects_.forget(objects_.tree({{"x", "1"}}));
    EXPECT_EQ(lines(tome::diff_trees(objects_, before, after)), Lines{"a"});
    objects_.reads = 0;
    EXPECT_EQ(lines(tome::diff_trees(objects_, before, before)), Lines{});
    EXPECT_EQ(objects_.reads, 0);
}

TEST_F(TreeDiff, OfAMissingFolderNamesIt) {
    const tome::Digest tree = objects_.tree({{"a/x", "1"}});
    const tome::Digest folder = objects_.tree({{"x", "1"}});
    objects_.forget(folder);
    EXPECT_EQ(engine_failure_of([&] { tome::diff_trees(objects_, {}, tree); }),
              "missing object: " + tome::to_hex(folder));
}

TEST_F(TreeDiff, FoldersNestedTooDeepAreDamage) {
    const tome::Digest deep = objects_.nested(2000, "x");
    EXPECT_TRUE(engine_failure_of([&] {
                    tome::diff_trees(objects_, deep, objects_.nested(2000, "y"));
                }).starts_with("corrupt object: folders nested too deep at "));
}

TEST_F(TreeDiff, ChangesAreFoundByIdenticalContent) {
    const struct {
        Files before;
        Files after;
        Lines expected;
    } cases[] = {
        {{{"a", "1"}}, {{"b", "1"}}, {"move a -> b"}},
        {{{"b", "1"}}, {{"a", "1"}}, {"move b -> a"}},
        {{{"a", "1"}}, {{"b", "1*"}}, {"move a -> b"}},
        {{{"a", "1"}}, {{"b", "2"}}, {"delete a", "add b"}},
        {{{"a", ""}}, {{"b", ""}}, {"move a -> b"}},
        // Each deleted file moves once.
        {{{"a", "1"}}, {{"b", "1"}, {"c", "1"}}, {"move a -> b", "add c"}},
        {{{"a", "1"}, {"b", "1"}}, {{"c", "1"}}, {"delete b", "move a -> c"}},
        {{{"a", "1"}, {"b", "1"}}, {{"c", "1"}, {"d", "1"}}, {"move a -> c", "move b -> d"}},
        // The old state of an edited file may be copied any number of times.
        {{{"a", "1"}}, {{"a", "2"}, {"b", "1"}, {"c", "1"}}, {"modify a", "copy a -> b", "copy a -> c"}},
        {{{"a", "1"}, {"b", "1"}}, {{"a", "2"}, {"c", "1"}, {"d", "1"}}, {"modify a", "move b -> c", "copy a -> d"}},
        // Where a file stood before and after it is an edit.
        {{{"a", "1"}, {"b", "2"}}, {{"a", "2"}, {"b", "1"}}, {"modify a", "modify b"}},
        {{{"a", "1"}, {"b", "2"}}, {{"b", "1"}}, {"delete a", "modify b"}},
        {{{"x", "1"}}, {{"x/y", "1"}}, {"move x -> x/y"}},
        {{{"x/y", "1"}}, {{"x", "1"}}, {"move x/y -> x"}},
    };
    int number = 0;
    for (const auto& one : cases) {
        SCOPED_TRACE(++number);
        EXPECT_EQ(changes(diff(one.before, one.after)), one.expected);
    }
}

}  // namespace
}  // namespace quill_test
