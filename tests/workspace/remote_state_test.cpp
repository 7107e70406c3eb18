// A project whose remote went back to an older state, on the real engine.
#include "workspace/checkout/remote_state.h"

#include <gtest/gtest.h>

#include <quill/quill.h>

#include "tests/support/failure.h"
#include "tests/workspace/history_project.h"

namespace quill {
namespace {

namespace fs = std::filesystem;
using quill_test::failure_of;
using quill_test::HistoryProject;
using quill_test::read_file;
using quill_test::write_file;

class RemoteState : public testing::Test {
  protected:
    fs::path repository() const { return project_.remote() / project_.id(); }

    static void copy(const fs::path& from, const fs::path& to) {
        fs::remove_all(to);
        fs::copy(from, to, fs::copy_options::recursive);
    }
    void back_up() const { copy(repository(), kept_ / "backup"); }
    void go_back() const { copy(kept_ / "backup", repository()); }

    // What a process leaves to the next one: no private checkout.
    static void end_process(const fs::path& package) {
        for (const auto& entry : fs::directory_iterator(workspace_checkout_base(package))) {
            if (entry.is_directory()) {
                fs::remove_all(entry);
            }
        }
    }

    // Two commits, of which the remote has only the first again, in a process that has neither.
    void lose_the_second() const {
        project_.commit("one");
        back_up();
        project_.commit("two");
        end_process(project_.package());
        go_back();
    }

    static std::string commit_failure(const fs::path& package, const std::vector<fs::path>& paths = {}) {
        return failure_of([&] { update_project_workspace_head(package, "main", package, paths, "ana", "edit"); });
    }

    std::size_t revisions(const std::string& workspace = "main") const {
        return list_project_workspace_revisions(project_.package(), workspace, 0).size();
    }

    static constexpr const char* refused = "tome_branch_push: the remote went back: branch main was at revision 3 (";

    HistoryProject project_;
    quill_test::TemporaryFolder kept_;
};

TEST_F(RemoteState, ThatWentBackIsListedAndRefusesCommits) {
    lose_the_second();
    write_file(project_.scene(), "three");
    EXPECT_EQ(revisions(), 2U);
    for (const std::vector<fs::path>& paths : {std::vector<fs::path>(), {"Scenes/Main.usda"}}) {
        const std::string failure = commit_failure(project_.package(), paths);
        EXPECT_TRUE(failure.starts_with(refused)) << failure;
    }
    EXPECT_EQ(revisions(), 2U);
    EXPECT_EQ(read_file(project_.scene()), "three");
    EXPECT_NE(failure_of([&] {
                  create_project_workspace(project_.package(), project_.scene(), "main", "Feature", "ana");
              }).find("the remote went back"),
              std::string::npos);
}

TEST_F(RemoteState, TakesCommitsAgainOnceItIsAccepted) {
    lose_the_second();
    write_file(project_.scene(), "three");
    EXPECT_NE(commit_failure(project_.package()), "no failure");
    accept_project_remote_state(project_.package());
    EXPECT_EQ(read_file(project_.scene()), "three");
    EXPECT_EQ(commit_failure(project_.package()), "no failure");
    EXPECT_EQ(revisions(), 3U);
}

TEST_F(RemoteState, GetsWhatItLostFromAProcessThatMadeIt) {
    project_.commit("one");
    back_up();
    const std::string lost = project_.commit("two");
    go_back();
    project_.commit("three");
    const auto history = list_project_workspace_revisions(project_.package(), "main", 0);
    ASSERT_EQ(history.size(), 4U);
    EXPECT_EQ(history[1].id, lost);
}

TEST_F(RemoteState, GetsWhatItLostFromAWorkspaceThatKeepsItsObjects) {
    const fs::path package = project_.package();
    const std::string id = create_project_workspace(package, project_.scene(), "main", "Feature", "ana").id;
    const fs::path checkout = checkout_root_for_workspace_id(package, id);
    clone_tome_checkout_if_needed(package, checkout, id, {"Scenes/Main.usda"}, false, false);
    const auto commit = [&](const std::string& bytes) {
        write_file(checkout / "Scenes/Main.usda", bytes);
        return update_project_workspace_head(package, id, checkout, {"Scenes/Main.usda"}, "ana", "edit").headKey;
    };
    commit("one");
    back_up();
    const std::string lost = commit("two");
    go_back();
    commit("three");
    const auto history = list_project_workspace_revisions(package, id, 0);
    ASSERT_EQ(history.size(), 4U);
    EXPECT_EQ(history[1].id, lost);
}

TEST_F(RemoteState, IsKnownInPackagesThatWereMovedOrCopied) {
    lose_the_second();
    const fs::path copied = kept_ / "Copied.quillproject";
    fs::copy(project_.package(), copied, fs::copy_options::recursive);
    const fs::path moved = kept_ / "Moved.quillproject";
    fs::rename(project_.package(), moved);
    for (const fs::path& package : {copied, moved}) {
        write_file(package / "Scenes/Main.usda", "three");
        const std::string failure = commit_failure(package);
        EXPECT_TRUE(failure.starts_with(refused)) << failure;
    }
}

TEST_F(RemoteState, OfARemoteThatIsGoneIsNotHeldAgainstTheNewOne) {
    project_.commit("one");
    project_.commit("two");
    fs::remove_all(project_.remote());
    project_.commit("three");
    end_process(project_.package());
    project_.commit("four");
    EXPECT_EQ(revisions(), 2U);
}

TEST_F(RemoteState, NeedsARemoteToBeAccepted) {
    write_file(kept_ / "P.quillproject/project.json", "{}");
    unsetenv("QUILL_TOME_REMOTE_URL");
    EXPECT_TRUE(failure_of([&] {
                    accept_project_remote_state(kept_ / "P.quillproject");
                }).starts_with("native Tome workspaces require a configured Tome remote."));
}

}  // namespace
}  // namespace quill
