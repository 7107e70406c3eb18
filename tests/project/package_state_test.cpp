#include "project/package_state.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "tests/support/failure.h"
#include "tests/support/temporary_folder.h"

namespace {

namespace fs = std::filesystem;
using quill_test::failure_of;
using quill_test::read_file;
using quill_test::write_file;

class PackageState : public testing::Test {
  protected:
    PackageState() {
        fs::create_directories(package_ / ".derived");
        write_file(elsewhere_ / "file", "not the package's");
    }

    void expect_refused(const std::function<void()>& action, const fs::path& link) const {
        EXPECT_EQ(failure_of(action), "a symbolic link stands in the way: " + link.string());
        EXPECT_EQ(read_file(elsewhere_ / "file"), "not the package's");
    }

    quill_test::TemporaryFolder folder_;
    const fs::path package_ = folder_ / "P.quillproject";
    const fs::path elsewhere_ = folder_ / "elsewhere";
};

TEST_F(PackageState, MayLieInFoldersThatAreYetToBeMade) {
    const fs::path path = package_ / ".derived/a/b";
    EXPECT_EQ(quill::unlinked_state_path(package_, path), path);
    quill::make_state_folder(package_, path);
    EXPECT_TRUE(fs::is_directory(path));
    quill::make_state_folder(package_, path);
}

TEST_F(PackageState, IsNotReachedThroughALink) {
    fs::create_symlink(elsewhere_, package_ / ".derived/link");
    const fs::path below = package_ / ".derived/link/file";
    expect_refused([&] { quill::unlinked_state_path(package_, below); }, package_ / ".derived/link");
    expect_refused([&] { quill::make_state_folder(package_, below / "deeper"); }, package_ / ".derived/link");
    expect_refused([&] { quill::remove_state(package_, below); }, package_ / ".derived/link");
    quill::discard_state(package_, below);
    EXPECT_EQ(read_file(elsewhere_ / "file"), "not the package's");
}

TEST_F(PackageState, IsNoLinkItself) {
    const fs::path link = package_ / ".derived/link";
    fs::create_symlink(elsewhere_, link);
    expect_refused([&] { quill::unlinked_state_path(package_, link); }, link);
    expect_refused([&] { quill::make_state_folder(package_, link); }, link);
}

TEST_F(PackageState, ThatIsALinkIsRemovedAndNotWhatItLeadsTo) {
    const fs::path link = package_ / ".derived/link";
    fs::create_symlink(elsewhere_, link);
    quill::remove_state(package_, link);
    EXPECT_FALSE(fs::is_symlink(link));
    EXPECT_EQ(read_file(elsewhere_ / "file"), "not the package's");
}

TEST_F(PackageState, IsRemovedWithEverythingInIt) {
    write_file(package_ / ".derived/a/b/file", "x");
    write_file(package_ / ".derived/kept", "x");
    quill::remove_state(package_, package_ / ".derived/a");
    EXPECT_FALSE(fs::exists(package_ / ".derived/a"));
    EXPECT_TRUE(fs::exists(package_ / ".derived/kept"));
    quill::remove_state(package_, package_ / ".derived/a");
}

TEST_F(PackageState, OutsideThePackageIsReachedFromTheFolderAroundIt) {
    const fs::path path = elsewhere_ / "repository";
    quill::make_state_folder(package_, path);
    EXPECT_TRUE(fs::is_directory(path));
    fs::create_symlink(folder_.path(), elsewhere_ / "link");
    expect_refused([&] { quill::make_state_folder(package_, elsewhere_ / "link"); }, elsewhere_ / "link");
    quill::remove_state(package_, path);
    EXPECT_FALSE(fs::exists(path));
}

}  // namespace
