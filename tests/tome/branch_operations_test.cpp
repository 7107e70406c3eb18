#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tests/tome/engine_client.h"

namespace quill_test {
namespace {

using Paths = std::vector<std::string>;

class BranchOperations : public EngineOperations {};

TEST_F(BranchOperations, CreateMakesTheBranchOnTheRemoteAtTheHeadOfItsParent) {
    const EngineClient client = new_repository({{"a", "1"}});
    const EngineResult created = client.create_branch("side", "main", "quill-workspace", "ana");
    EXPECT_EQ(created.error, "");
    EXPECT_EQ(created.events, std::vector<int>{TOME_EVENT_BRANCH_HEAD});
    EXPECT_EQ(created.hash, remote_head("main"));
    EXPECT_EQ(created.order, 1U);
    const EngineBranch side = must(client.list_branches()).branches.at("side");
    EXPECT_EQ(side.kind, "quill-workspace");
    EXPECT_EQ(side.author, "ana");
    EXPECT_EQ(side.head, remote_head("main"));
    EXPECT_FALSE(side.archived);
}

TEST_F(BranchOperations, PushFromACheckoutWithoutARemoteIsRefusedWhereTheRemoteIsAskedFor) {
    EngineClient client(folder_ / "alone");
    must(client.create("alone", true));
    client.write("a", "1");
    client.commit_paths({"a"});
    EXPECT_EQ(client.push("main").error, "");
    client.use_remote = true;
    EXPECT_EQ(client.push("main").error, "the checkout has no remote: " + (folder_ / "alone").string());
}

TEST_F(BranchOperations, CreateLeavesTheCheckoutOnItsBranch) {
    const EngineClient client = new_repository({{"a", "1"}});
    must(client.create_branch("side"));
    client.write("a", "2");
    const std::string revision = client.commit_paths({"a"});
    must(client.push("main"));
    EXPECT_EQ(remote_head("main"), revision);
    EXPECT_NE(remote_head("side"), revision);
}

TEST_F(BranchOperations, CreateFromAnotherBranchStartsThere) {
    const EngineClient client = new_repository({{"a", "1"}});
    must(client.create_branch("side"));
    must(client.switch_to("side"));
    client.write("a", "2");
    const std::string revision = client.publish({"a"}, "side");
    EXPECT_EQ(must(client.create_branch("third", "side")).hash, revision);
}

TEST_F(BranchOperations, CreateInAnEmptyRepositoryHasNoHead) {
    const EngineResult created = new_repository().create_branch("side");
    EXPECT_EQ(created.error, "");
    EXPECT_EQ(created.hash, "");
    EXPECT_EQ(created.order, 0U);
}

TEST_F(BranchOperations, CreateOfABranchThatIsThereIsRefused) {
    const EngineClient client = new_repository({{"a", "1"}});
    must(client.create_branch("side", "main", "kind", "ana"));
    client.write("a", "2");
    client.publish({"a"});
    const std::string head = remote_head("side");
    EXPECT_EQ(client.create_branch("side", "main", "other", "ben").error, "branch already exists: side");
    EXPECT_EQ(client.create_branch("main", "side").error, "branch already exists: main");
    EXPECT_EQ(remote_head("side"), head);
    EXPECT_EQ(must(client.list_branches()).branches.at("side").author, "ana");
}

TEST_F(BranchOperations, CreateOfAnArchivedBranchIsRefused) {
    const EngineClient client = new_repository({{"a", "1"}});
    must(client.create_branch("side"));
    must(client.archive("side"));
    EXPECT_EQ(client.create_branch("side").error, "branch already exists: side");
}

TEST_F(BranchOperations, BranchesThatAreNotThereAreNamed) {
    const EngineClient client = new_repository({{"a", "1"}});
    const std::string error = "branch does not exist: nowhere";
    EXPECT_EQ(client.create_branch("side", "nowhere").error, error);
    EXPECT_EQ(client.switch_to("nowhere").error, error);
    EXPECT_EQ(client.switch_to("nowhere", false).error, error);
    EXPECT_EQ(client.push("nowhere").error, error);
    EXPECT_EQ(client.archive("nowhere").error, error);
    EXPECT_EQ(client.get_metadata("nowhere").error, error);
    EXPECT_EQ(client.branch_diff("main", "nowhere").error, error);
    EXPECT_EQ(client.branch_diff("nowhere", "main").error, error);
    EXPECT_EQ(client.merge("nowhere").error, error);
    EXPECT_EQ(client.history("nowhere").error, error);
    EXPECT_EQ(must(client.list_branches()).branch_names, Paths{"main"});
}

TEST_F(BranchOperations, NamesThatNoBranchMayHaveAreRefused) {
    const EngineClient client = new_repository();
    for (const std::string name : {"", ".hidden", "..", "a/b", "a b", "a\\b", "\xc3\xa4"}) {
        EXPECT_EQ(client.create_branch(name).error, "invalid branch name: " + name);
    }
    EXPECT_FALSE(client.create_branch(std::string(256, 'b')).ok());
    EXPECT_EQ(client.create_branch("A-z_0.9").error, "");
    EXPECT_EQ(client.create_branch(std::string(255, 'b')).error, "");
}

TEST_F(BranchOperations, ListIsInByteOrderWithTheArchivedOnes) {
    const EngineClient client = new_repository({{"a", "1"}});
    for (const std::string name : {"b", "B", "a-b", "a"}) {
        must(client.create_branch(name));
    }
    must(client.archive("a"));
    const EngineResult listed = must(client.list_branches());
    EXPECT_EQ(listed.branch_names, (Paths{"B", "a", "a-b", "b", "main"}));
    EXPECT_TRUE(listed.branches.at("a").archived);
    EXPECT_FALSE(listed.branches.at("a-b").archived);
}

TEST_F(BranchOperations, ArchiveKeepsTheRevisionsAndMayBeRepeated) {
    const EngineClient client = new_repository({{"a", "1"}});
    must(client.create_branch("side"));
    const EngineResult archived = client.archive("side");
    EXPECT_EQ(archived.error, "");
    EXPECT_EQ(archived.events, std::vector<int>{});
    EXPECT_EQ(client.archive("side").error, "");
    EXPECT_EQ(must(client.history("side")).revisions.size(), 1U);
    EXPECT_EQ(new_clone({.branch = "side"}).read("a"), "1");
}

TEST_F(BranchOperations, SwitchBringsHeldFilesToTheOtherBranch) {
    const EngineClient client = new_repository({{"a", "1"}, {"same", "x"}, {"gone/here", "y"}});
    must(client.create_branch("side"));
    const EngineClient other = new_clone({.branch = "side"});
    other.write("a", "2");
    other.write("new", "z");
    std::filesystem::remove_all(other / "gone");
    other.publish({"a", "new", "gone"}, "side");

    const EngineResult switched = client.switch_to("side");
    EXPECT_EQ(switched.error, "");
    EXPECT_EQ(switched.paths, (Paths{"a", "gone/here"}));
    EXPECT_EQ(switched.events.back(), TOME_EVENT_BRANCH_HEAD);
    EXPECT_EQ(switched.hash, remote_head("side"));
    EXPECT_EQ(switched.order, 2U);
    // A file that the checkout did not hold is not brought.
    EXPECT_EQ(client.files(), (std::map<std::string, std::string>{{"a", "2"}, {"same", "x"}}));
    EXPECT_FALSE(client.has("gone"));
    EXPECT_EQ(must(client.status()).paths, Paths{});

    must(client.switch_to("main"));
    EXPECT_EQ(client.read("a"), "1");
}

TEST_F(BranchOperations, SwitchToTheOwnBranchBringsTheNewestHead) {
    const EngineClient first = new_repository({{"a", "1"}});
    const EngineClient second = new_clone();
    first.write("a", "2");
    first.publish({"a"});
    EXPECT_EQ(must(second.switch_to("main")).hash, remote_head());
    EXPECT_EQ(second.read("a"), "2");
}

TEST_F(BranchOperations, SwitchWithoutFetchingStaysAtTheHeadThatIsKnown) {
    const EngineClient first = new_repository({{"a", "1"}});
    const EngineClient second = new_clone();
    const std::string known = remote_head();
    first.write("a", "2");
    first.publish({"a"});
    EXPECT_EQ(must(second.switch_to("main", false)).hash, known);
    EXPECT_EQ(second.read("a"), "1");
}

TEST_F(BranchOperations, SwitchKeepsEditsWhereTheHeadsAgree) {
    const EngineClient client = new_repository({{"a", "1"}, {"b", "1"}});
    must(client.create_branch("side"));
    const EngineClient other = new_clone({.branch = "side"});
    other.write("b", "2");
    other.publish({"b"}, "side");
    client.write("a", "edited");
    client.write("untracked", "mine");
    EXPECT_EQ(must(client.switch_to("side")).paths, Paths{"b"});
    EXPECT_EQ(client.read("a"), "edited");
    EXPECT_EQ(must(client.status()).paths, (Paths{"a", "untracked"}));
}

TEST_F(BranchOperations, SwitchOverEditsIsRefusedAndChangesNothing) {
    const EngineClient client = new_repository({{"a", "1"}, {"b", "1"}, {"c", "1"}});
    must(client.create_branch("side"));
    const EngineClient other = new_clone({.branch = "side"});
    for (const std::string path : {"a", "b", "c"}) {
        other.write(path, "2");
    }
    other.publish({"a", "b", "c"}, "side");
    client.write("b", "edited");
    client.write("c", "edited, too");
    const auto before = client.files();
    EXPECT_EQ(client.switch_to("side").error, "uncommitted changes would be overwritten: b and 1 more");
    EXPECT_EQ(client.files(), before);
    EXPECT_EQ(must(client.status()).hash, remote_head("main"));
}

TEST_F(BranchOperations, SwitchTakesAnEditThatIsWhatTheOtherBranchHas) {
    const EngineClient client = new_repository({{"a", "1"}});
    must(client.create_branch("side"));
    const EngineClient other = new_clone({.branch = "side"});
    other.write("a", "2");
    other.publish({"a"}, "side");
    client.write("a", "2");
    EXPECT_EQ(must(client.switch_to("side")).paths, Paths{});
    EXPECT_EQ(must(client.status()).paths, Paths{});
}

TEST_F(BranchOperations, CommitThatWasNotPushedStaysOnItsBranch) {
    const EngineClient client = new_repository({{"a", "1"}});
    must(client.create_branch("side"));
    client.write("a", "2");
    const std::string revision = client.commit_paths({"a"});
    must(client.switch_to("side"));
    EXPECT_EQ(client.read("a"), "1");
    EXPECT_EQ(must(client.switch_to("main")).hash, revision);
    EXPECT_EQ(client.read("a"), "2");
    must(client.push("main"));
    EXPECT_EQ(remote_head("main"), revision);
}

TEST_F(BranchOperations, PushMovesTheRemoteAndReportsItsHead) {
    const EngineClient client = new_repository({{"a", "1"}});
    const std::string before = remote_head();
    client.write("a", "2");
    const std::string revision = client.commit_paths({"a"});
    EXPECT_EQ(remote_head(), before) << "a commit alone publishes nothing";
    const EngineResult pushed = client.push();
    EXPECT_EQ(pushed.error, "");
    EXPECT_EQ(pushed.events, std::vector<int>{TOME_EVENT_BRANCH_HEAD});
    EXPECT_EQ(pushed.hash, revision);
    EXPECT_EQ(pushed.order, 2U);
    EXPECT_EQ(remote_head(), revision);
}

TEST_F(BranchOperations, PushCarriesSeveralCommitsAndAllTheirContents) {
    const EngineClient client = new_repository({{"a", "1"}});
    client.write("a", "2");
    client.write("folder/b", "3");
    const std::string middle = client.commit_paths({"a", "folder"});
    client.write("a", "4");
    client.commit_paths({"a"});
    must(client.push());
    const EngineClient other = new_clone();
    EXPECT_EQ(other.read("a"), "4");
    must(other.sync({.paths = {"a"}, .revision = middle}));
    EXPECT_EQ(other.read("a"), "2");
}

TEST_F(BranchOperations, PushWithoutAnythingNewReportsTheHead) {
    const EngineClient client = new_repository({{"a", "1"}});
    EXPECT_EQ(must(client.push()).hash, remote_head());
}

TEST_F(BranchOperations, PushWhenTheRemoteIsAheadReportsTheRemotesHead) {
    const EngineClient first = new_repository({{"a", "1"}});
    const EngineClient second = new_clone();
    first.write("a", "2");
    const std::string head = first.publish({"a"});
    EXPECT_EQ(must(second.push()).hash, head);
    EXPECT_EQ(remote_head(), head);
}

TEST_F(BranchOperations, PushToABranchThatMovedIsRefusedAndKeepsTheCommit) {
    const EngineClient first = new_repository({{"a", "1"}});
    const EngineClient second = new_clone();
    first.write("a", "2");
    const std::string head = first.publish({"a"});
    second.write("a", "3");
    const std::string lost = second.commit_paths({"a"});
    must(second.set_metadata("main", {"key"}, {"value"}));
    EXPECT_EQ(second.push().error, "branch has moved on the remote: main");
    EXPECT_EQ(remote_head(), head);
    EXPECT_EQ(must(first.get_metadata("main")).metadata, Paths{}) << "head and metadata: both or neither";
    EXPECT_EQ(must(second.status()).hash, lost);
    EXPECT_EQ(second.read("a"), "3");
}

TEST_F(BranchOperations, PushWithForceDropsNoPublishedRevisionEither) {
    const EngineClient first = new_repository({{"a", "1"}});
    const EngineClient second = new_clone();
    first.write("a", "2");
    first.publish({"a"});
    const std::string published = remote_head();
    second.write("a", "3");
    second.commit_paths({"a"});
    EXPECT_EQ(second.push("main", true).error, "branch has moved on the remote: main");
    EXPECT_EQ(remote_head(), published);
}

TEST_F(BranchOperations, PushMakesABranchThatTheRemoteLacks) {
    const EngineClient client = new_repository({{"a", "1"}});
    must(client.create_branch("side"));
    must(client.switch_to("side"));
    client.write("a", "2");
    const std::string revision = client.commit_paths({"a"});
    std::filesystem::remove_all(remote_);
    must(EngineClient(new_folder()).create(url_));
    EXPECT_EQ(must(client.push("side")).hash, revision);
    EXPECT_EQ(new_clone({.branch = "side"}).read("a"), "2");
}

TEST_F(BranchOperations, MetadataIsNotedHereUntilThePush) {
    const EngineClient first = new_repository({{"a", "1"}});
    const EngineClient second = new_clone();
    const EngineResult set = first.set_metadata("main", {"b.key", "a.key"}, {"2", "1"});
    EXPECT_EQ(set.error, "");
    EXPECT_EQ(set.events, std::vector<int>{});
    EXPECT_EQ(must(first.get_metadata("main")).metadata, (Paths{"a.key=1", "b.key=2"}));
    EXPECT_EQ(must(second.get_metadata("main")).metadata, Paths{});
    must(first.push("main", false, false));
    EXPECT_EQ(must(second.get_metadata("main")).metadata, Paths{}) << "pushed without metadata";
    must(first.push());
    EXPECT_EQ(must(second.get_metadata("main")).metadata, (Paths{"a.key=1", "b.key=2"}));
}

TEST_F(BranchOperations, MetadataOfGivenKeysLeavesOutTheAbsentOnes) {
    const EngineClient client = new_repository();
    must(client.set_metadata("main", {"a", "b", "c"}, {"1", "2", "3"}));
    must(client.push());
    must(client.set_metadata("main", {"d"}, {"4"}));
    EXPECT_EQ(must(client.get_metadata("main", {"d", "missing", "b"})).metadata, (Paths{"b=2", "d=4"}));
}

TEST_F(BranchOperations, MetadataNotedHereWinsOverTheRemotes) {
    const EngineClient first = new_repository();
    const EngineClient second = new_clone();
    must(first.set_metadata("main", {"key", "other"}, {"remote", "kept"}));
    must(first.push());
    must(second.set_metadata("main", {"key"}, {"here"}));
    EXPECT_EQ(must(second.get_metadata("main")).metadata, (Paths{"key=here", "other=kept"}));
    must(second.push());
    EXPECT_EQ(must(first.get_metadata("main")).metadata, (Paths{"key=here", "other=kept"}));
}

TEST_F(BranchOperations, MetadataHoldsAnyTextAndManyKeys) {
    const EngineClient client = new_repository();
    Paths keys;
    Paths values;
    Paths expected;
    for (int i = 100; i < 400; ++i) {
        keys.push_back("keel.revision." + std::to_string(i) + ".summary");
        values.push_back(i == 100 ? std::string() : "line\n\"" + std::string(1, '\0') + "\xff" + std::to_string(i));
        expected.push_back(keys.back() + "=" + values.back());
    }
    must(client.set_metadata("main", keys, values));
    must(client.push());
    EXPECT_EQ(must(new_clone({.sparse = true}).get_metadata("main")).metadata, expected);
}

TEST_F(BranchOperations, NewBranchHasItsParentsMetadataAndGoesItsOwnWay) {
    const EngineClient client = new_repository({{"a", "1"}});
    must(client.set_metadata("main", {"key"}, {"parent"}));
    must(client.push());
    must(client.create_branch("side"));
    EXPECT_EQ(must(client.get_metadata("side")).metadata, Paths{"key=parent"});
    must(client.set_metadata("side", {"key"}, {"child"}));
    must(client.push("side"));
    EXPECT_EQ(must(client.get_metadata("side")).metadata, Paths{"key=child"});
    EXPECT_EQ(must(client.get_metadata("main")).metadata, Paths{"key=parent"});
    EXPECT_EQ(remote_head("side"), remote_head("main")) << "metadata of another branch moves no head";
}

TEST_F(BranchOperations, MetadataThatMakesNoSenseIsRefusedAndNotesNothing) {
    const EngineClient client = new_repository();
    EXPECT_EQ(client.set_metadata("main", {"a", "b"}, {"1"}).error,
              "metadata of main with more keys than values, or fewer");
    EXPECT_EQ(client.set_metadata("main", {"a", ""}, {"1", "2"}).error, "empty metadata key for branch main");
    EXPECT_EQ(must(client.get_metadata("main")).metadata, Paths{});
}

}  // namespace
}  // namespace quill_test
