#include "files/absolute_path.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "tests/support/temporary_folder.h"

namespace {

using quill::absolute_normalized;

TEST(AbsolutePath, HasNoDotsRepeatedOrTrailingSeparators) {
    EXPECT_EQ(absolute_normalized("/a/./b//c/../d/"), "/a/b/d");
    EXPECT_EQ(absolute_normalized("/a"), "/a");
    EXPECT_EQ(absolute_normalized("/"), "/");
}

TEST(AbsolutePath, BeginsAtTheCurrentFolder) {
    const std::filesystem::path here = std::filesystem::current_path();
    EXPECT_EQ(absolute_normalized("a/b"), here / "a/b");
    EXPECT_EQ(absolute_normalized("."), here);
}

TEST(AbsolutePath, KeepsLinks) {
    const quill_test::TemporaryFolder folder;
    std::filesystem::create_directory_symlink("/", folder / "link");
    EXPECT_EQ(absolute_normalized(folder / "link/"), folder / "link");
}

}  // namespace
