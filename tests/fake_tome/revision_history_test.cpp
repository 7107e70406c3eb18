#include "workspace/history/revision_history.h"

#include <gtest/gtest.h>

#include "tests/fake_tome/fake_project.h"
#include "workspace/history/history_preview.h"

namespace {

namespace fs = std::filesystem;
using fake_tome::Call;
using fake_tome::Events;
using fake_tome::make_hash;
using fake_tome::make_hash_hex;
using quill_test::failure_of;
using quill_test::read_file;
using quill_test::scene;
using quill_test::write_file;

const std::string newest = make_hash_hex(3);
const std::string oldest = make_hash_hex(1);

class RevisionHistory : public quill_test::FakeProject {
  protected:
    RevisionHistory() {
        // In no order, as an engine may report them.
        fake_tome::on("tome_revision_history", [this](const Call&, const Events& events) {
            for (const std::uint8_t order : std::initializer_list<std::uint8_t>{2, 3, 1}) {
                tome_event_t event = {};
                event.kind = TOME_EVENT_REVISION;
                event.as.revision.hash = make_hash(order);
                event.as.revision.order = order;
                event.as.revision.created_at = created_at_;
                event.as.revision.message = {message_.data(), message_.size()};
                events.send(event);
            }
            return 0;
        });
    }

    void answer_metadata(const std::string& revision, const std::map<std::string, std::string>& values) const {
        fake_tome::on("tome_branch_metadata_get", [revision, values](const Call&, const Events& events) {
            for (const auto& [name, value] : values) {
                events.metadata("keel.revision." + revision + "." + name, value);
            }
            return 0;
        });
    }

    std::vector<quill::ProjectWorkspaceRevision> list(std::uint64_t limit = 10) const {
        return quill::list_project_workspace_revisions(project_, "", limit);
    }

    // What the engine says of every revision.
    std::uint64_t created_at_ = 0;
    std::string message_;
};

TEST_F(RevisionHistory, IsSortedByOrderTheLargestBeingCurrent) {
    const auto revisions = list();
    ASSERT_EQ(revisions.size(), 3U);
    EXPECT_EQ(revisions[0].id, newest);
    EXPECT_TRUE(revisions[0].current);
    EXPECT_EQ(revisions[2].id, oldest);
    EXPECT_FALSE(revisions[2].current);
}

TEST_F(RevisionHistory, LimitOfZeroAsksForFifty) {
    list(0);
    EXPECT_EQ(fake_tome::calls("tome_revision_history").at(0).value("limit"), "50");
}

TEST_F(RevisionHistory, OfMetadataThatCannotBeReadHasNoAuthorsAndPlainSummaries) {
    fake_tome::on("tome_branch_metadata_get", [](const Call&, const Events& events) { return events.fail(3, "gone"); });
    const auto revisions = list();
    ASSERT_EQ(revisions.size(), 3U);
    EXPECT_EQ(revisions[1].author, "");
    EXPECT_EQ(revisions[1].summary, "Scene updated");
}

TEST_F(RevisionHistory, RevisionWithoutDisplayValuesHasItsOwnMessageAndTime) {
    message_ = "Merge";
    created_at_ = 7;
    answer_metadata(oldest, {{"summary", "edited"}});
    const auto revisions = list();
    EXPECT_EQ(revisions[1].summary, "Merge");
    EXPECT_EQ(revisions[1].createdAt, "7");
    EXPECT_EQ(revisions[1].author, "");
    EXPECT_EQ(revisions[2].summary, "edited");
    EXPECT_EQ(revisions[2].createdAt, "");
}

TEST_F(RevisionHistory, RevisionThatSaysNothingShowsTheCurrentTimeOfItsWorkspaceAlone) {
    message_ = "Workspace revision";
    const auto revisions = list();
    EXPECT_EQ(revisions[0].createdAt, "0");
    EXPECT_EQ(revisions[1].createdAt, "");
    EXPECT_EQ(revisions[1].summary, "Scene updated");
}

TEST_F(RevisionHistory, UnknownAuthorsAreShownAsNone) {
    for (const std::string unknown : {"<unknown>", "unknown"}) {
        answer_metadata(oldest, {{"author", unknown}});
        EXPECT_EQ(list().at(2).author, "");
    }
    answer_metadata(oldest, {{"author", "ana"}});
    EXPECT_EQ(list().at(2).author, "ana");
}

TEST_F(RevisionHistory, CountThatIsNoNumberIsZero) {
    answer_metadata(oldest, {{"changedFileCount", "many"}, {"summary", "Workspace revision"}});
    EXPECT_EQ(list().at(2).changedFileCount, 0U);
    answer_metadata(oldest, {{"changedFileCount", "3"}, {"summary", "Workspace revision"}});
    EXPECT_EQ(list().at(2).summary, "Updated 3 project files");
}

TEST_F(RevisionHistory, FailureIsReportedUnderTheNameOfTheOperation) {
    fake_tome::on("tome_revision_history", [](const Call&, const Events& events) { return events.fail(3, "gone"); });
    EXPECT_EQ(failure_of([&] { list(); }), "tome_revision_history: gone");
}

class HistoryPreview : public RevisionHistory {
  protected:
    quill::ProjectWorkspaceResolution resolve(const fs::path& path = {}) const {
        return quill::resolve_project_workspace_revision_scene(project_, path, "", oldest);
    }
};

TEST_F(HistoryPreview, IsSyncedToItsRevisionAndMarkedReady) {
    const auto preview = resolve();
    EXPECT_EQ(fake_tome::calls("tome_revision_sync").back().value("revision"), oldest);
    EXPECT_EQ(read_file(preview.absoluteScene), "old scene");
    const fs::path marker =
        preview.checkoutRoot.parent_path() / ("." + preview.checkoutRoot.filename().string() + ".ready");
    EXPECT_EQ(read_file(marker), oldest + "\n");
}

TEST_F(HistoryPreview, ThatIsReadyIsNotMadeAgain) {
    resolve();
    const std::size_t syncs = count_calls("tome_revision_sync");
    resolve();
    EXPECT_EQ(count_calls("tome_revision_sync"), syncs);
}

TEST_F(HistoryPreview, WithoutItsSceneIsMadeAgain) {
    fs::remove(resolve().absoluteScene);
    EXPECT_EQ(read_file(resolve().absoluteScene), "old scene");
}

TEST_F(HistoryPreview, WhoseSyncFailsIsNotTakenForReady) {
    fake_tome::once("tome_revision_sync", [](const Call& call, const Events& events) {
        write_file(fs::path(call.checkout) / scene, "half");
        return events.fail(3, "cut off");
    });
    EXPECT_EQ(failure_of([&] { resolve(); }), "tome_revision_sync: cut off");
    EXPECT_EQ(read_file(resolve().absoluteScene), "old scene");
}

TEST_F(HistoryPreview, WithoutTheAskedSceneIsRefused) {
    EXPECT_EQ(failure_of([&] { resolve(project_ / "Scenes/Other.usda"); }),
              "scene does not exist in the selected historical revision");
}

TEST_F(HistoryPreview, OfAnotherProjectIsRefused) {
    remote_files_["project.json"] = "{\"id\": \"zzzzzzzzzzzzzzzz\"}";
    EXPECT_EQ(failure_of([&] { resolve(); }),
              "history preview refused because that revision belongs to a different Keel project");
}

TEST_F(HistoryPreview, OfARevisionThatIsNotListedIsRefused) {
    EXPECT_EQ(
        failure_of([&] { quill::resolve_project_workspace_revision_scene(project_, {}, "", std::string(64, 'f')); }),
        "target revision is not in this workspace's history");
}

TEST_F(HistoryPreview, IsResolvedThroughItsWorkspaceIdToo) {
    const auto preview = quill::resolve_project_workspace_scene(project_, {}, "history-preview--main--" + oldest);
    EXPECT_EQ(preview.workspaceId, "history-preview--main--" + oldest);
    EXPECT_EQ(read_file(preview.absoluteScene), "old scene");
}

}  // namespace
