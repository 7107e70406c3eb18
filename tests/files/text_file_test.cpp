#include "files/text_file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/limited_process.h"
#include "tests/support/package_folder.h"

namespace quill_test {
namespace {

namespace fs = std::filesystem;
using quill::read_text_file;
using quill::write_text_file;
using quill::write_text_file_atomically;

std::vector<std::string> hostile_names() {
    return {"plain.json", "it's \"quoted\"", "line\nfeed", "\xc3\xa4\xe6\x97\xa5", "-rf *", "..a", " ", "\\"};
}

ino_t inode_of(const fs::path& path) {
    struct stat status {};
    return lstat(path.c_str(), &status) == 0 ? status.st_ino : 0;
}

class TextFile : public testing::Test {
  protected:
    TemporaryFolder folder_;
    fs::path path_ = folder_ / "project.json";
    fs::path temporary_ = folder_ / "project.json.tmp";
};

TEST_F(TextFile, IsReadAsItsBytes) {
    for (const std::string& bytes : {std::string(), std::string("a\0b\r\n\n\xff\x1a end", 12), std::string("\n"),
                                     std::string(3'000'000, 'x') + "y"}) {
        write_file(path_, bytes);
        EXPECT_TRUE(read_text_file(path_) == bytes) << bytes.size();
    }
}

TEST_F(TextFile, EveryWriterWritesTheBytesAsTheyAre) {
    for (const auto write : {write_text_file, write_text_file_atomically}) {
        for (const std::string& bytes :
             {std::string("a\0b\r\n\n\xff", 7), std::string(), std::string(3'000'000, 'x')}) {
            write(path_, bytes);
            EXPECT_TRUE(read_file(path_) == bytes) << bytes.size();
        }
    }
}

TEST_F(TextFile, HostileNamesAreFilesLikeAllOthers) {
    for (const std::string& name : hostile_names()) {
        write_text_file(folder_ / name, "old");
        write_text_file_atomically(folder_ / name, name);
        EXPECT_EQ(read_text_file(folder_ / name), name);
    }
    EXPECT_EQ(names_in(folder_.path()).size(), hostile_names().size());
}

TEST_F(TextFile, MissingOneCannotBeOpened) {
    const CurrentFolder here(folder_.path());
    for (const std::string path : {"missing", "./a/../missing", "", "line\nfeed \"x\""}) {
        EXPECT_EQ(failure_of([&] { read_text_file(path); }), "Could not open " + path);
    }
}

TEST_F(TextFile, FolderInItsPlaceCannotBeOpenedOrWritten) {
    fs::create_directories(path_);
    EXPECT_EQ(failure_of([&] { read_text_file(path_); }), "Could not open " + path_.string());
    EXPECT_EQ(failure_of([&] { write_text_file(path_, "x"); }), "Could not write " + path_.string());
}

TEST_F(TextFile, PlainWriteNeedsItsFolder) {
    const fs::path below = folder_ / "none/x";
    EXPECT_EQ(failure_of([&] { write_text_file(below, "x"); }), "Could not write " + below.string());
    EXPECT_FALSE(fs::exists(folder_ / "none"));
}

TEST_F(TextFile, PlainWriteTruncatesTheFileThatIsThere) {
    write_file(path_, "a long old text");
    const ino_t before = inode_of(path_);
    write_text_file(path_, "new");
    EXPECT_EQ(read_file(path_), "new");
    EXPECT_EQ(inode_of(path_), before);
}

TEST_F(TextFile, PlainWriteDoesNotNoticeAFullDisk) {
    if (!fs::exists("/dev/full")) {
        GTEST_SKIP() << "no device here that is always full";
    }
    EXPECT_EQ(failure_of([] { write_text_file("/dev/full", std::string(100'000, 'x')); }), "no failure");
}

TEST_F(TextFile, PlainWriteThatIsCutOffLeavesTheBeginning) {
    EXPECT_EQ(outcome_with_file_size_limit(4, [&] { write_text_file(path_, "new text"); }), "no failure");
    EXPECT_EQ(read_file(path_), "new ");
}

TEST_F(TextFile, ReplacementIsANewFile) {
    write_file(path_, "old");
    fs::create_hard_link(path_, folder_ / "other name");
    write_text_file_atomically(path_, "new");
    EXPECT_EQ(read_file(path_), "new");
    EXPECT_EQ(read_file(folder_ / "other name"), "old");
}

TEST_F(TextFile, ReplacementOfALinkLeavesItsTargetAlone) {
    write_file(folder_ / "target", "theirs");
    fs::create_symlink("target", path_);
    write_text_file_atomically(path_, "new");
    EXPECT_EQ(read_file(path_), "new");
    EXPECT_FALSE(fs::is_symlink(path_));
    EXPECT_EQ(read_file(folder_ / "target"), "theirs");
}

TEST_F(TextFile, ReplacementLeavesNoTemporary) {
    write_text_file_atomically(path_, "first");
    write_text_file_atomically(path_, "second");
    EXPECT_EQ(names_in(folder_.path()), std::vector<std::string>{"project.json"});
}

TEST_F(TextFile, ReplacementWorksInTheCurrentFolder) {
    const CurrentFolder here(folder_.path());
    write_text_file_atomically("name alone", "bytes");
    EXPECT_EQ(read_file("name alone"), "bytes");
    EXPECT_EQ(names_in("."), std::vector<std::string>{"name alone"});
}

TEST_F(TextFile, LeftOverTemporaryIsNoHindrance) {
    write_file(temporary_, "a long text that a killed writer left");
    write_text_file_atomically(path_, "new");
    EXPECT_EQ(read_file(path_), "new");
    EXPECT_FALSE(fs::exists(temporary_));
}

TEST_F(TextFile, ReplacementThatCannotWriteItsTemporaryLeavesTheOldFile) {
    write_file(path_, "old");
    fs::create_directories(temporary_);
    EXPECT_EQ(failure_of([&] { write_text_file_atomically(path_, "new"); }), "Could not write " + temporary_.string());
    EXPECT_EQ(read_file(path_), "old");
    EXPECT_TRUE(fs::is_directory(temporary_));
}

TEST_F(TextFile, ReplacementNeedsItsFolder) {
    const fs::path below = folder_ / "none/x.json";
    EXPECT_EQ(failure_of([&] { write_text_file_atomically(below, "x"); }),
              "Could not write " + below.string() + ".tmp");
    EXPECT_FALSE(fs::exists(folder_ / "none"));
}

TEST_F(TextFile, ReplacementOfAFolderIsRefusedAndLeavesNoTemporary) {
    write_file(path_ / "child", "kept");
    EXPECT_EQ(failure_of([&] { write_text_file_atomically(path_, "new"); }), "Could not replace " + path_.string());
    EXPECT_EQ(read_file(path_ / "child"), "kept");
    EXPECT_EQ(names_in(folder_.path()), std::vector<std::string>{"project.json"});
}

TEST_F(TextFile, ReplacementOnAFullDiskLeavesTheOldFileAndNoTemporary) {
    write_file(path_, "the old text");
    for (const rlim_t limit : {0, 1, 7}) {
        EXPECT_EQ(outcome_with_file_size_limit(limit, [&] { write_text_file_atomically(path_, "new text"); }),
                  "Could not write " + temporary_.string());
        EXPECT_EQ(read_file(path_), "the old text");
        EXPECT_EQ(names_in(folder_.path()), std::vector<std::string>{"project.json"});
    }
    EXPECT_EQ(outcome_with_file_size_limit(8, [&] { write_text_file_atomically(path_, "new text"); }), "no failure");
    EXPECT_EQ(read_file(path_), "new text");
}

TEST_F(TextFile, ReplacementWhoseFolderCannotBeSyncedIsReported) {
    fs::permissions(folder_.path(), fs::perms(0333));  // Names can be made there, and the folder cannot be opened.
    const auto message =
        without_privileges([&] { return failure_of([&] { write_text_file_atomically(path_, "new"); }); });
    fs::permissions(folder_.path(), fs::perms(0755));
    if (!message) {
        GTEST_SKIP() << "root cannot give up its rights here";
    }
    EXPECT_EQ(*message, "Could not replace " + path_.string());
    EXPECT_EQ(names_in(folder_.path()), std::vector<std::string>{"project.json"});
}

TEST_F(TextFile, ReadersOfAReplacedFileSeeTheOldBytesOrTheNew) {
    const std::string old_text(200'000, 'o');
    const std::string new_text(100'000, 'n');
    write_file(path_, old_text);
    std::atomic<bool> done = false;
    std::thread writer([&] {
        for (int i = 0; i < 50; ++i) {
            write_text_file_atomically(path_, i % 2 == 0 ? new_text : old_text);
        }
        done = true;
    });
    int torn = 0;
    do {
        const std::string text = read_text_file(path_);
        torn += text == old_text || text == new_text ? 0 : 1;
    } while (!done);
    writer.join();
    EXPECT_EQ(torn, 0);
}

// What another process does that opened the shared temporary at the same time and writes to it only afterwards.
TEST_F(TextFile, SlowerWriterOfTheTemporaryDoesNotReachTheFileThatWasPutInPlace) {
    write_file(path_, "old");
    const int other = open(temporary_.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    ASSERT_GE(other, 0);
    write_text_file_atomically(path_, "the new text");
    EXPECT_EQ(write(other, "OTHER", 5), 5);
    close(other);
    EXPECT_EQ(read_file(path_), "the new text");
}

TEST_F(TextFile, LinkInPlaceOfTheTemporaryIsNotWrittenThrough) {
    write_file(folder_ / "outside", "theirs");
    write_file(path_, "old");
    fs::create_symlink("outside", temporary_);
    failure_of([&] { write_text_file_atomically(path_, "new"); });
    EXPECT_EQ(read_file(folder_ / "outside"), "theirs");
}

}  // namespace
}  // namespace quill_test
