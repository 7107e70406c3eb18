#include "workspace/operations/repository_bootstrap.h"

#include <algorithm>

#include "project/workspace_paths.h"
#include "tests/fake_tome/fake_project.h"

namespace {

namespace fs = std::filesystem;
using fake_tome::Call;
using fake_tome::Events;
using fake_tome::make_hash;
using quill_test::failure_of;
using quill_test::scene;
using quill_test::write_file;
using Texts = std::vector<std::string>;

const std::string no_remote =
    "native Tome workspaces require a configured Tome remote. Set tomeRemoteURL in project.json or "
    "QUILL_TOME_REMOTE_URL.";

class RepositoryBootstrap : public quill_test::FakeProject {
  protected:
    RepositoryBootstrap() {
        // A repository that was just made has no revision.
        fake_tome::on("tome_repository_status", [](const Call&, const Events& events) {
            events.status({}, 0, {}, 0);
            return 0;
        });
    }

    fs::path bootstrap_checkout() const {
        return quill::workspace_checkout_base(project_) / (".remote-bootstrap-" + quill::workspace_process_token());
    }

    // The message of the one commit.
    static std::string commit_message() { return fake_tome::calls("tome_revision_commit").at(0).value("message"); }

    static void answer_create(const std::string& text) {
        fake_tome::on("tome_repository_create",
                      [text](const Call&, const Events& events) { return events.fail(6, text); });
    }
};

// ---- An existing project

TEST_F(RepositoryBootstrap, MakesTheRemoteWithOneRevision) {
    quill::initialize_project_tome_repository(project_);
    EXPECT_EQ(fake_tome::operations(), (Texts{"tome_repository_create", "tome_file_stage", "tome_revision_commit",
                                              "tome_branch_push", "tome_repository_clone", "tome_file_base_set"}));
    const Call create = fake_tome::calls().at(0);
    EXPECT_EQ(create.checkout, bootstrap_checkout().string());
    EXPECT_EQ(create.value("name"), quill_test::fake_repository_url);
    EXPECT_EQ(create.value("description"), "Keel hosted project repository");
    EXPECT_EQ(fake_tome::calls().at(1).list("paths"), (Texts{scene, "project.json"}));
    EXPECT_EQ(commit_message(), "Initialize imported Keel project workspace state");
    const Call push = fake_tome::calls().at(3);
    EXPECT_EQ(push.value("name"), "main");
    EXPECT_TRUE(push.force);
    EXPECT_FALSE(fs::exists(bootstrap_checkout()));
}

TEST_F(RepositoryBootstrap, RepositoryThatExistsIsClonedCommittedAndPushed) {
    for (const std::string text : {"Already exists: URL", "branch already exists", "a repository exists with id x",
                                   "repositories exist with id x"}) {
        fake_tome::once("tome_repository_create",
                        [text](const Call&, const Events& events) { return events.fail(6, text); });
        const std::size_t before = fake_tome::calls().size();
        quill::bootstrap_missing_project_tome_remote(project_);
        Texts operations;
        for (const Call& call : fake_tome::calls()) {
            if (call.number > before && call.checkout == bootstrap_checkout()) {
                operations.push_back(call.operation);
            }
        }
        EXPECT_EQ(operations, (Texts{"tome_repository_create", "tome_repository_clone", "tome_repository_status",
                                     "tome_file_stage", "tome_revision_commit", "tome_branch_push"}))
            << text;
        EXPECT_FALSE(fs::exists(bootstrap_checkout())) << text;
    }
    const Call clone = fake_tome::calls("tome_repository_clone").at(0);
    EXPECT_EQ(clone.checkout, bootstrap_checkout().string());
    EXPECT_EQ(clone.value("branch"), "main");
    EXPECT_EQ(clone.value("use_shared_store"), "0");
}

TEST_F(RepositoryBootstrap, RepositoryThatExistsWithTheSameFilesIsPushedAsItIs) {
    answer_create("Already exists: URL");
    fake_tome::on("tome_revision_commit",
                  [](const Call&, const Events& events) { return events.fail(8, "Nothing staged for commit"); });
    EXPECT_EQ(failure_of([&] { quill::bootstrap_missing_project_tome_remote(project_); }), "no failure");
    EXPECT_EQ(count_calls("tome_branch_push"), 1u);
}

TEST_F(RepositoryBootstrap, FileThatOnlyTheRemoteHasIsNoDeletionUnlessThePackageOnceHadIt) {
    answer_create("Already exists: URL");
    remote_files_["Assets/gone.bin"] = "old";
    quill::bootstrap_missing_project_tome_remote(project_);
    const auto staged = [](std::size_t call) {
        const Texts paths = fake_tome::calls("tome_file_stage").at(call).list("paths");
        return std::find(paths.begin(), paths.end(), "Assets/gone.bin") != paths.end();
    };
    EXPECT_FALSE(staged(0));
    fake_tome::on("tome_file_state", [](const Call&, const Events& events) {
        const std::string path = "Assets/gone.bin";
        tome_event_t event{};
        event.kind = TOME_EVENT_FILE_STATE;
        event.as.file_state.path = {path.data(), path.size()};
        event.as.file_state.base = event.as.file_state.there = {fake_tome::make_hash(1), 3, 1, 0};
        events.send(event);
        return 0;
    });
    quill::bootstrap_missing_project_tome_remote(project_);
    EXPECT_TRUE(staged(1));
}

TEST_F(RepositoryBootstrap, OtherFailuresOfCreatePropagate) {
    answer_create("remote is read-only");
    EXPECT_EQ(failure_of([&] { quill::bootstrap_missing_project_tome_remote(project_); }),
              "tome_repository_create: remote is read-only");
    EXPECT_EQ(fake_tome::calls().size(), 1u);
    EXPECT_FALSE(fs::exists(bootstrap_checkout()));
}

TEST_F(RepositoryBootstrap, FailureOfAnyCallRemovesTheCheckout) {
    for (std::size_t n = 1; n <= 4; ++n) {
        fake_tome::fail_call(fake_tome::calls().size() + n, 7, "went wrong");
        const std::string failure = failure_of([&] { quill::bootstrap_missing_project_tome_remote(project_); });
        EXPECT_NE(failure.find(": went wrong"), std::string::npos) << n << ": " << failure;
        EXPECT_FALSE(fs::exists(bootstrap_checkout())) << n;
    }
}

TEST_F(RepositoryBootstrap, LeftOverCheckoutIsRemovedFirst) {
    write_file(bootstrap_checkout() / "left-over", "");
    quill::bootstrap_missing_project_tome_remote(project_);
    const Texts staged = fake_tome::calls("tome_file_stage").at(0).list("paths");
    EXPECT_EQ(std::count(staged.begin(), staged.end(), "left-over"), 0);
}

TEST_F(RepositoryBootstrap, CheckoutThatCannotBeMadeIsReported) {
    write_file(project_ / ".derived", "a file");
    const std::string failure = failure_of([&] { quill::bootstrap_missing_project_tome_remote(project_); });
    EXPECT_EQ(failure.rfind("could not create Tome remote bootstrap checkout: ", 0), 0u) << failure;
}

TEST_F(RepositoryBootstrap, RemoteIsRequired) {
    write_file(project_ / "project.json", "{\n}\n");
    EXPECT_EQ(failure_of([&] { quill::initialize_project_tome_repository(project_); }), no_remote);
    EXPECT_EQ(failure_of([&] { quill::initialize_new_project_tome_repository(project_); }), no_remote);
    EXPECT_EQ(failure_of([&] { quill::bootstrap_missing_project_tome_remote(project_); }),
              "cannot bootstrap a Tome repository without a remote and repository URL");
    EXPECT_TRUE(fake_tome::calls().empty());
}

// ---- A new project

TEST_F(RepositoryBootstrap, NewProjectBecomesTheCheckout) {
    quill::initialize_new_project_tome_repository(project_);
    EXPECT_EQ(fake_tome::operations(),
              (Texts{"tome_repository_create", "tome_repository_status", "tome_file_stage", "tome_revision_commit",
                     "tome_branch_push", "tome_repository_clone", "tome_file_base_set"}));
    const Call create = fake_tome::calls().at(0);
    EXPECT_EQ(create.checkout, project_.string());
    EXPECT_EQ(create.value("name"), quill_test::fake_repository_url);
    EXPECT_EQ(create.value("description"), "Keel content-addressed project repository");
    EXPECT_EQ(commit_message(), "Initialize Keel project workspace state");
    EXPECT_TRUE(fake_tome::calls().at(4).force);
}

TEST_F(RepositoryBootstrap, NewProjectThatIsACheckoutIsNotMadeAgain) {
    write_file(project_ / ".tome/config.toml", "");
    quill::initialize_new_project_tome_repository(project_);
    EXPECT_EQ(count_calls("tome_repository_create"), 0u);
    EXPECT_EQ(count_calls("tome_branch_push"), 1u);
}

TEST_F(RepositoryBootstrap, NewProjectThatIsACheckoutOfItsRepositoryIsNotMadeAgain) {
    write_file(project_ / ".tome/config.toml", "repository_url = \"" + quill_test::fake_repository_url + "\"\n");
    quill::initialize_new_project_tome_repository(project_);
    EXPECT_EQ(count_calls("tome_repository_create"), 0u);
}

TEST_F(RepositoryBootstrap, FailureOfAnyCallBringsTheStateOfAnotherRepositoryBack) {
    for (std::size_t n = 1; n <= 5; ++n) {
        fs::remove_all(project_ / ".tome");
        write_file(project_ / ".tome/config.toml", "repository_url = \"\"\n");
        fake_tome::fail_call(fake_tome::calls().size() + n, 7, "went wrong");
        const std::string failure = failure_of([&] { quill::initialize_new_project_tome_repository(project_); });
        EXPECT_NE(failure.find(": went wrong"), std::string::npos) << n << ": " << failure;
        EXPECT_EQ(quill_test::read_file(project_ / ".tome/config.toml"), "repository_url = \"\"\n") << n;
        for (const fs::directory_entry& entry : fs::directory_iterator(project_)) {
            EXPECT_FALSE(entry.path().filename().string().starts_with(".tome.")) << entry.path();
        }
    }
}

TEST_F(RepositoryBootstrap, NewProjectWithRemoteHistoryIsLeftAlone) {
    fake_tome::once("tome_repository_status", [](const Call&, const Events& events) {
        events.status({}, 0, make_hash(1), 0);
        return 0;
    });
    fake_tome::once("tome_repository_status", [](const Call&, const Events& events) {
        events.status({}, 0, {}, 3);
        return 0;
    });
    quill::initialize_new_project_tome_repository(project_);
    quill::initialize_new_project_tome_repository(project_);
    EXPECT_EQ(count_calls("tome_repository_status"), 2u);
    EXPECT_EQ(count_calls("tome_file_stage"), 0u);
    EXPECT_EQ(count_calls("tome_branch_push"), 0u);
}

TEST_F(RepositoryBootstrap, NewProjectWithLocalHistoryIsPushedWithoutCommit) {
    fake_tome::once("tome_repository_status", [](const Call&, const Events& events) {
        events.status(make_hash(1), 0, {}, 0);
        return 0;
    });
    fake_tome::once("tome_repository_status", [](const Call&, const Events& events) {
        events.status({}, 2, {}, 0);
        return 0;
    });
    quill::initialize_new_project_tome_repository(project_);
    quill::initialize_new_project_tome_repository(project_);
    EXPECT_EQ(count_calls("tome_revision_commit"), 0u);
    EXPECT_EQ(count_calls("tome_branch_push"), 2u);
}

TEST_F(RepositoryBootstrap, NewProjectReportsTheFailureOfAnyCall) {
    for (std::size_t n = 1; n <= 5; ++n) {
        fs::remove_all(project_ / ".tome");
        fake_tome::fail_call(fake_tome::calls().size() + n, 7, "went wrong");
        const std::string failure = failure_of([&] { quill::initialize_new_project_tome_repository(project_); });
        EXPECT_NE(failure.find(": went wrong"), std::string::npos) << n << ": " << failure;
    }
}

}  // namespace
