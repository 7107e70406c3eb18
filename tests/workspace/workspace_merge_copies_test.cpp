// Merges into main with two copies of a package: the package follows whole, edits stay, and nothing is undone.
#include <gtest/gtest.h>

#include <quill/quill.h>

#include "tests/support/failure.h"
#include "tests/workspace/history_project.h"

namespace quill_test {
namespace {

namespace fs = std::filesystem;

class MergeWithTwoCopies : public testing::Test {
  protected:
    /// Two packages with the files on main, and a workspace that has changed two.txt.
    MergeWithTwoCopies() {
        for (const char* name : {"one", "two", "three"}) {
            project_.commit(std::string(name) + " in the beginning", asset(name));
        }
        fs::copy(a_, b_, fs::copy_options::recursive);
        quill::create_project_workspace(a_, a_ / "Scenes/Main.usda", "main", "Feature", "ana");
        change_in_feature("two", "changed in the workspace");
    }

    static std::string asset(const std::string& name) { return "Assets/" + name + ".txt"; }

    void change_in_feature(const std::string& name, const std::string& bytes) const {
        const fs::path checkout = quill::ensure_tome_checkout_for_workspace(a_, "feature", {});
        write_file(checkout / asset(name), bytes);
        quill::update_project_workspace_head(a_, "feature", checkout, {asset(name)}, "ana", "");
    }

    void publish(const fs::path& package, const std::string& name, const std::string& bytes) const {
        write_file(package / asset(name), bytes);
        quill::update_project_workspace_head(package, "main", package, {asset(name)}, "ana", "");
    }

    std::string merge(const fs::path& package) const {
        return failure_of([&] { quill::merge_project_workspace_into(package, "feature", "main", ""); });
    }

    std::string read(const fs::path& package, const std::string& name) const {
        return fs::exists(package / asset(name)) ? read_file(package / asset(name)) : "none";
    }

    std::size_t revisions() const { return quill::list_project_workspace_revisions(a_, "main", 0).size(); }

    HistoryProject project_;
    TemporaryFolder folder_;
    fs::path a_ = project_.package();
    fs::path b_ = folder_ / "B.quillproject";
};

TEST_F(MergeWithTwoCopies, BringsWhatOthersPublishedBefore) {
    publish(a_, "three", "changed by A");
    publish(a_, "four", "added by A");
    EXPECT_EQ(merge(b_), "no failure");
    EXPECT_EQ(read(b_, "two"), "changed in the workspace");
    EXPECT_EQ(read(b_, "three"), "changed by A");
    EXPECT_EQ(read(b_, "four"), "added by A");
    quill::create_project_workspace(b_, b_ / "Scenes/Main.usda", "main", "Next", "ben");
    quill::sync_project_workspace_files(a_, "main", {asset("two"), asset("three"), asset("four")}, false);
    EXPECT_EQ(read(a_, "two"), "changed in the workspace");
    EXPECT_EQ(read(a_, "three") + read(a_, "four"), "changed by Aadded by A");
}

TEST_F(MergeWithTwoCopies, ThatAnotherCopyPublishedReachesThePackageWithTheNextMerge) {
    EXPECT_EQ(merge(a_), "no failure");
    publish(a_, "three", "changed by A");
    EXPECT_EQ(merge(b_), "no failure");
    EXPECT_EQ(read(b_, "two") + ", " + read(b_, "three"), "changed in the workspace, changed by A");
}

TEST_F(MergeWithTwoCopies, KeepsEditsOfFilesThatNobodyElseChanged) {
    write_file(b_ / asset("one"), "edited by B");
    EXPECT_EQ(merge(b_), "no failure");
    EXPECT_EQ(read(b_, "one"), "edited by B");
    EXPECT_EQ(read(b_, "two"), "changed in the workspace");
}

TEST_F(MergeWithTwoCopies, IsRefusedBeforeItIsPublishedWhereItOrOthersChangedAnEditedFile) {
    publish(a_, "three", "changed by A");
    const std::size_t before = revisions();
    for (const char* name : {"two", "three"}) {
        write_file(b_ / asset(name), "edited by B");
    }
    EXPECT_EQ(merge(b_), "uncommitted changes would be overwritten: Assets/three.txt and 1 more");
    EXPECT_EQ(revisions(), before);
    EXPECT_EQ(read(b_, "two") + ", " + read(b_, "three"), "edited by B, edited by B");
}

TEST_F(MergeWithTwoCopies, TakesBytesOfAnEarlierVersionForNoEdit) {
    publish(a_, "two", "second");
    change_in_feature("one", "changed in the workspace");
    write_file(a_ / asset("one"), "one in the beginning");
    write_file(b_ / asset("one"), "one in the beginning");
    publish(a_, "one", "second");
    publish(a_, "one", "one in the beginning");
    quill::sync_project_workspace_files(b_, "main", {asset("one")}, false);
    write_file(b_ / asset("one"), "second");
    EXPECT_EQ(read(b_, "one"), "second");
    EXPECT_TRUE(merge(b_).starts_with("merge has conflicts: Assets/two.txt")) << merge(b_);
    publish(a_, "two", "two in the beginning");
    EXPECT_EQ(merge(b_), "no failure");
    EXPECT_EQ(read(b_, "one"), "changed in the workspace");
}

}  // namespace
}  // namespace quill_test
