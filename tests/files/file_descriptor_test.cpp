#include "files/file_descriptor.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <utility>

#include "tests/support/file_test_support.h"
#include "tests/support/temporary_folder.h"

namespace {

using quill::FileDescriptor;
using quill_test::read_file;
using quill_test::write_file;

bool is_open_here(int descriptor) {
    return fcntl(descriptor, F_GETFD) != -1;
}

class FileDescriptors : public testing::Test {
  protected:
    FileDescriptor opened(int flags = O_RDWR | O_CREAT) const { return quill::open_at(AT_FDCWD, path_.c_str(), flags); }

    quill_test::TemporaryFolder folder_;
    const std::string path_ = folder_ / "file";
};

TEST_F(FileDescriptors, AreClosedByTheirLastOwner) {
    int number = -1;
    {
        FileDescriptor first = opened();
        number = first.get();
        const FileDescriptor second = std::move(first);
        EXPECT_EQ(second.get(), number);
        EXPECT_TRUE(is_open_here(number));
    }
    EXPECT_FALSE(is_open_here(number));
}

TEST_F(FileDescriptors, CloseWhatTheyHeldWhenTheyTakeAnother) {
    FileDescriptor file = opened();
    const int number = file.get();
    file = quill::open_at(AT_FDCWD, "/", O_RDONLY);
    EXPECT_FALSE(is_open_here(number));
    EXPECT_TRUE(file.is_open());
}

TEST_F(FileDescriptors, ThatAreReleasedStayOpen) {
    FileDescriptor file = opened();
    const int number = file.release();
    EXPECT_FALSE(file.is_open());
    file.reset();
    EXPECT_TRUE(is_open_here(number));
    EXPECT_EQ(::close(number), 0);
}

TEST_F(FileDescriptors, LeaveTheErrorNumberWhenTheyAreClosed) {
    FileDescriptor file = opened();
    errno = ENOSPC;
    file.reset();
    EXPECT_EQ(errno, ENOSPC);
}

TEST_F(FileDescriptors, SayWhetherTheyCouldBeClosed) {
    EXPECT_TRUE(opened().close());
    EXPECT_TRUE(FileDescriptor().close());
    EXPECT_FALSE(FileDescriptor(1 << 20).close());
}

TEST_F(FileDescriptors, AreNotInheritedByOtherPrograms) {
    EXPECT_NE(fcntl(opened().get(), F_GETFD) & FD_CLOEXEC, 0);
}

TEST_F(FileDescriptors, OfWhatIsNotThereAreNotOpen) {
    const FileDescriptor file = opened(O_RDONLY);
    const int number = errno;
    EXPECT_FALSE(file.is_open());
    EXPECT_EQ(number, ENOENT);
}

TEST_F(FileDescriptors, TakeAndGiveAllBytes) {
    const std::string bytes = quill_test::bytes_of_size(200'000);
    FileDescriptor file = opened();
    EXPECT_TRUE(quill::write_fully(file.get(), bytes));
    EXPECT_EQ(read_file(path_), bytes);
    ASSERT_EQ(lseek(file.get(), 0, SEEK_SET), 0);
    std::string read(bytes.size() + 10, '\0');
    EXPECT_EQ(quill::read_fully(file.get(), read.data(), read.size()), static_cast<ssize_t>(bytes.size()));
    EXPECT_EQ(read.substr(0, bytes.size()), bytes);
}

TEST_F(FileDescriptors, ReadAsManyBytesAsAreAskedForWhenAPipeGivesFewer) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const FileDescriptor reader(ends[0]);
    FileDescriptor writer(ends[1]);
    const pid_t child = fork();
    if (child == 0) {  // Pieces of a pipe's own size.
        _exit(quill::write_fully(writer.get(), std::string(300'000, 'x')) ? 0 : 1);
    }
    writer.reset();
    std::string read(300'000, '\0');
    EXPECT_EQ(quill::read_fully(reader.get(), read.data(), read.size()), 300'000);
    EXPECT_EQ(read, std::string(300'000, 'x'));
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

TEST_F(FileDescriptors, ThatMayNotBeReadOrWrittenFailWithTheSystemsNumber) {
    write_file(path_, "abc");
    char byte = 0;
    EXPECT_FALSE(quill::write_fully(opened(O_RDONLY).get(), "x"));
    EXPECT_EQ(errno, EBADF);
    EXPECT_EQ(quill::read_fully(opened(O_WRONLY).get(), &byte, 1), -1);
    EXPECT_EQ(errno, EBADF);
}

TEST_F(FileDescriptors, RepeatACallUntilNothingInterruptsIt) {
    int calls = 0;
    const int result = quill::repeat_interrupted([&] {
        errno = ++calls < 3 ? EINTR : ENOENT;
        return -1;
    });
    EXPECT_EQ(result, -1);
    EXPECT_EQ(calls, 3);
    EXPECT_EQ(quill::repeat_interrupted([] { return 7; }), 7);
}

}  // namespace
