#include "tome/object/tree_walk.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "tests/tome/engine_test_objects.h"

namespace quill_test {
namespace {

using Lines = std::vector<std::string>;

class TreeWalk : public testing::Test {
  protected:
    // "-path" for a file of the first tree alone, "+path" for one of the second, "path" for one of both.
    Lines walk(const tome::Digest& before, const tome::Digest& after, const std::string& prefix = "") {
        Lines lines;
        tome::walk_trees(
            objects_, before, after, prefix,
            [&](const std::string& path, const tome::TreeEntry* old_file, const tome::TreeEntry* new_file) {
                lines.push_back((new_file == nullptr ? "-" : old_file == nullptr ? "+" : "") + path);
            });
        return lines;
    }

    EngineTestObjects objects_;
};

TEST_F(TreeWalk, MeetsTheFilesThatDifferInOrderOfTheirPathsComponents) {
    const tome::Digest before = objects_.tree({{"a/x", "1"}, {"b", "1"}, {"c", "1"}, {"d", "1"}});
    const tome::Digest after = objects_.tree({{"a/x", "2"}, {"a-b", "1"}, {"c", "1"}, {"d", "1*"}});
    EXPECT_EQ(walk(before, after), (Lines{"a/x", "+a-b", "-b", "d"}));
}

TEST_F(TreeWalk, MeetsAllFilesOfOneTree) {
    const tome::Digest tree = objects_.tree({{"a/b/c", "1"}, {"a/d", "2"}, {"e", "3"}});
    EXPECT_EQ(walk({}, tree), (Lines{"+a/b/c", "+a/d", "+e"}));
    EXPECT_EQ(walk(tree, {}), (Lines{"-a/b/c", "-a/d", "-e"}));
    EXPECT_EQ(walk({}, {}), Lines());
}

TEST_F(TreeWalk, PutsThePlaceOfTheTreesBeforeThePaths) {
    EXPECT_EQ(walk({}, objects_.tree({{"a/b", "1"}, {"c", "1"}}), "x/y"), (Lines{"+x/y/a/b", "+x/y/c"}));
}

TEST_F(TreeWalk, DoesNotEnterEqualFolders) {
    const tome::Digest before = objects_.tree({{"same/deep/file", "1"}, {"other", "1"}});
    const tome::Digest after = objects_.tree({{"same/deep/file", "1"}, {"other", "2"}});
    objects_.reads = 0;
    EXPECT_EQ(walk(before, after), Lines{"other"});
    EXPECT_EQ(objects_.reads, 2);
}

TEST_F(TreeWalk, OfAFileThatBecameAFolderMeetsBoth) {
    EXPECT_EQ(walk(objects_.tree({{"a", "1"}}), objects_.tree({{"a/b", "1"}})), (Lines{"-a", "+a/b"}));
}

TEST_F(TreeWalk, OfMoreFilesThanAreBearableIsRefusedEarly) {
    // Ten folders in ten folders in ...: 10^8 files in nine small objects.
    tome::Tree entries;
    for (int i = 0; i < 10; ++i) {
        entries.push_back(EngineTestObjects::named(std::to_string(i), EngineTestObjects::file("x")));
    }
    tome::Digest tree = objects_.encoded(entries);
    for (int depth = 0; depth < 7; ++depth) {
        entries.clear();
        for (int i = 0; i < 10; ++i) {
            entries.push_back(EngineTestObjects::folder(std::to_string(i), tree));
        }
        tree = objects_.encoded(entries);
    }
    const std::string failure = engine_failure_of([&] { walk({}, tree); });
    EXPECT_TRUE(failure.starts_with("corrupt object: the tree names more than 10000000 files (object ")) << failure;
}

}  // namespace
}  // namespace quill_test
