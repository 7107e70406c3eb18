#include "project/file_tree_comparison.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/file_test_support.h"
#include "tests/support/run_process.h"
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

class DifferingFiles : public testing::Test {
  protected:
    fs::path live(const fs::path& relative) const { return folder_ / "live" / relative; }
    fs::path old(const fs::path& relative) const { return folder_ / "old" / relative; }

    void write_both(const fs::path& relative, const std::string& live_bytes, const std::string& old_bytes) const {
        write_file(live(relative), live_bytes);
        write_file(old(relative), old_bytes);
    }

    Paths differing() const { return quill::differing_project_workspace_files(folder_ / "live", folder_ / "old"); }

    std::string failure() const {
        return failure_of([&] { differing(); });
    }

    quill_test::TemporaryFolder folder_;
};

TEST_F(DifferingFiles, EqualTreesDoNotDiffer) {
    write_both("project.json", "{}", "{}");
    write_both("a/b/c", bytes_of_size(200'000), bytes_of_size(200'000));
    write_both("empty", "", "");
    EXPECT_EQ(differing(), Paths{});
}

TEST_F(DifferingFiles, MissingRootsDoNotDiffer) {
    EXPECT_EQ(differing(), Paths{});
}

TEST_F(DifferingFiles, FileOfTheLiveTreeOnlyDiffers) {
    write_file(live("sub/a"), "x");
    fs::create_directories(old("sub"));
    EXPECT_EQ(differing(), Paths{"sub/a"});
}

TEST_F(DifferingFiles, FileOfTheHistoricalTreeOnlyDiffers) {
    write_file(old("sub/a"), "x");
    fs::create_directories(live("sub"));
    EXPECT_EQ(differing(), Paths{"sub/a"});
}

TEST_F(DifferingFiles, EveryFileDiffersFromAMissingTree) {
    write_file(live("a"), "x");
    write_file(live("b/c"), "x");
    EXPECT_EQ(differing(), (Paths{"a", "b/c"}));
}

TEST_F(DifferingFiles, EmptyFileDiffersFromNone) {
    write_file(live("empty"), "");
    EXPECT_EQ(differing(), Paths{"empty"});
}

TEST_F(DifferingFiles, AreTheFilesOfBothTreesInByteOrderEachOnce) {
    write_both("changed", "1", "2");
    write_both("same", "x", "x");
    for (const char* file : {"a/b", "B", "z"}) {
        write_file(live(file), "x");
    }
    for (const char* file : {"a-b", "a.txt", "a0", "\xC3\xA9"}) {
        write_file(old(file), "x");
    }
    EXPECT_EQ(differing(), (Paths{"B", "a-b", "a.txt", "a/b", "a0", "changed", "z", "\xC3\xA9"}));
}

TEST_F(DifferingFiles, HiddenFilesDoNotCount) {
    write_both("Build/a", "1", "2");
    write_both(".tome/config.toml", "1", "2");
    write_file(live("project.json.tmp"), "x");
    write_file(old("Scenes/.cache/x"), "x");
    EXPECT_EQ(differing(), Paths{});
}

TEST_F(DifferingFiles, EmptyFoldersDoNotCount) {
    fs::create_directories(live("a/b"));
    fs::create_directories(old("c"));
    EXPECT_EQ(differing(), Paths{});
}

TEST_F(DifferingFiles, FilesOfDifferentSizeDiffer) {
    write_both("grown", "ab", "a");
    write_both("emptied", "", "a");
    const std::string block = bytes_of_size(65'536);
    write_both("one byte over a block", block + "x", block);
    write_both("block appended", block, block + block);
    EXPECT_EQ(differing(), (Paths{"block appended", "emptied", "grown", "one byte over a block"}));
}

TEST_F(DifferingFiles, FilesThatDifferInOneByteAnywhereDiffer) {
    Paths expected;
    for (const std::size_t size : {1U, 65'535U, 65'536U, 65'537U, 131'071U, 131'072U, 131'073U, 300'000U}) {
        const std::string bytes = bytes_of_size(size);
        write_both("same " + std::to_string(size), bytes, bytes);
        for (const std::size_t at : {std::size_t{0}, size / 2, size - 1}) {
            const fs::path file = std::to_string(size) + " at " + std::to_string(at);
            std::string changed = bytes;
            changed[at] = static_cast<char>(changed[at] ^ 1);
            write_both(file, bytes, changed);
            expected.push_back(file);
        }
    }
    std::sort(expected.begin(), expected.end());
    expected.erase(std::unique(expected.begin(), expected.end()), expected.end());
    EXPECT_EQ(differing(), expected);
}

TEST_F(DifferingFiles, BytesDecideNotTimes) {
    write_both("rewritten", "1", "2");
    fs::last_write_time(old("rewritten"), fs::last_write_time(live("rewritten")));
    write_both("touched", "x", "x");
    fs::last_write_time(old("touched"), fs::last_write_time(live("touched")) - std::chrono::hours(1));
    EXPECT_EQ(differing(), Paths{"rewritten"});
}

TEST_F(DifferingFiles, PermissionsDoNotCount) {
    write_both("a", "x", "x");
    fs::permissions(live("a"), fs::perms(0755));
    fs::permissions(old("a"), fs::perms(0444));
    EXPECT_EQ(differing(), Paths{});
}

TEST_F(DifferingFiles, UnusualNamesComeBackByteForByte) {
    write_file(live(odd_name + "/" + odd_name), "x");
    EXPECT_EQ(differing(), Paths{odd_name + "/" + odd_name});
}

TEST_F(DifferingFiles, LinkToAFileCountsAsTheFile) {
    write_file(folder_ / "elsewhere", "same");
    write_both("a", "old", "same");
    fs::remove(live("a"));
    fs::create_symlink(folder_ / "elsewhere", live("a"));
    EXPECT_EQ(differing(), Paths{});
    write_file(folder_ / "elsewhere", "diff");
    EXPECT_EQ(differing(), Paths{"a"});
}

TEST_F(DifferingFiles, LinkThatLeadsNowhereCountsAsNoFile) {
    write_both("a", "x", "x");
    fs::remove(live("a"));
    fs::create_symlink("missing", live("a"));
    fs::create_symlink("missing", live("b"));
    fs::create_symlink("missing", old("b"));
    EXPECT_EQ(differing(), Paths{"a"});
}

TEST_F(DifferingFiles, FileThatCannotBeOpenedDiffers) {
    fs::permissions(folder_.path(), fs::perms(0755));
    write_both("a", "x", "x");
    write_both("b", "x", "x");
    write_both("open", "x", "x");
    fs::permissions(folder_.path(), fs::perms(0755));
    fs::permissions(live("a"), fs::perms::none);
    fs::permissions(old("b"), fs::perms::none);
    const auto found = quill_test::without_privileges([&] {
        std::string text;
        for (const fs::path& file : differing()) {
            text += file.string() + ";";
        }
        return text;
    });
    if (!found) {
        GTEST_SKIP() << "root cannot give up its rights here";
    }
    EXPECT_EQ(*found, "a;b;");
}

TEST_F(DifferingFiles, FolderWhereTheOtherTreeHasAFileIsUnsupported) {
    write_file(live("sub/a"), "x");
    fs::create_directories(old("sub/a"));
    EXPECT_EQ(failure(), "workspace restore encountered an unsupported project entry: sub/a");
    fs::remove_all(folder_.path() / "live");
    fs::rename(folder_.path() / "old", folder_.path() / "live");
    write_file(old("sub/a"), "x");
    EXPECT_EQ(failure(), "workspace restore encountered an unsupported project entry: sub/a");
}

TEST_F(DifferingFiles, FolderWithFilesWhereTheOtherTreeHasAFileIsUnsupported) {
    write_file(live("a"), "x");
    write_file(old("a/b"), "x");
    EXPECT_EQ(failure(), "workspace restore encountered an unsupported project entry: a");
}

TEST_F(DifferingFiles, LinkToAFolderWhereTheOtherTreeHasAFileIsUnsupported) {
    write_file(live("a"), "x");
    fs::create_directories(old("folder"));
    fs::create_directory_symlink("folder", old("a"));
    EXPECT_EQ(failure(), "workspace restore encountered an unsupported project entry: a");
}

TEST_F(DifferingFiles, PipeWhereTheOtherTreeHasAFileIsUnsupported) {
    write_file(live(odd_name), "x");
    fs::create_directories(old(""));
    ASSERT_EQ(mkfifo(old(odd_name).c_str(), 0600), 0);
    EXPECT_EQ(failure(), "workspace restore encountered an unsupported project entry: " + odd_name);
}

TEST_F(DifferingFiles, UnsupportedEntryOfOneTreeAloneIsPassedOver) {
    fs::create_directories(live("sub"));
    ASSERT_EQ(mkfifo(live("sub/pipe").c_str(), 0600), 0);
    EXPECT_EQ(differing(), Paths{});
}

TEST_F(DifferingFiles, LiveFileThatCannotBeInspectedIsAnError) {
    write_both("a", "x", "x");
    fs::remove(live("a"));
    fs::create_symlink("a", live("a"));
    EXPECT_EQ(failure(), "could not inspect live workspace file: " + system_message(ELOOP));
}

TEST_F(DifferingFiles, HistoricalFileThatCannotBeInspectedIsAnError) {
    write_both("a", "x", "x");
    fs::remove(old("a"));
    fs::create_symlink("a", old("a"));
    EXPECT_EQ(failure(), "could not inspect historical workspace file: " + system_message(ELOOP));
}

TEST_F(DifferingFiles, FileThatCannotBeReadIsToldFromOneThatDiffers) {
    const fs::path unreadable = "/proc/self/mem";  // opens as an empty file, but cannot be read
    if (!fs::exists(unreadable)) {
        GTEST_SKIP() << "no such file here";
    }
    write_both("a", "", "");
    write_both("b", "1", "2");
    fs::remove(live("a"));
    fs::create_symlink(unreadable, live("a"));
    const quill::TreeComparison comparison = quill::compare_project_workspace_files(folder_ / "live", folder_ / "old");
    EXPECT_EQ(comparison.differing_paths(), (Paths{"a", "b"}));
    EXPECT_EQ(comparison.differing.at(0).how, "unreadable");
    ASSERT_EQ(comparison.unreadable.size(), 1U);
    EXPECT_EQ(comparison.unreadable[0].path, "a");
    EXPECT_EQ(comparison.unreadable[0].number, EIO);
}

TEST_F(DifferingFiles, FileThatMayNotBeReadIsNamedOnce) {
    write_both("a", "1", "1");
    fs::permissions(folder_.path(), fs::perms(0755));
    fs::permissions(live("a"), fs::perms::none);
    const auto outcome = quill_test::without_privileges([&] {
        const auto comparison = quill::compare_project_workspace_files(folder_ / "live", folder_ / "old");
        return std::to_string(comparison.differing.size()) + " " + std::to_string(comparison.unreadable.size()) + " " +
               std::to_string(comparison.unreadable.at(0).number);
    });
    if (!outcome) {
        GTEST_SKIP() << "this process reads everything";
    }
    EXPECT_EQ(*outcome, "1 1 " + std::to_string(EACCES));
}

TEST_F(DifferingFiles, OfTheSameBytesMayDifferInTheExecutableBit) {
    write_both("run.sh", "x", "x");
    fs::permissions(live("run.sh"), fs::perms(0755));
    fs::permissions(old("run.sh"), fs::perms(0644));
    const quill::TreeComparison comparison = quill::compare_project_workspace_files(folder_ / "live", folder_ / "old");
    EXPECT_EQ(comparison.differing_paths(), Paths{});
    EXPECT_EQ(comparison.other_mode, std::vector<std::string>{"run.sh"});
}

TEST_F(DifferingFiles, SayOnWhichSideTheyStandOrWhatIsUnlike) {
    write_file(live("a"), "x");
    write_file(old("b"), "x");
    write_both("c", "12345", "1234567");
    write_both("d", "1", "2");
    std::vector<std::string> said;
    for (const quill::DifferingFile& file :
         quill::compare_project_workspace_files(folder_ / "live", folder_ / "old").differing) {
        said.push_back(file.path.string() + " " + file.how);
    }
    EXPECT_EQ(said, (std::vector<std::string>{"a in the live tree alone", "b in the historical tree alone",
                                              "c live 5 bytes, historical 7", "d other bytes"}));
}

// The environment is read once, so what is traced happens in a process of its own: this test, which passes without a
// trace as well.
TEST(TracedTreeComparison, Mismatch) {
    const quill::TreeMismatchError error("the trees differ", {{{"a b", "other bytes"}}, {"run.sh"}, {{"c", 5}}});
    EXPECT_STREQ(error.what(), "the trees differ");
}

TEST_F(DifferingFiles, AreNamedInTheTraceWithHowTheyDiffer) {
    const std::string file = (folder_ / "trace").string();
    const quill_test::ProcessResult result =
        quill_test::run_process({QUILL_TEST_PROGRAMS "/project_tests", "--gtest_filter=TracedTreeComparison.Mismatch"},
                                {{"QUILL_TRACE", file}, {"GTEST_TOTAL_SHARDS", "1"}, {"GTEST_SHARD_INDEX", "0"}});
    EXPECT_EQ(result.status, 0) << result.out;
    const std::string lines = read_file(file);
    for (const std::string line : {"mismatch the trees differ\n", "differs a b (other bytes)\n", "other-mode run.sh\n",
                                   "unreadable c (errno 5)\n"}) {
        EXPECT_NE(lines.find(" - " + line), std::string::npos) << lines;
    }
}

TEST_F(DifferingFiles, ChangesNothing) {
    write_both("a", "1", "2");
    write_file(live("b"), "x");
    differing();
    EXPECT_EQ(read_file(live("a")) + read_file(old("a")), "12");
    EXPECT_FALSE(fs::exists(old("b")));
}

}  // namespace
