#include "engine/tome_call.h"

#include <gtest/gtest.h>
#include <tome/tome.h>

#include <limits>
#include <thread>

#include "tests/fake_tome/fake_tome.h"
#include "tests/support/failure.h"
#include "tests/support/temporary_folder.h"

namespace {

using fake_tome::Events;
using fake_tome::make_hash;
using fake_tome::make_hash_hex;
using quill::TomeWorkspaceState;
using quill_test::failure_of;
using Texts = std::vector<std::string>;

const std::string remote = "file:///remote";

tome_event_t metadata_event(std::int32_t type) {
    static constexpr std::string_view key = "key";
    static constexpr std::string_view text = "text";
    tome_event_t event = {};
    event.kind = TOME_EVENT_METADATA;
    event.as.metadata = {{key.data(), key.size()}, type, 0, -42, {text.data(), text.size()}};
    return event;
}

// Where the paths of a kind of event are collected.
struct PathList {
    std::int32_t kind;
    Texts TomeWorkspaceState::*list;
};

class TomeCall : public testing::Test {
  protected:
    // What the callback makes of the events that `send` sends.
    template <typename Send>
    static TomeWorkspaceState state_after(Send send) {
        TomeWorkspaceState state;
        send(Events(reinterpret_cast<std::uintptr_t>(&state), quill::tome_workspace_callback));
        return state;
    }

    static TomeWorkspaceState state_after_event(const tome_event_t& event) {
        return state_after([&](const Events& events) { events.send(event); });
    }

    static tome_event_t event_of(std::int32_t kind) {
        tome_event_t event = {};
        event.kind = kind;
        return event;
    }

    static tome_string_t view(std::string_view text) { return {text.data(), text.size()}; }

    quill_test::TemporaryFolder folder_;
};

// ---- Globals

TEST_F(TomeCall, GlobalsCarryTheirSizeAndNeverAsk) {
    const tome_globals_t globals = quill::tome_globals_for(folder_.path(), "");
    EXPECT_EQ(globals.size, sizeof(tome_globals_t));
    EXPECT_EQ(globals.non_interactive, 1u);
    EXPECT_EQ(globals.force, 0u);
    EXPECT_EQ(globals.reserved, 0u);
    EXPECT_EQ(globals.working_folder.length, 0u);
    for (const std::uint32_t reserved : globals.reserved_end) {
        EXPECT_EQ(reserved, 0u);
    }
}

TEST_F(TomeCall, GlobalsMakeTheCheckoutAbsoluteAndNormal) {
    const tome_globals_t absolute = quill::tome_globals_for(folder_ / "a/../b/./c", "");
    EXPECT_EQ(quill::tome_string_to_std(absolute.checkout), (folder_ / "b/c").string());
    const tome_globals_t relative = quill::tome_globals_for("some/../checkout", "");
    EXPECT_EQ(quill::tome_string_to_std(relative.checkout), (std::filesystem::current_path() / "checkout").string());
}

TEST_F(TomeCall, GlobalsOfAnEmptyCheckoutHoldANullPointer) {
    const tome_globals_t globals = quill::tome_globals_for("", remote);
    EXPECT_EQ(globals.checkout.data, nullptr);
    EXPECT_EQ(globals.checkout.length, 0u);
}

TEST_F(TomeCall, GlobalsOutliveTheTextsTheyWereMadeFrom) {
    tome_globals_t globals;
    {
        const std::filesystem::path root = folder_ / std::string(100, 'c');
        const std::string url = "file:///" + std::string(100, 'r');
        globals = quill::tome_globals_for(root, url);
    }
    EXPECT_EQ(quill::tome_string_to_std(globals.checkout), (folder_ / std::string(100, 'c')).string());
    EXPECT_EQ(quill::tome_string_to_std(globals.remote_url), "file:///" + std::string(100, 'r'));
}

TEST_F(TomeCall, GlobalsOfOneThreadSurviveThoseOfAnother) {
    const tome_globals_t globals = quill::tome_globals_for(folder_ / "one", remote);
    std::thread([&] { quill::tome_globals_for(folder_ / "two", "file:///other"); }).join();
    EXPECT_EQ(quill::tome_string_to_std(globals.checkout), (folder_ / "one").string());
    EXPECT_EQ(quill::tome_string_to_std(globals.remote_url), remote);
}

TEST_F(TomeCall, GlobalsWithoutRemoteAndConfigurationSetBothNoRemoteFlags) {
    const tome_globals_t globals = quill::tome_globals_for(folder_.path(), "");
    EXPECT_EQ(globals.offline, 1u);
    EXPECT_EQ(globals.no_remote, 1u);
    EXPECT_EQ(globals.use_remote, 0u);
    EXPECT_EQ(globals.remote_url.length, 0u);
}

TEST_F(TomeCall, GlobalsWithRemoteClearBothNoRemoteFlags) {
    const tome_globals_t globals = quill::tome_globals_for(folder_.path(), remote);
    EXPECT_EQ(globals.offline, 0u);
    EXPECT_EQ(globals.no_remote, 0u);
    EXPECT_EQ(quill::tome_string_to_std(globals.remote_url), remote);
}

TEST_F(TomeCall, GlobalsTakeTheRemoteOfTheConfiguration) {
    quill_test::write_file(folder_ / ".tome/config.toml", "branch = \"main\"\n  remote_url = \"file:///from-file\"\n");
    const tome_globals_t globals = quill::tome_globals_for(folder_.path(), "");
    EXPECT_EQ(quill::tome_string_to_std(globals.remote_url), "file:///from-file");
    EXPECT_EQ(globals.offline, 0u);
    EXPECT_EQ(globals.no_remote, 0u);
}

TEST_F(TomeCall, GlobalsPreferTheGivenRemoteToTheConfiguration) {
    quill_test::write_file(folder_ / ".tome/config.toml", "remote_url = \"file:///from-file\"\n");
    const tome_globals_t globals = quill::tome_globals_for(folder_.path(), remote);
    EXPECT_EQ(quill::tome_string_to_std(globals.remote_url), remote);
}

TEST_F(TomeCall, GlobalsTakeTheFirstConfiguredLineOnly) {
    quill_test::write_file(folder_ / ".tome/config.toml", "remote_url = none\nremote_url = \"file:///second\"\n");
    EXPECT_EQ(quill::tome_globals_for(folder_.path(), "").remote_url.length, 0u);
}

TEST_F(TomeCall, GlobalsIgnoreAConfiguredRemoteWithoutClosingQuote) {
    quill_test::write_file(folder_ / ".tome/config.toml", "remote_url = \"file:///open\nx = \"y\"\n");
    EXPECT_EQ(quill::tome_globals_for(folder_.path(), "").no_remote, 1u);
}

TEST_F(TomeCall, GlobalsIgnoreAConfigurationWithoutTheKey) {
    quill_test::write_file(folder_ / ".tome/config.toml", "branch = \"main\"\n");
    EXPECT_EQ(quill::tome_globals_for(folder_.path(), "").no_remote, 1u);
}

// ---- Success and failure

TEST_F(TomeCall, SuccessNeedsResultAndStatusZero) {
    EXPECT_NO_THROW(quill::require_tome_success("tome_branch_push", 0, {}));
}

TEST_F(TomeCall, FailureWithoutMessageNamesTheOperation) {
    EXPECT_EQ(failure_of([] { quill::require_tome_success("tome_branch_push", 7, {}); }), "tome_branch_push failed");
}

TEST_F(TomeCall, FailureCarriesTheMessage) {
    TomeWorkspaceState state;
    state.message = "disk full";
    EXPECT_EQ(failure_of([&] { quill::require_tome_success("tome_file_stage", 7, state); }),
              "tome_file_stage: disk full");
}

// ---- Values

TEST_F(TomeCall, StringsWithoutPointerOrLengthAreEmpty) {
    EXPECT_EQ(quill::tome_string_to_std({nullptr, 5}), "");
    EXPECT_EQ(quill::tome_string_to_std({"abc", 0}), "");
    EXPECT_EQ(quill::tome_string_to_std({"abc", 2}), "ab");
    EXPECT_EQ(quill::tome_string_to_std({"a\0b", 3}), std::string("a\0b", 3));
}

TEST_F(TomeCall, StringLongerThanAnyTextIsALengthError) {
    EXPECT_THROW(quill::tome_string_to_std({"abc", std::numeric_limits<std::uint64_t>::max()}), std::length_error);
}

TEST_F(TomeCall, ZeroHashIsEmptyText) {
    EXPECT_EQ(quill::tome_hash_hex({}), "");
}

TEST_F(TomeCall, HashIsTwoLowerCaseDigitsAByte) {
    tome_hash_t hash;
    for (std::uint8_t index = 0; index < 32; ++index) {
        hash.bytes[index] = index;
    }
    EXPECT_EQ(quill::tome_hash_hex(hash), "000102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f");
}

TEST_F(TomeCall, StringArrayViewsEachText) {
    const Texts texts = {"one", "", "three"};
    std::vector<tome_string> storage = {view("left over")};
    const quill::TomeStringArrayView array = quill::tome_string_array_view(texts, storage);
    ASSERT_EQ(array.count, 3u);
    EXPECT_EQ(array.items, storage.data());
    EXPECT_EQ(array.items[0].data, texts[0].data());
    EXPECT_EQ(quill::tome_string_to_std(array.items[1]), "");
    EXPECT_EQ(quill::tome_string_to_std(array.items[2]), "three");
}

TEST_F(TomeCall, StringArrayOfNoTextsIsEmpty) {
    std::vector<tome_string> storage;
    EXPECT_EQ(quill::tome_string_array_view({}, storage).count, 0u);
}

// ---- Events

TEST_F(TomeCall, CallbackIgnoresMissingEventAndState) {
    TomeWorkspaceState state;
    quill::tome_workspace_callback(nullptr, reinterpret_cast<std::uintptr_t>(&state));
    const tome_event_t event = event_of(TOME_EVENT_ERROR_CODE);
    quill::tome_workspace_callback(&event, 0);
    EXPECT_EQ(state.status, 0);
}

TEST_F(TomeCall, CallbackIgnoresKindsThatItDoesNotKnow) {
    for (const std::int32_t kind : {-1, 0, 4, 100, 178, 180, std::numeric_limits<std::int32_t>::max()}) {
        tome_event_t event = event_of(kind);
        event.as.identity.hash = make_hash(1);
        const TomeWorkspaceState state = state_after_event(event);
        EXPECT_EQ(state.status, 0) << kind;
        EXPECT_EQ(state.identity, "") << kind;
        EXPECT_TRUE(state.reported_paths.empty()) << kind;
    }
}

TEST_F(TomeCall, RecordsErrorTextAndCode) {
    const TomeWorkspaceState state = state_after([](const Events& events) { events.fail(-4, "no space"); });
    EXPECT_EQ(state.status, -4);
    EXPECT_EQ(state.message, "no space");
}

TEST_F(TomeCall, AbsentErrorTextIsEmpty) {
    const TomeWorkspaceState state = state_after_event(event_of(TOME_EVENT_ERROR_TEXT));
    EXPECT_EQ(state.message, "");
}

TEST_F(TomeCall, RecordsMetadataBooleans) {
    tome_event_t event = metadata_event(TOME_VALUE_BOOLEAN);
    EXPECT_EQ(state_after_event(event).metadata.at("key"), "false");
    event.as.metadata.boolean = 1;
    EXPECT_EQ(state_after_event(event).metadata.at("key"), "true");
}

TEST_F(TomeCall, RecordsMetadataIntegersInDecimal) {
    EXPECT_EQ(state_after_event(metadata_event(TOME_VALUE_INTEGER)).metadata.at("key"), "-42");
}

TEST_F(TomeCall, RecordsMetadataTexts) {
    EXPECT_EQ(state_after_event(metadata_event(TOME_VALUE_TEXT)).metadata.at("key"), "text");
}

TEST_F(TomeCall, RecordsMetadataOfUnknownTypeAsEmpty) {
    for (const std::int32_t type : {0, 2, 7}) {
        EXPECT_EQ(state_after_event(metadata_event(type)).metadata.at("key"), "") << type;
    }
}

TEST_F(TomeCall, LaterMetadataOverwritesEarlier) {
    const TomeWorkspaceState state = state_after([](const Events& events) {
        events.metadata("key", "first");
        events.metadata("key", "second");
        events.metadata("other", "third");
    });
    EXPECT_EQ(state.metadata, (std::map<std::string, std::string>{{"key", "second"}, {"other", "third"}}));
}

TEST_F(TomeCall, RecordsIdentityWithoutNumber) {
    for (const std::int32_t kind :
         {TOME_EVENT_BRANCH_HEAD, TOME_EVENT_SYNCED, TOME_EVENT_BASE_REVISION, TOME_EVENT_RESTORED}) {
        const TomeWorkspaceState state =
            state_after([&](const Events& events) { events.identity(kind, make_hash(3), 8); });
        EXPECT_EQ(state.identity, make_hash_hex(3)) << kind;
        EXPECT_EQ(state.identity_number, 0u) << kind;
    }
}

TEST_F(TomeCall, RecordsIdentityWithNumber) {
    for (const std::int32_t kind : {TOME_EVENT_COMMITTED, TOME_EVENT_REVISION_INFO}) {
        const TomeWorkspaceState state =
            state_after([&](const Events& events) { events.identity(kind, make_hash(3), 8); });
        EXPECT_EQ(state.identity, make_hash_hex(3)) << kind;
        EXPECT_EQ(state.identity_number, 8u) << kind;
    }
}

TEST_F(TomeCall, ZeroIdentityIsEmpty) {
    const TomeWorkspaceState state =
        state_after([](const Events& events) { events.identity(TOME_EVENT_COMMITTED, {}, 1); });
    EXPECT_EQ(state.identity, "");
}

TEST_F(TomeCall, RecordsBranches) {
    tome_event_t event = event_of(TOME_EVENT_BRANCH);
    event.as.branch = {view("feature"), view("quill-workspace"), view("Ann"), make_hash(2), 1700000000123, 1};
    const TomeWorkspaceState state = state_after_event(event);
    ASSERT_EQ(state.workspaces.size(), 1u);
    const quill::ProjectWorkspace& workspace = state.workspaces[0];
    EXPECT_EQ(workspace.id, "feature");
    EXPECT_EQ(workspace.name, "feature");
    EXPECT_EQ(workspace.headKey, make_hash_hex(2));
    EXPECT_TRUE(workspace.archived);
    EXPECT_EQ(workspace.createdAt, "1700000000123");
    EXPECT_EQ(workspace.updatedAt, "1700000000123");
    EXPECT_EQ(workspace.author, "Ann");
    EXPECT_EQ(workspace.parentId, "");
    EXPECT_EQ(workspace.baseScene, "");
    EXPECT_EQ(state.branch_kinds.at("feature"), "quill-workspace");
}

TEST_F(TomeCall, BranchWithoutRevisionHasNoHead) {
    const TomeWorkspaceState state = state_after([](const Events& events) { events.branch("main", "", {}); });
    EXPECT_EQ(state.workspaces.at(0).headKey, "");
    EXPECT_FALSE(state.workspaces.at(0).archived);
    EXPECT_EQ(state.branch_kinds.at("main"), "");
}

TEST_F(TomeCall, RecordsChangesWithTheirKind) {
    const std::map<std::int32_t, std::string> names = {{TOME_CHANGE_ADD, "add"},
                                                       {TOME_CHANGE_DELETE, "delete"},
                                                       {TOME_CHANGE_MOVE, "move"},
                                                       {TOME_CHANGE_COPY, "copy"},
                                                       {TOME_CHANGE_MODIFY, "modify"},
                                                       {0, "modify"},
                                                       {77, "modify"}};
    for (const std::int32_t kind : {TOME_EVENT_BRANCH_DIFF, TOME_EVENT_MERGE_CHANGE, TOME_EVENT_REVISION_DIFF}) {
        for (const auto& [change, name] : names) {
            tome_event_t event = event_of(kind);
            event.as.change = {view("a/b"), view("old"), change};
            const TomeWorkspaceState state = state_after_event(event);
            ASSERT_EQ(state.diff_entries.size(), 1u);
            EXPECT_EQ(state.diff_entries[0].path, "a/b");
            EXPECT_EQ(state.diff_entries[0].change, name) << kind << " " << change;
        }
    }
}

TEST_F(TomeCall, CollectsPathsInOrderAndSkipsEmptyOnes) {
    const PathList lists[] = {{TOME_EVENT_MERGE_CONFLICT, &TomeWorkspaceState::changed_paths},
                              {TOME_EVENT_SYNCED_PATH, &TomeWorkspaceState::reported_paths},
                              {TOME_EVENT_STATUS_PATH, &TomeWorkspaceState::reported_paths},
                              {TOME_EVENT_RESTORED_PATH, &TomeWorkspaceState::restored_paths},
                              {TOME_EVENT_REVISION_PATH, &TomeWorkspaceState::revision_paths}};
    for (const PathList& expected : lists) {
        const TomeWorkspaceState state = state_after([&](const Events& events) {
            events.path(expected.kind, "b");
            events.path(expected.kind, "");
            events.path(expected.kind, "a");
        });
        EXPECT_EQ(state.*expected.list, (Texts{"b", "a"})) << expected.kind;
    }
}

TEST_F(TomeCall, RecordsIdentitiesOfFilesThatArePresent) {
    for (const std::int32_t kind : {TOME_EVENT_FILE_INFO, TOME_EVENT_FILE_STAGED}) {
        const TomeWorkspaceState state = state_after([&](const Events& events) {
            events.file(kind, "gone", make_hash(1), 5, false);
            events.file(kind, "no hash", {}, 5);
            events.file(kind, "a/b", make_hash(2), 6);
        });
        ASSERT_EQ(state.file_identities.size(), 1u) << kind;
        EXPECT_EQ(state.file_identities[0].path, "a/b");
        EXPECT_EQ(state.file_identities[0].hash, make_hash_hex(2));
        EXPECT_EQ(state.file_identities[0].value, 6u);
    }
}

TEST_F(TomeCall, RecordsStatus) {
    const TomeWorkspaceState state =
        state_after([](const Events& events) { events.status(make_hash(1), 4, make_hash(2), 5); });
    EXPECT_EQ(state.identity, make_hash_hex(1));
    EXPECT_EQ(state.second_identity, make_hash_hex(2));
    EXPECT_EQ(state.identity_number, 4u);
    EXPECT_EQ(state.identity_extra, 5u);
}

TEST_F(TomeCall, StatusWithoutRevisionsIsEmpty) {
    const TomeWorkspaceState state = state_after([](const Events& events) { events.status({}, 0, {}, 0); });
    EXPECT_EQ(state.identity, "");
    EXPECT_EQ(state.second_identity, "");
}

TEST_F(TomeCall, CountsTheFilesOfARevision) {
    const TomeWorkspaceState state = state_after([](const Events& events) {
        events.identity(TOME_EVENT_REVISION_INFO, make_hash(1), 2);
        events.path(TOME_EVENT_REVISION_FILE, "a");
        events.path(TOME_EVENT_REVISION_FILE, "b");
    });
    EXPECT_EQ(state.event_count, 2u);
}

TEST_F(TomeCall, RecordsRevisions) {
    tome_event_t event = event_of(TOME_EVENT_REVISION);
    event.as.revision = {make_hash(3), make_hash(2), {}, 3, 1700000000456, view("Commit workspace file")};
    const TomeWorkspaceState state = state_after_event(event);
    ASSERT_EQ(state.revisions.size(), 1u);
    const quill::ProjectWorkspaceRevision& revision = state.revisions[0];
    EXPECT_EQ(revision.id, make_hash_hex(3));
    EXPECT_EQ(revision.linkedHash1, make_hash_hex(2));
    EXPECT_EQ(revision.linkedHash2, "");
    EXPECT_EQ(revision.order, 3u);
    EXPECT_EQ(revision.createdAt, "1700000000456");
    EXPECT_EQ(revision.summary, "Commit workspace file");
    EXPECT_EQ(revision.author, "");
    EXPECT_FALSE(revision.current);
}

}  // namespace
