// What a commit takes from the package. What becomes of it with two packages: tests/tool/two_packages_test.cpp.
#include "workspace/checkout/commit_edits.h"

#include <gtest/gtest.h>

#include <quill/quill.h>

#include "tests/support/failure.h"
#include "tests/workspace/history_project.h"

namespace quill_test {
namespace {

namespace fs = std::filesystem;
using quill::CommitEdits;
using quill::find_package_edits;
using quill::PackageBase;

class CommitEditsTest : public testing::Test {
  protected:
    PackageBase base() const { return PackageBase::open(project_.package()).value(); }

    /// Publishes other bytes from a copy of the package.
    void publish_elsewhere(const std::string& path, const std::string& bytes) const {
        if (!fs::exists(copy_)) {
            fs::copy(project_.package(), copy_, fs::copy_options::recursive);
        }
        write_file(copy_ / path, bytes);
        quill::update_project_workspace_head(copy_, "main", copy_, {path}, "ben", "");
    }

    HistoryProject project_;
    TemporaryFolder folder_;
    fs::path copy_ = folder_ / "Copy.quillproject";
};

TEST_F(CommitEditsTest, AreNoneOfAnUntouchedPackage) {
    PackageBase package = base();
    const CommitEdits edits = find_package_edits(package);
    EXPECT_TRUE(edits.taken.empty());
    EXPECT_TRUE(edits.is_whole);
    EXPECT_EQ(edits.scope, quill::CommitScope::Everything);
}

TEST_F(CommitEditsTest, LeaveOutFilesThatAreBehindAndSayThatThePackageIsNotWhole) {
    publish_elsewhere("Assets/theirs.txt", "theirs");
    write_file(project_.package() / "Assets/ours.txt", "ours");
    PackageBase package = base();
    const CommitEdits edits = find_package_edits(package);
    EXPECT_EQ(edits.taken, std::vector<fs::path>{"Assets/ours.txt"});
    EXPECT_FALSE(edits.is_whole);
}

TEST_F(CommitEditsTest, OfGivenPathsHoldThoseThatAreTheSameEverywhereToo) {
    PackageBase package = base();
    EXPECT_EQ(find_package_edits(package, {"Scenes/Main.usda"}).taken, std::vector<fs::path>{"Scenes/Main.usda"});
    EXPECT_TRUE(find_package_edits(package, {}).taken.empty());
}

TEST_F(CommitEditsTest, OfGivenPathsLeaveOutWhatOnlyOthersChanged) {
    publish_elsewhere("Scenes/Main.usda", "theirs");
    PackageBase package = base();
    EXPECT_TRUE(find_package_edits(package, {"Scenes/Main.usda"}).taken.empty());
}

TEST_F(CommitEditsTest, ThatConflictAreNamed) {
    publish_elsewhere("Scenes/Main.usda", "theirs");
    write_file(project_.scene(), "ours");
    PackageBase package = base();
    EXPECT_THROW(find_package_edits(package), quill::ConflictingEditsError);
    EXPECT_TRUE(failure_of([&] {
                    find_package_edits(package);
                }).starts_with("changed here and, otherwise, on main: Scenes/Main.usda; "));
}

TEST_F(CommitEditsTest, AreRefusedOnAnotherHeadThanTheyWereComparedWith) {
    CommitEdits edits;
    edits.branch = "main";
    edits.head = "a";
    EXPECT_EQ(failure_of([&] { quill::require_edits_of_base(edits, "b"); }),
              "tome_repository_status: branch has moved on the remote: main");
    EXPECT_EQ(failure_of([&] { quill::require_edits_of_base(edits, "a"); }), "no failure");
}

}  // namespace
}  // namespace quill_test
