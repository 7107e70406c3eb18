#include "workspace/operations/workspace_merge.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>

#include <quill/quill.h>

#include "tests/workspace/real_project.h"

namespace quill_test {
namespace {

namespace fs = std::filesystem;
using quill::merge_project_workspace_into;

// How a package came to its history: made with a remote it is a checkout itself, otherwise it is none.
enum class Package { IsACheckout, HistoryStartedLater };

class WorkspaceMerge : public RealProject, public testing::WithParamInterface<Package> {
  protected:
    WorkspaceMerge() {
        if (GetParam() == Package::IsACheckout) {
            setenv("QUILL_TOME_REMOTE_URL", remote_.c_str(), 1);
            quill::create_project_package(project_, "P", {});
            unsetenv("QUILL_TOME_REMOTE_URL");
        } else {
            make_project_with_remote();
        }
        for (const char* name : {"edited", "deleted", "moved", "kept"}) {
            write_file(project_ / "Assets" / name, name + std::string(" in the beginning\n"));
        }
        write_file(project_ / "Assets/lines", "one\ntwo\nthree\nfour\nfive\n");
        if (GetParam() == Package::HistoryStartedLater) {
            quill::initialize_project_tome_repository(project_);
        }
        commit_package({"Assets/edited", "Assets/deleted", "Assets/moved", "Assets/kept", "Assets/lines"});
        quill::create_project_workspace(project_, project_ / scene, "main", "Feature", "ana");
    }

    void commit_package(const std::vector<fs::path>& paths) const {
        quill::update_project_workspace_head(project_, "main", project_, paths, "ana", "");
    }

    fs::path feature() const { return quill::project_workspace_checkout_root(project_, "feature"); }

    void fetch(const std::vector<std::string>& paths) const {
        quill::TomeSync sync;
        sync.paths = paths;
        quill::call_tome_revision_sync({feature(), remote_}, sync);
    }

    void commit_feature(const std::vector<fs::path>& paths) const {
        quill::update_project_workspace_head(project_, "feature", feature(), paths, "ana", "");
    }

    /// The workspace edits, deletes, moves and adds a file each.
    void change_feature() const {
        quill::resolve_project_workspace_scene(project_, {}, "feature");
        fetch({"Assets"});
        write_file(feature() / "Assets/edited", "edited in the workspace\n");
        fs::remove(feature() / "Assets/deleted");
        fs::rename(feature() / "Assets/moved", feature() / "Assets/moved here");
        write_file(feature() / "Assets/added", "added\n");
        commit_feature({"Assets/edited", "Assets/deleted", "Assets/moved", "Assets/moved here", "Assets/added"});
    }

    std::string head_of(const std::string& workspace) const {
        return quill::list_project_workspace_revisions(project_, workspace, 1).at(0).id;
    }

    std::string merge_failure(const std::string& source, const std::string& target) const {
        return failure_of([&] { merge_project_workspace_into(project_, source, target, ""); });
    }
};

INSTANTIATE_TEST_SUITE_P(, WorkspaceMerge, testing::Values(Package::IsACheckout, Package::HistoryStartedLater),
                         [](const auto& test) {
                             return test.param == Package::IsACheckout ? "PackageIsACheckout" : "HistoryStartedLater";
                         });

TEST_P(WorkspaceMerge, IntoMainBringsEveryChangeToPackageAndRemote) {
    change_feature();
    merge_project_workspace_into(project_, "feature", "", "");
    for (const fs::path& root : {project_, clone_of_main()}) {
        EXPECT_EQ(read_file(root / "Assets/edited"), "edited in the workspace\n");
        EXPECT_FALSE(fs::exists(root / "Assets/deleted"));
        EXPECT_FALSE(fs::exists(root / "Assets/moved"));
        EXPECT_EQ(read_file(root / "Assets/moved here"), "moved in the beginning\n");
        EXPECT_EQ(read_file(root / "Assets/added"), "added\n");
        EXPECT_EQ(read_file(root / "Assets/kept"), "kept in the beginning\n");
    }
    const auto revision = quill::list_project_workspace_revisions(project_, "main", 1).at(0);
    EXPECT_NE(revision.linkedHash1, "");
    EXPECT_EQ(revision.linkedHash2, head_of("feature"));
    EXPECT_EQ(revision.id, head_of("main"));
}

TEST_P(WorkspaceMerge, OfTextsChangedInDifferentPlacesTakesBothChanges) {
    quill::resolve_project_workspace_scene(project_, {}, "feature");
    write_file(feature() / "Assets/lines", "ONE\ntwo\nthree\nfour\nfive\n");
    commit_feature({"Assets/lines"});
    write_file(project_ / "Assets/lines", "one\ntwo\nthree\nfour\nFIVE\n");
    commit_package({"Assets/lines"});
    merge_project_workspace_into(project_, "feature", "main", "");
    EXPECT_EQ(read_file(project_ / "Assets/lines"), "ONE\ntwo\nthree\nfour\nFIVE\n");
    EXPECT_EQ(read_file(clone_of_main() / "Assets/lines"), "ONE\ntwo\nthree\nfour\nFIVE\n");
}

TEST_P(WorkspaceMerge, WithConflictsNamesThemAllAndChangesNothing) {
    change_feature();
    write_file(feature() / "Assets/lines", "one\n2\nthree\nfour\nfive\n");
    commit_feature({"Assets/lines"});
    write_file(project_ / "Assets/edited", "edited in main\n");
    write_file(project_ / "Assets/lines", "one\nzwei\nthree\nfour\nfive\n");
    commit_package({"Assets/edited", "Assets/lines"});
    const std::string head = head_of("main");
    const auto files = visible_files(project_);
    EXPECT_EQ(merge_failure("feature", "main"), "merge has conflicts: Assets/edited: Assets/lines");
    EXPECT_EQ(head_of("main"), head);
    EXPECT_EQ(visible_files(project_), files);
    EXPECT_EQ(read_file(project_ / "Assets/edited"), "edited in main\n");
}

TEST_P(WorkspaceMerge, OverUncommittedBytesOfThePackageIsRefusedBeforeAnythingIsPublished) {
    change_feature();
    write_file(project_ / "Assets/edited", "not committed\n");
    write_file(project_ / "Assets/added", "another of that name\n");
    const std::string head = head_of("main");
    EXPECT_EQ(merge_failure("feature", "main"), "uncommitted changes would be overwritten: Assets/added and 1 more");
    EXPECT_EQ(head_of("main"), head);
    EXPECT_EQ(read_file(project_ / "Assets/edited"), "not committed\n");
    EXPECT_EQ(read_file(project_ / "Assets/added"), "another of that name\n");
    EXPECT_TRUE(fs::exists(project_ / "Assets/deleted"));
}

TEST_P(WorkspaceMerge, OverAnUncommittedFileWhereAFolderIsToBeIsRefusedBeforeAnythingIsPublished) {
    quill::resolve_project_workspace_scene(project_, {}, "feature");
    write_file(feature() / "Assets/edited", "edited in the workspace\n");
    write_file(feature() / "Assets/notes/n.txt", "new\n");
    commit_feature({"Assets/edited", "Assets/notes/n.txt"});
    write_file(project_ / "Assets/notes", "not committed\n");
    const std::string head = head_of("main");
    EXPECT_EQ(merge_failure("feature", "main"), "could not create merged project folder: Assets/notes");
    EXPECT_EQ(head_of("main"), head);
    EXPECT_EQ(read_file(project_ / "Assets/notes"), "not committed\n");
    EXPECT_EQ(read_file(project_ / "Assets/edited"), "edited in the beginning\n");
}

TEST_P(WorkspaceMerge, OverAnUncommittedFolderWhereAFileIsToBeIsRefusedBeforeAnythingIsPublished) {
    quill::resolve_project_workspace_scene(project_, {}, "feature");
    write_file(feature() / "Assets/edited", "edited in the workspace\n");
    write_file(feature() / "Assets/notes", "new\n");
    commit_feature({"Assets/edited", "Assets/notes"});
    write_file(project_ / "Assets/notes/mine", "not committed\n");
    const std::string head = head_of("main");
    EXPECT_EQ(merge_failure("feature", "main"), "could not materialize merged project file: Assets/notes");
    EXPECT_EQ(head_of("main"), head);
    EXPECT_EQ(read_file(project_ / "Assets/notes/mine"), "not committed\n");
    EXPECT_EQ(read_file(project_ / "Assets/edited"), "edited in the beginning\n");
}

TEST_P(WorkspaceMerge, BringsTheExecutableBit) {
    quill::resolve_project_workspace_scene(project_, {}, "feature");
    fetch({"Assets"});
    fs::permissions(feature() / "Assets/kept", fs::perms::owner_exec, fs::perm_options::add);
    commit_feature({"Assets/kept"});
    merge_project_workspace_into(project_, "feature", "main", "");
    EXPECT_NE(fs::status(project_ / "Assets/kept").permissions() & fs::perms::owner_exec, fs::perms::none);
}

TEST_P(WorkspaceMerge, KeepsUncommittedBytesThatItDoesNotMeet) {
    change_feature();
    write_file(project_ / "Assets/kept", "not committed\n");
    write_file(project_ / "Assets/edited", "edited in the workspace\n");  // what the merge brings, too
    merge_project_workspace_into(project_, "feature", "main", "");
    EXPECT_EQ(read_file(project_ / "Assets/kept"), "not committed\n");
    EXPECT_EQ(read_file(project_ / "Assets/added"), "added\n");
}

TEST_P(WorkspaceMerge, IntoAWorkspaceBringsItsCheckoutAndItsRecordAlong) {
    change_feature();
    write_file(project_ / "Assets/kept", "changed in main\n");
    commit_package({"Assets/kept"});
    fetch({"Assets/kept"});
    merge_project_workspace_into(project_, "main", "feature", "Keep up");
    EXPECT_EQ(read_file(feature() / "Assets/kept"), "changed in main\n");
    EXPECT_EQ(read_file(feature() / "Assets/added"), "added\n");
    EXPECT_EQ(quill::read_workspaces_without_main(project_).at(0).headKey, head_of("feature"));
    EXPECT_EQ(quill::list_project_workspace_revisions(project_, "feature", 1).at(0).linkedHash2, head_of("main"));
}

TEST_P(WorkspaceMerge, OverUncommittedBytesOfAWorkspaceIsRefused) {
    change_feature();
    write_file(project_ / "Assets/kept", "changed in main\n");
    commit_package({"Assets/kept"});
    write_file(feature() / "Assets/kept", "not committed\n");
    const std::string head = head_of("feature");
    EXPECT_EQ(merge_failure("main", "feature"), "uncommitted changes would be overwritten: Assets/kept");
    EXPECT_EQ(read_file(feature() / "Assets/kept"), "not committed\n");
    EXPECT_EQ(head_of("feature"), head);
}

TEST_P(WorkspaceMerge, OfWhatIsThereAlreadyAddsNoRevision) {
    change_feature();
    merge_project_workspace_into(project_, "feature", "main", "");
    const std::string head = head_of("main");
    merge_project_workspace_into(project_, "feature", "main", "");
    EXPECT_EQ(head_of("main"), head);
}

// Each side merges the other before both go on: two nearest common ancestors.
TEST_P(WorkspaceMerge, OfCrissCrossHistoriesKeepsTheChangesOfBoth) {
    quill::resolve_project_workspace_scene(project_, {}, "feature");
    fetch({"Assets"});
    write_file(feature() / "Assets/added", "by the workspace\n");
    commit_feature({"Assets/added"});
    write_file(project_ / "Assets/kept", "by main\n");
    commit_package({"Assets/kept"});
    quill::create_project_workspace(project_, project_ / scene, "main", "Old main", "ana");
    merge_project_workspace_into(project_, "feature", "main", "");
    merge_project_workspace_into(project_, "old-main", "feature", "");
    fetch({"Assets"});
    write_file(feature() / "Assets/kept", "by main, then by the workspace\n");
    commit_feature({"Assets/kept"});
    write_file(project_ / "Assets/added", "by the workspace, then by main\n");
    commit_package({"Assets/added"});
    merge_project_workspace_into(project_, "feature", "main", "");
    EXPECT_EQ(read_file(project_ / "Assets/kept"), "by main, then by the workspace\n");
    EXPECT_EQ(read_file(project_ / "Assets/added"), "by the workspace, then by main\n");
}

TEST_P(WorkspaceMerge, FileThatAWorkspaceMadeAndDeletedAgainIsDeletedThere) {
    quill::resolve_project_workspace_scene(project_, {}, "feature");
    write_file(feature() / "Assets/new", "new");
    commit_feature({"Assets/new"});
    fs::remove(feature() / "Assets/new");
    const auto result = quill::update_project_workspace_head(project_, "feature", feature(), {"Assets/new"}, "ana", "");
    ASSERT_EQ(result.files.size(), 1U);
    EXPECT_EQ(result.files[0].change, "delete");
}

TEST_P(WorkspaceMerge, IntoAWorkspaceMergesLinesOfAFileThatItCommitted) {
    quill::resolve_project_workspace_scene(project_, {}, "feature");
    write_file(feature() / "Assets/lines", "ONE\ntwo\nthree\nfour\nfive\n");
    commit_feature({"Assets/lines"});
    write_file(project_ / "Assets/lines", "one\ntwo\nthree\nfour\nFIVE\n");
    commit_package({"Assets/lines"});
    EXPECT_EQ(merge_failure("main", "feature"), "no failure");
    EXPECT_EQ(read_file(feature() / "Assets/lines"), "ONE\ntwo\nthree\nfour\nFIVE\n");
}

TEST_P(WorkspaceMerge, ThatIsPublishedAlreadyIsCompletedInThePackage) {
    change_feature();
    const auto before = folder_ / "before";
    const fs::path base = project_ / ".derived/tome-workspaces/.package-base";
    fs::copy(project_ / "Assets", before, fs::copy_options::recursive);
    fs::copy(base, folder_ / "base", fs::copy_options::recursive);
    merge_project_workspace_into(project_, "feature", "main", "");
    for (const auto& [folder, copy] : {std::pair(project_ / "Assets", before), std::pair(base, folder_ / "base")}) {
        fs::remove_all(folder);  // As if the process had ended between the push and the package.
        fs::copy(copy, folder, fs::copy_options::recursive);
    }
    write_file(project_ / "Assets/edited", "edited since\n");
    merge_project_workspace_into(project_, "feature", "main", "");
    EXPECT_EQ(read_file(project_ / "Assets/added"), "added\n");
    EXPECT_FALSE(fs::exists(project_ / "Assets/deleted"));
    EXPECT_EQ(read_file(project_ / "Assets/edited"), "edited since\n");
}

TEST_P(WorkspaceMerge, IsRefusedBeforeItIsPublishedWhenALinkStandsInTheWay) {
    change_feature();
    const std::string head = head_of("main");
    fs::rename(project_ / "Assets", project_ / ".moved");
    fs::create_directory_symlink(".moved", project_ / "Assets");
    EXPECT_NE(merge_failure("feature", "main"), "no failure");
    EXPECT_EQ(head_of("main"), head);
}

TEST_P(WorkspaceMerge, OfUnknownWorkspacesIsRefused) {
    EXPECT_EQ(merge_failure("nobody", "main"), "workspace branch does not exist");
    EXPECT_EQ(merge_failure("feature", "nobody"), "workspace branch does not exist");
}

TEST_P(WorkspaceMerge, DiffNamesWhatTheWorkspaceChanged) {
    change_feature();
    std::vector<std::string> changes;
    for (const auto& entry : quill::diff_project_workspaces(project_, "", "feature")) {
        changes.push_back(entry.change + " " + entry.path);
    }
    EXPECT_EQ(changes, (std::vector<std::string>{"add Assets/added", "delete Assets/deleted", "modify Assets/edited",
                                                 "move Assets/moved here"}));
    EXPECT_EQ(failure_of([&] { quill::diff_project_workspaces(project_, "nobody", "main"); }),
              "workspace branch does not exist");
}

class LargeWorkspaceMerge : public RealProject {
  protected:
    static constexpr int files = 10'000;

    /// 100 files in each of 100 folders.
    static std::string name_of(int n) { return "Assets/" + std::to_string(n / 100) + "/" + std::to_string(n); }
    static std::string bytes_of(int n) { return "file " + std::to_string(n) + "\n"; }

    void SetUp() override {
#if defined(QUILL_ADDRESS_SANITIZER) || defined(QUILL_THREAD_SANITIZER)
        GTEST_SKIP() << "a sanitizer sees the same in a small project";
#endif
        make_project_with_remote();
        for (int n = 0; n < files; ++n) {
            write_file(project_ / name_of(n), bytes_of(n));
        }
        quill::initialize_project_tome_repository(project_);
    }

    /// A workspace that edits 80 of every hundredth file from `first` on, deletes 10 and moves 10, and a new one.
    void make_workspace(const std::string& id, int first) {
        quill::create_project_workspace(project_, project_ / scene, "main", id, "ana");
        quill::resolve_project_workspace_scene(project_, {}, id);
        const fs::path root = quill::project_workspace_checkout_root(project_, id);
        quill::TomeSync sync;
        for (int n = first; n < files; n += 100) {
            sync.paths.push_back(name_of(n));
        }
        quill::call_tome_revision_sync({root, remote_}, sync);
        std::vector<fs::path> paths{"Assets/new in " + id};
        write_file(root / paths.back(), "new\n");
        expected_[paths.back().string()] = "new\n";
        for (int n = first; n < files; n += 100) {
            change(root, id, n, paths);
        }
        quill::update_project_workspace_head(project_, id, root, paths, "ana", "");
    }

    /// The files below Assets that a checkout or package is to hold after both merges.
    std::map<std::string, std::string> expected() const {
        std::map<std::string, std::string> result = expected_;
        for (int n = 0; n < files; ++n) {
            if (!gone_.contains(n)) {
                result.try_emplace(name_of(n), bytes_of(n));
            }
        }
        return result;
    }

    static std::map<std::string, std::string> assets_of(const fs::path& root) {
        std::map<std::string, std::string> result;
        for (const std::string& path : visible_files(root)) {
            if (path.starts_with("Assets/")) {
                result[path] = read_file(root / path);
            }
        }
        return result;
    }

  private:
    void change(const fs::path& root, const std::string& id, int n, std::vector<fs::path>& paths) {
        const int folder = n / 100;
        paths.emplace_back(name_of(n));
        if (folder < 80) {
            expected_[name_of(n)] = "edited in " + id + "\n";
            return write_file(root / name_of(n), "edited in " + id + "\n");
        }
        gone_.insert(n);
        if (folder < 90) {
            fs::remove(root / name_of(n));
            return;
        }
        paths.emplace_back(name_of(n) + " moved");
        fs::rename(root / name_of(n), root / paths.back());
        expected_[paths.back().string()] = bytes_of(n);
    }

    std::map<std::string, std::string> expected_;
    std::set<int> gone_;
};

TEST_F(LargeWorkspaceMerge, OfTwoWorkspacesWithAHundredChangesEachKeepsThemAll) {
    make_workspace("first", 7);
    make_workspace("second", 42);
    merge_project_workspace_into(project_, "first", "second", "");
    merge_project_workspace_into(project_, "second", "main", "");
    EXPECT_TRUE(assets_of(project_) == expected());
    EXPECT_TRUE(assets_of(clone_of_main()) == expected());
}

}  // namespace
}  // namespace quill_test
