// Merges into main with two copies of a package: the package follows whole, edits stay, and nothing is undone.
#include <gtest/gtest.h>

#include <quill/quill.h>

#include "tests/support/concurrency.h"
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

TEST_F(MergeWithTwoCopies, IntoAWorkspaceThatOthersPublishToIsMadeAnewOnTheNewHead) {
    const fs::path own = quill::project_workspace_checkout_root(a_, "feature");
    const fs::path theirs = quill::ensure_tome_checkout_for_workspace(b_, "feature", b_ / "Scenes/Main.usda");
    std::vector<std::string> failures(2);
    for (int round = 0; round < 8; ++round) {
        const std::string bytes = "round " + std::to_string(round);
        publish(a_, "one", bytes);
        on_threads(2, [&](int thread) {
            failures[static_cast<std::size_t>(thread)] = failure_of([&] {
                if (thread == 0) {
                    quill::merge_project_workspace_into(a_, "main", "feature", "");
                } else {
                    write_file(theirs / asset("three"), bytes);
                    quill::update_project_workspace_head(b_, "feature", theirs, {asset("three")}, "ben", "");
                }
            });
        });
        EXPECT_EQ(failures, std::vector<std::string>(2, "no failure"));
    }
    quill::sync_project_workspace_files(a_, "feature", {asset("one"), asset("three"), asset("two")}, false);
    EXPECT_EQ(read_file(own / asset("one")) + ", " + read_file(own / asset("three")), "round 7, round 7");
    EXPECT_EQ(read_file(own / asset("two")), "changed in the workspace");
}

TEST_F(MergeWithTwoCopies, IntoAWorkspaceIsRefusedBeforeItIsPublishedWhereItChangesAnEditedFile) {
    const fs::path own = quill::project_workspace_checkout_root(a_, "feature");
    publish(a_, "one", "changed on main");
    write_file(own / asset("one"), "edited in the workspace");
    const auto revisions_of_feature = [&] { return quill::list_project_workspace_revisions(a_, "feature", 0).size(); };
    const std::size_t before = revisions_of_feature();
    EXPECT_EQ(failure_of([&] { quill::merge_project_workspace_into(a_, "main", "feature", ""); }),
              "uncommitted changes would be overwritten: Assets/one.txt");
    EXPECT_EQ(revisions_of_feature(), before);
    EXPECT_EQ(read_file(own / asset("one")), "edited in the workspace");
}

}  // namespace
}  // namespace quill_test
