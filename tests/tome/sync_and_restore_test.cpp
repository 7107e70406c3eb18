#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "tests/tome/engine_client.h"
#include "tome/store/branch_table.h"
#include "tome/store/store.h"

namespace quill_test {
namespace {

using Paths = std::vector<std::string>;
using Files = std::map<std::string, std::string>;

// The origin publishes, the client syncs.
class SyncAndRestore : public EngineOperations {
  protected:
    // Publishes the files; an empty optional deletes.
    std::string publish(const std::map<std::string, std::optional<std::string>>& files) const {
        Paths paths;
        for (const auto& [path, bytes] : files) {
            std::filesystem::remove_all(origin_ / path);
        }
        for (const auto& [path, bytes] : files) {
            if (bytes) {
                origin_.write(path, *bytes);
            }
            paths.push_back(path);
        }
        return origin_.publish(paths);
    }

    // Syncs and expects that these paths are protected and that nothing at all has changed.
    static void expect_protected(const EngineClient& client, const std::string& named, const EngineSync& sync = {}) {
        const Files files = client.files();
        const EngineResult status = must(client.status());
        EXPECT_EQ(client.sync(sync).error, "uncommitted changes would be overwritten: " + named);
        EXPECT_EQ(client.files(), files);
        const EngineResult after = must(client.status());
        EXPECT_EQ(after.paths, status.paths);
        EXPECT_EQ(after.hash, status.hash);
    }

    EngineClient origin_ = new_repository({{"a", "1"}, {"b/c", "1"}, {"b/d", "1"}, {"same", "1"}});
    std::string first_ = remote_head();
};

TEST_F(SyncAndRestore, SyncBringsTheWholeTreeToTheNewestHead) {
    const EngineClient client = new_clone();
    const std::string head = publish({{"a", "2"}, {"b", std::nullopt}, {"new/file", "3"}});
    const EngineResult synced = client.sync();
    EXPECT_EQ(synced.error, "");
    EXPECT_EQ(synced.paths, (Paths{"a", "b/c", "b/d", "new/file"}));
    EXPECT_EQ(synced.events.back(), TOME_EVENT_SYNCED);
    EXPECT_EQ(synced.hash, head);
    EXPECT_EQ(synced.order, 2U);
    EXPECT_EQ(client.files(), (Files{{"a", "2"}, {"new/file", "3"}, {"same", "1"}}));
    EXPECT_FALSE(client.has("b")) << "an emptied folder goes, too";
    EXPECT_EQ(must(client.status()).hash, head);
    EXPECT_EQ(must(client.status()).paths, Paths{});
    EXPECT_EQ(must(client.sync()).paths, Paths{}) << "there is nothing more to bring";
}

TEST_F(SyncAndRestore, SyncWithoutFetchingBringsTheBaseAndNothingNewer) {
    const EngineClient client = new_clone({.sparse = true});
    publish({{"a", "2"}});
    const EngineResult synced = must(client.sync({.fetch_newest = false}));
    EXPECT_EQ(synced.hash, first_);
    EXPECT_EQ(client.files(), (Files{{"a", "1"}, {"b/c", "1"}, {"b/d", "1"}, {"same", "1"}}));
    std::filesystem::remove(client / "same");
    EXPECT_EQ(must(client.sync({.fetch_newest = false})).paths, Paths{"same"});
}

TEST_F(SyncAndRestore, SyncOfPathsBringsThemAndLetsTheHeldOnesFollow) {
    const EngineClient client = new_clone({.paths = {"a"}, .sparse = true});
    const std::string head = publish({{"a", "2"}, {"b/c", "2"}, {"same", "2"}});
    EXPECT_EQ(must(client.sync({.paths = {"b", "nowhere"}})).paths, (Paths{"a", "b/c", "b/d"}));
    EXPECT_EQ(client.files(), (Files{{"a", "2"}, {"b/c", "2"}, {"b/d", "1"}}));
    EXPECT_EQ(must(client.status()).hash, head);
}

TEST_F(SyncAndRestore, SyncOfAPathThatTheRevisionLacksRemovesIt) {
    const EngineClient client = new_clone();
    publish({{"a", std::nullopt}, {"same", "2"}, {"b", std::nullopt}});
    must(client.sync({.paths = {"a"}, .revision = remote_head()}));
    EXPECT_FALSE(client.has("a"));
    EXPECT_EQ(client.read("same"), "1");
    must(client.sync({.paths = {"b"}, .revision = remote_head()}));
    EXPECT_FALSE(client.has("b"));
}

TEST_F(SyncAndRestore, SyncToARevisionGoesBackAndForthAndLeavesTheBase) {
    const std::string second = publish({{"a", "2"}, {"b", std::nullopt}, {"new", "2"}});
    const EngineClient client = new_clone();
    const EngineResult back = must(client.sync({.revision = first_}));
    EXPECT_EQ(back.paths, (Paths{"a", "b/c", "b/d", "new"}));
    EXPECT_EQ(back.hash, first_);
    EXPECT_EQ(back.order, 1U);
    EXPECT_EQ(client.files(), (Files{{"a", "1"}, {"b/c", "1"}, {"b/d", "1"}, {"same", "1"}}));
    EXPECT_EQ(must(client.status()).hash, second);
    EXPECT_EQ(must(client.status()).paths, (Paths{"a", "b/c", "b/d"})) << "what is no longer held is unchanged";
    must(client.sync());
    EXPECT_EQ(client.files(), (Files{{"a", "2"}, {"new", "2"}, {"same", "1"}}));
}

TEST_F(SyncAndRestore, SyncToAnUnknownRevisionChangesNothing) {
    const EngineClient client = new_clone();
    const std::string unknown(64, 'a');
    EXPECT_EQ(client.sync({.revision = unknown}).error, "missing object: " + unknown);
    EXPECT_EQ(client.files(), origin_.files());
}

TEST_F(SyncAndRestore, SyncOfManyFilesBringsThemAll) {
    std::map<std::string, std::optional<std::string>> many;
    for (int i = 0; i < 150; ++i) {
        many["many/" + std::to_string(i)] = std::to_string(i);
    }
    const EngineClient client = new_clone();
    publish(many);
    EXPECT_EQ(must(client.sync()).paths.size(), many.size());
    EXPECT_EQ(client.files(), origin_.files());
}

TEST_F(SyncAndRestore, FolderAndFileChangePlaces) {
    const EngineClient client = new_clone();
    publish({{"a", std::nullopt}, {"a/x", "2"}, {"b", "2"}});
    EXPECT_EQ(must(client.sync()).paths, (Paths{"a", "a/x", "b", "b/c", "b/d"}));
    EXPECT_EQ(client.files(), (Files{{"a/x", "2"}, {"b", "2"}, {"same", "1"}}));
    EXPECT_EQ(must(client.status()).paths, Paths{});
    must(client.sync({.revision = first_}));
    EXPECT_EQ(client.files(), (Files{{"a", "1"}, {"b/c", "1"}, {"b/d", "1"}, {"same", "1"}}));
}

TEST_F(SyncAndRestore, EditsWhereNothingNewComesStay) {
    const EngineClient client = new_clone();
    publish({{"a", "2"}});
    client.write("untracked", "mine");
    EXPECT_EQ(must(client.sync()).paths, Paths{"a"});
    client.write("same", "edited");
    publish({{"a", "3"}});
    EXPECT_EQ(must(client.sync({.paths = {"a"}})).paths, Paths{"a"});
    EXPECT_EQ(client.read("same"), "edited");
    EXPECT_EQ(must(client.status()).paths, (Paths{"same", "untracked"}));
}

TEST_F(SyncAndRestore, EditsAreProtectedAndNamed) {
    const EngineClient client = new_clone();
    publish({{"a", "2"}, {"b/c", std::nullopt}, {"new", "2"}, {"same", "2"}});
    client.write("a", "edited");
    expect_protected(client, "a");
    client.write("b/c", "edited");
    client.write("new", "mine");
    expect_protected(client, "a and 2 more");
    expect_protected(client, "b/c", {.paths = {"b"}, .revision = remote_head()});
    expect_protected(client, "new", {.paths = {"new"}, .revision = remote_head()});
}

TEST_F(SyncAndRestore, EditIsProtectedAlsoWhenItKeepsSizeAndTime) {
    const EngineClient client = new_clone();
    publish({{"a", "2"}});
    const auto time = std::filesystem::last_write_time(client / "a");
    client.write("a", "3");
    std::filesystem::last_write_time(client / "a", time);
    expect_protected(client, "a");
}

TEST_F(SyncAndRestore, EditIsProtectedAlsoFromItsOwnBase) {
    const EngineClient client = new_clone();
    client.write("a", "edited");
    expect_protected(client, "a", {.fetch_newest = false});
    expect_protected(client, "a", {.paths = {"a"}, .revision = first_});
}

TEST_F(SyncAndRestore, StagedEditIsProtectedLikeAnyOther) {
    const EngineClient client = new_clone();
    publish({{"a", "2"}});
    client.write("a", "edited");
    must(client.stage({"a"}));
    expect_protected(client, "a");
    expect_protected(client, "a", {.revision = first_});
}

TEST_F(SyncAndRestore, FilesInAFolderThatAFileReplacesAreProtected) {
    const EngineClient client = new_clone();
    publish({{"b", "2"}});
    client.write("b/untracked", "mine");
    expect_protected(client, "b/untracked");
}

TEST_F(SyncAndRestore, FileWhereAFolderComesIsProtected) {
    const EngineClient client = new_clone();
    publish({{"0", "2"}, {"a", "2"}, {"new/x", "2"}, {"new/y", "2"}});
    client.write("new", "mine");
    expect_protected(client, "new");
}

TEST_F(SyncAndRestore, FoldersWhereAFileComesEitherGiveWayOrNothingChanges) {
    publish({{"b", "2"}, {"same", "2"}});
    for (const bool checkout : {false, true}) {
        const EngineClient client = new_clone({.sparse = true});
        must(client.sync({.revision = first_}));
        std::filesystem::create_directories(client / "b/empty/deep");
        if (checkout) {
            must(EngineClient(client / "b/empty/deep").create("plain"));
        }
        const Files before = client.files();
        const EngineResult synced = client.sync();
        EXPECT_TRUE(!checkout || !synced.ok()) << "a nested checkout is not to go";
        EXPECT_EQ(client.files(), synced.ok() ? (Files{{"a", "1"}, {"b", "2"}, {"same", "2"}}) : before)
            << synced.error;
    }
}

TEST_F(SyncAndRestore, EditedFileWhereAFolderComesIsProtected) {
    const EngineClient client = new_clone();
    publish({{"a", std::nullopt}, {"a/x", "2"}});
    client.write("a", "edited");
    expect_protected(client, "a");
}

TEST_F(SyncAndRestore, EditThatIsWhatComesIsNoObstacle) {
    const EngineClient client = new_clone();
    publish({{"a", "2"}, {"new", "2"}, {"b/c", std::nullopt}});
    client.write("a", "2");
    client.write("new", "2");
    std::filesystem::remove(client / "b/c");
    EXPECT_EQ(must(client.sync()).paths, Paths{});
    EXPECT_EQ(must(client.status()).paths, Paths{});
}

TEST_F(SyncAndRestore, FileThatWentBackToItsOldBytesIsNoObstacle) {
    const EngineClient client = new_clone();
    client.write("a", "edited");
    client.write("a", "1");
    publish({{"a", "2"}});
    EXPECT_EQ(must(client.sync()).paths, Paths{"a"});
    EXPECT_EQ(client.read("a"), "2");
}

TEST_F(SyncAndRestore, OverwriteDropsEdits) {
    const EngineClient client = new_clone();
    const std::string head = publish({{"a", "2"}, {"b/c", std::nullopt}, {"new", "2"}});
    client.write("a", "edited");
    client.write("b/c", "edited");
    client.write("new", "mine");
    client.write("same", "edited");
    client.write("untracked", "mine");
    EXPECT_EQ(must(client.sync({.overwrite = true})).paths, (Paths{"a", "b/c", "new", "same"}));
    EXPECT_EQ(client.files(), (Files{{"a", "2"}, {"b/d", "1"}, {"new", "2"}, {"same", "1"}, {"untracked", "mine"}}));
    EXPECT_EQ(must(client.status()).hash, head);
}

TEST_F(SyncAndRestore, OverwriteDropsAnEditedFileForAFolder) {
    const EngineClient client = new_clone();
    publish({{"a", std::nullopt}, {"a/x", "2"}});
    client.write("a", "edited");
    must(client.sync({.overwrite = true}));
    EXPECT_EQ(client.read("a/x"), "2");
}

TEST_F(SyncAndRestore, OverwriteDropsAnUntrackedFileForAFolder) {
    const EngineClient client = new_clone();
    publish({{"new/x", "2"}});
    client.write("new", "mine");
    EXPECT_EQ(client.sync({.overwrite = true}).error, "");
    EXPECT_EQ(client.files().count("new/x"), 1U);
}

TEST_F(SyncAndRestore, LinksInTheWayAreRefusedAndNothingIsWrittenBehindThem) {
    publish({{"a", "2"}, {"b/c", "2"}});
    for (const bool overwrite : {false, true}) {
        const EngineClient client = new_clone();
        must(client.sync({.revision = first_}));
        const std::filesystem::path outside = new_folder();
        write_file(outside / "c", "1");
        std::filesystem::remove_all(client / "b");
        std::filesystem::create_directory_symlink(outside, client / "b");
        EXPECT_TRUE(client.sync({.overwrite = overwrite}).error.starts_with("a symbolic link stands in the way: b/"));
        EXPECT_EQ(read_file(outside / "c"), "1");
        EXPECT_EQ(client.read("a"), "1");

        std::filesystem::remove(client / "b");
        must(client.sync({.revision = first_}));
        write_file(outside / "a", "1");
        std::filesystem::remove(client / "a");
        std::filesystem::create_symlink(outside / "a", client / "a");
        EXPECT_EQ(client.sync({.overwrite = overwrite}).error, "uncommitted changes would be overwritten: a");
        EXPECT_EQ(read_file(outside / "a"), "1");
    }
}

TEST_F(SyncAndRestore, SyncFollowsAHeadThatWentBack) {
    const EngineClient behind = new_clone();
    publish({{"a", "2"}, {"new", "2"}});
    const EngineClient client = new_clone();
    tome::Store store(remote_ / "project");
    std::optional<tome::BranchRecord> record = tome::read_branch(store.database(), tome::BranchName::parse("main"));
    record->head = tome::read_revision(store, record->head).first_parent;
    ASSERT_TRUE(tome::compare_and_set_branch(store.database(), *record));
    EXPECT_EQ(remote_head(), first_);
    EXPECT_EQ(must(client.sync()).hash, first_);
    EXPECT_EQ(client.files(), behind.files());
    EXPECT_EQ(must(client.status()).paths, Paths{});
}

TEST_F(SyncAndRestore, CommitThatWasNotPushedStaysTheBase) {
    const EngineClient client = new_clone();
    client.write("a", "mine");
    const std::string mine = client.commit_paths({"a"});
    EXPECT_EQ(must(client.sync()).hash, mine);
    EXPECT_EQ(client.read("a"), "mine");
    must(client.push());
    EXPECT_EQ(remote_head(), mine);
}

TEST_F(SyncAndRestore, EditsOfAnOvertakenCommitAreKeptAsUncommitted) {
    const EngineClient client = new_clone();
    client.write("a", "mine");
    client.write("mine/new", "mine");
    client.commit_paths({"a", "mine"});
    const std::string head = publish({{"b/c", "2"}});
    EXPECT_EQ(client.push().error, "branch has moved on the remote: main");
    must(client.sync({.paths = {"b"}}));
    EXPECT_EQ(client.files(), (Files{{"a", "mine"}, {"b/c", "2"}, {"b/d", "1"}, {"mine/new", "mine"}, {"same", "1"}}));
    const EngineResult status = must(client.status());
    EXPECT_EQ(status.hash, head);
    EXPECT_EQ(status.paths, (Paths{"a", "mine/new"}));
    EXPECT_EQ(must(client.push()).hash, head) << "the overtaken commit is none to publish any more";
    client.publish({"a", "mine"});
    EXPECT_EQ(new_clone().files(), client.files());
}

TEST_F(SyncAndRestore, DeletionOfAnOvertakenCommitIsKeptAsUncommitted) {
    const EngineClient client = new_clone();
    std::filesystem::remove(client / "same");
    client.commit_paths({"same"});
    publish({{"b/c", "2"}});
    must(client.switch_to("main"));
    EXPECT_FALSE(client.has("same"));
    EXPECT_EQ(must(client.status()).paths, Paths{"same"});
}

TEST_F(SyncAndRestore, SwitchKeepsTheEditsOfAnOvertakenCommit) {
    const EngineClient client = new_clone();
    client.write("a", "mine");
    client.commit_paths({"a"});
    const std::string head = publish({{"b/c", "2"}});
    EXPECT_EQ(must(client.switch_to("main")).hash, head);
    EXPECT_EQ(client.read("a"), "mine");
    EXPECT_EQ(client.read("b/c"), "2");
    EXPECT_EQ(must(client.status()).paths, Paths{"a"});
    EXPECT_EQ(must(client.push()).hash, head) << "the overtaken commit is none to publish any more";
}

TEST_F(SyncAndRestore, OvertakenCommitIsProtectedWhereTheRemoteChangedTheSame) {
    const EngineClient client = new_clone();
    client.write("a", "mine");
    const std::string mine = client.commit_paths({"a"});
    publish({{"a", "2"}, {"b/c", "2"}});
    expect_protected(client, "a");
    expect_protected(client, "a", {.paths = {"b"}});
    EXPECT_EQ(client.switch_to("main").error, "uncommitted changes would be overwritten: a");
    EXPECT_EQ(must(client.status()).hash, mine);
    EXPECT_EQ(client.read("a"), "mine");
    EXPECT_EQ(client.read("b/c"), "1");
}

TEST_F(SyncAndRestore, OvertakenCommitSurvivesASyncOfTheWholeTree) {
    const EngineClient client = new_clone();
    client.write("a", "mine");
    client.commit_paths({"a"});
    publish({{"b/c", "2"}});
    client.sync();  // Whether it keeps the edit or refuses to replace it: no edit is lost.
    EXPECT_EQ(client.read("a"), "mine");
}

TEST_F(SyncAndRestore, OvertakenCommitOfAnotherBranchIsNotDroppedBySwitchingThere) {
    must(origin_.create_branch("side"));
    const EngineClient client = new_clone();
    const EngineClient other = new_clone({.branch = "side"});
    must(client.switch_to("side"));
    client.write("a", "mine");
    client.commit_paths({"a"});
    must(client.switch_to("main"));
    other.write("b/c", "2");
    other.publish({"b/c"}, "side");
    // It counts as an uncommitted change: kept in the working file, or the call fails.
    EXPECT_TRUE(!client.switch_to("side").ok() || client.read("a") == "mine");
}

TEST_F(SyncAndRestore, HistoryIsNewestFirstWithLimits) {
    const auto now = [] {
        return static_cast<std::uint64_t>(
            std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::system_clock::now().time_since_epoch())
                .count());
    };
    Paths hashes{first_};
    const std::uint64_t before = now();
    for (int i = 2; i <= 4; ++i) {
        origin_.write("a", std::to_string(i));
        must(origin_.stage({"a"}));
        hashes.push_back(must(origin_.commit("message " + std::to_string(i))).hash);
    }
    const std::uint64_t after = now();
    const EngineResult all = must(origin_.history());
    ASSERT_EQ(all.revisions.size(), 4U);
    for (std::size_t i = 0; i < 4; ++i) {
        const EngineRevision& revision = all.revisions[i];
        EXPECT_EQ(revision.hash, hashes[3 - i]);
        EXPECT_EQ(revision.order, 4 - i);
        EXPECT_EQ(revision.first_parent, i == 3 ? "" : hashes[2 - i]);
        EXPECT_EQ(revision.second_parent, "");
    }
    EXPECT_EQ(all.revisions.front().message, "message 4");
    EXPECT_GE(all.revisions.front().created_at, before);
    EXPECT_LE(all.revisions.front().created_at, after);
    for (const std::uint64_t limit : {1, 2, 4, 5, 1000}) {
        const EngineResult some = must(origin_.history("main", limit));
        EXPECT_EQ(some.revisions.size(), std::min<std::size_t>(4, limit));
        EXPECT_EQ(some.revisions.front().hash, hashes[3]);
    }
}

TEST_F(SyncAndRestore, HistoryIsThatOfTheBranch) {
    must(origin_.create_branch("side"));
    const EngineClient side = new_clone({.branch = "side", .sparse = true});
    publish({{"a", "2"}});
    side.write("a", "3");
    const std::string own = side.publish({"a"}, "side");
    const auto of = [&](const std::string& branch) {
        Paths hashes;
        for (const EngineRevision& revision : must(origin_.history(branch)).revisions) {
            hashes.push_back(revision.hash);
        }
        return hashes;
    };
    EXPECT_EQ(of("side"), (Paths{own, first_}));
    EXPECT_EQ(of("main"), (Paths{remote_head(), first_}));
}

TEST_F(SyncAndRestore, HistoryOfABranchWithoutARevisionIsEmpty) {
    const EngineClient client(new_folder());
    must(client.create("file://" + (remote_ / "empty").string()));
    EXPECT_EQ(client.history().error, "");
    EXPECT_EQ(must(client.history()).events, std::vector<int>{});
}

TEST_F(SyncAndRestore, InfoNamesThePathsThatTheRevisionChanged) {
    const std::string second = publish({{"a", "2"}, {"b/c", std::nullopt}, {"new", "1"}});
    const EngineResult info = origin_.info(second);
    EXPECT_EQ(info.error, "");
    EXPECT_EQ(info.events.front(), TOME_EVENT_REVISION_INFO);
    EXPECT_EQ(info.count(TOME_EVENT_REVISION_FILE), 3U);
    EXPECT_EQ(info.hash, second);
    EXPECT_EQ(info.order, 2U);
    EXPECT_EQ(info.paths, (Paths{"a", "b/c", "new"}));
    const EngineResult first = must(origin_.info(first_));
    EXPECT_EQ(first.paths, (Paths{"a", "b/c", "b/d", "same"}));
    EXPECT_EQ(first.order, 1U);
}

TEST_F(SyncAndRestore, InfoOfWhatIsNoRevisionFails) {
    const std::string unknown(64, 'b');
    EXPECT_EQ(origin_.info(unknown).error, "missing object: " + unknown);
    EXPECT_FALSE(origin_.info("").ok());
    const std::string content = sha256_of("1");
    const std::string error = origin_.info(content).error;
    EXPECT_TRUE(error.starts_with("corrupt object: ") && error.ends_with(" (object " + content + ")")) << error;
}

TEST_F(SyncAndRestore, DiffTellsKindsInByteOrder) {
    const std::string second = publish({{"a", std::nullopt}, {"new", "fresh"}, {"b/c", "edited"}});
    const EngineResult diff = origin_.diff(first_, second);
    EXPECT_EQ(diff.error, "");
    EXPECT_EQ(diff.events,
              (std::vector<int>{TOME_EVENT_REVISION_DIFF, TOME_EVENT_REVISION_PATH, TOME_EVENT_REVISION_DIFF,
                                TOME_EVENT_REVISION_PATH, TOME_EVENT_REVISION_DIFF, TOME_EVENT_REVISION_PATH}));
    EXPECT_EQ(diff.changes, (Paths{"delete a", "modify b/c", "add new"}));
    EXPECT_EQ(diff.paths, (Paths{"a", "b/c", "new"}));
    EXPECT_EQ(must(origin_.diff(second, first_)).changes, (Paths{"add a", "modify b/c", "delete new"}));
    EXPECT_EQ(must(origin_.diff(first_, first_)).events, std::vector<int>{});
    EXPECT_EQ(must(origin_.diff("", first_)).changes, (Paths{"add a", "add b/c", "add b/d", "add same"}));
    EXPECT_EQ(origin_.diff(first_, std::string(64, 'c')).error, "missing object: " + std::string(64, 'c'));
}

TEST_F(SyncAndRestore, DiffFindsMovesByIdenticalContent) {
    const std::string second = publish({{"x", "unique"}});
    const std::string third = publish({{"x", std::nullopt}, {"deep/y", "unique"}});
    const EngineResult diff = must(origin_.diff(second, third));
    EXPECT_EQ(diff.changes, Paths{"move x -> deep/y"});
    EXPECT_EQ(diff.paths, (Paths{"deep/y", "x"}));
}

TEST_F(SyncAndRestore, RestoreAddsARevisionWithTheOldTree) {
    const std::string second = publish({{"a", "2"}, {"b/c", std::nullopt}, {"new", "2"}});
    const Files files = origin_.files();
    const EngineResult restored = origin_.restore(first_, "Back");
    EXPECT_EQ(restored.error, "");
    EXPECT_EQ(restored.paths, (Paths{"a", "b/c", "new"}));
    EXPECT_EQ(restored.count(TOME_EVENT_RESTORED_PATH), 3U);
    EXPECT_EQ(restored.events.back(), TOME_EVENT_RESTORED);
    EXPECT_EQ(restored.order, 3U);
    EXPECT_EQ(must(origin_.diff(first_, restored.hash)).changes, Paths{});
    const EngineRevision newest = must(origin_.history("main", 1)).revisions.front();
    EXPECT_EQ(newest.hash, restored.hash);
    EXPECT_EQ(newest.first_parent, second);
    EXPECT_EQ(newest.message, "Back");

    EXPECT_EQ(origin_.files(), files) << "working files are not touched";
    EXPECT_EQ(must(origin_.status()).hash, restored.hash);
    EXPECT_EQ(remote_head(), second) << "a restore alone publishes nothing";
    must(origin_.push());
    EXPECT_EQ(remote_head(), restored.hash);
    must(origin_.sync());
    EXPECT_EQ(origin_.files(), (Files{{"a", "1"}, {"b/c", "1"}, {"b/d", "1"}, {"same", "1"}}));
}

TEST_F(SyncAndRestore, RestoreOfTheBaseAddsARevisionWithoutChanges) {
    const EngineResult restored = origin_.restore(first_);
    EXPECT_EQ(restored.error, "");
    EXPECT_EQ(restored.paths, Paths{});
    EXPECT_EQ(restored.order, 2U);
    EXPECT_NE(restored.hash, first_);
}

TEST_F(SyncAndRestore, RestoreOfWhatTheBranchNeverWasIsRefused) {
    must(origin_.create_branch("side"));
    const EngineClient side = new_clone({.branch = "side"});
    side.write("a", "side");
    const std::string foreign = side.publish({"a"}, "side");
    EXPECT_EQ(origin_.restore(foreign).error, "revision is not in the history of branch main: " + foreign);
    EXPECT_EQ(origin_.restore("").error, "revision is not in the history of branch main: " + std::string(64, '0'));
    EXPECT_FALSE(origin_.restore(std::string(64, 'd')).ok());
    EXPECT_EQ(must(origin_.history()).revisions.size(), 1U);
}

TEST_F(SyncAndRestore, RestoreReachesOnlyWhatTheBaseReaches) {
    const EngineClient client = new_clone();
    const std::string later = publish({{"a", "2"}});
    EXPECT_EQ(client.restore(later).error, "revision is not in the history of branch main: " + later);
}

}  // namespace
}  // namespace quill_test
