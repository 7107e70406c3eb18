// How files, what they stand on and their branch differ. More of it for packages: package_base_test.cpp.
#include "workspace/checkout/branch_comparison.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <quill/quill.h>

#include "tests/workspace/history_project.h"

namespace quill_test {
namespace {

namespace fs = std::filesystem;
using quill::ProjectFileState;

class BranchComparisonTest : public testing::Test {
  protected:
    /// A workspace whose checkout holds the scene.
    BranchComparisonTest() {
        project_.commit("one");
        quill::create_project_workspace(project_.package(), project_.scene(), "main", "Feature", "ana");
        checkout_ = quill::ensure_tome_checkout_for_workspace(project_.package(), "feature", project_.scene());
    }

    /// Publishes other bytes of the scene from a copy of the package.
    void publish_elsewhere(const std::string& bytes) const {
        const fs::path copy = folder_ / "Copy.quillproject";
        fs::copy(project_.package(), copy, fs::copy_options::recursive);
        const fs::path checkout = quill::ensure_tome_checkout_for_workspace(copy, "feature", {});
        write_file(checkout / "Scenes/Main.usda", bytes);
        quill::update_project_workspace_head(copy, "feature", checkout, {"Scenes/Main.usda"}, "ben", "");
    }

    quill::BranchComparison compare(const std::vector<std::string>& paths = {}) const {
        return quill::compare_with_branch({checkout_, project_.remote().string()}, paths);
    }

    HistoryProject project_;
    TemporaryFolder folder_;
    fs::path checkout_;
};

TEST_F(BranchComparisonTest, OfAnUntouchedCheckoutIsItsHeadAlone) {
    const auto comparison = compare();
    EXPECT_EQ(comparison.head, quill::list_project_workspace_revisions(project_.package(), "feature", 1).at(0).id);
    EXPECT_TRUE(comparison.files.empty());
}

TEST_F(BranchComparisonTest, TellsEditsFromWhatOthersPublished) {
    publish_elsewhere("theirs");
    write_file(checkout_ / "Assets/ours.txt", "ours");
    const auto comparison = compare();
    ASSERT_EQ(comparison.files.size(), 2U);
    EXPECT_TRUE(comparison.files[0].changed_here() && !comparison.files[0].changed_there());
    EXPECT_TRUE(!comparison.files[1].changed_here() && comparison.files[1].changed_there());
    EXPECT_TRUE(comparison.conflicts().empty());
}

TEST_F(BranchComparisonTest, NamesConflictsButNotTheSameChangeOnBothSides) {
    publish_elsewhere("theirs");
    write_file(checkout_ / "Scenes/Main.usda", "ours");
    EXPECT_EQ(compare().conflicts(), std::vector<std::string>{"Scenes/Main.usda"});
    write_file(checkout_ / "Scenes/Main.usda", "theirs");
    const auto comparison = compare({"Scenes/Main.usda"});
    EXPECT_TRUE(comparison.files.at(0).is_same());
    EXPECT_TRUE(comparison.conflicts().empty());
}

TEST_F(BranchComparisonTest, PassesOverPipesAndHiddenFiles) {
    ASSERT_EQ(mkfifo((checkout_ / "pipe").c_str(), 0600), 0);
    write_file(checkout_ / ".hidden", "x");
    EXPECT_TRUE(compare().files.empty());
}

}  // namespace
}  // namespace quill_test
