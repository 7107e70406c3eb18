#include "files/platform.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <string>

#include "tests/support/temporary_folder.h"

namespace {

namespace fs = std::filesystem;
using quill_test::read_file;
using quill_test::TemporaryFolder;
using quill_test::write_file;

class OpenFile {
  public:
    OpenFile(const fs::path& path, int flags) : descriptor_(open(path.c_str(), flags | O_CLOEXEC, 0666)) {}
    ~OpenFile() { close(descriptor_); }
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;

    int descriptor() const { return descriptor_; }
    off_t position() const { return lseek(descriptor_, 0, SEEK_CUR); }

  private:
    int descriptor_;
};

// Both outcomes are right: it depends on the file system of the temporary folder.
TEST(CloneFile, CopiesAllOrNothing) {
    const TemporaryFolder folder;
    for (const std::size_t size : {std::size_t{1}, std::size_t{4096}, std::size_t{65'537}, std::size_t{3'000'001}}) {
        const std::string bytes(size, 'x');
        write_file(folder / "from", bytes);
        const OpenFile from(folder / "from", O_RDONLY);
        const OpenFile to(folder / "to", O_WRONLY | O_CREAT | O_TRUNC);
        const bool cloned = quill::clone_file(from.descriptor(), to.descriptor());
        EXPECT_TRUE(read_file(folder / "to") == (cloned ? bytes : "")) << size << (cloned ? " cloned" : " not cloned");
        if (!cloned) {
            EXPECT_EQ(from.position(), 0);
            EXPECT_EQ(to.position(), 0);
        }
    }
}

TEST(CloneFile, RefusesWhatIsNoFile) {
    const TemporaryFolder folder;
    write_file(folder / "from", "x");
    const OpenFile from(folder / "from", O_RDONLY);
    const OpenFile to(folder / "to", O_WRONLY | O_CREAT);
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe(ends.data()), 0);
    EXPECT_FALSE(quill::clone_file(ends[0], to.descriptor()));
    EXPECT_FALSE(quill::clone_file(-1, to.descriptor()));
    EXPECT_FALSE(quill::clone_file(from.descriptor(), -1));
    EXPECT_EQ(read_file(folder / "to"), "");
    EXPECT_EQ(from.position(), 0);
    EXPECT_EQ(to.position(), 0);
    close(ends[0]);
    close(ends[1]);
}

TEST(CloneFile, LeavesATargetThatMayNotBeWritten) {
    const TemporaryFolder folder;
    write_file(folder / "from", "x");
    write_file(folder / "to", "");
    const OpenFile from(folder / "from", O_RDONLY);
    const OpenFile to(folder / "to", O_RDONLY);
    EXPECT_FALSE(quill::clone_file(from.descriptor(), to.descriptor()));
    EXPECT_EQ(read_file(folder / "to"), "");
}

}  // namespace
