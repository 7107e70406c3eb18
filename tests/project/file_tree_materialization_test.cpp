#include "project/file_tree_materialization.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "project/file_tree_comparison.h"
#include "tests/support/file_test_support.h"
#include "tests/support/temporary_folder.h"

namespace {

namespace fs = std::filesystem;
using quill_test::bytes_of_size;
using quill_test::failure_of;
using quill_test::odd_name;
using quill_test::read_file;
using quill_test::system_message;
using quill_test::write_file;
using Paths = std::vector<fs::path>;

class MaterializedFiles : public testing::Test {
  protected:
    MaterializedFiles() {
        fs::create_directory(folder_ / "source");
        fs::create_directory(folder_ / "target");
    }

    fs::path source(const fs::path& relative) const { return folder_ / "source" / relative; }
    fs::path target(const fs::path& relative) const { return folder_ / "target" / relative; }

    std::int64_t materialize(const Paths& paths) const {
        return quill::materialize_project_workspace_files_checked(folder_ / "source", folder_ / "target", paths);
    }

    std::string failure(const Paths& paths) const {
        return failure_of([&] { materialize(paths); });
    }

    // Everything below the target: a folder with a slash, a link with an arrow, a file with its bytes.
    std::string target_tree() const {
        std::vector<std::string> entries;
        for (const auto& entry : fs::recursive_directory_iterator(folder_ / "target")) {
            const std::string name = entry.path().lexically_relative(folder_ / "target").string();
            const bool link = entry.is_symlink();
            entries.push_back(name + (link                   ? " -> " + fs::read_symlink(entry.path()).string()
                                      : entry.is_directory() ? "/"
                                                             : "=" + read_file(entry.path())));
        }
        std::sort(entries.begin(), entries.end());
        std::string tree;
        for (const std::string& entry : entries) {
            tree += entry + ";";
        }
        return tree;
    }

    quill_test::TemporaryFolder folder_;
};

TEST_F(MaterializedFiles, OfNoPathsAreNone) {
    EXPECT_EQ(materialize({}), 0);
    EXPECT_EQ(target_tree(), "");
}

TEST_F(MaterializedFiles, RefuseWhatIsNoVisiblePathOfTheProject) {
    const std::vector<std::pair<fs::path, std::string>> cases{
        {"", ""},
        {".", "."},
        {"a/..", "."},
        {"..", ".."},
        {"../x", "../x"},
        {"a/../../x", "../x"},
        {"..x", "..x"},
        {"/etc/x", "/etc/x"},
        {"/etc/../etc/./x", "/etc/x"},
        {"/", "/"},
        {".tome/config.toml", ".tome/config.toml"},
        {"a/../.git", ".git"},
        {"a/./.b", "a/.b"},
        {"Build/out.bin", "Build/out.bin"},
        {"a/../Content/./x", "Content/x"},
        {"project.json.tmp", "project.json.tmp"},
        {"a/project.json.before-1", "a/project.json.before-1"},
    };
    write_file(source("good"), "new");
    write_file(target("gone"), "old");
    for (const auto& [path, normal] : cases) {
        EXPECT_EQ(failure({path}), "invalid restored project path: " + normal);
        EXPECT_EQ(failure({"good", "gone", path}), "invalid restored project path: " + normal);
        EXPECT_EQ(target_tree(), "gone=old;") << path;
    }
}

TEST_F(MaterializedFiles, AreCountedOnceForEachPath) {
    write_file(source("a/b.txt"), "x");
    write_file(source("c"), "x");
    EXPECT_EQ(materialize({"c", "a/b.txt", "a/./b.txt", "absent", "d/../a/b.txt", "c"}), 3);
    EXPECT_EQ(target_tree(), "a/;a/b.txt=x;c=x;");
}

TEST_F(MaterializedFiles, LeaveOtherFilesAlone) {
    write_file(source("a"), "new");
    write_file(source("b"), "new");
    write_file(target("b"), "old");
    write_file(target("c"), "old");
    EXPECT_EQ(materialize({"a"}), 1);
    EXPECT_EQ(target_tree(), "a=new;b=old;c=old;");
}

TEST_F(MaterializedFiles, MayHaveAMissingTargetRoot) {
    fs::remove(folder_ / "target");
    write_file(source("sub/a"), "x");
    EXPECT_EQ(materialize({"absent", "sub/a"}), 2);
    EXPECT_EQ(target_tree(), "sub/;sub/a=x;");
}

TEST_F(MaterializedFiles, MakeTheDifferingFilesEqual) {
    write_file(source("changed"), "new");
    write_file(target("changed"), "old");
    write_file(source("made/in/a/folder"), bytes_of_size(100'000));
    write_file(target("removed"), "old");
    write_file(source("project.json"), "{}");
    write_file(target("project.json"), "{}");
    const Paths paths = quill::differing_project_workspace_files(folder_ / "target", folder_ / "source");
    EXPECT_EQ(materialize(paths), 3);
    EXPECT_EQ(quill::differing_project_workspace_files(folder_ / "target", folder_ / "source"), Paths{});
}

// ---- Files

TEST_F(MaterializedFiles, HoldTheBytesOfTheSource) {
    Paths paths;
    for (const std::size_t size : {0U, 1U, 65'535U, 65'536U, 65'537U, 1'048'575U, 1'048'576U, 1'048'577U, 3'000'001U}) {
        paths.push_back(std::to_string(size));
        write_file(source(paths.back()), bytes_of_size(size));
        write_file(target(paths.back()), bytes_of_size(70'000));
    }
    EXPECT_EQ(materialize(paths), static_cast<std::int64_t>(paths.size()));
    for (const fs::path& path : paths) {
        EXPECT_TRUE(read_file(target(path)) == read_file(source(path))) << path;
    }
}

TEST_F(MaterializedFiles, MayHaveUnusualNames) {
    const std::string path = odd_name + "/" + odd_name;
    write_file(source(path), "x");
    materialize({path});
    EXPECT_EQ(target_tree(), odd_name + "/;" + path + "=x;");
}

TEST_F(MaterializedFiles, AreReplacedByARenameNotRewritten) {
    write_file(source("a"), "new");
    write_file(target("a"), "old");
    fs::create_hard_link(target("a"), folder_ / "other name");
    std::ifstream reader(target("a"), std::ios::binary);
    materialize({"a"});
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(reader), {}), "old");
    EXPECT_EQ(read_file(folder_ / "other name"), "old");
    EXPECT_EQ(target_tree(), "a=new;");
}

TEST_F(MaterializedFiles, ReplaceFilesThatMayNotBeWritten) {
    write_file(source("a"), "new");
    write_file(target("a"), "old");
    fs::permissions(source("a"), fs::perms(0444));
    fs::permissions(target("a"), fs::perms(0444));
    materialize({"a"});
    EXPECT_EQ(target_tree(), "a=new;");
}

TEST_F(MaterializedFiles, AreExecutableWhereTheSourceIs) {
    for (const auto& [path, mode] : {std::pair{"program", 0755}, std::pair{"text", 0644}}) {
        write_file(source(path), "x");
        fs::permissions(source(path), fs::perms(mode));
        write_file(target(path), "old");
        fs::permissions(target(path), fs::perms(mode ^ 0111));
    }
    materialize({"program", "text"});
    EXPECT_NE(fs::status(target("program")).permissions() & fs::perms::owner_exec, fs::perms::none);
    EXPECT_EQ(fs::status(target("text")).permissions() & fs::perms::owner_exec, fs::perms::none);
}

TEST_F(MaterializedFiles, AreFilesWhereTheSourceIsALinkToOne) {
    write_file(folder_ / "elsewhere", "x");
    fs::create_symlink(folder_ / "elsewhere", source("a"));
    materialize({"a"});
    EXPECT_EQ(target_tree(), "a=x;");
}

TEST_F(MaterializedFiles, ReplaceALinkNotTheFileItPointsTo) {
    write_file(source("a"), "new");
    write_file(source("b"), "new");
    write_file(folder_ / "elsewhere", "old");
    fs::create_symlink(folder_ / "elsewhere", target("a"));
    fs::create_symlink(folder_ / "missing", target("b"));
    materialize({"a", "b"});
    EXPECT_EQ(target_tree(), "a=new;b=new;");
    EXPECT_EQ(read_file(folder_ / "elsewhere"), "old");
    EXPECT_FALSE(fs::exists(folder_ / "missing"));
}

TEST_F(MaterializedFiles, ReplaceAnEmptyFolder) {
    write_file(source("a"), "x");
    fs::create_directory(target("a"));
    materialize({"a"});
    EXPECT_EQ(target_tree(), "a=x;");
}

TEST_F(MaterializedFiles, ReplaceAPipe) {
    write_file(source("a"), "x");
    ASSERT_EQ(mkfifo(target("a").c_str(), 0600), 0);
    materialize({"a"});
    EXPECT_EQ(target_tree(), "a=x;");
}

TEST_F(MaterializedFiles, CannotBeInstalledOverAFolderWithFiles) {
    write_file(source("a"), "x");
    write_file(target("a/b"), "old");
    EXPECT_EQ(failure({"a"}), "could not install restored workspace file: " + system_message(EISDIR));
    EXPECT_EQ(target_tree(), "a/;a/b=old;");
}

TEST_F(MaterializedFiles, NeedAFolderWhereAFileStands) {
    write_file(source("a/b"), "x");
    write_file(target("a"), "old");
    EXPECT_EQ(failure({"a/b"}), "could not create restored workspace folder: " + system_message(ENOTDIR));
    EXPECT_EQ(target_tree(), "a=old;");
}

TEST_F(MaterializedFiles, AreStagedBesideTheirPlace) {
    write_file(source("sub/a"), "x");
    fs::create_directory(target("sub"));
    quill_test::FolderWatch watch(target("sub"));
    if (!watch.works()) {
        GTEST_SKIP() << "folders cannot be watched here";
    }
    const auto now = [] {
        return std::chrono::duration_cast<std::chrono::milliseconds>(
                   std::chrono::system_clock::now().time_since_epoch())
            .count();
    };
    const auto before = now();
    materialize({"sub/a"});
    const auto after = now();
    const std::vector<std::string> changes = watch.changes();
    ASSERT_EQ(changes.size(), 3U);
    const std::string staged = changes[0].substr(std::string("made ").size());
    EXPECT_EQ(changes, (std::vector<std::string>{"made " + staged, "moved from " + staged, "moved to a"}));

    const std::string prefix = "a.keel-restore-";
    const std::string suffix = "-" + std::to_string(std::hash<std::thread::id>{}(std::this_thread::get_id())) + ".tmp";
    ASSERT_TRUE(staged.starts_with(prefix) && staged.ends_with(suffix)) << staged;
    const std::string time = staged.substr(prefix.size(), staged.size() - prefix.size() - suffix.size());
    EXPECT_GE(std::stoll(time), before);
    EXPECT_LE(std::stoll(time), after);
    EXPECT_EQ(time, std::to_string(std::stoll(time)));
}

TEST_F(MaterializedFiles, StandAsTheyWereWhenTheDiskFills) {
    write_file(source("a"), bytes_of_size(200'000));
    write_file(target("a"), "old");
    const std::string message = [&] {
        const quill_test::ResourceLimit limit(RLIMIT_FSIZE, 70'000);
        return failure({"a"});
    }();
    EXPECT_EQ(message, "could not stage restored workspace file: " + system_message(EFBIG));
    EXPECT_EQ(target_tree(), "a=old;");
}

TEST_F(MaterializedFiles, StandAsTheyWereWhenTheSourceMayNotBeRead) {
    write_file(source("a"), "new");
    write_file(target("a"), "old");
    fs::permissions(folder_.path(), fs::perms(0755));
    fs::permissions(source("a"), fs::perms::none);
    fs::permissions(folder_ / "target", fs::perms(0777));
    const auto message = quill_test::without_privileges([&] { return failure({"a"}); });
    if (!message) {
        GTEST_SKIP() << "root cannot give up its rights here";
    }
    EXPECT_EQ(*message, "could not stage restored workspace file: " + system_message(EACCES));
    EXPECT_EQ(target_tree(), "a=old;");
}

TEST_F(MaterializedFiles, StandAsTheyWereWhenTheBytesDoNotReachTheDisk) {
    write_file(source("a"), "new");
    write_file(target("a"), "old");
    const auto message = quill_test::with_idle_calls(quill_test::syncing_calls(), EIO, [&] { return failure({"a"}); });
    if (!message) {
        GTEST_SKIP() << "system calls cannot be refused here";
    }
    EXPECT_EQ(*message, "could not stage restored workspace file: " + system_message(EIO));
    EXPECT_EQ(target_tree(), "a=old;");
}

TEST_F(MaterializedFiles, LeaveNothingStagedWhenTheyCannotBeRenamed) {
    write_file(source("a"), "new");
    const auto message = quill_test::with_idle_calls(quill_test::renaming_calls(), EIO, [&] { return failure({"a"}); });
    if (!message) {
        GTEST_SKIP() << "system calls cannot be refused here";
    }
    EXPECT_EQ(*message, "could not install restored workspace file: " + system_message(EIO));
    EXPECT_EQ(target_tree(), "");
}

TEST_F(MaterializedFiles, AreVerifiedByTheirBytes) {
    const fs::path random = "/proc/sys/kernel/random";  // its file "uuid" reads differently each time
    if (!fs::is_regular_file(random / "uuid")) {
        GTEST_SKIP() << "no such file here";
    }
    EXPECT_EQ(
        failure_of([&] { quill::materialize_project_workspace_files_checked(random, folder_ / "target", {"uuid"}); }),
        "restore verification failed for live file: uuid");
}

TEST_F(MaterializedFiles, AreVerifiedToBeThere) {
    write_file(source("sub/a"), "new");
    write_file(target("sub/a"), "old");
    const auto message =
        quill_test::with_idle_calls(quill_test::renaming_calls(), 0, [&] { return failure({"sub/a"}); });
    if (!message) {
        GTEST_SKIP() << "system calls cannot be made idle here";
    }
    EXPECT_EQ(*message, "restore verification failed for live file: sub/a");
}

TEST_F(MaterializedFiles, MayBeMadeByManyThreadsAtOnce) {
    Paths paths;
    for (int file = 0; file < 8; ++file) {
        paths.push_back("sub/" + std::to_string(file));
        write_file(source(paths.back()), bytes_of_size(10'000));
    }
    std::vector<std::string> messages(4);
    std::vector<std::thread> threads;
    for (std::string& message : messages) {
        threads.emplace_back([&] { message = failure(paths); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(messages, std::vector<std::string>(4, "no failure"));
    EXPECT_EQ(std::distance(fs::directory_iterator(target("sub")), {}), 8);
}

// ---- Paths that the source does not have

TEST_F(MaterializedFiles, RemoveWhatTheSourceDoesNotHave) {
    write_file(target("file"), "old");
    write_file(target("folder/a/b"), "old");
    write_file(target("folder/c"), "old");
    fs::create_directory(target("empty"));
    write_file(target("kept/a"), "old");
    EXPECT_EQ(materialize({"file", "folder", "empty", "kept/b", "missing", "missing/too"}), 6);
    EXPECT_EQ(target_tree(), "kept/;kept/a=old;");
}

TEST_F(MaterializedFiles, LeaveTheEmptiedFolderOfARemovedFile) {
    write_file(target("sub/a"), "old");
    materialize({"sub/a"});
    EXPECT_EQ(target_tree(), "sub/;");
}

TEST_F(MaterializedFiles, RemoveALinkNotWhatItPointsTo) {
    write_file(folder_ / "elsewhere/a", "old");
    fs::create_symlink(folder_ / "elsewhere/a", target("file"));
    fs::create_directory_symlink(folder_ / "elsewhere", target("folder"));
    fs::create_symlink("missing", target("dangling"));
    fs::create_symlink("loop", target("loop"));
    materialize({"dangling", "file", "folder", "loop"});
    EXPECT_EQ(target_tree(), "");
    EXPECT_EQ(read_file(folder_ / "elsewhere/a"), "old");
}

TEST_F(MaterializedFiles, CountALinkThatLeadsNowhereAsAbsent) {
    fs::create_symlink("missing", source("a"));
    write_file(target("a"), "old");
    EXPECT_EQ(materialize({"a"}), 1);
    EXPECT_EQ(target_tree(), "");
}

TEST_F(MaterializedFiles, SayWhyAPathCannotBeRemoved) {
    write_file(target("a"), "old");
    const auto message = quill_test::with_idle_calls(quill_test::removing_calls(), EIO, [&] { return failure({"a"}); });
    if (!message) {
        GTEST_SKIP() << "system calls cannot be refused here";
    }
    EXPECT_EQ(*message, "could not remove file absent from restored revision: " + system_message(EIO));
    EXPECT_EQ(target_tree(), "a=old;");
}

TEST_F(MaterializedFiles, AreVerifiedToBeGone) {
    write_file(target("sub/a"), "old");
    const auto message =
        quill_test::with_idle_calls(quill_test::removing_calls(), 0, [&] { return failure({"sub/a"}); });
    if (!message) {
        GTEST_SKIP() << "system calls cannot be made idle here";
    }
    EXPECT_EQ(*message, "restore verification failed for deleted path: sub/a");
}

// ---- Folders

TEST_F(MaterializedFiles, MakeFoldersWithoutTheirFiles) {
    write_file(source("a/b/c"), "x");
    EXPECT_EQ(materialize({"a/b"}), 1);
    EXPECT_EQ(target_tree(), "a/;a/b/;");
}

TEST_F(MaterializedFiles, KeepTheFilesOfAFolderThatIsThere) {
    fs::create_directory(source("a"));
    write_file(target("a/b"), "old");
    EXPECT_EQ(materialize({"a"}), 1);
    EXPECT_EQ(target_tree(), "a/;a/b=old;");
}

TEST_F(MaterializedFiles, MakeAFolderWhereTheSourceIsALinkToOne) {
    write_file(folder_ / "elsewhere/b", "x");
    fs::create_directory_symlink(folder_ / "elsewhere", source("a"));
    materialize({"a"});
    EXPECT_EQ(target_tree(), "a/;");
}

TEST_F(MaterializedFiles, FailWhereAFileStandsInTheWayOfAFolder) {
    fs::create_directories(source("a/b"));
    for (const char* file : {"a", "a/b"}) {
        write_file(target(file), "old");
        const std::string before = target_tree();
        EXPECT_EQ(failure({"a/b"}), "restore verification failed for directory: a/b") << file;
        EXPECT_EQ(target_tree(), before);
        fs::remove_all(target("a"));
    }
}

TEST_F(MaterializedFiles, FailWhereALinkThatLeadsNowhereStandsInTheWayOfAFolder) {
    fs::create_directory(source("a"));
    fs::create_symlink("missing", target("a"));
    EXPECT_EQ(failure({"a"}), "restore verification failed for directory: a");
    EXPECT_EQ(target_tree(), "a -> missing;");
}

// ---- Entries that are neither, and links on the way

TEST_F(MaterializedFiles, AreNeverPipesOrDevices) {
    ASSERT_EQ(mkfifo(source("pipe").c_str(), 0600), 0);
    fs::create_symlink("/dev/null", source("device"));
    for (const char* path : {"pipe", "device"}) {
        write_file(target(path), "old");
        EXPECT_EQ(failure({path}), std::string("restore contains an unsupported project entry: ") + path);
    }
    EXPECT_EQ(target_tree(), "device=old;pipe=old;");
}

TEST_F(MaterializedFiles, SayWhyTheSourceCannotBeInspected) {
    fs::create_symlink("a", source("a"));
    write_file(target("a"), "old");
    EXPECT_EQ(failure({"a"}), "could not inspect restored source file: " + system_message(ELOOP));
    EXPECT_EQ(target_tree(), "a=old;");
}

TEST_F(MaterializedFiles, NeverReachThroughALinkedFolder) {
    write_file(folder_ / "elsewhere/kept", "old");
    write_file(folder_ / "elsewhere/changed", "old");
    fs::create_directory_symlink(folder_ / "elsewhere", target("a"));
    write_file(source("a/changed"), "new");
    fs::create_directories(source("a/folder"));
    for (const char* path : {"a/changed", "a/folder", "a/kept"}) {
        EXPECT_NE(failure({path}), "no failure") << path;
    }
    EXPECT_EQ(read_file(folder_ / "elsewhere/changed") + read_file(folder_ / "elsewhere/kept"), "oldold");
    EXPECT_EQ(std::distance(fs::directory_iterator(folder_ / "elsewhere"), {}), 2);
}

TEST_F(MaterializedFiles, MayBeReachedThroughALinkToTheRoot) {
    write_file(source("sub/a"), "x");
    fs::create_directory_symlink("source", folder_ / "source link");
    fs::create_directory_symlink("target", folder_ / "target link");
    quill::materialize_project_workspace_files_checked(folder_ / "source link", folder_ / "target link", {"sub/a"});
    EXPECT_EQ(target_tree(), "sub/;sub/a=x;");
}

// ---- The first failure

TEST_F(MaterializedFiles, StandAtTheFirstFailure) {
    write_file(source("a"), "new");
    ASSERT_EQ(mkfifo(source("b").c_str(), 0600), 0);
    write_file(source("c"), "new");
    for (const char* file : {"a", "b", "c"}) {
        write_file(target(file), "old");
    }
    EXPECT_EQ(failure({"c", "b", "a"}), "restore contains an unsupported project entry: b");
    EXPECT_EQ(target_tree(), "a=new;b=old;c=old;");
}

TEST_F(MaterializedFiles, AreTakenInTheOrderOfPathsNotOfTexts) {
    fs::create_directory(source("a"));
    ASSERT_EQ(mkfifo(source("a/b").c_str(), 0600), 0);
    write_file(source("a.txt"), "new");
    EXPECT_EQ(failure({"a.txt", "a/b"}), "restore contains an unsupported project entry: a/b");
    EXPECT_EQ(target_tree(), "");
}

}  // namespace
