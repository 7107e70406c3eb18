#include "tool/restore_proof_commands.h"

#include "tests/fake_tome/fake_project.h"

namespace {

using fake_tome::Call;
using fake_tome::Events;
using fake_tome::make_hash;
using fake_tome::make_hash_hex;
using quill_test::failure_of;
using quill_test::read_file;
using quill_test::scene;
using quill_test::write_file;

const std::string state_a = "new scene";  // as in the package

// An engine with which the proof passes: revision 1 is state A, 2 state B, 3 the restored one.
class RestoreProofCommands : public quill_test::FakeProject {
  protected:
    RestoreProofCommands() {
        remote_files_[scene] = state_a;
        fake_tome::on("tome_revision_history", [](const Call&, const Events& events) {
            for (std::uint8_t order = 1; order <= head_order(); ++order) {
                send_revision(events, order);
            }
            return 0;
        });
        fake_tome::on("tome_repository_status", [](const Call&, const Events& events) {
            const tome_hash_t head = revision(head_order());
            events.status(head, head_order(), head, head_order());
            events.path(TOME_EVENT_STATUS_PATH, scene);
            return 0;
        });
        fake_tome::on("tome_revision_sync",
                      [this](const Call& call, const Events& events) { return sync(call, events, state_a); });
    }

    static tome_hash_t revision(std::uint8_t order) { return make_hash(static_cast<std::uint8_t>(order - 1)); }

    static std::uint8_t head_order() {
        return static_cast<std::uint8_t>(1 + count_calls("tome_revision_commit") +
                                         count_calls("tome_revision_restore"));
    }

    static void send_revision(const Events& events, std::uint8_t order) {
        tome_event_t event = {};
        event.kind = TOME_EVENT_REVISION;
        event.as.revision.hash = revision(order);
        event.as.revision.order = order;
        events.send(event);
    }

    // Brings the files of the head or of the revision asked for; `text_a` is the scene of all but state B.
    std::int32_t sync(const Call& call, const Events& events, const std::string& text_a) const {
        const std::string& asked = call.value("revision");
        const bool is_b = asked == make_hash_hex(1) || (asked.empty() && head_order() == 2);
        for (const auto& [path, bytes] : remote_files_) {
            write_file(std::filesystem::path(call.checkout) / path, path != scene ? bytes : is_b ? "state B" : text_a);
        }
        events.identity(TOME_EVENT_SYNCED, revision(head_order()), head_order());
        return 0;
    }

    bool is_live_scene_restored() const { return read_file(project_ / scene) == state_a; }

    std::string failure_of_the_proof() const {
        return failure_of([&] {
            quill_tool::run_restore_proof({"quill_project_tool", "restore-proof", project_.string()});
        });
    }
};

TEST_F(RestoreProofCommands, CommitThatIsNotTheHeadIsReported) {
    fake_tome::on("tome_revision_history", [](const Call&, const Events& events) {
        send_revision(events, 1);
        return 0;
    });
    EXPECT_EQ(failure_of_the_proof(), "state B did not create a distinct current revision");
}

TEST_F(RestoreProofCommands, RestoreThatFoundNothingToDoIsReported) {
    fake_tome::on("tome_revision_restore", [this](const Call& call, const Events& events) {
        write_file(project_ / scene, state_a);
        return fake_tome::do_default(call, events);
    });
    EXPECT_EQ(failure_of_the_proof(), "restore did not verify the live checkout");
}

TEST_F(RestoreProofCommands, LiveSceneThatIsNotStateAIsReported) {
    fake_tome::on("tome_revision_info", [this](const Call&, const Events&) {
        if (is_live_scene_restored()) {  // The last that a restore asks.
            write_file(project_ / scene, "edited meanwhile");
        }
        return 0;
    });
    EXPECT_EQ(failure_of_the_proof(), "live scene bytes do not equal restored state A");
}

TEST_F(RestoreProofCommands, RestoredHeadWhoseSceneIsNotStateAIsReported) {
    fake_tome::on("tome_revision_sync", [this](const Call& call, const Events& events) {
        return sync(call, events, head_order() == 3 && is_live_scene_restored() ? "other bytes" : state_a);
    });
    EXPECT_EQ(failure_of_the_proof(), "restored Tome head bytes do not equal state A");
}

}  // namespace
