#include "tome/base/file_io.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>
#include <vector>

#include "tests/support/file_test_support.h"
#include "tests/support/temporary_folder.h"
#include "tests/tome/engine_test_objects.h"
#include "tome/base/error.h"

namespace quill_test {
namespace {

namespace fs = std::filesystem;

class EngineFileIo : public testing::Test {
  protected:
    tome::FileDescriptor open(const std::string& name) const {
        return tome::open_file_at(directory_.get(), name, "the file");
    }

    TemporaryFolder folder_;
    const tome::FileDescriptor directory_ = tome::open_directory(folder_.path());
};

TEST_F(EngineFileIo, OpensFilesAloneAndFollowsNoLink) {
    write_file(folder_ / "file", "bytes");
    fs::create_symlink("file", folder_ / "link");
    ASSERT_EQ(mkfifo((folder_ / "pipe").c_str(), 0600), 0);
    EXPECT_TRUE(open("file").is_open());
    EXPECT_FALSE(open("missing").is_open());
    for (const char* name : {"link", "pipe"}) {
        const std::string failure = engine_failure_of([&] { open(name); });
        EXPECT_NE(failure.find("the file"), std::string::npos) << name << ": " << failure;
    }
}

TEST_F(EngineFileIo, OpensADirectoryBehindALinkUnlessToldNotTo) {
    fs::create_directory_symlink(folder_.path(), folder_ / "link");
    EXPECT_TRUE(tome::open_directory(folder_ / "link").is_open());
    EXPECT_NE(engine_failure_of([&] { tome::open_directory(folder_ / "link", true); }), "no failure");
}

TEST_F(EngineFileIo, MakesNoFileWhereOneStands) {
    tome::create_file_at(directory_.get(), "new", "the file");
    write_file(folder_ / "new", "bytes");
    EXPECT_NE(engine_failure_of([&] { tome::create_file_at(directory_.get(), "new", "the file"); }), "no failure");
    EXPECT_EQ(read_file(folder_ / "new"), "bytes");
}

TEST_F(EngineFileIo, ReadsFromWhereTheFileStandsInBlocksThatFit) {
    const std::string bytes = bytes_of_size(tome::block_bytes * 2 + 5);
    write_file(folder_ / "file", bytes);
    const tome::FileDescriptor file = open("file");
    ASSERT_EQ(lseek(file.get(), 3, SEEK_SET), 3);
    std::string read;
    tome::read_blocks(file.get(), "the file", [&](std::string_view block) {
        EXPECT_LE(block.size(), tome::block_bytes);
        read += block;
    });
    EXPECT_EQ(read, bytes.substr(3));
}

TEST_F(EngineFileIo, ReadsWholeWhatIsNotLongerThanItsLimit) {
    write_file(folder_ / "file", "12345");
    EXPECT_EQ(tome::read_whole(open("file").get(), "the file", 5), "12345");
    EXPECT_NE(engine_failure_of([&] { tome::read_whole(open("file").get(), "the file", 4); }), "no failure");
}

TEST_F(EngineFileIo, ReplacesAFileWholeOrNotAtAll) {
    const fs::path path = folder_ / "file";
    tome::write_file_durably(path, "old");
    tome::write_file_durably(path, "new");
    EXPECT_EQ(read_file(path), "new");
    EXPECT_EQ(names_in(folder_.path()), std::vector<std::string>{"file"});
    fs::create_directories(folder_ / "folder/inside");
    EXPECT_NE(engine_failure_of([&] { tome::write_file_durably(folder_ / "folder", "new"); }), "no failure");
    EXPECT_TRUE(fs::is_directory(folder_ / "folder/inside"));
}

TEST_F(EngineFileIo, NamesTheFileThatCannotBeWrittenOrSynced) {
    const std::string closed = system_message(EBADF);
    for (const std::string& failure : {engine_failure_of([] { tome::write_all(-1, "x", "the file"); }),
                                       engine_failure_of([] { tome::sync_descriptor(-1, "the file"); })}) {
        EXPECT_NE(failure.find("the file"), std::string::npos) << failure;
        EXPECT_NE(failure.find(closed), std::string::npos) << failure;
    }
}

TEST_F(EngineFileIo, RandomTextsAreSixteenDigitsAndDiffer) {
    const std::string text = tome::random_text();
    EXPECT_EQ(text.size(), 16U);
    EXPECT_EQ(text.find_first_not_of("0123456789abcdef"), std::string::npos) << text;
    EXPECT_NE(text, tome::random_text());
}

}  // namespace
}  // namespace quill_test
