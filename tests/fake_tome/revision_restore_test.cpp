#include "workspace/history/revision_restore.h"

#include <algorithm>

#include "project/file_tree_comparison.h"
#include "project/workspace_paths.h"
#include "tests/fake_tome/fake_project.h"
#include "workspace/history/revision_history.h"
#include "workspace/index/workspace_index_file.h"

namespace {

namespace fs = std::filesystem;
using fake_tome::Call;
using fake_tome::Events;
using fake_tome::make_hash;
using fake_tome::make_hash_hex;
using quill::ProjectWorkspaceRestoreResult;
using quill_test::failure_of;
using quill_test::read_file;
using quill_test::scene;
using quill_test::write_file;
using Texts = std::vector<std::string>;
using Tree = std::map<std::string, std::string>;

const std::string head = make_hash_hex(0);
const std::string target = make_hash_hex(200);
const std::string restored = make_hash_hex(1);  // what the engine's first revision is called

class RevisionRestore : public quill_test::FakeProject {
  protected:
    RevisionRestore() {
        write_file(project_ / "Assets/late.bin", "not in the target");
        target_tree_ = {{"project.json", read_file(project_ / "project.json")},
                        {scene, "earlier scene"},
                        {"Assets/early.bin", "gone since"}};
        fake_tome::on("tome_revision_history", [](const Call&, const Events& events) {
            send_revision(events, make_hash(0), 2);
            send_revision(events, make_hash(200), 1);
            return 0;
        });
        fake_tome::on("tome_revision_sync", [this](const Call& call, const Events& events) {
            const bool restored_already = count_calls("tome_revision_restore") > 0;
            const Tree& tree = call.value("revision").empty() && !restored_already ? remote_files_ : target_tree_;
            for (const auto& [path, bytes] : tree) {
                write_file(fs::path(call.checkout) / path, bytes);
            }
            events.identity(TOME_EVENT_SYNCED, make_hash(0), 2);
            return 0;
        });
        fake_tome::on("tome_revision_info", [](const Call&, const Events& events) {
            events.identity(TOME_EVENT_REVISION_INFO, make_hash(1), 3);
            for (const char* path : {"a", "b", "c"}) {
                events.path(TOME_EVENT_REVISION_FILE, path);
            }
            return 0;
        });
    }

    static void send_revision(const Events& events, const tome_hash_t& hash, std::uint64_t order) {
        tome_event_t event = {};
        event.kind = TOME_EVENT_REVISION;
        event.as.revision.hash = hash;
        event.as.revision.order = order;
        events.send(event);
    }

    ProjectWorkspaceRestoreResult restore(const std::string& workspace = "", const std::string& summary = "") {
        return quill::restore_project_workspace_revision(project_, workspace, target, head, "Ann", summary,
                                                         quill_test::fake_project_id, {});
    }

    void add_feature_workspace() {
        quill::ProjectWorkspace feature;
        feature.id = feature.name = "feature";
        feature.baseScene = scene;
        feature.updatedAt = "1";
        quill::write_workspaces_without_main(project_, {feature});
    }

    // Folders of a restore that were left.
    Texts scratch_folders() const {
        Texts found;
        const fs::path base = quill::workspace_checkout_base(project_);
        if (fs::exists(base)) {
            for (const fs::directory_entry& entry : fs::directory_iterator(base)) {
                const std::string name = entry.path().filename().string();
                if (name.rfind(".workspace-restore-", 0) == 0) {
                    found.push_back(name);
                }
            }
        }
        return found;
    }

    // The live package is as it was, nothing was published, no scratch folder is left.
    void expect_untouched() const {
        EXPECT_EQ(read_file(project_ / scene), "new scene");
        EXPECT_TRUE(fs::exists(project_ / "Assets/late.bin"));
        EXPECT_FALSE(fs::exists(project_ / "Assets/early.bin"));
        EXPECT_EQ(count_calls("tome_branch_push"), 0u);
        EXPECT_TRUE(scratch_folders().empty());
    }

    static std::map<std::string, std::string> metadata() {
        const Call call = fake_tome::calls("tome_branch_metadata_set").at(0);
        std::map<std::string, std::string> values;
        for (std::size_t index = 0; index < call.list("keys").size(); ++index) {
            values[call.list("keys")[index]] = call.list("values")[index];
        }
        return values;
    }

    Tree target_tree_;
};

TEST_F(RevisionRestore, BringsTheLiveProjectToTheTarget) {
    const ProjectWorkspaceRestoreResult result = restore();
    EXPECT_EQ(result.workspaceId, "main");
    EXPECT_EQ(result.targetRevision, target);
    EXPECT_EQ(result.previousHead, head);
    EXPECT_EQ(result.restoredHead, restored);
    EXPECT_EQ(result.restoredHeadInfo, 3u);
    EXPECT_EQ(result.verifiedLiveFileCount, 3u);
    EXPECT_TRUE(result.liveVerified);
    EXPECT_EQ(read_file(project_ / scene), "earlier scene");
    EXPECT_EQ(read_file(project_ / "Assets/early.bin"), "gone since");
    EXPECT_FALSE(fs::exists(project_ / "Assets/late.bin"));
    EXPECT_TRUE(scratch_folders().empty());
    EXPECT_EQ(index_text(), "absent");
}

// No restore takes over what an earlier one left, so a revision that holds such a file cannot be brought back whole.
TEST_F(RevisionRestore, RevisionThatHoldsAStagingFileIsRefused) {
    target_tree_["Assets/a.keel-restore-1-2.tmp"] = "left by a restore";
    EXPECT_EQ(failure_of([&] { restore(); }), "could not preserve the selected historical project state");
    expect_untouched();
}

TEST_F(RevisionRestore, PublishesWhereTheRevisionCameFrom) {
    restore();
    EXPECT_EQ(fake_tome::calls("tome_revision_restore").at(0).value("message"), "Restored earlier workspace state");
    auto values = metadata();
    const auto display = [&](const std::string& name) { return values.at("keel.revision." + restored + "." + name); };
    EXPECT_EQ(values.at("quill.workspace.headKey"), restored);
    EXPECT_EQ(display("summary"), "Restored earlier workspace state");
    EXPECT_EQ(display("changedFileCount"), "3");
    EXPECT_EQ(display("restoreMode"), "new-revision");
    EXPECT_EQ(display("restoreTarget"), target);
    EXPECT_EQ(display("previousHead"), head);
    EXPECT_EQ(display("author"), "Ann");
    EXPECT_EQ(values.count("quill.workspace"), 0u);
    EXPECT_FALSE(fake_tome::calls("tome_branch_push").at(0).force);
}

TEST_F(RevisionRestore, BranchWorkspaceIsMarkedAndRecorded) {
    add_feature_workspace();
    const ProjectWorkspaceRestoreResult result = restore("feature", "Back to before");
    EXPECT_EQ(metadata().at("quill.workspace"), "1");
    EXPECT_EQ(metadata().at("keel.revision." + restored + ".summary"), "Back to before");
    EXPECT_EQ(quill::read_workspaces_without_main(project_).at(0).headKey, result.restoredHead);
    EXPECT_EQ(read_file(project_ / scene), "new scene");
    EXPECT_EQ(read_file(project_ / ".derived/tome-workspaces/feature" / scene), "earlier scene");
}

TEST_F(RevisionRestore, IsRefusedBeforeItIsPublishedWhenTheIndexCannotTakeTheHead) {
    add_feature_workspace();
    const std::string refusal = damage_index();
    EXPECT_EQ(failure_of([&] { restore("feature"); }), refusal);
    EXPECT_EQ(count_calls("tome_revision_restore"), 0u);
    expect_untouched();
}

// ---- Answers that no healthy engine gives

TEST_F(RevisionRestore, RestoreWithoutNewRevisionIsRefused) {
    const std::string refusal = "Tome did not create a new revision containing the selected historical state";
    for (const tome_hash_t& answer : {tome_hash_t{}, make_hash(0), make_hash(200)}) {
        fake_tome::once("tome_revision_restore", [answer](const Call&, const Events& events) {
            events.identity(TOME_EVENT_RESTORED, answer, 3);
            return 0;
        });
        EXPECT_EQ(failure_of([&] { restore(); }), refusal);
    }
    expect_untouched();
}

TEST_F(RevisionRestore, RevisionThatDiffersFromTheTargetIsRefused) {
    fake_tome::on("tome_revision_diff", [](const Call& call, const Events& events) {
        EXPECT_EQ(call.value("from"), restored);
        EXPECT_EQ(call.value("to"), target);
        events.path(TOME_EVENT_REVISION_PATH, scene);
        return 0;
    });
    EXPECT_EQ(failure_of([&] { restore(); }),
              "Tome restore verification failed: the new revision does not match the selected historical state");
    expect_untouched();
}

TEST_F(RevisionRestore, PublishedBytesThatDifferAreReported) {
    fake_tome::on("tome_branch_push", [this](const Call&, const Events&) {
        target_tree_[scene] = "damaged on the way";
        return 0;
    });
    EXPECT_EQ(failure_of([&] { restore(); }),
              "Tome restore verification failed: the published revision bytes do not match the selected state");
    EXPECT_EQ(read_file(project_ / scene), "new scene");
    EXPECT_TRUE(scratch_folders().empty());
}

TEST_F(RevisionRestore, VerificationThatFailsNamesTheFiles) {
    fake_tome::on("tome_branch_push", [this](const Call&, const Events&) {
        target_tree_[scene] = "damaged on the way";
        return 0;
    });
    try {
        restore();
        FAIL() << "nothing failed";
    } catch (const quill::TreeMismatchError& error) {
        EXPECT_EQ(error.comparison().differing_paths(), std::vector<fs::path>{scene});
        EXPECT_TRUE(error.comparison().unreadable.empty());
    }
}

TEST_F(RevisionRestore, HistoryOfAnotherProjectIsRefused) {
    target_tree_["project.json"] = "{\n  \"id\": \"zyxwvutsrqponmlk\"\n}\n";
    EXPECT_EQ(failure_of([&] { restore(); }),
              "restore refused because the historical repository belongs to a different Keel project");
    EXPECT_EQ(count_calls("tome_revision_restore"), 0u);
    expect_untouched();
}

TEST_F(RevisionRestore, RefusedPushLeavesTheLiveProject) {
    fake_tome::on("tome_branch_push", [](const Call&, const Events& events) {
        return events.fail(7, "branch has moved on the remote: main");
    });
    EXPECT_EQ(failure_of([&] { restore(); }), "tome_branch_push: branch has moved on the remote: main");
    EXPECT_EQ(read_file(project_ / scene), "new scene");
    EXPECT_TRUE(scratch_folders().empty());
}

TEST_F(RevisionRestore, SecondSyncFailsUnderItsOwnName) {
    fake_tome::on("tome_revision_sync", [this](const Call& call, const Events& events) {
        if (call.value("revision") == restored) {
            return events.fail(7, "no answer");
        }
        for (const auto& [path, bytes] : target_tree_) {
            write_file(fs::path(call.checkout) / path, bytes);
        }
        return 0;
    });
    EXPECT_EQ(failure_of([&] { restore(); }), "tome_revision_sync restored head: no answer");
    EXPECT_TRUE(scratch_folders().empty());
}

// ---- Refused before anything is touched

TEST_F(RevisionRestore, CurrentRevisionIsRefusedBeforeAnyCheckout) {
    EXPECT_EQ(failure_of([&] {
                  quill::restore_project_workspace_revision(project_, "", head, "", "", "", quill_test::fake_project_id,
                                                            {});
              }),
              "that revision is already current");
    EXPECT_EQ(count_calls("tome_branch_switch"), 0u);
    expect_untouched();
}

TEST_F(RevisionRestore, HistoryWithoutTheTargetIsRefused) {
    fake_tome::on("tome_revision_history", [](const Call& call, const Events& events) {
        EXPECT_EQ(call.value("limit"), "500");
        send_revision(events, make_hash(0), 2);
        return 0;
    });
    EXPECT_EQ(failure_of([&] { restore(); }), "target revision is not in this workspace's history");
    expect_untouched();
}

TEST_F(RevisionRestore, HistoryWithAnotherHeadIsRefused) {
    fake_tome::on("tome_revision_history", [](const Call&, const Events& events) {
        send_revision(events, make_hash(200), 1);
        send_revision(events, make_hash(5), 7);
        return 0;
    });
    EXPECT_EQ(failure_of([&] { restore(); }),
              "workspace changed since history was opened; refresh history and try again");
    expect_untouched();
}

TEST_F(RevisionRestore, FailureOfTheCallerEndsTheRestore) {
    const auto fail = [](const fs::path& selected) {
        EXPECT_EQ(read_file(selected / scene), "earlier scene");
        throw std::runtime_error("not this one");
    };
    EXPECT_EQ(failure_of([&] {
                  quill::restore_project_workspace_revision(project_, "", target, head, "", "",
                                                            quill_test::fake_project_id, fail);
              }),
              "not this one");
    EXPECT_EQ(count_calls("tome_revision_restore"), 0u);
    expect_untouched();
}

// ---- Any call may fail

TEST_F(RevisionRestore, FailureOfAnyCallLeavesTheLiveProjectWholeAndNoScratch) {
    const std::string manifest = read_file(project_ / "project.json");
    restore();
    const std::size_t total = fake_tome::calls().size();
    for (std::size_t n = 1; n <= total; ++n) {
        fs::remove_all(project_);
        write_file(project_ / "project.json", manifest);
        write_file(project_ / scene, "new scene");
        fake_tome::fail_call(fake_tome::calls().size() + n, 7, "went wrong");
        // The first revision of the engine was used up; this one is answered again and again.
        fake_tome::on("tome_revision_restore", [](const Call&, const Events& events) {
            events.identity(TOME_EVENT_RESTORED, make_hash(1), 3);
            return 0;
        });
        const std::string failure = failure_of([&] { restore(); });
        const std::string live = read_file(project_ / scene);
        if (failure == "no failure") {
            EXPECT_EQ(live, "earlier scene") << n;
        } else {
            EXPECT_NE(failure.find(": went wrong"), std::string::npos) << n << ": " << failure;
            EXPECT_EQ(fs::exists(project_ / "Assets/early.bin"), live == "earlier scene") << n << ": " << failure;
        }
        EXPECT_TRUE(scratch_folders().empty()) << n;
    }
}

// ---- History

TEST_F(RevisionRestore, HistoryWithoutMetadataIsStillListed) {
    fake_tome::on("tome_branch_metadata_get",
                  [](const Call&, const Events& events) { return events.fail(7, "no metadata"); });
    const auto revisions = quill::list_project_workspace_revisions(project_, "", 0);
    EXPECT_EQ(fake_tome::calls("tome_revision_history").at(0).value("limit"), "50");
    ASSERT_EQ(revisions.size(), 2u);
    EXPECT_EQ(revisions[0].id, head);
    EXPECT_TRUE(revisions[0].current);
    EXPECT_EQ(revisions[1].author, "");
    EXPECT_EQ(revisions[1].summary, "Scene updated");
}

TEST_F(RevisionRestore, FailureOfTheHistoryIsReported) {
    fake_tome::on("tome_revision_history",
                  [](const Call&, const Events& events) { return events.fail(7, "corrupt object"); });
    EXPECT_EQ(failure_of([&] { quill::list_project_workspace_revisions(project_, "", 0); }),
              "tome_revision_history: corrupt object");
}

}  // namespace
