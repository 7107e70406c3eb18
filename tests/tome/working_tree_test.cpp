#include "tome/checkout/working_tree.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

#include "tests/support/file_test_support.h"
#include "tests/support/temporary_folder.h"
#include "tests/tome/engine_test_objects.h"

namespace quill_test {
namespace {

namespace fs = std::filesystem;
using tome::TreePath;
using Paths = std::set<std::string>;

class WorkingTree : public testing::Test {
  protected:
    Paths scanned(const std::string& folder, const Paths& skip = {}) const {
        Paths paths;
        tree_.scan(folder, skip, [&](const std::string& path, const tome::WorkingEntry&) { paths.insert(path); });
        return paths;
    }

    TemporaryFolder folder_;
    const tome::WorkingTree tree_{folder_.path()};
};

TEST_F(WorkingTree, FindsWhatStandsAtAPath) {
    write_file(folder_ / "a/file", "bytes");
    EXPECT_TRUE(tree_.find(TreePath::parse("a/file"))->is_file());
    EXPECT_TRUE(tree_.find(TreePath::parse("a"))->is_folder());
    EXPECT_FALSE(tree_.find(TreePath::parse("b/file")));
    EXPECT_FALSE(tree_.find(TreePath::parse("a/file/below")));
}

TEST_F(WorkingTree, HashesTheBytesOfAFile) {
    write_file(folder_ / "file", "bytes");
    const auto [digest, stamp] = tree_.hash(TreePath::parse("file"));
    EXPECT_EQ(digest, tome::digest_of("bytes"));
    EXPECT_EQ(stamp.size, 5U);
}

TEST_F(WorkingTree, IsNotReadOrWrittenThroughALink) {
    const TemporaryFolder elsewhere;
    write_file(elsewhere / "file", "others");
    fs::create_directory_symlink(elsewhere.path(), folder_ / "link");
    write_file(folder_ / "new", "mine");
    const TreePath path = TreePath::parse("link/file");
    for (const std::string& failure :
         {engine_failure_of([&] { tree_.find(path); }), engine_failure_of([&] { tree_.open(path); }),
          engine_failure_of([&] { tree_.install(folder_ / "new", path); }),
          engine_failure_of([&] { tree_.remove(path); })}) {
        EXPECT_TRUE(failure.starts_with("a symbolic link stands in the way: ")) << failure;
    }
    EXPECT_EQ(read_file(elsewhere / "file"), "others");
}

TEST_F(WorkingTree, TakesAFileToItsPlaceMakingFolders) {
    write_file(folder_ / "temporary", "new");
    const quill::FileStamp stamp = tree_.install(folder_ / "temporary", TreePath::parse("a/b/file"));
    EXPECT_EQ(read_file(folder_ / "a/b/file"), "new");
    EXPECT_EQ(stamp.size, 3U);
    EXPECT_FALSE(fs::exists(folder_ / "temporary"));
}

TEST_F(WorkingTree, LosesTheFoldersThatARemovalEmpties) {
    write_file(folder_ / "a/b/file", "x");
    write_file(folder_ / "a/kept", "x");
    tree_.remove(TreePath::parse("a/b/file"));
    EXPECT_FALSE(fs::exists(folder_ / "a/b"));
    EXPECT_TRUE(fs::exists(folder_ / "a/kept"));
    tree_.remove(TreePath::parse("a/b/file"));
}

TEST_F(WorkingTree, IsScannedWithoutTheEnginesStateAndOtherCheckouts) {
    for (const char* path : {"a/x", "a/y", "b", ".tome/config.toml", "inner/.tome/config.toml", "inner/z"}) {
        write_file(folder_ / path, "x");
    }
    EXPECT_EQ(scanned(""), (Paths{"a/x", "a/y", "b"}));
    EXPECT_EQ(scanned("a"), (Paths{"a/x", "a/y"}));
    EXPECT_EQ(scanned("", {"a"}), Paths{"b"});
}

}  // namespace
}  // namespace quill_test
