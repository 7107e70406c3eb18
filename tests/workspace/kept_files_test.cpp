#include "workspace/checkout/kept_files.h"

#include <gtest/gtest.h>
#include <quill/quill.h>
#include <sys/stat.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "tests/support/file_test_support.h"
#include "tests/workspace/history_project.h"

namespace quill {
namespace {

namespace fs = std::filesystem;
using quill_test::failure_of;
using quill_test::HistoryProject;
using quill_test::read_file;
using quill_test::write_file;
using Texts = std::vector<std::string>;

const std::string scene = "Scenes/Main.usda";

Texts listed(const KeptFileSet& set) {
    Texts files;
    for (const KeptFile& file : set.files) {
        files.push_back(file.path + " " + std::to_string(file.size));
    }
    return files;
}

class KeptFiles : public testing::Test {
  protected:
    KeptFiles() { write_file(package() / scene, "what the package has now"); }

    fs::path package() const { return folder_ / "P.quillproject"; }
    fs::path sets() const { return package() / ".derived/tome-workspaces/.kept-files"; }

    /// Makes a set of these files, each with the bytes "kept"; the newest so far.
    std::string keep(const Texts& files, const std::string& rest = ".sync.main.12-34") {
        const std::string id = std::to_string(++time_) + rest;
        for (const std::string& file : files) {
            write_file(sets() / id / file, "kept");
        }
        return id;
    }
    KeptFilesRestoreResult restore(const std::string& id, const std::vector<fs::path>& paths = {}) const {
        return restore_kept_files(package(), id, paths);
    }
    std::string failure(const std::string& id, const std::vector<fs::path>& paths = {}) const {
        return failure_of([&] { restore(id, paths); });
    }

    quill_test::TemporaryFolder folder_;
    std::int64_t time_ = 1'600'000'000'000;
};

TEST_F(KeptFiles, AreListedBySetsTheNewestFirst) {
    const std::string older = keep({scene, "Assets/a.txt", "Assets/a b/c"});
    const std::string newer = keep({"x"}, ".restore.feature-2.12-34.unfinished");
    const std::vector<KeptFileSet> sets = list_kept_files(package());
    ASSERT_EQ(sets.size(), 2U);
    EXPECT_EQ(sets[0].id, newer);
    EXPECT_EQ(sets[0].time, 1'600'000'000'002);
    EXPECT_EQ(sets[0].operation, "restore");
    EXPECT_EQ(sets[0].workspace, "feature-2");
    EXPECT_FALSE(sets[0].complete);
    EXPECT_EQ(sets[1].id, older);
    EXPECT_EQ(sets[1].operation, "sync");
    EXPECT_EQ(sets[1].workspace, "main");
    EXPECT_TRUE(sets[1].complete);
    EXPECT_EQ(listed(sets[1]), (Texts{"Assets/a b/c 4", "Assets/a.txt 4", "Scenes/Main.usda 4"}));
}

TEST_F(KeptFiles, OfAPackageThatKeepsNothingAreNone) {
    EXPECT_TRUE(list_kept_files(package()).empty());
}

TEST_F(KeptFiles, AreNeitherLinksNorHiddenNorInWhatIsNoSet) {
    write_file(folder_ / "elsewhere/secret", "secret");
    const std::string id = keep({"a", ".git/config", "Workspaces/workspaces.json"});
    fs::create_symlink(folder_ / "elsewhere/secret", sets() / id / "link");
    fs::create_directory_symlink(folder_ / "elsewhere", sets() / id / "folder");
    fs::create_directory_symlink(folder_ / "elsewhere", sets() / "1700000000000.sync.main.12-34");
    fs::create_directories(sets() / "1700000000001.sync.main.12-34");
    write_file(sets() / "notes/b", "of the user");
    const std::vector<KeptFileSet> sets = list_kept_files(package());
    ASSERT_EQ(sets.size(), 1U);
    EXPECT_EQ(listed(sets[0]), (Texts{"a 4"}));
}

TEST_F(KeptFiles, BehindALinkAreRefused) {
    fs::create_directories(sets().parent_path());
    fs::create_directory_symlink(folder_.path(), sets());
    const std::string refusal = "a symbolic link stands in the way: " + sets().string();
    EXPECT_EQ(failure_of([&] { list_kept_files(package()); }), refusal);
    EXPECT_EQ(failure("1.sync.main.12-34"), refusal);
}

TEST_F(KeptFiles, ComeBackToWhereTheyWereAllOfThem) {
    const std::string id = keep({scene, "Assets/deep/er/gone.bin"});
    const KeptFilesRestoreResult result = restore(id);
    EXPECT_EQ(result.files, (Texts{"Assets/deep/er/gone.bin", scene}));
    EXPECT_EQ(read_file(package() / scene), "kept");
    EXPECT_EQ(read_file(package() / "Assets/deep/er/gone.bin"), "kept");
}

TEST_F(KeptFiles, ComeBackAloneWhereTheyAreNamed) {
    const std::string id = keep({scene, "a", "b"});
    EXPECT_EQ(restore(id, {"b", "Scenes/../a", "b"}).files, (Texts{"a", "b"}));
    EXPECT_EQ(read_file(package() / scene), "what the package has now");
}

TEST_F(KeptFiles, StayAsTheyAreWhenTheirFilesThatCameBackAreEdited) {
    const std::string id = keep({scene});
    restore(id);
    std::ofstream(package() / scene, std::ios::app) << ", and an edit in place";
    EXPECT_EQ(read_file(sets() / id / scene), "kept");
}

TEST_F(KeptFiles, ComingBackKeepWhatTheyReplaceSoThatItCanBeUndone) {
    const std::string id = keep({scene, "new"});
    const KeptFilesRestoreResult result = restore(id);
    const KeptFileSet undo = list_kept_files(package()).front();
    EXPECT_EQ(undo.id, result.keptSet);
    EXPECT_EQ(undo.operation, "restore-kept");
    EXPECT_EQ(undo.workspace, "main");
    EXPECT_TRUE(undo.complete);
    EXPECT_EQ(listed(undo), (Texts{scene + " 24"}));
    EXPECT_EQ(restore(undo.id).files, (Texts{scene}));
    EXPECT_EQ(read_file(package() / scene), "what the package has now");
}

TEST_F(KeptFiles, WithTheBytesThatAreThereReplaceNothingButTheExecutableBit) {
    const std::string id = keep({scene});
    write_file(package() / scene, "kept");
    fs::permissions(sets() / id / scene, fs::perms(0755));
    fs::permissions(package() / scene, fs::perms(0640));
    const fs::file_time_type time = fs::last_write_time(package() / scene);
    const KeptFilesRestoreResult result = restore(id);
    EXPECT_TRUE(result.files.empty());
    EXPECT_EQ(result.keptSet, "");
    EXPECT_EQ(fs::last_write_time(package() / scene), time);
    EXPECT_EQ(fs::status(package() / scene).permissions(), fs::perms(0750));
}

TEST_F(KeptFiles, OfAWorkspaceComeBackToItsCheckout) {
    const fs::path checkout = package() / ".derived/tome-workspaces/feature";
    write_file(checkout / scene, "of the workspace");
    const std::string id = keep({scene}, ".restore.feature.12-34");
    const KeptFilesRestoreResult result = restore(id);
    EXPECT_EQ(read_file(checkout / scene), "kept");
    EXPECT_EQ(read_file(package() / scene), "what the package has now");
    EXPECT_EQ(read_file(sets() / result.keptSet / scene), "of the workspace");
}

TEST_F(KeptFiles, OfAWorkspaceWithoutACheckoutAreRefused) {
    EXPECT_EQ(failure(keep({scene}, ".restore.feature.12-34")), "workspace has no checkout: feature");
}

TEST_F(KeptFiles, MoveAwayWhatStandsInTheirWay) {
    write_file(package() / "a/new.txt", "in a folder");
    write_file(package() / "b", "a file");
    const std::string id = keep({"a", "b/c/d"});
    const KeptFilesRestoreResult result = restore(id);
    EXPECT_EQ(read_file(package() / "a"), "kept");
    EXPECT_EQ(read_file(package() / "b/c/d"), "kept");
    EXPECT_EQ(listed(list_kept_files(package()).front()), (Texts{"a/new.txt 11", "b 6"}));
    restore(result.keptSet);
    EXPECT_EQ(read_file(package() / "a/new.txt"), "in a folder");
    EXPECT_EQ(read_file(package() / "b"), "a file");
}

TEST_F(KeptFiles, TakeThePlaceOfALinkAndNotOfWhatItLeadsTo) {
    write_file(folder_ / "elsewhere.usda", "of somebody");
    fs::remove(package() / scene);
    fs::create_symlink(folder_ / "elsewhere.usda", package() / scene);
    restore(keep({scene}));
    EXPECT_FALSE(fs::is_symlink(package() / scene));
    EXPECT_EQ(read_file(package() / scene), "kept");
    EXPECT_EQ(read_file(folder_ / "elsewhere.usda"), "of somebody");
}

TEST_F(KeptFiles, ThatAreNoneAreRefusedByName) {
    const std::string id = keep({scene});
    for (const std::string none : {"", "..", "1.sync.main.12-34", "1.sync.main.12-34.unfinished"}) {
        EXPECT_EQ(failure(none), "there are no kept files of this name: " + none);
    }
    EXPECT_EQ(failure(id, {scene, "Assets/other"}), "not among the kept files: Assets/other");
    EXPECT_EQ(failure(id, {"../" + id + "/" + scene}), "not among the kept files: ../" + id + "/" + scene);
    EXPECT_EQ(read_file(package() / scene), "what the package has now");
}

TEST_F(KeptFiles, AreAllCheckedBeforeTheFirstIsWritten) {
    write_file(folder_ / "elsewhere/a", "of somebody");
    fs::create_directory_symlink(folder_ / "elsewhere", package() / "Textures");
    EXPECT_EQ(failure(keep({scene, "Textures/a"})),
              "could not bring kept file back: a symbolic link stands in the way of Textures/a");
    ASSERT_EQ(mkfifo((package() / "pipe").c_str(), 0600), 0);
    EXPECT_EQ(failure(keep({scene, "pipe"})),
              "could not bring kept file back: what stands in its place is none of the project's files: pipe");
    write_file(package() / "Content2/.hidden", "not the project's");
    EXPECT_EQ(failure(keep({scene, "Content2"})),
              "could not bring kept file back: what stands in its place is none of the project's files: Content2");
    EXPECT_EQ(read_file(package() / scene), "what the package has now");
    EXPECT_EQ(read_file(folder_ / "elsewhere/a"), "of somebody");
    EXPECT_EQ(list_kept_files(package()).size(), 3U) << "something was kept";
}

TEST_F(KeptFiles, ThatCannotBeWrittenAreNamedAndWhatTheyWouldReplaceIsThere) {
    const std::string id = keep({scene});
    const auto text = quill_test::with_idle_calls(quill_test::renaming_calls(), EIO, [&] { return failure(id); });
    if (!text) {
        GTEST_SKIP() << "system calls cannot be refused here";
    }
    EXPECT_EQ(*text, "could not bring kept file back: " + scene);
    EXPECT_EQ(read_file(package() / scene), "what the package has now");
    EXPECT_FALSE(list_kept_files(package()).front().complete);
}

TEST(KeptFilesOfASync, AreWhatItReplacedOrRemovedWithOtherBytes) {
    const HistoryProject project;
    project.commit("committed");
    project.commit("same", "Assets/same.txt");
    project.commit("gone", "Assets/gone.txt");
    fs::remove(project.package() / "Assets/gone.txt");
    update_project_workspace_head(project.package(), "main", project.package(), {"Assets/gone.txt"}, "", "");
    write_file(project.scene(), "an edit");
    write_file(project.package() / "Assets/gone.txt", "made anew");
    write_file(project.package() / "Assets/other.txt", "not asked for");
    sync_project_workspace_files(project.package(), "main", {scene, "Assets/same.txt", "Assets/gone.txt", "Assets/no"},
                                 false);
    EXPECT_EQ(read_file(project.scene()), "committed");
    EXPECT_FALSE(fs::exists(project.package() / "Assets/gone.txt"));
    const std::vector<KeptFileSet> sets = list_kept_files(project.package());
    ASSERT_EQ(sets.size(), 1U);
    EXPECT_EQ(sets[0].operation, "sync");
    EXPECT_EQ(sets[0].workspace, "main");
    EXPECT_TRUE(sets[0].complete);
    EXPECT_EQ(listed(sets[0]), (Texts{"Assets/gone.txt 9", scene + " 7"}));
    restore_kept_files(project.package(), sets[0].id, {});
    EXPECT_EQ(read_file(project.scene()), "an edit");
    EXPECT_EQ(read_file(project.package() / "Assets/gone.txt"), "made anew");
}

TEST(KeptFilesOfASync, OfAWorkspaceAreThePackages) {
    const HistoryProject project;
    project.commit("first");
    create_project_workspace(project.package(), {}, "main", "Feature", "ana");
    write_file(project.scene(), "an edit");
    sync_project_workspace_files(project.package(), "feature", {scene}, false);
    EXPECT_EQ(read_file(project.scene()), "first");
    const KeptFileSet set = list_kept_files(project.package()).at(0);
    EXPECT_EQ(set.workspace, "main");
    restore_kept_files(project.package(), set.id, {});
    EXPECT_EQ(read_file(project.scene()), "an edit");
}

TEST(KeptFilesOfASync, AreNoneWhereItReplacesNothing) {
    const HistoryProject project;
    project.commit("first");
    sync_project_workspace_files(project.package(), "main", {scene}, false);
    fs::remove(project.scene());
    sync_project_workspace_files(project.package(), "main", {scene}, false);
    EXPECT_TRUE(list_kept_files(project.package()).empty());
}

TEST(KeptFilesOfASync, InAFolderThatGivesWayToAFileComeBack) {
    const HistoryProject project;
    project.commit("a file", "Assets/a");
    fs::remove(project.package() / "Assets/a");
    write_file(project.package() / "Assets/a/inner.txt", "an edit");
    sync_project_workspace_files(project.package(), "main", {"Assets/a", "Assets/a/inner.txt"}, false);
    EXPECT_EQ(read_file(project.package() / "Assets/a"), "a file");
    const KeptFileSet set = list_kept_files(project.package()).at(0);
    EXPECT_EQ(listed(set), (Texts{"Assets/a/inner.txt 7"}));
    restore_kept_files(project.package(), set.id, {});
    EXPECT_EQ(read_file(project.package() / "Assets/a/inner.txt"), "an edit");
}

TEST(KeptFilesOfASync, ThatCannotBeKeptMakeItFailBeforeAnythingIsReplaced) {
    const HistoryProject project;
    project.commit("first");
    write_file(project.scene(), "an edit");
    write_file(project.package() / ".derived/tome-workspaces/.kept-files", "a file where the folder is to be");
    EXPECT_EQ(failure_of([&] { sync_project_workspace_files(project.package(), "main", {scene}, false); }),
              "could not keep replaced workspace file: " + scene);
    EXPECT_EQ(read_file(project.scene()), "an edit");
}

TEST(KeptFilesOfARestore, OfAWorkspaceComeBackAsEditsOfItsCheckout) {
    const HistoryProject project;
    project.commit("first");
    create_project_workspace(project.package(), {}, "main", "Feature", "ana");
    const fs::path checkout = resolve_project_workspace_scene(project.package(), {}, "feature").checkoutRoot;
    const std::string first = list_project_workspace_revisions(project.package(), "feature", 1).at(0).id;
    write_file(checkout / scene, "second");
    update_project_workspace_head(project.package(), "feature", checkout, {scene}, "", "");
    write_file(checkout / scene, "an edit");
    restore_project_workspace_revision(project.package(), "feature", first, "", "", "", project.id(), {});
    EXPECT_EQ(read_file(checkout / scene), "first");
    const KeptFileSet set = list_kept_files(project.package()).at(0);
    EXPECT_EQ(set.operation, "restore");
    EXPECT_EQ(set.workspace, "feature");
    restore_kept_files(project.package(), set.id, {});
    EXPECT_EQ(read_file(checkout / scene), "an edit");
    const auto committed = update_project_workspace_head(project.package(), "feature", checkout, {scene}, "", "");
    EXPECT_EQ(committed.files.size(), 1U);
}

}  // namespace
}  // namespace quill
