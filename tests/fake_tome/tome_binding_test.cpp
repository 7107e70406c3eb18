#include "engine/tome_binding.h"

#include <gtest/gtest.h>
#include <tome/tome.h>

#include <limits>
#include <thread>

#include "tests/fake_tome/fake_tome.h"
#include "tests/support/failure.h"
#include "tests/support/temporary_folder.h"

namespace {

using fake_tome::Call;
using fake_tome::Events;
using fake_tome::make_hash;
using fake_tome::make_hash_hex;
using quill::CheckoutLocation;
using quill::TomeWorkspaceState;
using quill_test::failure_of;
using Texts = std::vector<std::string>;

const std::string remote = "file:///remote";

class TomeBinding : public testing::Test {
  protected:
    TomeBinding() { fake_tome::reset(); }

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

    // The one call that was made.
    static Call only_call() {
        const std::vector<Call> calls = fake_tome::calls();
        EXPECT_EQ(calls.size(), 1u);
        return calls.at(0);
    }

    quill_test::TemporaryFolder folder_;
    CheckoutLocation checkout_{folder_.path(), remote};
};

// ---- Globals

TEST_F(TomeBinding, GlobalsCarryTheirSizeAndNeverAsk) {
    const tome_globals_t globals = quill::tome_globals_for(folder_.path(), "");
    EXPECT_EQ(globals.size, sizeof(tome_globals_t));
    EXPECT_EQ(globals.non_interactive, 1u);
    EXPECT_EQ(globals.force, 0u);
    for (const std::uint32_t reserved : globals.reserved) {
        EXPECT_EQ(reserved, 0u);
    }
}

TEST_F(TomeBinding, GlobalsMakeTheCheckoutAbsoluteAndNormal) {
    const tome_globals_t absolute = quill::tome_globals_for(folder_ / "a/../b/./c", "");
    EXPECT_EQ(quill::tome_string_to_std(absolute.checkout), (folder_ / "b/c").string());
    const tome_globals_t relative = quill::tome_globals_for("some/../checkout", "");
    EXPECT_EQ(quill::tome_string_to_std(relative.checkout), (std::filesystem::current_path() / "checkout").string());
}

TEST_F(TomeBinding, GlobalsOfAnEmptyCheckoutHoldANullPointer) {
    const tome_globals_t globals = quill::tome_globals_for("", remote);
    EXPECT_EQ(globals.checkout.data, nullptr);
    EXPECT_EQ(globals.checkout.length, 0u);
}

TEST_F(TomeBinding, GlobalsOutliveTheTextsTheyWereMadeFrom) {
    tome_globals_t globals;
    {
        const std::filesystem::path root = folder_ / std::string(100, 'c');
        const std::string url = "file:///" + std::string(100, 'r');
        globals = quill::tome_globals_for(root, url);
    }
    EXPECT_EQ(quill::tome_string_to_std(globals.checkout), (folder_ / std::string(100, 'c')).string());
    EXPECT_EQ(quill::tome_string_to_std(globals.remote_url), "file:///" + std::string(100, 'r'));
}

TEST_F(TomeBinding, GlobalsOfOneThreadSurviveThoseOfAnother) {
    const tome_globals_t globals = quill::tome_globals_for(folder_ / "one", remote);
    std::thread([&] { quill::tome_globals_for(folder_ / "two", "file:///other"); }).join();
    EXPECT_EQ(quill::tome_string_to_std(globals.checkout), (folder_ / "one").string());
    EXPECT_EQ(quill::tome_string_to_std(globals.remote_url), remote);
}

TEST_F(TomeBinding, GlobalsWithoutRemoteAndConfigurationSetBothNoRemoteFlags) {
    const tome_globals_t globals = quill::tome_globals_for(folder_.path(), "");
    EXPECT_EQ(globals.offline, 1u);
    EXPECT_EQ(globals.no_remote, 1u);
    EXPECT_EQ(globals.use_remote, 0u);
    EXPECT_EQ(globals.remote_url.length, 0u);
}

TEST_F(TomeBinding, GlobalsWithRemoteClearBothNoRemoteFlags) {
    const tome_globals_t globals = quill::tome_globals_for(folder_.path(), remote);
    EXPECT_EQ(globals.offline, 0u);
    EXPECT_EQ(globals.no_remote, 0u);
    EXPECT_EQ(quill::tome_string_to_std(globals.remote_url), remote);
}

TEST_F(TomeBinding, GlobalsTakeTheRemoteOfTheConfiguration) {
    quill_test::write_file(folder_ / ".tome/config.toml", "branch = \"main\"\n  remote_url = \"file:///from-file\"\n");
    const tome_globals_t globals = quill::tome_globals_for(folder_.path(), "");
    EXPECT_EQ(quill::tome_string_to_std(globals.remote_url), "file:///from-file");
    EXPECT_EQ(globals.offline, 0u);
    EXPECT_EQ(globals.no_remote, 0u);
}

TEST_F(TomeBinding, GlobalsPreferTheGivenRemoteToTheConfiguration) {
    quill_test::write_file(folder_ / ".tome/config.toml", "remote_url = \"file:///from-file\"\n");
    const tome_globals_t globals = quill::tome_globals_for(folder_.path(), remote);
    EXPECT_EQ(quill::tome_string_to_std(globals.remote_url), remote);
}

TEST_F(TomeBinding, GlobalsTakeTheFirstConfiguredLineOnly) {
    quill_test::write_file(folder_ / ".tome/config.toml", "remote_url = none\nremote_url = \"file:///second\"\n");
    EXPECT_EQ(quill::tome_globals_for(folder_.path(), "").remote_url.length, 0u);
}

TEST_F(TomeBinding, GlobalsIgnoreAConfiguredRemoteWithoutClosingQuote) {
    quill_test::write_file(folder_ / ".tome/config.toml", "remote_url = \"file:///open\nx = \"y\"\n");
    EXPECT_EQ(quill::tome_globals_for(folder_.path(), "").no_remote, 1u);
}

TEST_F(TomeBinding, GlobalsIgnoreAConfigurationWithoutTheKey) {
    quill_test::write_file(folder_ / ".tome/config.toml", "branch = \"main\"\n");
    EXPECT_EQ(quill::tome_globals_for(folder_.path(), "").no_remote, 1u);
}

TEST_F(TomeBinding, CallsWithAKnownRemoteUseIt) {
    quill::call_tome_branch_list(checkout_);
    quill_test::write_file(folder_ / ".tome/config.toml", "remote_url = \"file:///from-file\"\n");
    quill::call_tome_branch_list({folder_.path(), ""});
    for (const Call& call : fake_tome::calls()) {
        EXPECT_TRUE(call.use_remote);
        EXPECT_FALSE(call.offline);
        EXPECT_FALSE(call.no_remote);
    }
    EXPECT_EQ(fake_tome::calls().at(0).remote_url, remote);
    EXPECT_EQ(fake_tome::calls().at(1).remote_url, "file:///from-file");
}

TEST_F(TomeBinding, CallsWithoutARemoteWorkOffline) {
    quill::call_tome_branch_list({folder_.path(), ""});
    const Call call = only_call();
    EXPECT_FALSE(call.use_remote);
    EXPECT_TRUE(call.offline);
    EXPECT_TRUE(call.no_remote);
    EXPECT_TRUE(call.non_interactive);
    EXPECT_EQ(call.checkout, folder_.path().string());
}

// ---- Success and failure

TEST_F(TomeBinding, SuccessNeedsResultAndStatusZero) {
    EXPECT_NO_THROW(quill::require_tome_success("tome_branch_push", 0, {}));
}

TEST_F(TomeBinding, FailureWithoutMessageNamesTheOperation) {
    EXPECT_EQ(failure_of([] { quill::require_tome_success("tome_branch_push", 7, {}); }), "tome_branch_push failed");
}

TEST_F(TomeBinding, FailureCarriesTheMessage) {
    TomeWorkspaceState state;
    state.message = "disk full";
    EXPECT_EQ(failure_of([&] { quill::require_tome_success("tome_file_stage", 7, state); }),
              "tome_file_stage: disk full");
}

TEST_F(TomeBinding, ErrorCodeFailsACallThatReturnedZero) {
    fake_tome::once("tome_branch_list", [](const Call&, const Events& events) {
        events.code(5);
        return 0;
    });
    EXPECT_EQ(failure_of([&] { quill::call_tome_branch_list(checkout_); }), "tome_branch_list failed");
}

TEST_F(TomeBinding, ErrorTextWithoutCodeIsUsedWithANonZeroResult) {
    fake_tome::once("tome_branch_list", [](const Call&, const Events& events) {
        events.text(TOME_EVENT_ERROR_TEXT, "no answer");
        return 3;
    });
    EXPECT_EQ(failure_of([&] { quill::call_tome_branch_list(checkout_); }), "tome_branch_list: no answer");
}

TEST_F(TomeBinding, ErrorTextAloneIsNoFailure) {
    fake_tome::once("tome_branch_list", [](const Call&, const Events& events) {
        events.text(TOME_EVENT_ERROR_TEXT, "a warning");
        return 0;
    });
    EXPECT_EQ(quill::call_tome_branch_list(checkout_).message, "a warning");
}

TEST_F(TomeBinding, EveryOperationReportsFailureUnderItsName) {
    const std::string revision = make_hash_hex(1);
    const std::map<std::string, std::function<void()>> operations = {
        {"tome_repository_create", [&] { quill::call_tome_repository_create(checkout_, "n", "d"); }},
        {"tome_repository_status", [&] { quill::call_tome_repository_status(checkout_, true); }},
        {"tome_repository_clone", [&] { quill::call_tome_repository_clone(checkout_, {}); }},
        {"tome_repository_accept_remote", [&] { quill::call_tome_repository_accept_remote(checkout_, "u", "/m"); }},
        {"tome_branch_create", [&] { quill::call_tome_branch_create(checkout_, "n", "f", "k", "a"); }},
        {"tome_branch_switch", [&] { quill::call_tome_branch_switch(checkout_, "b"); }},
        {"tome_branch_list", [&] { quill::call_tome_branch_list(checkout_); }},
        {"tome_branch_metadata_set", [&] { quill::set_tome_branch_metadata(checkout_, "b", {}); }},
        {"tome_branch_metadata_get", [&] { quill::call_tome_branch_metadata_get(checkout_, "b", {}); }},
        {"tome_branch_push", [&] { quill::push_tome_branch(folder_.path(), "b", remote, false); }},
        {"tome_branch_archive", [&] { quill::call_tome_branch_archive(checkout_, "b"); }},
        {"tome_file_stage", [&] { quill::call_tome_file_stage(checkout_, {"p"}); }},
        {"tome_file_info", [&] { quill::call_tome_file_info(checkout_, {"p"}); }},
        {"tome_revision_commit", [&] { quill::call_tome_revision_commit(checkout_, "m"); }},
        {"tome_revision_sync", [&] { quill::call_tome_revision_sync(checkout_, {}); }},
        {"tome_revision_history", [&] { quill::call_tome_revision_history(checkout_, "b", 1); }},
        {"tome_revision_info", [&] { quill::call_tome_revision_info(checkout_, revision); }},
        {"tome_revision_diff", [&] { quill::call_tome_revision_diff(checkout_, revision, revision); }},
        {"tome_revision_restore", [&] { quill::call_tome_revision_restore(checkout_, revision, "m"); }},
        {"tome_shared_store_create", [&] { quill::call_tome_shared_store_create(checkout_, "/s"); }},
    };
    for (const auto& [name, operation] : operations) {
        fake_tome::once(name, [](const Call&, const Events& events) { return events.fail(9, "went wrong"); });
        EXPECT_EQ(failure_of(operation), name + ": went wrong");
    }
}

TEST_F(TomeBinding, SyncReportsFailureUnderTheGivenName) {
    fake_tome::fail_call(1, 2, "gone");
    EXPECT_EQ(failure_of([&] { quill::call_tome_revision_sync(checkout_, {}, "restore sync"); }), "restore sync: gone");
}

// ---- Values

TEST_F(TomeBinding, StringsWithoutPointerOrLengthAreEmpty) {
    EXPECT_EQ(quill::tome_string_to_std({nullptr, 5}), "");
    EXPECT_EQ(quill::tome_string_to_std({"abc", 0}), "");
    EXPECT_EQ(quill::tome_string_to_std({"abc", 2}), "ab");
    EXPECT_EQ(quill::tome_string_to_std({"a\0b", 3}), std::string("a\0b", 3));
}

TEST_F(TomeBinding, StringLongerThanAnyTextIsALengthError) {
    EXPECT_THROW(quill::tome_string_to_std({"abc", std::numeric_limits<std::uint64_t>::max()}), std::length_error);
}

TEST_F(TomeBinding, ZeroHashIsEmptyText) {
    EXPECT_EQ(quill::tome_hash_hex({}), "");
}

TEST_F(TomeBinding, HashIsTwoLowerCaseDigitsAByte) {
    tome_hash_t hash;
    for (std::uint8_t index = 0; index < 32; ++index) {
        hash.bytes[index] = index;
    }
    EXPECT_EQ(quill::tome_hash_hex(hash), "000102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f");
}

TEST_F(TomeBinding, StringArrayViewsEachText) {
    const Texts texts = {"one", "", "three"};
    std::vector<tome_string> storage = {view("left over")};
    const quill::TomeStringArrayView array = quill::tome_string_array_view(texts, storage);
    ASSERT_EQ(array.count, 3u);
    EXPECT_EQ(array.items, storage.data());
    EXPECT_EQ(array.items[0].data, texts[0].data());
    EXPECT_EQ(quill::tome_string_to_std(array.items[1]), "");
    EXPECT_EQ(quill::tome_string_to_std(array.items[2]), "three");
}

TEST_F(TomeBinding, StringArrayOfNoTextsIsEmpty) {
    std::vector<tome_string> storage;
    EXPECT_EQ(quill::tome_string_array_view({}, storage).count, 0u);
}

// ---- Events

TEST_F(TomeBinding, CallbackIgnoresMissingEventAndState) {
    TomeWorkspaceState state;
    quill::tome_workspace_callback(nullptr, reinterpret_cast<std::uintptr_t>(&state));
    const tome_event_t event = event_of(TOME_EVENT_ERROR_CODE);
    quill::tome_workspace_callback(&event, 0);
    EXPECT_EQ(state.status, 0);
}

TEST_F(TomeBinding, CallbackIgnoresKindsThatItDoesNotKnow) {
    for (const std::int32_t kind : {-1, 0, 4, 100, 178, 180, std::numeric_limits<std::int32_t>::max()}) {
        tome_event_t event = event_of(kind);
        event.as.identity.hash = make_hash(1);
        const TomeWorkspaceState state = state_after_event(event);
        EXPECT_EQ(state.status, 0) << kind;
        EXPECT_EQ(state.identity, "") << kind;
        EXPECT_TRUE(state.reported_paths.empty()) << kind;
    }
}

TEST_F(TomeBinding, RecordsErrorTextAndCode) {
    const TomeWorkspaceState state = state_after([](const Events& events) { events.fail(-4, "no space"); });
    EXPECT_EQ(state.status, -4);
    EXPECT_EQ(state.message, "no space");
}

TEST_F(TomeBinding, AbsentErrorTextIsEmpty) {
    const TomeWorkspaceState state = state_after_event(event_of(TOME_EVENT_ERROR_TEXT));
    EXPECT_EQ(state.message, "");
}

TEST_F(TomeBinding, EventThatCannotBeRecordedFailsTheCall) {
    fake_tome::once("tome_branch_list", [](const Call&, const Events& events) {
        tome_event_t event = {};
        event.kind = TOME_EVENT_STATUS_PATH;
        event.as.path = {"x", std::numeric_limits<std::uint64_t>::max()};
        events.send(event);
        return 0;
    });
    EXPECT_EQ(failure_of([&] { quill::call_tome_branch_list(checkout_); }).rfind("tome_branch_list: ", 0), 0u);
}

tome_event_t metadata_event(std::int32_t type) {
    static constexpr std::string_view key = "key";
    static constexpr std::string_view text = "text";
    tome_event_t event = {};
    event.kind = TOME_EVENT_METADATA;
    event.as.metadata = {{key.data(), key.size()}, type, 0, -42, {text.data(), text.size()}};
    return event;
}

TEST_F(TomeBinding, RecordsMetadataBooleans) {
    tome_event_t event = metadata_event(TOME_VALUE_BOOLEAN);
    EXPECT_EQ(state_after_event(event).metadata.at("key"), "false");
    event.as.metadata.boolean = 1;
    EXPECT_EQ(state_after_event(event).metadata.at("key"), "true");
}

TEST_F(TomeBinding, RecordsMetadataIntegersInDecimal) {
    EXPECT_EQ(state_after_event(metadata_event(TOME_VALUE_INTEGER)).metadata.at("key"), "-42");
}

TEST_F(TomeBinding, RecordsMetadataTexts) {
    EXPECT_EQ(state_after_event(metadata_event(TOME_VALUE_TEXT)).metadata.at("key"), "text");
}

TEST_F(TomeBinding, RecordsMetadataOfUnknownTypeAsEmpty) {
    for (const std::int32_t type : {0, 2, 7}) {
        EXPECT_EQ(state_after_event(metadata_event(type)).metadata.at("key"), "") << type;
    }
}

TEST_F(TomeBinding, LaterMetadataOverwritesEarlier) {
    const TomeWorkspaceState state = state_after([](const Events& events) {
        events.metadata("key", "first");
        events.metadata("key", "second");
        events.metadata("other", "third");
    });
    EXPECT_EQ(state.metadata, (std::map<std::string, std::string>{{"key", "second"}, {"other", "third"}}));
}

TEST_F(TomeBinding, RecordsIdentityWithoutNumber) {
    for (const std::int32_t kind :
         {TOME_EVENT_BRANCH_HEAD, TOME_EVENT_SYNCED, TOME_EVENT_BASE_REVISION, TOME_EVENT_RESTORED}) {
        const TomeWorkspaceState state =
            state_after([&](const Events& events) { events.identity(kind, make_hash(3), 8); });
        EXPECT_EQ(state.identity, make_hash_hex(3)) << kind;
        EXPECT_EQ(state.identity_number, 0u) << kind;
    }
}

TEST_F(TomeBinding, RecordsIdentityWithNumber) {
    for (const std::int32_t kind : {TOME_EVENT_COMMITTED, TOME_EVENT_REVISION_INFO}) {
        const TomeWorkspaceState state =
            state_after([&](const Events& events) { events.identity(kind, make_hash(3), 8); });
        EXPECT_EQ(state.identity, make_hash_hex(3)) << kind;
        EXPECT_EQ(state.identity_number, 8u) << kind;
    }
}

TEST_F(TomeBinding, ZeroIdentityIsEmpty) {
    const TomeWorkspaceState state =
        state_after([](const Events& events) { events.identity(TOME_EVENT_COMMITTED, {}, 1); });
    EXPECT_EQ(state.identity, "");
}

TEST_F(TomeBinding, RecordsBranches) {
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

TEST_F(TomeBinding, BranchWithoutRevisionHasNoHead) {
    const TomeWorkspaceState state = state_after([](const Events& events) { events.branch("main", "", {}); });
    EXPECT_EQ(state.workspaces.at(0).headKey, "");
    EXPECT_FALSE(state.workspaces.at(0).archived);
    EXPECT_EQ(state.branch_kinds.at("main"), "");
}

TEST_F(TomeBinding, RecordsChangesWithTheirKind) {
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

// Where the paths of a kind of event are collected.
struct PathList {
    std::int32_t kind;
    Texts TomeWorkspaceState::*list;
};

TEST_F(TomeBinding, CollectsPathsInOrderAndSkipsEmptyOnes) {
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

TEST_F(TomeBinding, RecordsIdentitiesOfFilesThatArePresent) {
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

TEST_F(TomeBinding, RecordsStatus) {
    const TomeWorkspaceState state =
        state_after([](const Events& events) { events.status(make_hash(1), 4, make_hash(2), 5); });
    EXPECT_EQ(state.identity, make_hash_hex(1));
    EXPECT_EQ(state.second_identity, make_hash_hex(2));
    EXPECT_EQ(state.identity_number, 4u);
    EXPECT_EQ(state.identity_extra, 5u);
}

TEST_F(TomeBinding, StatusWithoutRevisionsIsEmpty) {
    const TomeWorkspaceState state = state_after([](const Events& events) { events.status({}, 0, {}, 0); });
    EXPECT_EQ(state.identity, "");
    EXPECT_EQ(state.second_identity, "");
}

TEST_F(TomeBinding, CountsTheFilesOfARevision) {
    const TomeWorkspaceState state = state_after([](const Events& events) {
        events.identity(TOME_EVENT_REVISION_INFO, make_hash(1), 2);
        events.path(TOME_EVENT_REVISION_FILE, "a");
        events.path(TOME_EVENT_REVISION_FILE, "b");
    });
    EXPECT_EQ(state.event_count, 2u);
}

TEST_F(TomeBinding, RecordsRevisions) {
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

// ---- Parameters of the operations

TEST_F(TomeBinding, CreatePassesItsTexts) {
    quill::call_tome_repository_create(checkout_, "file:///remote/p", "A project", "/p/.branch-memory");
    EXPECT_EQ(only_call().values,
              (std::map<std::string, std::string>{
                  {"name", "file:///remote/p"}, {"description", "A project"}, {"branch_memory", "/p/.branch-memory"}}));
}

TEST_F(TomeBinding, AcceptRemotePassesTheRepositoryAndItsMemory) {
    quill::call_tome_repository_accept_remote(checkout_, "file:///remote/p", "/p/.branch-memory");
    EXPECT_EQ(only_call().values, (std::map<std::string, std::string>{{"repository_url", "file:///remote/p"},
                                                                      {"branch_memory", "/p/.branch-memory"}}));
}

TEST_F(TomeBinding, StatusPassesWhetherChangesAreWanted) {
    quill::call_tome_repository_status(checkout_, false);
    quill::call_tome_repository_status(checkout_, true);
    EXPECT_EQ(fake_tome::calls().at(0).value("report_changes"), "0");
    EXPECT_EQ(fake_tome::calls().at(1).value("report_changes"), "1");
}

TEST_F(TomeBinding, ClonePassesEverythingAndIsAlwaysSparse) {
    quill::call_tome_repository_clone(
        checkout_, {"file:///remote/p", "feature", true, true, "/store", {"a", "b/c"}, "/p/.branch-memory"});
    const Call call = only_call();
    EXPECT_EQ(call.values, (std::map<std::string, std::string>{{"repository_url", "file:///remote/p"},
                                                               {"branch", "feature"},
                                                               {"metadata_only", "1"},
                                                               {"use_shared_store", "1"},
                                                               {"shared_store", "/store"},
                                                               {"sparse", "1"},
                                                               {"branch_memory", "/p/.branch-memory"}}));
    EXPECT_EQ(call.list("paths"), (Texts{"a", "b/c"}));
}

TEST_F(TomeBinding, CloneWithoutSharedStoreNamesNone) {
    quill::call_tome_repository_clone(checkout_, {"file:///remote/p", "main", false, false, "/store", {}, ""});
    const Call call = only_call();
    EXPECT_EQ(call.value("use_shared_store"), "0");
    EXPECT_EQ(call.value("shared_store"), "");
    EXPECT_EQ(call.value("metadata_only"), "0");
    EXPECT_EQ(call.value("sparse"), "1");
    EXPECT_TRUE(call.list("paths").empty());
}

TEST_F(TomeBinding, BranchCreatePassesItsTexts) {
    quill::call_tome_branch_create(checkout_, "feature", "main", "quill-workspace", "Ann");
    EXPECT_EQ(only_call().values,
              (std::map<std::string, std::string>{
                  {"name", "feature"}, {"from", "main"}, {"kind", "quill-workspace"}, {"author", "Ann"}}));
}

TEST_F(TomeBinding, SwitchAsksForTheNewestHead) {
    quill::call_tome_branch_switch(checkout_, "feature");
    EXPECT_EQ(only_call().values, (std::map<std::string, std::string>{{"name", "feature"}, {"fetch_newest", "1"}}));
}

TEST_F(TomeBinding, MetadataSetPassesKeysAndValuesSideBySide) {
    quill::set_tome_branch_metadata(checkout_, "feature", {{"b", "2"}, {"a", "1"}, {"c", ""}});
    const Call call = only_call();
    EXPECT_EQ(call.value("branch"), "feature");
    EXPECT_EQ(call.list("keys"), (Texts{"a", "b", "c"}));
    EXPECT_EQ(call.list("values"), (Texts{"1", "2", ""}));
}

TEST_F(TomeBinding, MetadataGetPassesKeysAndReturnsValues) {
    fake_tome::once("tome_branch_metadata_get", [](const Call&, const Events& events) {
        events.metadata("a", "1");
        return 0;
    });
    const TomeWorkspaceState state = quill::call_tome_branch_metadata_get(checkout_, "feature", {"a", "b"});
    EXPECT_EQ(only_call().value("branch"), "feature");
    EXPECT_EQ(only_call().list("keys"), (Texts{"a", "b"}));
    EXPECT_EQ(state.metadata, (std::map<std::string, std::string>{{"a", "1"}}));
}

TEST_F(TomeBinding, PushCarriesMetadataAndForceOnDemand) {
    quill::push_tome_branch(folder_.path(), "feature", remote, false);
    quill::push_tome_branch(folder_.path(), "feature", remote, true);
    const std::vector<Call> calls = fake_tome::calls();
    ASSERT_EQ(calls.size(), 2u);
    EXPECT_EQ(calls[0].values, (std::map<std::string, std::string>{{"name", "feature"}, {"with_metadata", "1"}}));
    EXPECT_FALSE(calls[0].force);
    EXPECT_TRUE(calls[1].force);
    EXPECT_TRUE(calls[1].use_remote);
    EXPECT_EQ(calls[1].remote_url, remote);
}

TEST_F(TomeBinding, PushDoesNothingWithoutBranchOrRemote) {
    quill_test::write_file(folder_ / ".tome/config.toml", "remote_url = \"file:///from-file\"\n");
    quill::push_tome_branch(folder_.path(), "", remote, true);
    quill::push_tome_branch(folder_.path(), "feature", "", true);
    EXPECT_TRUE(fake_tome::calls().empty());
}

TEST_F(TomeBinding, ArchivePassesTheBranch) {
    quill::call_tome_branch_archive(checkout_, "feature");
    EXPECT_EQ(only_call().value("name"), "feature");
}

TEST_F(TomeBinding, StageTakesDeletionsAndAdditions) {
    quill::call_tome_file_stage(checkout_, {"a", "b"});
    const Call call = only_call();
    EXPECT_EQ(call.list("paths"), (Texts{"a", "b"}));
    EXPECT_EQ(call.values, (std::map<std::string, std::string>{{"stage_deletions", "1"}, {"stage_additions", "1"}}));
}

TEST_F(TomeBinding, FileInfoPassesPaths) {
    quill::call_tome_file_info(checkout_, {"a", "b"});
    EXPECT_EQ(only_call().list("paths"), (Texts{"a", "b"}));
}

TEST_F(TomeBinding, CommitPassesTheMessageAndReturnsTheRevision) {
    const TomeWorkspaceState state = quill::call_tome_revision_commit(checkout_, "Quill workspace edit");
    EXPECT_EQ(only_call().value("message"), "Quill workspace edit");
    EXPECT_EQ(state.identity, make_hash_hex(1));
    EXPECT_EQ(state.identity_number, 1u);
}

TEST_F(TomeBinding, SyncWithoutRevisionFetchesTheNewest) {
    quill::call_tome_revision_sync(checkout_, {{"a"}, "", false});
    const Call call = only_call();
    EXPECT_EQ(call.list("paths"), (Texts{"a"}));
    EXPECT_EQ(call.values, (std::map<std::string, std::string>{
                               {"revision", ""}, {"fetch_newest", "1"}, {"overwrite", "0"}, {"scratch", "0"}}));
}

TEST_F(TomeBinding, SyncWithRevisionNamesItAndFetchesNothing) {
    const std::string revision = make_hash_hex(0x0f);
    quill::call_tome_revision_sync(checkout_, {{}, revision, true});
    EXPECT_EQ(only_call().values,
              (std::map<std::string, std::string>{
                  {"revision", revision}, {"fetch_newest", "0"}, {"overwrite", "1"}, {"scratch", "0"}}));
}

TEST_F(TomeBinding, SyncSaysWhereTheFilesNeedNotSurviveAPowerCut) {
    quill::TomeSync sync;
    sync.scratch = true;
    quill::call_tome_revision_sync(checkout_, sync);
    EXPECT_EQ(only_call().value("scratch"), "1");
}

TEST_F(TomeBinding, HistoryPassesBranchAndLimit) {
    quill::call_tome_revision_history(checkout_, "feature", 50);
    EXPECT_EQ(only_call().values, (std::map<std::string, std::string>{{"branch", "feature"}, {"limit", "50"}}));
}

TEST_F(TomeBinding, RevisionOperationsPassHashes) {
    quill::call_tome_revision_info(checkout_, make_hash_hex(1));
    quill::call_tome_revision_diff(checkout_, make_hash_hex(2), make_hash_hex(3));
    quill::call_tome_revision_restore(checkout_, make_hash_hex(4), "Restore");
    const std::vector<Call> calls = fake_tome::calls();
    EXPECT_EQ(calls.at(0).value("revision"), make_hash_hex(1));
    EXPECT_EQ(calls.at(1).value("from"), make_hash_hex(2));
    EXPECT_EQ(calls.at(1).value("to"), make_hash_hex(3));
    EXPECT_EQ(calls.at(2).value("revision"), make_hash_hex(4));
    EXPECT_EQ(calls.at(2).value("message"), "Restore");
}

TEST_F(TomeBinding, RevisionDigitsMayBeUpperCase) {
    quill::call_tome_revision_info(checkout_, std::string(62, '0') + "AF");
    EXPECT_EQ(only_call().value("revision"), std::string(62, '0') + "af");
}

TEST_F(TomeBinding, RefusesTextsThatAreNoRevision) {
    const std::string good = make_hash_hex(1);
    for (const std::string& bad : {std::string("HEAD"), good.substr(1), good + "0", std::string(63, 'a') + "g",
                                   std::string(63, 'a') + " ", std::string(64, '0')}) {
        const std::string expected = "not a Tome revision: " + bad;
        EXPECT_EQ(failure_of([&] { quill::call_tome_revision_sync(checkout_, {{}, bad, false}); }), expected);
        EXPECT_EQ(failure_of([&] { quill::call_tome_revision_info(checkout_, bad); }), expected);
        EXPECT_EQ(failure_of([&] { quill::call_tome_revision_diff(checkout_, good, bad); }), expected);
        EXPECT_EQ(failure_of([&] { quill::call_tome_revision_restore(checkout_, bad, ""); }), expected);
    }
    EXPECT_EQ(failure_of([&] { quill::call_tome_revision_info(checkout_, ""); }), "not a Tome revision: ");
    EXPECT_TRUE(fake_tome::calls().empty());
}

TEST_F(TomeBinding, SharedStoreCreatePassesPathAndRemote) {
    quill::call_tome_shared_store_create(checkout_, "/project/store");
    EXPECT_EQ(only_call().value("path"), "/project/store");
    EXPECT_EQ(only_call().remote_url, remote);
}

}  // namespace
