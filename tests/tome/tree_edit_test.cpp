#include "tome/object/tree_edit.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/tome/engine_test_objects.h"

namespace quill_test {
namespace {

using Files = std::map<std::string, std::string>;
using Edits = std::map<std::string, std::optional<std::string>>;

class TreeEdit : public testing::Test {
  protected:
    tome::Digest edit(const tome::Digest& root, const Edits& edits) {
        tome::TreeChanges changes;
        for (const auto& [path, text] : edits) {
            changes.emplace(path, text ? std::optional(EngineTestObjects::file(*text)) : std::nullopt);
        }
        return tome::apply_changes(objects_, root, changes, objects_, tome::NewNames::Distinct);
    }
    std::vector<std::string> visited(const tome::Digest& root, const std::string& folder) {
        std::vector<std::string> paths;
        tome::TreeLookup(objects_, root).visit_files(folder, [&](const std::string& path, const tome::TreeEntry&) {
            paths.push_back(path);
        });
        return paths;
    }
    EngineTestObjects objects_;
};

TEST_F(TreeEdit, GivesTheTreeThatTheChangesSay) {
    const struct {
        Files before;
        Edits edits;
        Files after;
    } cases[] = {
        {{}, {{"a", "1"}}, {{"a", "1"}}},
        {{}, {{"a/b/c/d", "1"}, {"a/b", std::nullopt}}, {{"a/b/c/d", "1"}}},
        {{{"a", "1"}}, {}, {{"a", "1"}}},
        {{{"a", "1"}}, {{"a", "2"}}, {{"a", "2"}}},
        {{{"a", "1"}}, {{"a", "1*"}}, {{"a", "1*"}}},
        {{{"a", "1"}}, {{"b", std::nullopt}, {"b/c", std::nullopt}, {"a/c", std::nullopt}}, {{"a", "1"}}},
        {{{"a", "1"}, {"b", "2"}}, {{"a", std::nullopt}}, {{"b", "2"}}},
        {{{"a", "1"}, {"a-b", "2"}, {"a.b", "3"}},
         {{"a", std::nullopt}, {"a/x", "4"}},
         {{"a/x", "4"}, {"a-b", "2"}, {"a.b", "3"}}},
        // The kinds change places, named in one way or the other.
        {{{"x", "1"}}, {{"x/a", "2"}}, {{"x/a", "2"}}},
        {{{"x", "1"}}, {{"x", std::nullopt}, {"x/a/b", "2"}}, {{"x/a/b", "2"}}},
        {{{"x/a", "1"}, {"x/b", "2"}}, {{"x", "3"}}, {{"x", "3"}}},
        {{{"x/a", "1"}, {"x/b", "2"}}, {{"x", "3"}, {"x/a", std::nullopt}, {"x/b", std::nullopt}}, {{"x", "3"}}},
        {{{"x/a/b", "1"}}, {{"x/a", "2"}}, {{"x/a", "2"}}},
        // Emptied folders go, all the way up.
        {{{"x/y/z", "1"}, {"a", "2"}}, {{"x/y/z", std::nullopt}}, {{"a", "2"}}},
        {{{"x/y/z", "1"}, {"x/a", "2"}}, {{"x/y/z", std::nullopt}}, {{"x/a", "2"}}},
        {{{"x/y/z", "1"}}, {{"x/y/z", std::nullopt}}, {}},
        {{}, {{"a", std::nullopt}}, {}},
    };
    int number = 0;
    for (const auto& one : cases) {
        SCOPED_TRACE(++number);
        // Equal trees have one digest, however they came about.
        EXPECT_EQ(edit(objects_.tree(one.before), one.edits), objects_.tree(one.after));
    }
    EXPECT_EQ(edit({}, {{"a/b", "1"}}), objects_.tree({{"a/b", "1"}})) << "nothing at all is an empty tree";
}

TEST_F(TreeEdit, RefusesANewNameThatDiffersFromAnotherByCaseOrNormalisationAlone) {
    const struct {
        Files before;
        Edits edits;
        std::string pair;
    } cases[] = {
        {{{"a.png", "1"}}, {{"A.png", "2"}}, "A.png and a.png"},
        {{{"A.png", "1"}}, {{"a.png", "2"}}, "A.png and a.png"},
        {{}, {{"x/a", "1"}, {"x/A", "2"}}, "x/A and x/a"},
        {{{"x/y/a", "1"}}, {{"x/y/A", "1"}}, "x/y/A and x/y/a"},
        // Folders count like files.
        {{{"Assets/a.png", "1"}}, {{"assets/a.png", "1"}}, "Assets and assets"},
        {{{"Assets/a.png", "1"}}, {{"assets", "1"}}, "Assets and assets"},
        {{{"assets", "1"}}, {{"Assets/b/c", "1"}}, "Assets and assets"},
        {{{"x/caf\u00e9/y", "1"}}, {{"x/cafe\u0301/z", "1"}}, "x/cafe\u0301 and x/caf\u00e9"},
        {{{"a", "1"}, {"A", "2"}}, {{"a", std::nullopt}, {"\uff41", "1"}, {"\uff21", "1"}}, "\uff21 and \uff41"},
    };
    int number = 0;
    for (const auto& one : cases) {
        SCOPED_TRACE(++number);
        EXPECT_EQ(engine_failure_of([&] { edit(objects_.tree(one.before), one.edits); }),
                  "names differ only by case or normalisation: " + one.pair);
    }
}

TEST_F(TreeEdit, TakesChangesThatMakeNoNewPairOfNames) {
    const struct {
        Files before;
        Edits edits;
        Files after;
    } cases[] = {
        {{{"a", "1"}}, {{"a", std::nullopt}, {"A", "1"}}, {{"A", "1"}}},
        {{{"x/a", "1"}}, {{"x/a", std::nullopt}, {"X/a", "1"}}, {{"X/a", "1"}}},
        {{{"a", "1"}, {"A", "2"}}, {{"a", "3"}}, {{"a", "3"}, {"A", "2"}}},
        {{{"a", "1"}, {"A", "2"}}, {{"b", "3"}}, {{"a", "1"}, {"A", "2"}, {"b", "3"}}},
        {{{"x/a", "1"}, {"X/a", "2"}}, {{"x/b", "3"}}, {{"x/a", "1"}, {"x/b", "3"}, {"X/a", "2"}}},
        {{{"x/a", "1"}}, {{"A", "2"}, {"y/A", "3"}}, {{"x/a", "1"}, {"A", "2"}, {"y/A", "3"}}},
    };
    int number = 0;
    for (const auto& one : cases) {
        SCOPED_TRACE(++number);
        EXPECT_EQ(edit(objects_.tree(one.before), one.edits), objects_.tree(one.after));
    }
}

TEST_F(TreeEdit, EmptyTreeIsWrittenLikeAnyOther) {
    const tome::Digest empty = edit(objects_.tree({{"a", "1"}}), {{"a", std::nullopt}});
    EXPECT_EQ(empty, tome::digest_of("TMT1"));
    EXPECT_TRUE(objects_.contains(tome::ObjectKind::Tree, empty));
    EXPECT_EQ(tome::empty_tree(objects_), empty);
}

TEST_F(TreeEdit, MakesTheTreesOnThePathAnewAndReadsNoOther) {
    const tome::Digest root = objects_.tree({{"a/b/c", "1"}, {"a/x/y", "2"}, {"z/y", "3"}});
    objects_.forget(objects_.tree({{"y", "2"}}));
    objects_.forget(objects_.tree({{"y", "3"}}));
    objects_.writes = 0;
    const tome::Digest edited = edit(root, {{"a/b/c", "4"}});
    EXPECT_EQ(objects_.writes, 3);
    EXPECT_EQ(edited, objects_.tree({{"a/b/c", "4"}, {"a/x/y", "2"}, {"z/y", "3"}}));
}

TEST_F(TreeEdit, OfATreeThatIsMissingNamesIt) {
    const tome::Digest missing = tome::digest_of("missing");
    EXPECT_EQ(engine_failure_of([&] { edit(missing, {{"a", "1"}}); }), "missing object: " + tome::to_hex(missing));
}

TEST_F(TreeEdit, FindsEntriesByPath) {
    const tome::Digest root = objects_.tree({{"a", "1*"}, {"b/c/d", "2"}});
    const auto find = [&](const std::string& path) { return tome::TreeLookup(objects_, root).find(path); };
    ASSERT_TRUE(find("a"));
    EXPECT_TRUE(find("a")->same_state(EngineTestObjects::file("1*")));
    EXPECT_EQ(find("a")->size, 1U);
    ASSERT_TRUE(find("b/c"));
    EXPECT_TRUE(find("b/c")->is_folder());
    EXPECT_EQ(find("b/c")->digest, objects_.tree({{"d", "2"}}));
    EXPECT_TRUE(find("b/c/d"));
    for (const std::string path : {"A", "a/b", "b/d", "b/c/d/e", "b/cc", "c"}) {
        EXPECT_FALSE(find(path)) << path;
    }
    EXPECT_FALSE(tome::TreeLookup(objects_, {}).find("a"));
}

TEST_F(TreeEdit, LookupTellsFilesAndFoldersAndReadsEachFolderOnce) {
    const tome::Digest root = objects_.tree({{"a", "1"}, {"b/c", "2"}, {"b/d", "3"}, {"b/e/f", "4"}});
    tome::TreeLookup lookup(objects_, root);
    objects_.reads = 0;
    for (int again = 0; again < 2; ++again) {
        ASSERT_TRUE(lookup.find_file("b/d"));
        EXPECT_TRUE(lookup.find_file("b/d")->same_state(EngineTestObjects::file("3")));
        EXPECT_TRUE(lookup.find_file("a"));
        EXPECT_TRUE(lookup.find_file("b/e/f"));
        EXPECT_FALSE(lookup.find_file("b"));
        EXPECT_FALSE(lookup.find_file("b/x"));
        EXPECT_FALSE(lookup.find_file("a/x/y"));
        EXPECT_TRUE(lookup.is_folder("b/e"));
        EXPECT_FALSE(lookup.is_folder("a"));
        EXPECT_FALSE(lookup.is_folder("nowhere/at/all"));
    }
    EXPECT_EQ(objects_.reads, 3);
    tome::TreeLookup nothing(objects_, {});
    EXPECT_FALSE(nothing.find_file("a"));
}

TEST_F(TreeEdit, LookupVisitsFilesOneByOneWithoutReadingTheirFolderAgain) {
    const tome::Digest root = objects_.tree({{"b/c", "1"}, {"b/d", "2"}, {"b/e", "3"}});
    tome::TreeLookup lookup(objects_, root);
    objects_.reads = 0;
    std::vector<std::string> paths;
    for (const std::string path : {"b/c", "b/d", "b/e", "b/x", "x"}) {
        lookup.visit_files(path, [&](const std::string& file, const tome::TreeEntry&) { paths.push_back(file); });
    }
    EXPECT_EQ(paths, (std::vector<std::string>{"b/c", "b/d", "b/e"}));
    EXPECT_EQ(objects_.reads, 2);
}

TEST_F(TreeEdit, VisitsFilesInByteOrderOfTheComponents) {
    const tome::Digest root = objects_.tree({{"a-b", "1"}, {"a/z", "2"}, {"a/b/c", "3"}, {"a.b", "4"}, {"B", "5"}});
    using Paths = std::vector<std::string>;
    EXPECT_EQ(visited(root, ""), (Paths{"B", "a/b/c", "a/z", "a-b", "a.b"}));
    EXPECT_EQ(visited(root, "a"), (Paths{"a/b/c", "a/z"}));
    EXPECT_EQ(visited(root, "a/b"), Paths{"a/b/c"});
    EXPECT_EQ(visited(root, "a/z"), Paths{"a/z"});
    EXPECT_EQ(visited(root, "a/z/below"), Paths{});
    EXPECT_EQ(visited(root, "nowhere"), Paths{});
    EXPECT_EQ(visited({}, ""), Paths{});
    EXPECT_EQ(visited(tome::empty_tree(objects_), ""), Paths{});
}

TEST_F(TreeEdit, FoldersNestedTooDeepAreDamage) {
    EXPECT_EQ(visited(objects_.nested(254, "x"), "").size(), 1U);
    const tome::Digest deep = objects_.nested(2000, "x");
    EXPECT_TRUE(
        engine_failure_of([&] { visited(deep, ""); }).starts_with("corrupt object: folders nested too deep at "));
}

}  // namespace
}  // namespace quill_test
