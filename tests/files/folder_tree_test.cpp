#include "files/folder_tree.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "files/platform.h"
#include "tests/support/temporary_folder.h"

namespace {

namespace fs = std::filesystem;
using quill::FileError;
using quill::FolderEntry;
using quill::FolderTree;
using quill_test::read_file;
using quill_test::TemporaryFolder;
using quill_test::write_file;

class FolderTreeTest : public testing::Test {
  protected:
    FolderTreeTest() {
        write_file(folder_ / "tree/Assets/a.txt", "a");
        write_file(folder_ / "outside/secret.txt", "secret");
    }

    std::vector<std::string> walked(const FolderTree::WalkRules& rules = {}, const std::string& from = "") const {
        std::vector<std::string> paths;
        FolderTree(folder_ / "tree").walk(from, rules, [&](const std::string& path, const FolderEntry&) {
            paths.push_back(path);
        });
        return paths;
    }

    template <typename Call>
    static FileError::Kind kind_of_failure(Call call) {
        try {
            call();
        } catch (const FileError& error) {
            return error.kind();
        }
        throw std::logic_error("nothing failed");
    }

    TemporaryFolder folder_;
};

TEST_F(FolderTreeTest, FindsFilesFoldersAndLinksWithoutFollowingThem) {
    fs::create_symlink("a.txt", folder_ / "tree/Assets/link");
    const FolderTree tree(folder_ / "tree");
    EXPECT_TRUE(tree.find("Assets/a.txt")->is_file());
    EXPECT_EQ(tree.find("Assets/a.txt")->stamp.size, 1u);
    EXPECT_TRUE(tree.find("Assets")->is_folder());
    EXPECT_TRUE(tree.find("")->is_folder());
    EXPECT_EQ(tree.find("Assets/link")->kind, FolderEntry::Kind::Link);
    EXPECT_TRUE(tree.find_target("Assets/link")->is_file());
    EXPECT_FALSE(tree.find("Assets/none"));
    EXPECT_FALSE(tree.find("None/none"));
    EXPECT_FALSE(tree.find("Assets/a.txt/none"));
}

TEST_F(FolderTreeTest, FindsNothingBehindALinkThatLeadsNowhereAndRefusesACircle) {
    fs::create_symlink("none", folder_ / "tree/dangling");
    fs::create_symlink("circle", folder_ / "tree/circle");
    const FolderTree tree(folder_ / "tree");
    EXPECT_FALSE(tree.find_target("dangling"));
    EXPECT_THROW(tree.find_target("circle"), FileError);
    EXPECT_TRUE(tree.find("circle"));
}

TEST_F(FolderTreeTest, RefusesEveryUseOfAPathThroughALink) {
    fs::create_directory_symlink(folder_ / "outside", folder_ / "tree/out");
    const FolderTree tree(folder_ / "tree");
    write_file(folder_ / "tree/new", "new");
    using Call = std::function<void()>;
    const std::vector<Call> calls{
        [&] { tree.find("out/secret.txt"); },
        [&] { tree.find_target("out/secret.txt"); },
        [&] { tree.open_file("out/secret.txt"); },
        [&] { tree.open_target("out/secret.txt"); },
        [&] { tree.open_folder("out"); },
        [&] { tree.make_folder("out/made"); },
        [&] { tree.create_file("out/made"); },
        [&] { tree.rename("new", "out/new"); },
        [&] { tree.rename("out/secret.txt", "stolen"); },
        [&] { tree.install(folder_ / "tree/new", "out/new"); },
        [&] { tree.link("out/secret.txt", "stolen"); },
        [&] { tree.remove_file("out/secret.txt"); },
        [&] { tree.remove_all("out/secret.txt"); },
        [&] { tree.remove_empty_folder("out/secret.txt"); },
        [&] { tree.sync_folder("out"); },
        [&] { tree.walk("out", {}, [](const std::string&, const FolderEntry&) {}); },
        [&] { tree.names_in("out"); },
    };
    for (std::size_t i = 0; i < calls.size(); ++i) {
        EXPECT_EQ(kind_of_failure(calls[i]), FileError::Kind::Link) << "call " << i;
    }
    EXPECT_EQ(read_file(folder_ / "outside/secret.txt"), "secret");
    EXPECT_EQ(std::distance(fs::directory_iterator(folder_ / "outside"), {}), 1);
}

TEST_F(FolderTreeTest, RefusesPathsThatLeadUpwards) {
    const FolderTree tree(folder_ / "tree");
    for (const std::string path : {"..", "../outside/secret.txt", "Assets/..", "Assets/../..", "."}) {
        EXPECT_THROW(tree.remove_all(path), FileError) << path;
        EXPECT_THROW(tree.open_file(path), FileError) << path;
    }
    EXPECT_TRUE(fs::exists(folder_ / "outside/secret.txt"));
    EXPECT_TRUE(fs::exists(folder_ / "tree/Assets/a.txt"));
}

TEST_F(FolderTreeTest, RemovesLinksNotWhatTheyLeadTo) {
    fs::create_directory_symlink(folder_ / "outside", folder_ / "tree/Assets/out");
    fs::create_directory_symlink(folder_ / "outside", folder_ / "tree/link");
    const FolderTree tree(folder_ / "tree");
    tree.remove_all("Assets");
    tree.remove_all("link");
    tree.remove_all("none");
    EXPECT_TRUE(fs::is_empty(folder_ / "tree"));
    EXPECT_EQ(read_file(folder_ / "outside/secret.txt"), "secret");
}

TEST_F(FolderTreeTest, RemovesFoldersOfFoldersAlone) {
    fs::create_directories(folder_ / "tree/empty/deeper/still");
    const FolderTree tree(folder_ / "tree");
    tree.remove_empty_folder("empty");
    EXPECT_FALSE(fs::exists(folder_ / "tree/empty"));
    tree.remove_empty_folder("empty");
    EXPECT_THROW(tree.remove_empty_folder("Assets"), FileError);
    EXPECT_TRUE(fs::exists(folder_ / "tree/Assets/a.txt"));
}

TEST_F(FolderTreeTest, OpensOnlyFilesAndThoseBehindALinkWhenAsked) {
    fs::create_symlink("a.txt", folder_ / "tree/Assets/link");
    ASSERT_EQ(mkfifo((folder_ / "tree/pipe").c_str(), 0666), 0);
    const FolderTree tree(folder_ / "tree");
    EXPECT_TRUE(tree.open_target("Assets/link").is_open());
    for (const std::string path : {"Assets/link", "pipe", "Assets"}) {
        EXPECT_EQ(kind_of_failure([&] { tree.open_file(path); }), FileError::Kind::NotAFile) << path;
    }
    EXPECT_EQ(kind_of_failure([&] { tree.open_target("pipe"); }), FileError::Kind::NotAFile);
    EXPECT_EQ(kind_of_failure([&] { tree.open_file("Assets/none"); }), FileError::Kind::Missing);
    EXPECT_EQ(kind_of_failure([&] { tree.open_file("None/none"); }), FileError::Kind::Missing);
}

TEST_F(FolderTreeTest, WalksTheFilesOfAFolderBeforeItsFolders) {
    write_file(folder_ / "tree/b.txt", "b");
    write_file(folder_ / "tree/A.txt", "A");
    write_file(folder_ / "tree/Assets/deep/c.txt", "c");
    fs::create_directory_symlink(folder_ / "outside", folder_ / "tree/out");
    EXPECT_EQ(walked(), (std::vector<std::string>{"A.txt", "b.txt", "out", "Assets/a.txt", "Assets/deep/c.txt"}));
    EXPECT_EQ(walked({}, "Assets/deep"), std::vector<std::string>{"Assets/deep/c.txt"});
    EXPECT_TRUE(walked({}, "None").empty());
}

TEST_F(FolderTreeTest, LeavesOutWhatTheRulesSay) {
    write_file(folder_ / "tree/Nested/.mark", "");
    write_file(folder_ / "tree/Nested/inner.txt", "");
    write_file(folder_ / "tree/Skipped/inner.txt", "");
    FolderTree::WalkRules rules;
    rules.border = ".mark";
    rules.leaves_out = [](const std::string& path) { return path == "Skipped"; };
    EXPECT_EQ(walked(rules), std::vector<std::string>{"Assets/a.txt"});
    EXPECT_EQ(walked(rules, "Nested"), (std::vector<std::string>{"Nested/.mark", "Nested/inner.txt"}));
}

TEST_F(FolderTreeTest, GivesStampsAndModesInAWalkWhenAsked) {
    fs::permissions(folder_ / "tree/Assets/a.txt", fs::perms(0750));
    FolderTree::WalkRules rules;
    rules.stamps = true;
    int files = 0;
    FolderTree(folder_ / "tree").walk("", rules, [&](const std::string& path, const FolderEntry& entry) {
        ++files;
        EXPECT_EQ(path, "Assets/a.txt");
        EXPECT_TRUE(entry.is_file());
        EXPECT_EQ(entry.stamp.size, 1U);
        EXPECT_TRUE(entry.stamp.executable);
        EXPECT_EQ(entry.mode, 0750U);
    });
    EXPECT_EQ(files, 1);
}

TEST_F(FolderTreeTest, ReportsAFolderThatCannotBeOpenedInAWalk) {
    rlimit limit{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
    const rlimit saved = limit;
    const int free = dup(0);  // The lowest descriptor that is free.
    close(free);
    for (int more = 1; more <= 4; ++more) {
        limit.rlim_cur = static_cast<rlim_t>(free + more);
        ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
        std::optional<std::vector<std::string>> paths;
        try {
            paths = walked();
        } catch (const FileError&) {
        }
        ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &saved), 0);
        EXPECT_TRUE(!paths || paths->size() == 1) << "an incomplete walk with " << more << " descriptors";
        EXPECT_TRUE(paths || more < 4);
    }
}

TEST_F(FolderTreeTest, NeverLeavesTheFolderWhileALinkIsSwappedIn) {
    fs::create_directory_symlink(folder_ / "outside", folder_ / "tree/swap");
    std::atomic<bool> done{false};
    std::thread racer([&] {
        while (!done) {
            std::error_code ignored;
            fs::rename(folder_ / "tree/Assets", folder_ / "tree/held", ignored);
            fs::rename(folder_ / "tree/swap", folder_ / "tree/Assets", ignored);
            fs::rename(folder_ / "tree/Assets", folder_ / "tree/swap", ignored);
            fs::rename(folder_ / "tree/held", folder_ / "tree/Assets", ignored);
        }
    });
    const FolderTree tree(folder_ / "tree");
    for (int i = 0; i < 300; ++i) {
        try {
            write_file(folder_ / "new", "new");
            const FolderTree fresh(folder_ / "tree");
            fresh.install(folder_ / "new", "Assets/made.txt");
            fresh.remove_all("Assets/secret.txt");
            fresh.open_file("Assets/secret.txt");
            ADD_FAILURE() << "the file outside was opened";
        } catch (const FileError&) {
        }
    }
    done = true;
    racer.join();
    EXPECT_EQ(read_file(folder_ / "outside/secret.txt"), "secret");
    EXPECT_FALSE(fs::exists(folder_ / "outside/made.txt"));
}

TEST_F(FolderTreeTest, GivesAFileASecondNameAndAnother) {
    const FolderTree tree(folder_ / "tree");
    tree.make_folder("kept/deep");
    EXPECT_TRUE(tree.link("Assets/a.txt", "kept/deep/a.txt"));
    tree.rename("Assets/a.txt", "kept/b.txt");
    EXPECT_EQ(read_file(folder_ / "tree/kept/deep/a.txt"), "a");
    EXPECT_EQ(read_file(folder_ / "tree/kept/b.txt"), "a");
    EXPECT_FALSE(tree.find("Assets/a.txt"));
    tree.remove_empty_parents("Assets/a.txt");
    EXPECT_FALSE(tree.find("Assets"));
}

TEST_F(FolderTreeTest, HasNoSecondSpellingOfANameWhereNamesAreExact) {
    const FolderTree tree(folder_ / "tree");
    EXPECT_FALSE(tree.find("assets/a.txt"));
    EXPECT_FALSE(tree.find("Assets/A.txt"));
}

TEST_F(FolderTreeTest, TakesNamesForExactThatTwoFilesHave) {
    if (fs::exists(folder_ / "tree/assets")) {
        GTEST_SKIP() << "names that differ by case are one here";
    }
    write_file(folder_ / "two/Name", "1");
    write_file(folder_ / "two/nAME", "2");
    EXPECT_FALSE(FolderTree(folder_ / "two").folds_names());
}

TEST_F(FolderTreeTest, TakesNamesForExactThatOneFileHas) {
    if (fs::exists(folder_ / "tree/assets")) {
        GTEST_SKIP() << "names that differ by case are one here";
    }
    write_file(folder_ / "linked/Name", "1");
    fs::create_hard_link(folder_ / "linked/Name", folder_ / "linked/nAME");
    EXPECT_FALSE(FolderTree(folder_ / "linked").folds_names());
}

TEST_F(FolderTreeTest, TakesNamesForExactThatHaveNoLetter) {
    write_file(folder_ / "digits/1", "1");
    EXPECT_FALSE(FolderTree(folder_ / "digits").folds_names());
}

}  // namespace
