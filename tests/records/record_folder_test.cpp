#include "records/record_folder.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "project/workspace_paths.h"
#include "tests/support/failure.h"
#include "tests/support/temporary_folder.h"

namespace {

namespace fs = std::filesystem;
using quill_test::failure_of;
using quill_test::write_file;

class RecordFolder : public testing::Test {
  protected:
    RecordFolder() { fs::create_directory(project_); }

    quill_test::TemporaryFolder folder_;
    const fs::path project_ = folder_ / "P.quillproject";
};

TEST_F(RecordFolder, HoldsFilesThatAreReadAsTheirBytes) {
    EXPECT_EQ(quill::read_record_file(project_ / "reviews.json"), "");
    write_file(project_ / "reviews.json", "{\r\n}");
    EXPECT_EQ(quill::read_record_file(project_ / "reviews.json"), "{\r\n}");
}

TEST_F(RecordFolder, SaysWhereSomethingOtherThanAFileStands) {
    const fs::path path = project_ / "reviews.json";
    fs::create_directory(path);
    EXPECT_EQ(failure_of([&] { quill::read_record_file(path); }), "Could not open " + path.string());
    fs::remove(path);
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    EXPECT_EQ(failure_of([&] { quill::read_record_file(path); }), "Could not open " + path.string());
}

TEST_F(RecordFolder, IsMadeByWhoeverLocksIt) {
    { const quill::RecordFolderLock lock(project_); }
    EXPECT_TRUE(fs::is_directory(quill::project_workspaces_index_path(project_).parent_path()));
}

TEST_F(RecordFolder, OfNoPackageIsRefusedAndNotMade) {
    const fs::path missing = folder_ / "missing";
    EXPECT_EQ(failure_of([&] { const quill::RecordFolderLock lock(missing); }),
              "Project is not a directory: " + missing.string());
    EXPECT_FALSE(fs::exists(missing));
}

TEST_F(RecordFolder, ThatAFileStandsInTheWayOfIsRefused) {
    const fs::path folder = quill::project_workspaces_index_path(project_).parent_path();
    write_file(folder, "a file");
    const std::string failure = failure_of([&] { const quill::RecordFolderLock lock(project_); });
    EXPECT_TRUE(failure.starts_with("could not create workspace folder: ")) << failure;
}

}  // namespace
