#include "workspace/operations/workspace_sync.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include "project/workspace_paths.h"
#include "tests/fake_tome/fake_project.h"

namespace {

namespace fs = std::filesystem;
using fake_tome::Call;
using fake_tome::Events;
using quill_test::failure_of;
using quill_test::read_file;
using quill_test::scene;
using quill_test::write_file;
using Texts = std::vector<std::string>;

class WorkspaceSync : public quill_test::FakeProject {
  protected:
    quill::ProjectWorkspaceMutationResult sync(const std::vector<fs::path>& paths, bool overwrite = false) const {
        return quill::sync_project_workspace_files(project_, "", paths, overwrite);
    }

    // The sync that brings the asked files, after the one that brings the checkout to its branch.
    static Call last_sync() { return fake_tome::calls("tome_revision_sync").back(); }
};

TEST_F(WorkspaceSync, WithoutPathsDoesNothingNotEvenAskForARemote) {
    write_file(project_ / "project.json", "{}");
    EXPECT_TRUE(quill::sync_project_workspace_files(project_, "", {}, false).files.empty());
    EXPECT_TRUE(fake_tome::calls().empty());
}

TEST_F(WorkspaceSync, WithoutARemoteIsRefused) {
    write_file(project_ / "project.json", "{\"id\": \"abcdefghijklmnop\"}");
    EXPECT_EQ(failure_of([&] { sync({scene}); }),
              "native Tome workspaces require a configured Tome remote. Set tomeRemoteURL in project.json or "
              "QUILL_TOME_REMOTE_URL.");
}

TEST_F(WorkspaceSync, BringsFilesAndRemovesThoseThatTheWorkspaceLacks) {
    write_file(project_ / "Assets/late.bin", "gone in the workspace");
    remote_files_["Assets/deep/er/new.bin"] = "new";
    const auto result = sync({scene, "Assets/late.bin", "Assets/deep/er/new.bin"});
    EXPECT_EQ(read_file(project_ / scene), "old scene");
    EXPECT_EQ(read_file(project_ / "Assets/deep/er/new.bin"), "new");
    EXPECT_FALSE(fs::exists(project_ / "Assets/late.bin"));
    EXPECT_EQ(result.headKey, fake_tome::make_hash_hex(0));
    ASSERT_EQ(result.files.size(), 3U);
    EXPECT_EQ(result.files[1].path, "Assets/late.bin");
    EXPECT_EQ(result.files[1].change, "delete");
    EXPECT_EQ(result.files[2].change, "copy");
}

TEST_F(WorkspaceSync, OfMainUsesTheCheckoutOfThisProcessForThat) {
    sync({scene});
    EXPECT_EQ(last_sync().checkout, quill::workspace_main_materialize_checkout(project_).string());
    EXPECT_EQ(last_sync().list("paths"), (Texts{scene}));
    EXPECT_EQ(last_sync().value("overwrite"), "0");
}

TEST_F(WorkspaceSync, HandsTheCallersFlagOn) {
    sync({scene}, true);
    EXPECT_EQ(last_sync().value("overwrite"), "1");
}

TEST_F(WorkspaceSync, PassesOverPathsThatLieOutsideOrAreHidden) {
    remote_files_["Build/out.bin"] = "made elsewhere";
    sync({"/etc/hostname", "../outside", "Build/out.bin", ".derived/x", "Scenes/../" + scene});
    EXPECT_EQ(last_sync().list("paths"), (Texts{scene}));
    EXPECT_FALSE(fs::exists(project_ / "Build/out.bin"));
}

TEST_F(WorkspaceSync, OfHiddenPathsAloneAsksTheEngineForNoFile) {
    EXPECT_TRUE(sync({".derived/x", "../y"}).files.empty());
    EXPECT_EQ(count_calls("tome_revision_sync"), 0U);
}

TEST_F(WorkspaceSync, FailureOfTheEngineLeavesThePackageAsItWas) {
    fake_tome::on("tome_revision_sync", [this](const Call& call, const Events& events) {
        if (call.checkout.find(".main-materialize-") != std::string::npos && call.list("paths") == Texts{"Assets/a"}) {
            return events.fail(9, "uncommitted changes would be overwritten: Assets/a");
        }
        for (const auto& [path, bytes] : remote_files_) {
            write_file(fs::path(call.checkout) / path, bytes);
        }
        return 0;
    });
    write_file(project_ / "Assets/a", "mine");
    EXPECT_EQ(failure_of([&] { sync({"Assets/a"}); }),
              "tome_revision_sync: uncommitted changes would be overwritten: Assets/a");
    EXPECT_EQ(read_file(project_ / "Assets/a"), "mine");
}

TEST_F(WorkspaceSync, FileWhereAFolderIsNeededIsNamedAndKept) {
    remote_files_["Assets/a.bin"] = "a";
    write_file(project_ / "Assets", "a file");
    EXPECT_EQ(failure_of([&] { sync({"Assets/a.bin"}); }), "could not create merged project folder: Assets");
    EXPECT_EQ(read_file(project_ / "Assets"), "a file");
}

TEST_F(WorkspaceSync, FolderWithOtherFilesWhereAFileIsToBeIsNamedAndKept) {
    remote_files_["Assets/a"] = "a file";
    write_file(project_ / "Assets/a/mine.bin", "mine");
    EXPECT_EQ(failure_of([&] { sync({"Assets/a"}); }), "could not materialize merged project file: Assets/a");
    EXPECT_EQ(read_file(project_ / "Assets/a/mine.bin"), "mine");
}

TEST_F(WorkspaceSync, OfAnUnknownWorkspaceIsRefused) {
    EXPECT_EQ(failure_of([&] { quill::sync_project_workspace_files(project_, "nobody", {scene}, false); }),
              "workspace branch does not exist: nobody");
}

}  // namespace
