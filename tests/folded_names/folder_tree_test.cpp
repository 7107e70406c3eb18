// What FolderTree makes of a folder in which names that differ by case are one. Names are folded for processes of their
// own: the tests `NamesAreOne.…` of this program.
#include "files/folder_tree.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "tests/support/run_process.h"
#include "tests/support/temporary_folder.h"

namespace quill_test {
namespace {

namespace fs = std::filesystem;

// The folder that NamesAreOne.InTheFolder is about; empty where names are exact.
fs::path folded_folder() {
    const char* folder = std::getenv("QUILL_FOLDED_ROOT");
    return folder != nullptr ? folder : "";
}

TEST(NamesAreOne, InTheFolder) {
    if (!folded_folder().empty()) {
        EXPECT_TRUE(quill::FolderTree(folded_folder()).folds_names());
    }
}

class FoldedFolder : public testing::Test {
  protected:
    void expect_recognised() const {
        const ProcessResult result = run_process(
            {QUILL_TEST_PROGRAMS "/folded_names_tests", "--gtest_filter=NamesAreOne.InTheFolder"},
            {{"LD_PRELOAD", QUILL_NAME_FOLDER}, {"QUILL_FOLDED_ROOT", fs::canonical(folder_.path()).string()}});
        EXPECT_EQ(result.status, 0) << result.out << result.err;
    }

    TemporaryFolder folder_;
};

TEST_F(FoldedFolder, IsRecognisedByOneLetter) {
    for (const std::string letter : {"a", "z", "A", "Z"}) {
        write_file(folder_ / letter, "");
        expect_recognised();
        fs::remove(folder_ / letter);
    }
}

TEST_F(FoldedFolder, IsRecognisedByAFolder) {
    fs::create_directories(folder_ / "Assets/deeper");
    expect_recognised();
}

TEST_F(FoldedFolder, IsRecognisedWhateverElseIsInIt) {
    for (int i = 0; i < 20; ++i) {
        write_file(folder_ / std::to_string(i), "");
        write_file(folder_ / ("linked" + std::to_string(i)), "");
        fs::create_hard_link(folder_ / ("linked" + std::to_string(i)), folder_ / ("other" + std::to_string(i)));
    }
    write_file(folder_ / "name", "");
    expect_recognised();
}

}  // namespace
}  // namespace quill_test
