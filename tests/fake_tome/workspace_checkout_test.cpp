#include "workspace/checkout/workspace_checkout.h"

#include <cerrno>

#include "project/workspace_paths.h"
#include "tests/fake_tome/fake_project.h"
#include "tests/support/file_test_support.h"

namespace {

namespace fs = std::filesystem;
using fake_tome::Call;
using fake_tome::Events;
using quill_test::failure_of;
using quill_test::read_file;
using quill_test::scene;
using quill_test::write_file;
using Texts = std::vector<std::string>;

const std::string no_remote =
    "native Tome workspaces require a configured Tome remote. Set tomeRemoteURL in project.json or "
    "QUILL_TOME_REMOTE_URL.";

class WorkspaceCheckout : public quill_test::FakeProject {
  protected:
    void clone(bool shared) { quill::clone_tome_checkout_if_needed(project_, checkout_, "feature", {}, shared, false); }

    void write_shared_configuration(const fs::path& checkout) const {
        write_file(checkout / ".tome/config.toml", "[shared_store_to_use]\nuse_shared_store = true\npath = \"" +
                                                       quill::workspace_shared_store_path_string(project_) + "\"\n");
    }

    fs::path checkout_ = folder_ / "checkout";
};

TEST_F(WorkspaceCheckout, ClonePassesRepositoryBranchAndRemote) {
    quill::clone_tome_checkout_if_needed(project_, checkout_, "feature", {scene}, false, true);
    const Call call = fake_tome::calls("tome_repository_clone").at(0);
    EXPECT_EQ(call.checkout, checkout_.string());
    EXPECT_EQ(call.remote_url, quill_test::fake_remote);
    EXPECT_EQ(call.value("repository_url"), quill_test::fake_repository_url);
    EXPECT_EQ(call.value("branch"), "feature");
    EXPECT_EQ(call.value("metadata_only"), "1");
    EXPECT_EQ(call.value("use_shared_store"), "0");
    EXPECT_EQ(call.value("branch_memory"), (project_ / ".derived/tome-workspaces/.branch-memory").string());
    EXPECT_EQ(call.list("paths"), Texts{scene});
}

TEST_F(WorkspaceCheckout, FinishedCloneIsKept) {
    write_file(checkout_ / ".tome/config.toml", "");
    clone(true);
    EXPECT_TRUE(fake_tome::calls().empty());
}

TEST_F(WorkspaceCheckout, InterruptedCloneIsReplaced) {
    write_file(checkout_ / ".tome/half", "");
    write_file(checkout_ / "left-over", "");
    clone(false);
    EXPECT_EQ(count_calls("tome_repository_clone"), 1u);
    EXPECT_FALSE(fs::exists(checkout_ / "left-over"));
    EXPECT_FALSE(fs::exists(checkout_ / ".tome/half"));
}

TEST_F(WorkspaceCheckout, CloneUsesTheSharedStore) {
    clone(true);
    EXPECT_EQ(fake_tome::operations(), (Texts{"tome_shared_store_create", "tome_repository_clone"}));
    const std::string store = (project_ / ".derived/tome-shared-store").string();
    EXPECT_EQ(fake_tome::calls().at(0).value("path"), store);
    EXPECT_EQ(fake_tome::calls().at(1).value("use_shared_store"), "1");
    EXPECT_EQ(fake_tome::calls().at(1).value("shared_store"), store);
    EXPECT_TRUE(quill::tome_checkout_uses_project_shared_store(project_, checkout_));
}

TEST_F(WorkspaceCheckout, CloneThatFailsWithTheSharedStoreIsTriedWithout) {
    fake_tome::once("tome_repository_clone", [](const Call& call, const Events& events) {
        write_file(fs::path(call.checkout) / ".tome/half", "");
        return events.fail(4, "store is damaged");
    });
    clone(true);
    const std::vector<Call> clones = fake_tome::calls("tome_repository_clone");
    ASSERT_EQ(clones.size(), 2u);
    EXPECT_EQ(clones[0].value("use_shared_store"), "1");
    EXPECT_EQ(clones[1].value("use_shared_store"), "0");
    EXPECT_EQ(clones[1].value("shared_store"), "");
    EXPECT_TRUE(quill::is_tome_checkout(checkout_));
    EXPECT_FALSE(fs::exists(checkout_ / ".tome/half"));
    EXPECT_FALSE(quill::tome_checkout_uses_project_shared_store(project_, checkout_));
}

TEST_F(WorkspaceCheckout, CloneThatFailsTwiceReportsTheLastFailureAndLeavesNothing) {
    fake_tome::once("tome_repository_clone",
                    [](const Call&, const Events& events) { return events.fail(4, "store is damaged"); });
    fake_tome::once("tome_repository_clone", [](const Call& call, const Events& events) {
        write_file(fs::path(call.checkout) / ".tome/half", "");
        return events.fail(5, "Not found: " + call.value("repository_url"));
    });
    EXPECT_EQ(failure_of([&] { clone(true); }), "tome_repository_clone: Not found: " + quill_test::fake_repository_url);
    EXPECT_EQ(count_calls("tome_repository_clone"), 2u);
    EXPECT_FALSE(fs::exists(checkout_));
}

TEST_F(WorkspaceCheckout, CloneWithoutSharedStoreIsTriedOnce) {
    fake_tome::on("tome_repository_clone", [](const Call&, const Events&) { return 1; });
    EXPECT_EQ(failure_of([&] { clone(false); }), "tome_repository_clone failed");
    EXPECT_EQ(count_calls("tome_repository_clone"), 1u);
    EXPECT_FALSE(fs::exists(checkout_));
}

TEST_F(WorkspaceCheckout, CloneIntoAPlaceThatCannotBeMadeFails) {
    write_file(folder_ / "file", "");
    const std::string failure = failure_of(
        [&] { quill::clone_tome_checkout_if_needed(project_, folder_ / "file/checkout", "main", {}, false, false); });
    EXPECT_EQ(failure.rfind("could not create Tome workspace checkout: ", 0), 0u) << failure;
    EXPECT_TRUE(fake_tome::calls().empty());
}

TEST_F(WorkspaceCheckout, CloneNeedsARepositoryUrl) {
    write_file(project_ / "project.json", "{\n}\n");
    EXPECT_EQ(failure_of([&] { clone(false); }),
              "native Tome workspaces require a project-scoped tomeRepositoryURL in project.json");
}

TEST_F(WorkspaceCheckout, RemoteIsRequired) {
    EXPECT_EQ(quill::require_project_tome_remote(project_), quill_test::fake_remote);
    write_file(project_ / "project.json", "{\n}\n");
    EXPECT_EQ(failure_of([&] { quill::require_project_tome_remote(project_); }), no_remote);
}

// ---- The shared store

TEST_F(WorkspaceCheckout, SharedStoreThatIsThereIsKept) {
    write_file(project_ / ".derived/tome-shared-store/store.db", "");
    quill::ensure_workspace_shared_store(project_);
    EXPECT_TRUE(fake_tome::calls().empty());
}

TEST_F(WorkspaceCheckout, EmptySharedStoreIsMadeAgain) {
    const fs::path store = project_ / ".derived/tome-shared-store";
    fs::create_directories(store);
    fake_tome::on("tome_shared_store_create", [&](const Call&, const Events&) {
        EXPECT_FALSE(fs::exists(store));
        return 0;
    });
    quill::ensure_workspace_shared_store(project_);
    EXPECT_EQ(count_calls("tome_shared_store_create"), 1u);
}

TEST_F(WorkspaceCheckout, EmptySharedStoreThatCannotBeRemovedIsReported) {
    fs::create_directories(project_ / ".derived/tome-shared-store");
    const auto message = quill_test::with_idle_calls(quill_test::removing_calls(), EIO, [&] {
        return failure_of([&] { quill::ensure_workspace_shared_store(project_); });
    });
    if (!message) {
        GTEST_SKIP() << "cannot make removals fail here";
    }
    EXPECT_EQ(*message, "could not replace empty Tome shared store: " + quill_test::system_message(EIO));
}

TEST_F(WorkspaceCheckout, SharedStoreNeedsARemote) {
    write_file(project_ / "project.json", "{\n}\n");
    EXPECT_EQ(failure_of([&] { quill::ensure_workspace_shared_store(project_); }),
              "cannot create a Tome shared store without a configured remote");
}

TEST_F(WorkspaceCheckout, SharedStoreNeedsItsParentFolder) {
    write_file(project_ / ".derived", "a file");
    const std::string failure = failure_of([&] { quill::ensure_workspace_shared_store(project_); });
    EXPECT_EQ(failure.rfind("could not create Tome shared store parent folder: ", 0), 0u) << failure;
}

TEST_F(WorkspaceCheckout, UseOfTheSharedStoreNeedsSectionLineAndPath) {
    const std::string path = "path = \"" + quill::workspace_shared_store_path_string(project_) + "\"\n";
    const auto uses = [&](const std::string& text) {
        write_file(checkout_ / ".tome/config.toml", text);
        return quill::tome_checkout_uses_project_shared_store(project_, checkout_);
    };
    EXPECT_FALSE(quill::tome_checkout_uses_project_shared_store(project_, checkout_));
    EXPECT_TRUE(uses("[shared_store_to_use]\nuse_shared_store = true\n" + path));
    EXPECT_FALSE(uses("use_shared_store = true\n" + path));
    EXPECT_FALSE(uses("[shared_store_to_use]\nuse_shared_store = false\n" + path));
    EXPECT_FALSE(uses("[shared_store_to_use]\nuse_shared_store = true\npath = \"/other\"\n"));
}

// ---- Checkouts of workspaces

TEST_F(WorkspaceCheckout, MainIsTheProjectsRepositoryAsItIs) {
    EXPECT_EQ(quill::ensure_tome_checkout_for_workspace(project_, "main", project_ / scene), project_);
    EXPECT_EQ(quill::ensure_tome_checkout_for_workspace(project_, "", project_ / scene), project_);
    EXPECT_TRUE(fake_tome::calls().empty());
}

TEST_F(WorkspaceCheckout, WorkspaceIsClonedSwitchedSyncedAndMarked) {
    const fs::path checkout = quill::ensure_tome_checkout_for_workspace(project_, "feature", project_ / scene);
    EXPECT_EQ(checkout, project_ / ".derived/tome-workspaces/feature");
    EXPECT_EQ(fake_tome::operations(),
              (Texts{"tome_shared_store_create", "tome_repository_clone", "tome_branch_switch", "tome_revision_sync"}));
    EXPECT_EQ(fake_tome::calls().at(2).value("name"), "feature");
    EXPECT_EQ(fake_tome::calls().at(3).list("paths"), Texts{scene});
    EXPECT_EQ(fake_tome::calls().at(3).value("fetch_newest"), "1");
    EXPECT_EQ(read_file(checkout / ".derived/tome-materialization-v1"), "feature\n");
    EXPECT_EQ(read_file(checkout / scene), "old scene");
}

TEST_F(WorkspaceCheckout, ReadyWorkspaceAsksTheEngineNothing) {
    quill::ensure_tome_checkout_for_workspace(project_, "feature", project_ / scene);
    const std::size_t before = fake_tome::calls().size();
    quill::ensure_tome_checkout_for_workspace(project_, "feature", project_ / scene);
    EXPECT_EQ(fake_tome::calls().size(), before);
}

TEST_F(WorkspaceCheckout, WorkspaceWithoutItsSceneIsBroughtUpToDate) {
    const fs::path checkout = quill::ensure_tome_checkout_for_workspace(project_, "feature", project_ / scene);
    fs::remove(checkout / scene);
    quill::ensure_tome_checkout_for_workspace(project_, "feature", project_ / scene);
    EXPECT_EQ(count_calls("tome_revision_sync"), 2u);
    EXPECT_TRUE(fs::exists(checkout / scene));
}

TEST_F(WorkspaceCheckout, WorkspaceWithAnotherMarkerIsBroughtUpToDate) {
    const fs::path checkout = quill::ensure_tome_checkout_for_workspace(project_, "feature", project_ / scene);
    write_file(checkout / ".derived/tome-materialization-v1", "other\n");
    quill::ensure_tome_checkout_for_workspace(project_, "feature", project_ / scene);
    EXPECT_EQ(count_calls("tome_branch_switch"), 2u);
    EXPECT_EQ(count_calls("tome_repository_clone"), 1u);
}

TEST_F(WorkspaceCheckout, SceneThatDoesNotMaterializeIsAFailure) {
    remote_files_.erase(scene);
    EXPECT_EQ(failure_of([&] { quill::ensure_tome_checkout_for_workspace(project_, "feature", project_ / scene); }),
              "workspace scene did not materialize after Tome sync: " + scene);
    EXPECT_FALSE(fs::exists(project_ / ".derived/tome-workspaces/feature/.derived/tome-materialization-v1"));
}

TEST_F(WorkspaceCheckout, FailureOfAnyCallLeavesTheWorkspaceUnmarked) {
    for (std::size_t n = 2; n <= 4; ++n) {
        const fs::path checkout = project_ / ".derived/tome-workspaces/feature";
        fs::remove_all(project_ / ".derived");
        fake_tome::fail_call(fake_tome::calls().size() + n, 7, "went wrong");
        if (n == 2) {  // the clone is tried again without the shared store
            fake_tome::fail_call(fake_tome::calls().size() + n + 1, 7, "went wrong");
        }
        const std::string failure =
            failure_of([&] { quill::ensure_tome_checkout_for_workspace(project_, "feature", project_ / scene); });
        EXPECT_NE(failure.find(": went wrong"), std::string::npos) << n << ": " << failure;
        EXPECT_FALSE(fs::exists(checkout / ".derived/tome-materialization-v1")) << n;
    }
}

// ---- Explicit checkouts

TEST_F(WorkspaceCheckout, BranchCheckoutIsClonedWithoutTheSharedStore) {
    quill::ensure_tome_branch_checkout(project_, checkout_, project_ / scene, "");
    EXPECT_EQ(fake_tome::operations(), (Texts{"tome_repository_clone", "tome_branch_switch", "tome_revision_sync"}));
    EXPECT_EQ(fake_tome::calls().at(0).value("use_shared_store"), "0");
    EXPECT_EQ(fake_tome::calls().at(1).value("name"), "main");
}

TEST_F(WorkspaceCheckout, BranchCheckoutThatUsesTheSharedStoreIsReplaced) {
    write_shared_configuration(checkout_);
    write_file(checkout_ / "left-over", "");
    quill::ensure_tome_branch_checkout(project_, checkout_, project_ / scene, "main");
    EXPECT_FALSE(fs::exists(checkout_ / "left-over"));
    EXPECT_EQ(count_calls("tome_repository_clone"), 1u);
}

TEST_F(WorkspaceCheckout, MetadataCheckoutIsMadeOnceAndTiedToTheProject) {
    const fs::path checkout = quill::ensure_tome_metadata_checkout(project_);
    EXPECT_EQ(checkout, project_ / ".derived/tome-workspaces" / ("metadata-" + quill::workspace_process_token()));
    EXPECT_EQ(quill::ensure_tome_metadata_checkout(project_), checkout);
    ASSERT_EQ(fake_tome::operations(), Texts{"tome_repository_clone"});
    const Call call = fake_tome::calls().at(0);
    EXPECT_EQ(call.value("metadata_only"), "1");
    EXPECT_EQ(call.value("branch"), "main");
    EXPECT_TRUE(call.list("paths").empty());
    EXPECT_TRUE(fs::exists(checkout / ".keel-project-id"));
}

TEST_F(WorkspaceCheckout, MetadataCheckoutOfAnotherProjectIsReplaced) {
    const fs::path checkout = quill::ensure_tome_metadata_checkout(project_);
    write_file(checkout / ".keel-project-id", "anotheranother\n");
    quill::ensure_tome_metadata_checkout(project_);
    EXPECT_EQ(count_calls("tome_repository_clone"), 2u);
}

TEST_F(WorkspaceCheckout, MetadataCheckoutWithTheSharedStoreIsReplaced) {
    const fs::path checkout = quill::ensure_tome_metadata_checkout(project_);
    write_shared_configuration(checkout);
    quill::ensure_tome_metadata_checkout(project_);
    EXPECT_EQ(count_calls("tome_repository_clone"), 2u);
}

TEST_F(WorkspaceCheckout, MetadataCheckoutNeedsAProjectId) {
    write_file(project_ / "project.json", "{\n  \"tomeRemoteURL\": \"file:///remote\"\n}\n");
    EXPECT_EQ(failure_of([&] { quill::ensure_tome_metadata_checkout(project_); }),
              "Tome history requires a valid Keel project ID");
}

}  // namespace
