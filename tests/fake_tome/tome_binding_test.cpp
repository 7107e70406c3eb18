#include "engine/tome_binding.h"

#include <gtest/gtest.h>
#include <tome/tome.h>

#include <fstream>
#include <functional>
#include <limits>
#include <map>

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

    // The one call that was made.
    static Call only_call() {
        const std::vector<Call> calls = fake_tome::calls();
        EXPECT_EQ(calls.size(), 1u);
        return calls.at(0);
    }

    quill_test::TemporaryFolder folder_;
    CheckoutLocation checkout_{folder_.path(), remote};
};

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
        {"tome_branch_diff", [&] { quill::call_tome_branch_diff(checkout_, "a", "b"); }},
        {"tome_branch_merge_into", [&] { quill::call_tome_branch_merge_into(checkout_, "b", "m"); }},
        {"tome_file_stage", [&] { quill::call_tome_file_stage(checkout_, {"p"}); }},
        {"tome_file_info", [&] { quill::call_tome_file_info(checkout_, {"p"}); }},
        {"tome_file_state", [&] { quill::call_tome_file_state(checkout_, {"p"}, {}); }},
        {"tome_file_base_set", [&] { quill::call_tome_file_base_set(checkout_, revision, {"p"}, false); }},
        {"tome_file_update", [&] { quill::call_tome_file_update(checkout_, {}); }},
        {"tome_revision_commit", [&] { quill::call_tome_revision_commit(checkout_, "m"); }},
        {"tome_revision_sync", [&] { quill::call_tome_revision_sync(checkout_, {}); }},
        {"tome_revision_history", [&] { quill::call_tome_revision_history(checkout_, "b", 1); }},
        {"tome_revision_info", [&] { quill::call_tome_revision_info(checkout_, revision); }},
        {"tome_revision_diff", [&] { quill::call_tome_revision_diff(checkout_, revision, revision); }},
        {"tome_revision_restore", [&] { quill::call_tome_revision_restore(checkout_, revision, "m"); }},
        {"tome_shared_store_create", [&] { quill::call_tome_shared_store_create(checkout_, "/s"); }},
    };
    std::ifstream symbols(QUILL_SOURCE_DIR "/tome/exported_symbols.txt");
    for (std::string symbol; std::getline(symbols, symbol);) {
        EXPECT_TRUE(symbol.starts_with("tome_storage_") || operations.contains(symbol)) << symbol << " is not tested";
    }
    for (const auto& [name, operation] : operations) {
        fake_tome::once(name, [](const Call&, const Events& events) { return events.fail(9, "went wrong"); });
        EXPECT_EQ(failure_of(operation), name + ": went wrong");
    }
}

TEST_F(TomeBinding, SyncReportsFailureUnderTheGivenName) {
    fake_tome::fail_call(1, 2, "gone");
    EXPECT_EQ(failure_of([&] { quill::call_tome_revision_sync(checkout_, {}, "restore sync"); }), "restore sync: gone");
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

TEST_F(TomeBinding, CallsOnADetachedCheckoutNameItsFolder) {
    checkout_.working_folder = "/package";
    quill::call_tome_file_state(checkout_, {}, {});
    EXPECT_EQ(only_call().working_folder, "/package");
}

TEST_F(TomeBinding, FileStatePassesPathsAndReturnsTheThreeStates) {
    fake_tome::once("tome_file_state", [](const Call&, const Events& events) {
        tome_event_t event{};
        event.kind = TOME_EVENT_FILE_STATE;
        event.as.file_state.path = {"a", 1};
        event.as.file_state.base = {make_hash(1), 3, 1, 1};
        event.as.file_state.here = {{}, 7, 1, 0};
        events.send(event);
        event.as.file_state = {};
        event.as.file_state.path = {"b", 1};
        event.as.file_state.there = {make_hash(2), 4, 1, 0};
        event.as.file_state.is_other_kind = 1;
        events.send(event);
        events.identity(TOME_EVENT_SYNCED, make_hash(3));
        return 0;
    });
    const TomeWorkspaceState state = quill::call_tome_file_state(checkout_, {"a", "b"}, {"skipped"});
    EXPECT_EQ(only_call().list("paths"), (Texts{"a", "b"}));
    EXPECT_EQ(only_call().list("skip_paths"), (Texts{"skipped"}));
    EXPECT_EQ(state.identity, make_hash_hex(3));
    ASSERT_EQ(state.file_states.size(), 2u);
    EXPECT_EQ(state.file_states[0].path, "a");
    EXPECT_EQ(state.file_states[0].base, (quill::ProjectFileVersion{make_hash_hex(1), 3, true}));
    EXPECT_EQ(state.file_states[0].here, (quill::ProjectFileVersion{"", 7, false}));
    EXPECT_EQ(state.file_states[0].there, std::nullopt);
    EXPECT_FALSE(state.file_states[0].is_other_kind);
    EXPECT_EQ(state.file_states[1].there, (quill::ProjectFileVersion{make_hash_hex(2), 4, false}));
    EXPECT_TRUE(state.file_states[1].is_other_kind);
}

TEST_F(TomeBinding, BaseSetPassesTheRevisionAndPaths) {
    quill::call_tome_file_base_set(checkout_, make_hash_hex(5), {"a"}, true);
    EXPECT_EQ(only_call().list("paths"), (Texts{"a"}));
    EXPECT_EQ(only_call().values, (std::map<std::string, std::string>{
                                      {"revision", make_hash_hex(5)}, {"is_base", "1"}, {"versions", "0"}}));
}

TEST_F(TomeBinding, BaseFindPassesPathsAndVersionsWithoutARevision) {
    quill::call_tome_file_base_find(checkout_, {"a"}, 500);
    EXPECT_EQ(only_call().operation, "tome_file_base_set");
    EXPECT_EQ(only_call().list("paths"), (Texts{"a"}));
    EXPECT_EQ(only_call().values,
              (std::map<std::string, std::string>{{"revision", ""}, {"is_base", "0"}, {"versions", "500"}}));
}

TEST_F(TomeBinding, UpdatePassesTheRevisionAndReturnsWhatBecameOfTheFiles) {
    fake_tome::once("tome_file_update", [](const Call&, const Events& events) {
        events.path(TOME_EVENT_MERGE_CONFLICT, "c");
        events.path(TOME_EVENT_SYNCED_PATH, "a");
        events.path(TOME_EVENT_MERGED_PATH, "b");
        return 0;
    });
    const TomeWorkspaceState state =
        quill::call_tome_file_update(checkout_, {{"a", "b", "c"}, make_hash_hex(5), true, false});
    EXPECT_EQ(only_call().list("paths"), (Texts{"a", "b", "c"}));
    EXPECT_EQ(only_call().values, (std::map<std::string, std::string>{
                                      {"revision", make_hash_hex(5)}, {"is_base", "1"}, {"check_only", "0"}}));
    EXPECT_EQ(state.changed_paths, Texts{"c"});
    EXPECT_EQ(state.reported_paths, Texts{"a"});
    EXPECT_EQ(state.merged_paths, Texts{"b"});
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
