// With the real engine and directory remotes.
#include "workspace/checkout/workspace_checkout.h"

#include <thread>

#include "project/manifest.h"
#include "project/workspace_paths.h"
#include "tests/workspace/real_project.h"
#include "workspace/checkout/workspace_snapshot.h"
#include "workspace/operations/repository_bootstrap.h"

namespace {

namespace fs = std::filesystem;
using quill_test::failure_of;
using quill_test::read_file;
using quill_test::scene;
using quill_test::write_file;

class WorkspaceCheckout : public quill_test::RealProject {
  protected:
    WorkspaceCheckout() {
        make_project_with_remote();
        write_file(project_ / scene, "first");
        quill::initialize_project_tome_repository(project_);
        const quill::CheckoutLocation checkout{clone_of_main(), remote_};
        quill::call_tome_branch_create(checkout, "feature", "main", "quill-workspace", "ana");
        quill::push_tome_branch(checkout.root, "feature", remote_, false);
    }

    // Another's commit to main.
    void commit_to_main(const std::string& text) const {
        const fs::path clone = clone_of_main();
        write_file(clone / scene, text);
        quill::tome_stage_and_commit(clone, {scene}, remote_, "edit");
        quill::push_tome_branch(clone, "main", remote_, false);
    }

    fs::path checkout_ = folder_ / "checkout";
};

TEST_F(WorkspaceCheckout, BranchCheckoutIsBroughtToTheNewestHeadAgain) {
    quill::ensure_tome_branch_checkout(project_, checkout_, project_ / scene, "main");
    EXPECT_EQ(read_file(checkout_ / scene), "first");
    commit_to_main("second");
    quill::ensure_tome_branch_checkout(project_, checkout_, project_ / scene, "main");
    EXPECT_EQ(read_file(checkout_ / scene), "second");
    EXPECT_FALSE(quill::tome_checkout_uses_project_shared_store(project_, checkout_));
}

TEST_F(WorkspaceCheckout, BranchCheckoutTakesFilesOfAnyNameThatAnotherCommitted) {
    const fs::path clone = clone_of_main();
    const std::vector<std::string> files{".keel-project-id", ".keel-repository"};
    for (const std::string& file : files) {
        write_file(clone / file, "theirs");
    }
    quill::tome_stage_and_commit(clone, files, remote_, "edit");
    quill::push_tome_branch(clone, "main", remote_, false);
    quill::ensure_tome_branch_checkout(project_, checkout_, project_ / scene, "main");
    quill::call_tome_revision_sync({checkout_, remote_}, {});
    for (const std::string& file : files) {
        EXPECT_EQ(read_file(checkout_ / file), "theirs");
    }
}

TEST_F(WorkspaceCheckout, BranchCheckoutIsKeptHoweverItsRepositorysUrlIsWritten) {
    quill::ensure_tome_branch_checkout(project_, checkout_, project_ / scene, "main");
    write_file(checkout_ / "kept.txt", "kept");
    const std::string manifest = read_file(project_ / "project.json");
    const std::string url = quill::project_tome_repository_url(project_);
    std::string plain = manifest;
    plain.replace(plain.rfind(url), url.size(), url.substr(std::string("file://").size()));
    write_file(project_ / "project.json", plain);
    ASSERT_NE(quill::project_tome_repository_url(project_), url);
    quill::ensure_tome_branch_checkout(project_, checkout_, project_ / scene, "main");
    EXPECT_EQ(read_file(checkout_ / "kept.txt"), "kept");
}

TEST_F(WorkspaceCheckout, BranchCheckoutOfAnotherRepositoryIsClonedAnew) {
    quill::ensure_tome_branch_checkout(project_, checkout_, project_ / scene, "main");
    std::string manifest = read_file(project_ / "project.json");
    const std::string url = quill::project_tome_repository_url(project_);
    fs::copy(folder_ / "remote", folder_ / "remote2", fs::copy_options::recursive);
    manifest.replace(manifest.rfind(url), url.size(),
                     "file://" + (folder_ / "remote2" / fs::path(url).filename()).string());
    write_file(project_ / "project.json", manifest);
    quill::ensure_tome_branch_checkout(project_, checkout_, project_ / scene, "main");
    EXPECT_NE(read_file(checkout_ / ".tome/config.toml").find("remote2"), std::string::npos);
}

TEST_F(WorkspaceCheckout, BranchCheckoutFetchesTheSceneAlone) {
    quill::ensure_tome_branch_checkout(project_, checkout_, project_ / scene, "main");
    EXPECT_EQ(visible_files(checkout_), std::vector<std::string>{scene});
}

TEST_F(WorkspaceCheckout, BranchCheckoutThatUsedTheSharedStoreIsClonedWithout) {
    quill::clone_tome_checkout_if_needed(project_, checkout_, "main", {}, true, false);
    ASSERT_TRUE(quill::tome_checkout_uses_project_shared_store(project_, checkout_));
    quill::ensure_tome_branch_checkout(project_, checkout_, project_ / scene, "main");
    EXPECT_FALSE(quill::tome_checkout_uses_project_shared_store(project_, checkout_));
    EXPECT_EQ(read_file(checkout_ / scene), "first");
}

TEST_F(WorkspaceCheckout, WorkspaceCheckoutUsesTheSharedStore) {
    const fs::path checkout = quill::ensure_tome_checkout_for_workspace(project_, "feature", project_ / scene);
    EXPECT_EQ(read_file(checkout / scene), "first");
    EXPECT_TRUE(quill::tome_checkout_uses_project_shared_store(project_, checkout));
}

TEST_F(WorkspaceCheckout, HiddenSceneIsNotFetched) {
    for (const char* hidden : {"..sets/A.usda", ".ssh/authorized_keys", "Build/A.usda"}) {
        const fs::path checkout = quill::ensure_tome_checkout_for_workspace(project_, "feature", project_ / hidden);
        EXPECT_FALSE(fs::exists(checkout / hidden)) << hidden;
    }
}

TEST_F(WorkspaceCheckout, MarkerThatAnotherProcessHasWrittenWillDo) {
    const fs::path checkout = quill::ensure_tome_checkout_for_workspace(project_, "feature", project_ / scene);
    fs::remove(checkout / scene);
    fs::create_directories(checkout / ".derived/tome-materialization-v1.tmp");
    quill::ensure_tome_checkout_for_workspace(project_, "feature", project_ / scene);
    EXPECT_EQ(read_file(checkout / scene), "first");
}

TEST_F(WorkspaceCheckout, MarkerThatCannotBeWrittenIsReported) {
    write_file(quill::checkout_root_for_workspace_id(project_, "feature") / ".derived", "a file");
    EXPECT_NE(failure_of([&] { quill::ensure_tome_checkout_for_workspace(project_, "feature", project_ / scene); }),
              "no failure");
}

TEST_F(WorkspaceCheckout, CloneInterruptedBeforeItsConfigurationIsMadeAgain) {
    quill::clone_tome_checkout_if_needed(project_, checkout_, "main", {}, false, false);
    fs::remove(checkout_ / ".tome/config.toml");
    quill::ensure_tome_branch_checkout(project_, checkout_, project_ / scene, "main");
    EXPECT_EQ(read_file(checkout_ / scene), "first");
}

TEST_F(WorkspaceCheckout, EmptySharedStoreFolderIsReplacedByAStore) {
    fs::create_directories(quill::workspace_shared_store_path(project_));
    quill::ensure_workspace_shared_store(project_);
    EXPECT_FALSE(fs::is_empty(quill::workspace_shared_store_path(project_)));
}

TEST_F(WorkspaceCheckout, FailedCloneLeavesNothing) {
    EXPECT_EQ(
        failure_of([&] { quill::clone_tome_checkout_if_needed(project_, checkout_, "nobody", {}, false, false); }),
        "tome_repository_clone: branch does not exist: nobody");
    EXPECT_FALSE(fs::exists(checkout_));
}

TEST_F(WorkspaceCheckout, ThreadsThatNeedOneWorkspaceAllGetIt) {
    std::vector<std::string> texts(4);
    std::vector<std::thread> threads;
    for (std::string& text : texts) {
        threads.emplace_back([&] {
            try {
                text =
                    read_file(quill::ensure_tome_checkout_for_workspace(project_, "feature", project_ / scene) / scene);
            } catch (const std::exception& error) {
                text = error.what();
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(texts, std::vector<std::string>(4, "first"));
}

TEST_F(WorkspaceCheckout, MetadataCheckoutHoldsNoFiles) {
    const fs::path checkout = quill::ensure_tome_metadata_checkout(project_);
    EXPECT_TRUE(visible_files(checkout).empty());
    EXPECT_EQ(read_file(checkout / ".keel-project-id"), quill::read_project(project_).manifest.id + "\n");
}

}  // namespace
