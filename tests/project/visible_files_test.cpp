#include "project/visible_files.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/file_test_support.h"
#include "tests/support/temporary_folder.h"

namespace {

namespace fs = std::filesystem;
using quill::project_relative_path_is_hidden;
using quill::visible_project_files;
using quill_test::odd_name;
using quill_test::TemporaryFolder;
using quill_test::write_file;
using Texts = std::vector<std::string>;

void write_files(const TemporaryFolder& folder, const Texts& files) {
    for (const std::string& file : files) {
        write_file(folder / file, file);
    }
}

// ---- The rule

TEST(HiddenPath, TemporaryAndBackupManifestsAreHidden) {
    for (const char* hidden : {"project.json.tmp", "project.json.before-2024", "project.json.before-",
                               "a/project.json.before-x", "a/b/project.json.before-x"}) {
        EXPECT_TRUE(project_relative_path_is_hidden(hidden)) << hidden;
    }
}

TEST(HiddenPath, OtherFilesNamedLikeManifestsAreVisible) {
    for (const char* visible :
         {"project.json", "sub/project.json.tmp", "project.json.tmp2", "project.json.tm", "project.json.tmp/x",
          "Project.json.tmp", "project.json.before", "a/project.json.befor", "Project.json.before-x",
          "my-project.json.before-x", "project.json.after-x", "sub/project.json"}) {
        EXPECT_FALSE(project_relative_path_is_hidden(visible)) << visible;
    }
}

TEST(HiddenPath, EverythingBelowTheBuildAndBookkeepingFoldersIsHidden) {
    for (const char* folder : {"Build", "Cooked", "Content", "Contents", "Workspaces", ".derived", ".tome"}) {
        EXPECT_TRUE(project_relative_path_is_hidden(fs::path(folder) / "a.txt")) << folder;
        EXPECT_TRUE(project_relative_path_is_hidden(fs::path(folder) / "a/b/c.txt")) << folder;
    }
    EXPECT_TRUE(project_relative_path_is_hidden("Contents/Info.plist"));
}

TEST(HiddenPath, BuildFoldersAreVisibleThemselves) {
    for (const char* visible : {"Build", "Cooked", "Content", "Contents", "Workspaces"}) {
        EXPECT_FALSE(project_relative_path_is_hidden(visible)) << visible;
    }
}

TEST(HiddenPath, BuildFoldersAreKnownByTheirExactNameAtTheTopOnly) {
    for (const char* visible : {"build/a.txt", "BUILD/a.txt", "Builds/a.txt", "Buil/a.txt", "Build.txt", "Build a/b",
                                "cooked/a", "content/a", "Contents2/a", "workspaces/a", "sub/Build/a.txt",
                                "sub/Content/a", "sub/Workspaces/a", "derived/a", "tome/a", "Scenes/Main.usda"}) {
        EXPECT_FALSE(project_relative_path_is_hidden(visible)) << visible;
    }
}

TEST(HiddenPath, AComponentThatBeginsWithADotHidesThePath) {
    for (const char* hidden :
         {".tome/x", ".tome", ".derived", ".git", ".git/config", ".DS_Store", "Scenes/.cache/x", "Scenes/.cache",
          "Scenes/a/.b", "a/b/c/.d/e/f", "..", "../x", "...", "a/...", ".", "..a", "new\nline/.x", "\xC3\xA9/.x"}) {
        EXPECT_TRUE(project_relative_path_is_hidden(hidden)) << hidden;
    }
}

TEST(HiddenPath, DotsElsewhereInANameHideNothing) {
    for (const char* visible : {"Scenes/a..b", "a.", "a..", "a.b/c.d", "a./b", "a b. c", "a-.b"}) {
        EXPECT_FALSE(project_relative_path_is_hidden(visible)) << visible;
    }
}

TEST(HiddenPath, EmptyPathIsHidden) {
    EXPECT_TRUE(project_relative_path_is_hidden(""));
}

TEST(HiddenPath, UnusualNamesAreVisible) {
    for (const std::string& visible : {odd_name, "sub/" + odd_name, std::string(" "), std::string("-"),
                                       std::string("\\.a"), std::string("\xFF\xFE"), std::string(255, 'n')}) {
        EXPECT_FALSE(project_relative_path_is_hidden(visible)) << visible;
    }
}

// ---- The listing

TEST(VisibleProjectFiles, ListsFilesAtEveryDepth) {
    const TemporaryFolder root;
    const Texts files{"Scenes/Main.usda", "a/b/c/d/e.txt", "a/b/f.txt", "project.json"};
    write_files(root, files);
    EXPECT_EQ(visible_project_files(root.path()), files);
}

TEST(VisibleProjectFiles, ListsInByteOrder) {
    const TemporaryFolder root;
    const Texts files{"B.txt", "a",  "a b", "a-b", "a.txt", "a0",       "aa/b",
                      "aa/c",  "ab", "b/a", "b0",  "z",     "\xC3\xA9", "\xE2\x82\xAC/x"};
    write_files(root, Texts(files.rbegin(), files.rend()));
    EXPECT_EQ(visible_project_files(root.path()), files);
}

TEST(VisibleProjectFiles, OrdersAFolderByItsWholePathsBesideLongerNames) {
    const TemporaryFolder root;
    const Texts files{"a-b", "a.txt", "a/b", "a0"};  // the slash is between the dot and the nought
    write_files(root, files);
    EXPECT_EQ(visible_project_files(root.path()), files);
}

TEST(VisibleProjectFiles, LeavesOutWhatIsHidden) {
    const TemporaryFolder root;
    write_files(root, {"project.json", "project.json.tmp", "project.json.before-1", "sub/project.json.before-1",
                       "sub/project.json.tmp", ".DS_Store", ".git/config", ".tome/config.toml", ".derived/x",
                       "Scenes/.cache/x", "Scenes/.x", "Scenes/Main.usda", "Build/a", "Build/sub/a", "Cooked/a",
                       "Content/sha256/a", "Contents/Info.plist", "Workspaces/workspaces.json", "build/a"});
    EXPECT_EQ(visible_project_files(root.path()),
              (Texts{"Scenes/Main.usda", "build/a", "project.json", "sub/project.json.tmp"}));
}

TEST(VisibleProjectFiles, ListsAFileNamedLikeABuildFolder) {
    const TemporaryFolder root;
    const Texts files{"Build", "Content", "Contents", "Cooked", "Workspaces"};
    write_files(root, files);
    EXPECT_EQ(visible_project_files(root.path()), files);
}

TEST(VisibleProjectFiles, DoesNotEnterAFolderNamedLikeATemporaryOrBackupManifest) {
    const TemporaryFolder root;
    write_files(root, {"project.json.tmp/a", "project.json.before-1/a", "sub/project.json.before-1/a", "sub/a"});
    EXPECT_EQ(visible_project_files(root.path()), Texts{"sub/a"});
}

TEST(VisibleProjectFiles, ListsNoFolders) {
    const TemporaryFolder root;
    fs::create_directories(root / "empty/still empty");
    fs::create_directories(root / "Build");
    EXPECT_EQ(visible_project_files(root.path()), Texts{});
}

TEST(VisibleProjectFiles, ListsUnusualNamesByteForByte) {
    const TemporaryFolder root;
    Texts files{odd_name + "/" + odd_name, " ", "-rf", "a\\b", "*", std::string(255, 'n')};
    write_files(root, files);
    std::sort(files.begin(), files.end());
    EXPECT_EQ(visible_project_files(root.path()), files);
}

TEST(VisibleProjectFiles, ListsEmptyAndUnreadableFiles) {
    const TemporaryFolder root;
    write_file(root / "empty", "");
    write_file(root / "locked", "x");
    fs::permissions(root / "locked", fs::perms::none);
    EXPECT_EQ(visible_project_files(root.path()), (Texts{"empty", "locked"}));
}

TEST(VisibleProjectFiles, ListsLinksToFiles) {
    const TemporaryFolder root;
    const TemporaryFolder outside;
    write_file(outside / "target", "x");
    write_file(root / ".hidden/target", "x");
    fs::create_directory(root / "sub");
    fs::create_symlink(outside / "target", root / "sub/outside");
    fs::create_symlink(".hidden/target", root / "inside");
    fs::create_symlink("inside", root / "chain");
    EXPECT_EQ(visible_project_files(root.path()), (Texts{"chain", "inside", "sub/outside"}));
}

TEST(VisibleProjectFiles, LeavesOutHiddenLinksToFiles) {
    const TemporaryFolder root;
    write_file(root / "a", "x");
    fs::create_symlink("a", root / ".link");
    fs::create_symlink("a", root / "project.json.tmp");
    EXPECT_EQ(visible_project_files(root.path()), Texts{"a"});
}

TEST(VisibleProjectFiles, NeitherListsNorFollowsLinksToFolders) {
    const TemporaryFolder root;
    const TemporaryFolder outside;
    write_file(outside / "a", "x");
    write_file(root / "real/b", "x");
    fs::create_directory_symlink(outside.path(), root / "outside");
    fs::create_directory_symlink("real", root / "inside");
    fs::create_directory_symlink(outside.path(), root / ".hidden");
    EXPECT_EQ(visible_project_files(root.path()), Texts{"real/b"});
}

TEST(VisibleProjectFiles, LeavesOutLinksThatLeadNowhereAndGoesOn) {
    const TemporaryFolder root;
    write_files(root, {"a", "z"});
    fs::create_symlink("missing", root / "dangling");
    fs::create_symlink("loop", root / "loop");
    fs::create_symlink("pong", root / "ping");
    fs::create_symlink("ping", root / "pong");
    fs::create_symlink("a/below a file", root / "impossible");
    EXPECT_EQ(visible_project_files(root.path()), (Texts{"a", "z"}));
}

TEST(VisibleProjectFiles, LeavesOutWhatIsNeitherFileNorFolder) {
    const TemporaryFolder root;
    write_file(root / "a", "x");
    ASSERT_EQ(mkfifo((root / "pipe").c_str(), 0600), 0);
    fs::create_symlink("pipe", root / "link to a pipe");
    fs::create_symlink("/dev/null", root / "link to a device");
    EXPECT_EQ(visible_project_files(root.path()), Texts{"a"});
}

TEST(VisibleProjectFiles, GoesByPathsBelowTheRootOnly) {
    const TemporaryFolder folder;
    for (const char* root : {".derived/tome-workspaces/feature", "Build", "a/.git"}) {
        write_file(folder / root / "Scenes/a", "x");
        EXPECT_EQ(visible_project_files(folder / root), Texts{"Scenes/a"}) << root;
    }
}

TEST(VisibleProjectFiles, TakesTheRootInEveryForm) {
    const TemporaryFolder folder;
    write_file(folder / "root/sub/a", "x");
    fs::create_directory_symlink("root", folder / "link");
    for (const fs::path& root :
         {folder / "root", folder / "root/", folder / "root//", folder / "./root/.", folder / "other/../root",
          folder / "root/sub/..", fs::relative(folder / "root"), folder / "link", folder / "link/"}) {
        EXPECT_EQ(visible_project_files(root), Texts{"sub/a"}) << root;
    }
}

TEST(VisibleProjectFiles, GivesNoneForARootThatIsNoFolder) {
    const TemporaryFolder folder;
    write_file(folder / "file", "x");
    fs::create_symlink("missing", folder / "dangling");
    for (const fs::path& root : {folder / "missing", folder / "file", folder / "dangling", fs::path()}) {
        EXPECT_EQ(visible_project_files(root), Texts{}) << root;
    }
}

// ---- What the walk cannot enter, and what it must not

TEST(VisibleProjectFiles, PassesOverAFolderThatMayNotBeRead) {
    const TemporaryFolder root;
    fs::permissions(root.path(), fs::perms(0755));
    write_files(root, {"a", "locked/b", "z"});
    fs::permissions(root / "locked", fs::perms::none);
    const auto listed = quill_test::without_privileges([&] {
        std::string text;
        for (const std::string& file : visible_project_files(root.path())) {
            text += file + ";";
        }
        return text;
    });
    fs::permissions(root / "locked", fs::perms::owner_all);
    if (!listed) {
        GTEST_SKIP() << "root cannot give up its rights here";
    }
    EXPECT_EQ(*listed, "a;z;");
}

TEST(VisibleProjectFiles, GivesNoneForARootThatMayNotBeRead) {
    const TemporaryFolder root;
    write_file(root / "a", "x");
    fs::permissions(root.path(), fs::perms::none);
    const auto listed =
        quill_test::without_privileges([&] { return std::to_string(visible_project_files(root.path()).size()); });
    fs::permissions(root.path(), fs::perms::owner_all);
    if (!listed) {
        GTEST_SKIP() << "root cannot give up its rights here";
    }
    EXPECT_EQ(*listed, "0");
}

// A chain of folders, each inside the one before and open as long as the walk is below it.
fs::path deep_folder(const fs::path& top) {
    fs::path folder = top;
    for (int depth = 0; depth < 64; ++depth) {
        folder /= "d";
    }
    return folder;
}

// So few more open files than now that a walk fails in a deep folder.
rlim_t few_open_files() {
    const int next = open("/dev/null", O_RDONLY | O_CLOEXEC);
    close(next);
    return static_cast<rlim_t>(next) + 24;
}

TEST(VisibleProjectFiles, DoesNotEnterHiddenFolders) {
    const TemporaryFolder root;
    for (const char* hidden : {".derived", ".tome", ".git", "Build/sub", "Cooked/sub", "Content/sub", "Contents/sub",
                               "Workspaces/sub", "Scenes/.cache", "project.json.before-1"}) {
        fs::create_directories(deep_folder(root / hidden));
    }
    Texts files;
    for (char letter = 'a'; letter <= 'z'; ++letter) {
        files.push_back(std::string("Scenes/") + letter);
        files.push_back(std::string("top-") + letter);
    }
    write_files(root, files);
    std::sort(files.begin(), files.end());
    const quill_test::ResourceLimit limit(RLIMIT_NOFILE, few_open_files());
    EXPECT_EQ(visible_project_files(root.path()), files);
}

TEST(VisibleProjectFiles, GivesInOrderWhatItFoundBeforeAnError) {
    const TemporaryFolder root;
    const fs::path deepest = deep_folder(root.path());
    for (fs::path folder = deepest; folder != root.path(); folder = folder.parent_path()) {
        for (char letter = 'f'; letter <= 'm'; ++letter) {
            write_file(folder / std::string(1, letter), "x");
        }
    }
    const Texts all = visible_project_files(root.path());
    ASSERT_EQ(all.size(), 64U * 8U);
    const quill_test::ResourceLimit limit(RLIMIT_NOFILE, few_open_files());
    const Texts found = visible_project_files(root.path());
    EXPECT_FALSE(found.empty());
    EXPECT_LT(found.size(), all.size());
    EXPECT_TRUE(std::is_sorted(found.begin(), found.end()));
    EXPECT_TRUE(std::includes(all.begin(), all.end(), found.begin(), found.end()));
}

}  // namespace
