#include "files/platform.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <string>

#include "files/file_descriptor.h"
#include "tests/support/temporary_folder.h"

namespace {

using quill_test::read_file;
using quill_test::TemporaryFolder;
using quill_test::write_file;

TEST(Platform, HasAShortPathOfAnOpenFolderOrNone) {
    const TemporaryFolder folder;
    write_file(folder / "file", "bytes");
    const quill::FileDescriptor directory = quill::open_at(AT_FDCWD, folder.path().c_str(), O_RDONLY | O_DIRECTORY);
    const std::string path = quill::short_path_of(directory.get());
#if defined(__linux__)
    EXPECT_LT(path.size(), 40U);
    EXPECT_EQ(read_file(path + "/file"), "bytes");
#else
    EXPECT_EQ(path, "");
#endif
    EXPECT_EQ(quill::short_path_of(-1), "");
}

TEST(Platform, TellsAFolderOfItsOwnFromOneOfTheNetwork) {
    EXPECT_FALSE(quill::is_on_network_file_system("/missing"));
    EXPECT_FALSE(quill::is_on_network_file_system(TemporaryFolder().path().c_str()));
}

TEST(Platform, SaysWhatCannotBeSynced) {
    EXPECT_FALSE(quill::sync_to_disk(-1));
    EXPECT_EQ(errno, EBADF);
    EXPECT_FALSE(quill::sync_file_system(-1));
}

TEST(Platform, GivesTimesInNanoseconds) {
    struct stat status {};
    const TemporaryFolder folder;
    write_file(folder / "file", "bytes");
    const timespec times[2] = {{1, 5}, {1'700'000'000, 123'456'789}};
    ASSERT_EQ(utimensat(AT_FDCWD, (folder / "file").c_str(), times, 0), 0);
    ASSERT_EQ(stat((folder / "file").c_str(), &status), 0);
    EXPECT_EQ(quill::modification_time(status), 1'700'000'000'123'456'789);
    EXPECT_GT(quill::change_time(status), quill::modification_time(status));
}

}  // namespace
