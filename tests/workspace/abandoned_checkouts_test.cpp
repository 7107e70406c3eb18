#include "workspace/checkout/abandoned_checkouts.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "project/workspace_paths.h"
#include "tests/support/package_folder.h"

namespace {

namespace fs = std::filesystem;

// The id of a process that has ended and has been waited for.
std::string dead_process() {
    const pid_t child = fork();
    if (child == 0) {
        _exit(0);
    }
    waitpid(child, nullptr, 0);
    return std::to_string(child);
}

// A checkout's folder opened anew, as another process would.
class OpenFolder {
  public:
    explicit OpenFolder(const fs::path& folder) : descriptor_(open(folder.c_str(), O_RDONLY | O_DIRECTORY)) {}
    ~OpenFolder() { close(descriptor_); }
    OpenFolder(const OpenFolder&) = delete;
    OpenFolder& operator=(const OpenFolder&) = delete;
    bool lock(int kind) const { return flock(descriptor_, kind | LOCK_NB) == 0; }

  private:
    int descriptor_;
};

class AbandonedCheckouts : public quill_test::PackageFolder {
  protected:
    fs::path make(const std::string& name) const {
        quill_test::write_file(base_ / name / "Scenes/Main.usda", "scene");
        return base_ / name;
    }

    void make_metadata(const std::string& name) const {
        quill_test::write_file(base_ / name / ".keel-project-id", "abcdefghijklmnop\n");
    }

    fs::path base_ = quill::workspace_checkout_base(project_);
    std::string dead_ = dead_process();
};

TEST_F(AbandonedCheckouts, OfADeadProcessAreRemoved) {
    for (const std::string prefix :
         {".main-commit-", ".workspace-commit-a-1-", ".main-materialize-", ".remote-bootstrap-"}) {
        make(prefix + dead_ + "-12345");
    }
    make_metadata("metadata-" + dead_ + "-12345");
    make(".workspace-restore-feature-2-" + dead_ + "-12345-1700000000000");
    make(".workspace-restore-main-" + dead_ + "-12345-1700000000000-selected-tree");
    make(".workspace-restore-main-" + dead_ + "-12345-1700000000000-published-head");
    quill::remove_abandoned_checkouts(project_);
    EXPECT_TRUE(fs::is_empty(base_));
}

TEST_F(AbandonedCheckouts, PreviewsOfADeadProcessAreRemovedWithTheirMarkers) {
    const std::string revision = ".history-preview/main/abc123/";
    make(revision + dead_ + "-12345");
    quill_test::write_file(base_ / revision / ("." + dead_ + "-12345.ready"), "abc123\n");
    const fs::path living = make(".history-preview/main/def456/" + std::to_string(getppid()) + "-12345");
    quill::remove_abandoned_checkouts(project_);
    EXPECT_FALSE(fs::exists(base_ / revision));
    EXPECT_TRUE(fs::exists(living));
}

TEST_F(AbandonedCheckouts, OfALivingProcessStay) {
    const fs::path checkout = make(".main-commit-" + std::to_string(getppid()) + "-12345");
    const fs::path own = make("metadata-" + quill::workspace_process_token());
    quill::remove_abandoned_checkouts(project_);
    EXPECT_TRUE(fs::exists(checkout));
    EXPECT_TRUE(fs::exists(own));
}

TEST_F(AbandonedCheckouts, ThatAreHeldStay) {
    const fs::path checkout = make(".main-commit-" + dead_ + "-12345");
    const OpenFolder holder(checkout);  // as a process of another machine's numbering would
    ASSERT_TRUE(holder.lock(LOCK_SH));
    quill::remove_abandoned_checkouts(project_);
    EXPECT_TRUE(fs::exists(checkout));
}

TEST_F(AbandonedCheckouts, AreNeverWorkspacesOrOtherFolders) {
    const std::vector<std::string> kept{"feature",
                                        "metadata",
                                        "metadata-x",
                                        "metadata-1",
                                        ".branch-index",
                                        ".history-preview",
                                        "main-commit-" + dead_ + "-1",
                                        ".main-commit-0-1",
                                        ".main-commit--1-2"};
    for (const std::string& name : kept) {
        make(name);
    }
    quill::remove_abandoned_checkouts(project_);
    for (const std::string& name : kept) {
        EXPECT_TRUE(fs::exists(base_ / name / "Scenes/Main.usda")) << name;
    }
}

TEST_F(AbandonedCheckouts, WorkspaceNamedLikeAMetadataCheckoutStays) {
    const fs::path workspace = make("metadata-" + dead_ + "-11");
    quill::remove_abandoned_checkouts(project_);
    EXPECT_TRUE(fs::exists(workspace / "Scenes/Main.usda"));
}

TEST_F(AbandonedCheckouts, LinkIsNotFollowed) {
    quill_test::write_file(folder_ / "elsewhere/file", "bytes");
    fs::create_directories(base_);
    fs::create_directory_symlink(folder_ / "elsewhere", base_ / (".main-commit-" + dead_ + "-1"));
    quill::remove_abandoned_checkouts(project_);
    EXPECT_TRUE(fs::exists(folder_ / "elsewhere/file"));
}

TEST_F(AbandonedCheckouts, AreLookedForOnceInAProcess) {
    quill::remove_abandoned_checkouts(project_);
    const fs::path late = make(".main-commit-" + dead_ + "-12345");
    quill::remove_abandoned_checkouts(project_);
    EXPECT_TRUE(fs::exists(late));
}

TEST_F(AbandonedCheckouts, HeldCheckoutIsLockedUntilItIsMadeAnew) {
    const fs::path checkout = make("metadata-" + quill::workspace_process_token());
    EXPECT_TRUE(OpenFolder(checkout).lock(LOCK_EX));
    quill::hold_checkout(checkout);
    EXPECT_FALSE(OpenFolder(checkout).lock(LOCK_EX));
    fs::remove_all(checkout);
    make(checkout.filename().string());
    EXPECT_TRUE(OpenFolder(checkout).lock(LOCK_EX));
    quill::hold_checkout(checkout);
    EXPECT_FALSE(OpenFolder(checkout).lock(LOCK_EX));
}

TEST_F(AbandonedCheckouts, HoldingWhatIsNotThereIsHarmless) {
    quill::hold_checkout(base_ / "nothing");
    EXPECT_FALSE(fs::exists(base_ / "nothing"));
}

}  // namespace
