#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

#include "tests/tome/engine_client.h"

namespace quill_test {
namespace {

using Paths = std::vector<std::string>;
using Files = std::map<std::string, std::string>;
using Edits = std::map<std::string, std::optional<std::string>>;

// Writes the files, removes those without content, and stages and commits all that.
std::string commit(const EngineClient& client, const Edits& edits) {
    Paths paths;
    for (const auto& [path, bytes] : edits) {
        std::filesystem::remove_all(client / path);
    }
    for (const auto& [path, bytes] : edits) {
        if (bytes) {
            client.write(path, *bytes);
        }
        paths.push_back(path);
    }
    return client.commit_paths(paths);
}

// A checkout of main and one of side, which both start at the same revision.
class BranchMerge : public EngineOperations {
  protected:
    BranchMerge() { must(main_.create_branch("side")); }

    std::string on_main(const Edits& edits) const {
        const std::string revision = commit(main_, edits);
        must(main_.push("main"));
        return revision;
    }
    std::string on_side(const Edits& edits) const {
        const std::string revision = commit(side(), edits);
        must(side().push("side"));
        return revision;
    }
    const EngineClient& side() const {
        if (!side_) {
            side_ = new_clone({.branch = "side"});
        }
        return *side_;
    }
    Paths diff() const { return must(main_.branch_diff("main", "side")).changes; }

    static EngineRevision newest(const EngineClient& client, const std::string& branch) {
        return must(client.history(branch, 1)).revisions.front();
    }

    // Merges side into main and expects these conflicts and that nothing else happened.
    void expect_conflicts(const Paths& conflicts) const {
        const Files files = main_.files();
        const std::string head = newest(main_, "main").hash;
        const std::string published = remote_head("main");
        const EngineResult merged = main_.merge("side");
        EXPECT_EQ(merged.error, "");
        EXPECT_EQ(merged.paths, conflicts);
        EXPECT_EQ(merged.events, std::vector<int>(conflicts.size(), TOME_EVENT_MERGE_CONFLICT));
        EXPECT_EQ(main_.files(), files);
        EXPECT_EQ(newest(main_, "main").hash, head);
        EXPECT_EQ(must(main_.status()).hash, head);
        EXPECT_EQ(must(main_.status()).paths, Paths{});
        must(main_.push("main"));
        EXPECT_EQ(remote_head("main"), published);
    }

    EngineClient main_ = new_repository({{"a", "1"}, {"b", "1, too"}, {"folder/c", "2"}, {"folder/d", "3"}});

  private:
    mutable std::optional<EngineClient> side_;
};

using BranchDiff = BranchMerge;

TEST_F(BranchDiff, OfEqualBranchesIsEmpty) {
    const EngineResult diff = main_.branch_diff("main", "side");
    EXPECT_EQ(diff.error, "");
    EXPECT_EQ(diff.events, std::vector<int>{});
    EXPECT_EQ(must(main_.branch_diff("main", "main")).events, std::vector<int>{});
}

TEST_F(BranchDiff, TellsAdditionsDeletionsAndEditsInByteOrder) {
    on_side(
        {{"a", "edited"}, {"b", std::nullopt}, {"folder-x", "new"}, {"folder/c", "edited, too"}, {"folder.x", "n"}});
    const EngineResult diff = main_.branch_diff("main", "side");
    EXPECT_EQ(diff.error, "");
    EXPECT_EQ(diff.count(TOME_EVENT_BRANCH_DIFF), diff.events.size());
    EXPECT_EQ(diff.changes, (Paths{"modify a", "delete b", "add folder-x", "add folder.x", "modify folder/c"}));
    EXPECT_EQ(must(main_.branch_diff("side", "main")).changes,
              (Paths{"modify a", "add b", "delete folder-x", "delete folder.x", "modify folder/c"}));
}

TEST_F(BranchDiff, FindsMovesByIdenticalContent) {
    on_side({{"a", std::nullopt}, {"deep/moved", "1"}, {"folder/c", std::nullopt}, {"c", "2"}});
    EXPECT_EQ(diff(), (Paths{"move folder/c -> c", "move a -> deep/moved"}));
}

TEST_F(BranchDiff, MovesADeletedFileOnce) {
    on_side({{"a", std::nullopt}, {"x", "1"}, {"y", "1"}});
    EXPECT_EQ(diff(), (Paths{"move a -> x", "add y"}));
}

TEST_F(BranchDiff, FindsTheCopyOfAFileThatWasThenEdited) {
    on_side({{"a", "edited"}, {"copy", "1"}});
    EXPECT_EQ(diff(), (Paths{"modify a", "copy a -> copy"}));
}

TEST_F(BranchDiff, FileThatMovedAndWasEditedIsADeletionAndAnAddition) {
    on_side({{"a", std::nullopt}, {"x", "1, edited"}});
    EXPECT_EQ(diff(), (Paths{"delete a", "add x"}));
}

TEST_F(BranchDiff, FolderThatBecameAFileIsBoth) {
    on_side({{"folder", "file"}});
    EXPECT_EQ(diff(), (Paths{"add folder", "delete folder/c", "delete folder/d"}));
}

TEST_F(BranchDiff, ChangeOfTheExecutableBitIsAnEdit) {
    ASSERT_EQ(chmod((side() / "a").c_str(), 0755), 0);
    side().publish({"a"}, "side");
    EXPECT_EQ(diff(), Paths{"modify a"});
}

TEST_F(BranchDiff, ReckonsWithWhatWasCommittedHereAlone) {
    commit(main_, {{"a", "mine"}});
    EXPECT_EQ(diff(), Paths{"modify a"});
    EXPECT_EQ(must(side().branch_diff("main", "side")).changes, Paths{});
}

TEST_F(BranchDiff, OfABranchWithoutARevisionHoldsTheWholeTree) {
    const EngineClient client(new_folder());
    must(client.create("file://" + (remote_ / "other").string()));
    must(client.create_branch("empty"));
    client.write("x/y", "1");
    client.publish({"x"});
    EXPECT_EQ(must(client.branch_diff("empty", "main")).changes, Paths{"add x/y"});
    EXPECT_EQ(must(client.branch_diff("main", "empty")).changes, Paths{"delete x/y"});
}

TEST_F(BranchMerge, ThatWouldBringANameWhichDiffersByCaseAloneIsRefusedAndChangesNothing) {
    on_side({{"folder/ROCK", "theirs"}});
    on_main({{"folder/rock", "ours"}});
    const Files files = main_.files();
    const std::string head = newest(main_, "main").hash;
    EXPECT_EQ(main_.merge("side").error, "names differ only by case or normalisation: folder/ROCK and folder/rock");
    EXPECT_EQ(main_.files(), files);
    EXPECT_EQ(newest(main_, "main").hash, head);
}

TEST_F(BranchMerge, BringsWhatTheSourceChanged) {
    const std::string ours = on_main({{"a", "main"}});
    on_side({{"b", "side"}, {"folder/c", std::nullopt}});
    const std::string theirs = on_side({{"new/file", "side"}, {"folder/d", std::nullopt}, {"moved", "3"}});
    const EngineResult merged = main_.merge("side", "Merge message");
    EXPECT_EQ(merged.error, "");
    EXPECT_EQ(merged.changes, (Paths{"modify b", "delete folder/c", "move folder/d -> moved", "add new/file"}));
    EXPECT_EQ(merged.events,
              (std::vector<int>{TOME_EVENT_MERGE_CHANGE, TOME_EVENT_MERGE_CHANGE, TOME_EVENT_MERGE_CHANGE,
                                TOME_EVENT_MERGE_CHANGE, TOME_EVENT_BASE_REVISION}));
    const EngineRevision revision = newest(main_, "main");
    EXPECT_EQ(revision.hash, merged.hash);
    EXPECT_EQ(revision.first_parent, ours);
    EXPECT_EQ(revision.second_parent, theirs);
    EXPECT_EQ(revision.order, 4U) << "one more than the larger order of the parents";
    EXPECT_EQ(merged.order, 4U);
    EXPECT_EQ(revision.message, "Merge message");

    const EngineResult status = must(main_.status());
    EXPECT_EQ(status.hash, merged.hash);
    EXPECT_EQ(status.paths, Paths{}) << "the files that the checkout holds follow";
    EXPECT_EQ(main_.read("b"), "side");
    EXPECT_FALSE(main_.has("folder"));
    EXPECT_EQ(remote_head("main"), ours) << "a merge alone publishes nothing";
    must(main_.push("main"));
    EXPECT_EQ(remote_head("main"), merged.hash);
    EXPECT_EQ(remote_head("side"), theirs);
    EXPECT_EQ(new_clone().files(), (Files{{"a", "main"}, {"b", "side"}, {"moved", "3"}, {"new/file", "side"}}));
}

TEST_F(BranchMerge, InfoOfAMergeTellsWhatItBroughtToTheFirstParent) {
    on_main({{"a", "main"}});
    on_side({{"b", "side"}});
    EXPECT_EQ(must(main_.info(must(main_.merge("side")).hash)).paths, Paths{"b"});
}

TEST_F(BranchMerge, ConflictsAreListedInByteOrderAndNothingChanges) {
    on_main({{"a", "main"}, {"b", std::nullopt}, {"folder/c", "main"}, {"new", "main"}, {"folder/d", "alike"}});
    on_side({{"a", "side"},
             {"b", "side"},
             {"folder/c", std::nullopt},
             {"new", "side"},
             {"folder/d", "alike"},
             {"brought", "side"}});
    expect_conflicts({"a", "b", "folder/c", "new"});
}

TEST_F(BranchMerge, FileAgainstFolderIsAConflict) {
    on_main({{"x", "file"}});
    on_side({{"x/y", "folder"}});
    expect_conflicts({"x/y"});
}

TEST_F(BranchMerge, FolderAgainstFileIsAConflict) {
    on_main({{"folder/new", "main"}});
    on_side({{"folder", "file"}});
    expect_conflicts({"folder"});
}

TEST_F(BranchMerge, KindChangeOfOneSideIsBrought) {
    on_side({{"a", std::nullopt}, {"a/x", "side"}, {"folder", "file"}});
    must(main_.merge("side"));
    EXPECT_EQ(main_.files(), (Files{{"b", "1, too"}})) << "what is new was not held and is not brought";
    EXPECT_EQ(must(main_.status()).paths, Paths{});
    must(main_.push("main"));
    EXPECT_EQ(new_clone().files(), side().files());
}

TEST_F(BranchMerge, ChangesAlikeOnBothSidesAreNoConflict) {
    const Edits alike{{"a", "same"}, {"b", std::nullopt}, {"new", "same"}};
    on_main(alike);
    on_side(alike);
    const EngineResult merged = main_.merge("side");
    EXPECT_EQ(merged.error, "");
    EXPECT_EQ(merged.events, std::vector<int>{TOME_EVENT_BASE_REVISION});
    EXPECT_NE(newest(main_, "main").second_parent, "");
}

TEST_F(BranchMerge, IntoABranchThatDidNotMoveStillAddsARevisionWithTwoParents) {
    const std::string ours = remote_head("main");
    const std::string theirs = on_side({{"a", "side"}});
    const EngineResult merged = must(main_.merge("side"));
    const EngineRevision revision = newest(main_, "main");
    EXPECT_EQ(revision.hash, merged.hash);
    EXPECT_EQ(revision.first_parent, ours);
    EXPECT_EQ(revision.second_parent, theirs);
    EXPECT_EQ(must(main_.branch_diff("main", "side")).changes, Paths{});
    EXPECT_EQ(main_.read("a"), "side");
}

TEST_F(BranchMerge, OfWhatIsMergedAlreadyReportsTheHeadAlone) {
    const std::string head = on_main({{"a", "main"}});
    for (const std::string source : {"side", "main"}) {
        const EngineResult merged = main_.merge(source);
        EXPECT_EQ(merged.error, "");
        EXPECT_EQ(merged.events, std::vector<int>{TOME_EVENT_BASE_REVISION});
        EXPECT_EQ(merged.hash, head);
        EXPECT_EQ(merged.order, 2U);
    }
    on_side({{"b", "side"}});
    const std::string merge = must(main_.merge("side")).hash;
    EXPECT_EQ(must(main_.merge("side")).hash, merge);
    EXPECT_EQ(must(main_.history()).revisions.size(), 4U);
}

TEST_F(BranchMerge, OfAMergeReckonsFromTheLastOne) {
    on_main({{"a", "main"}});
    on_side({{"b", "side"}});
    must(main_.merge("side"));
    must(main_.push("main"));
    // What side changed before is in main already; here main changes it further.
    on_main({{"b", "main"}});
    on_side({{"folder/c", "side"}});
    EXPECT_EQ(must(main_.merge("side")).changes, Paths{"modify folder/c"});
    must(main_.push("main"));
    EXPECT_EQ(must(side().merge("main")).changes, (Paths{"modify a", "modify b"}));
    must(side().push("side"));
    EXPECT_EQ(side().files(), main_.files());
    EXPECT_EQ(must(main_.merge("side")).changes, Paths{});
}

TEST_F(BranchMerge, OfABranchThatMergedAThirdBringsThatToo) {
    must(main_.create_branch("third"));
    const EngineClient third = new_clone({.branch = "third"});
    third.write("a", "third");
    third.publish({"a"}, "third");
    on_side({{"b", "side"}});
    must(side().merge("third"));
    must(side().push("side"));
    EXPECT_EQ(must(main_.merge("side")).changes, (Paths{"modify a", "modify b"}));
    EXPECT_EQ(must(main_.merge("third")).events, std::vector<int>{TOME_EVENT_BASE_REVISION});
}

TEST_F(BranchMerge, OfCrissCrossHistoriesStartsFromTheCommonAncestorsMerged) {
    on_main({{"a", "main"}});
    on_side({{"b", "side"}});
    on_side({{"folder/c", "side"}});
    // Each merges the other's head of before.
    must(main_.merge("side"));
    must(side().merge("main"));
    must(main_.push("main"));
    must(side().push("side"));
    EXPECT_EQ(main_.files(), side().files());
    on_main({{"b", "main again"}});
    on_side({{"a", "side again"}, {"folder/d", "side again"}});
    // Seen from either common ancestor alone both sides changed "a", or "b"; seen from both merged one side did.
    EXPECT_EQ(must(main_.merge("side")).changes, (Paths{"modify a", "modify folder/d"}));
    EXPECT_EQ(main_.read("a"), "side again");
    EXPECT_EQ(main_.read("b"), "main again");
}

TEST_F(BranchMerge, OfCrissCrossHistoriesIsAConflictWhereTheCommonAncestorsDoNotAgree) {
    on_main({{"a", "main"}});
    on_side({{"a", "side"}});
    // Each takes the other's head, settling what both changed in its own way.
    on_main({{"a", "side"}});
    must(main_.merge("side"));
    must(main_.push("main"));
    on_side({{"a", "main"}});
    must(side().merge("main"));
    must(side().push("side"));
    on_main({{"a", "main, settled"}});
    on_side({{"a", "side, settled"}});
    expect_conflicts({"a"});
}

// Any number of branches, each worked on in a checkout of its own.
class TangledBranches : public EngineOperations {
  protected:
    TangledBranches() { change("main", {{"f", "0"}}); }

    void branch(const std::string& name, const std::string& from) { must(on("main").create_branch(name, from)); }
    void change(const std::string& branch, const Edits& edits) {
        commit(on(branch), edits);
        must(on(branch).push(branch));
    }
    Paths merge(const std::string& from, const std::string& into) {
        const EngineResult merged = must(on(into).merge(from));
        must(on(into).push(into));
        return merged.paths;
    }
    const EngineClient& on(const std::string& branch) {
        const auto found = clients_.find(branch);
        return found != clients_.end() ? found->second
                                       : clients_.emplace(branch, new_clone({.branch = branch})).first->second;
    }

  private:
    std::map<std::string, EngineClient> clients_{{"main", new_repository({{"z", "0"}})}};
};

TEST_F(TangledBranches, WithThreeCommonAncestorsLoseNoChange) {
    for (const char* longer : {"p", "q", "r"}) {  // Which ancestor is the newest makes no difference.
        const std::string at = longer;
        const auto name = [&](const char* plain) { return at + plain; };
        branch(name("p"), "main");
        branch(name("c"), "main");
        change(name("c"), {{"f", "1"}});
        branch(name("q"), name("c"));
        branch(name("r"), name("c"));
        change(name("p"), {{"p", "p"}});
        change(name("q"), {{"q", "q"}});
        change(name("q"), {{"f", "0"}});
        change(name("r"), {{"r", "r"}});
        for (int n = 0; n < 5; ++n) {
            change(name(longer), {{"long", std::to_string(n)}});
        }
        branch(name("a"), name("p"));
        branch(name("b"), name("p"));
        merge(name("q"), name("a"));
        merge(name("r"), name("a"));
        merge(name("r"), name("b"));
        merge(name("q"), name("b"));
        change(name("b"), {{"f", "1"}});
        EXPECT_EQ(merge(name("b"), name("a")), Paths{});
        EXPECT_EQ(on(name("a")).read("f"), "1") << longer;
    }
}

TEST_F(TangledBranches, WhoseAncestorsHaveAFileAndAFolderOfOneNameKeepADeletion) {
    branch("x", "main");
    branch("y", "main");
    change("x", {{"pad", "1"}});
    change("x", {{"a", "file"}});
    change("y", {{"a/y", "inner"}});
    branch("x1", "x");
    branch("y1", "y");
    change("x", {{"a", std::nullopt}});
    EXPECT_EQ(merge("y1", "x"), Paths{});
    change("x", {{"a/y", std::nullopt}});
    change("y", {{"a/y", std::nullopt}});
    EXPECT_EQ(merge("x1", "y"), Paths{});
    EXPECT_EQ(merge("y", "x"), Paths{});
    EXPECT_FALSE(on("x").has("a"));
}

TEST_F(TangledBranches, ThatMergeEachOtherAgainAndAgainTakeNoLonger) {
    const Paths names{"k", "l", "m", "n"};
    for (const std::string& name : names) {
        branch(name, "main");
        change(name, {{name, "0"}});
    }
    for (int round = 0; round < 12; ++round) {
        const std::string number = std::to_string(round);
        for (const std::string& name : names) {
            branch(name + number, name);
        }
        for (const std::string& name : names) {
            for (const std::string& other : names) {
                if (name != other) {
                    EXPECT_EQ(merge(other + number, name), Paths{});
                }
            }
            change(name, {{name, "after " + number}});
        }
    }
    EXPECT_EQ(merge("l", "k"), Paths{});
}

TEST_F(BranchMerge, OfTextsChangedInDifferentLinesTakesBoth) {
    on_main({{"text", "one\ntwo\nthree\n"}, {"tool", "one\ntwo\nthree\n"}});
    must(side().merge("main"));
    must(side().push("side"));
    on_main({{"text", "ONE\ntwo\nthree\n"}});
    on_side({{"text", "one\ntwo\nTHREE\n"}});
    EXPECT_EQ(must(main_.merge("side")).changes, Paths{"modify text"});
    EXPECT_EQ(main_.read("text"), "ONE\ntwo\nTHREE\n");
    EXPECT_EQ(must(main_.status()).paths, Paths{});
}

TEST_F(BranchMerge, OfLargeTextsWhoseLocalCopyIsDamagedTakesTheRemotes) {
    std::string text;
    for (int line = 0; line < 20'000; ++line) {
        text += std::to_string(line) + "\n";
    }
    on_main({{"text", text}});
    must(side().merge("main"));
    must(side().push("side"));
    on_side({{"text", text + "last\n"}});
    on_main({{"text", "first\n" + text}});
    for (const auto& entry : std::filesystem::recursive_directory_iterator(main_ / ".tome/objects/content")) {
        if (entry.is_regular_file()) {
            std::fstream(entry.path(), std::ios::in | std::ios::out) << "damage";
        }
    }
    EXPECT_EQ(must(main_.merge("side")).changes, Paths{"modify text"});
    EXPECT_TRUE(main_.read("text") == "first\n" + text + "last\n");
}

TEST_F(BranchMerge, OfBinaryFilesChangedOnBothSidesIsAConflict) {
    on_main({{"binary", std::string("one\ntwo\n\0\nthree\n", 15)}});
    must(side().merge("main"));
    must(side().push("side"));
    on_main({{"binary", std::string("ONE\ntwo\n\0\nthree\n", 15)}});
    on_side({{"binary", std::string("one\ntwo\n\0\nTHREE\n", 15)}});
    expect_conflicts({"binary"});
}

TEST_F(BranchMerge, OfBranchesWithoutACommonRevisionTakesBothTrees) {
    const EngineClient ours(new_folder());
    const std::string url = "file://" + (remote_ / "other").string();
    must(ours.create(url));
    must(ours.create_branch("side"));
    EXPECT_EQ(ours.merge("side").error, "") << "neither has a revision";
    const EngineClient theirs(new_folder());
    must(theirs.clone(url, {.branch = "side"}));
    theirs.write("theirs", "1");
    theirs.write("alike", "1");
    theirs.publish({"theirs", "alike"}, "side");
    EXPECT_EQ(ours.merge("side").error, "branch has no revision to merge into: main");
    ours.write("ours", "2");
    ours.write("alike", "1");
    ours.publish({"ours", "alike"});
    EXPECT_EQ(must(ours.merge("side")).changes, Paths{"add theirs"});
    must(ours.push());
    must(ours.sync());
    EXPECT_EQ(ours.files(), (Files{{"alike", "1"}, {"ours", "2"}, {"theirs", "1"}}));
}

TEST_F(BranchMerge, OfABranchWithoutARevisionBringsNothing) {
    const EngineClient client(new_folder());
    must(client.create("file://" + (remote_ / "other").string()));
    must(client.create_branch("empty"));
    client.write("a", "1");
    const std::string head = client.publish({"a"});
    EXPECT_EQ(must(client.merge("empty")).hash, head);
}

TEST_F(BranchMerge, GoesIntoTheNewestHeadOfTheTarget) {
    const EngineClient behind = new_clone();
    const std::string head = on_main({{"a", "newer"}});
    on_side({{"b", "side"}});
    const EngineResult merged = must(behind.merge("side"));
    EXPECT_EQ(merged.changes, Paths{"modify b"}) << "what the merge brings, not what the base lacked";
    EXPECT_EQ(newest(behind, "main").first_parent, head);
    EXPECT_EQ(behind.read("a"), "newer");
    must(behind.push());
    EXPECT_EQ(remote_head("main"), merged.hash);
}

TEST_F(BranchMerge, TakesCommitsOfTheTargetThatWereNotPushed) {
    const std::string mine = commit(main_, {{"a", "mine"}});
    on_side({{"b", "side"}});
    must(main_.merge("side"));
    EXPECT_EQ(newest(main_, "main").first_parent, mine);
    must(main_.push("main"));
    EXPECT_EQ(new_clone().read("a"), "mine");
}

TEST_F(BranchMerge, InASparseCheckoutWritesNoFile) {
    on_main({{"a", "main"}});
    on_side({{"b", "side"}, {"folder/d", std::nullopt}});
    const EngineClient sparse = new_clone({.sparse = true});
    must(sparse.merge("side"));
    EXPECT_EQ(sparse.files(), Files{});
    must(sparse.push());
    EXPECT_EQ(new_clone().files(), (Files{{"a", "main"}, {"b", "side"}, {"folder/c", "2"}}));
}

TEST_F(BranchMerge, KeepsEditsThatItDoesNotMeet) {
    on_side({{"b", "side"}});
    main_.write("a", "edited");
    main_.write("untracked", "mine");
    must(main_.merge("side"));
    EXPECT_EQ(main_.read("a"), "edited");
    EXPECT_EQ(main_.read("b"), "side");
    EXPECT_EQ(must(main_.status()).paths, (Paths{"a", "untracked"}));
}

TEST_F(BranchMerge, OverEditsIsRefusedAndChangesNothing) {
    on_side({{"a", "side"}, {"b", "side"}, {"folder/c", std::nullopt}});
    main_.write("b", "edited");
    main_.write("folder/c", "edited");
    const Files files = main_.files();
    const std::string head = remote_head("main");
    EXPECT_EQ(main_.merge("side").error, "uncommitted changes would be overwritten: b and 1 more");
    EXPECT_EQ(main_.files(), files);
    EXPECT_EQ(must(main_.status()).hash, head);
    EXPECT_EQ(newest(main_, "main").hash, head);
    must(main_.push("main"));
    EXPECT_EQ(remote_head("main"), head);
}

TEST_F(BranchMerge, KeepsTheEditsOfAnOvertakenCommit) {
    const EngineClient overtaken = new_clone();
    commit(overtaken, {{"a", "mine"}});
    on_main({{"folder/c", "main"}});
    on_side({{"b", "side"}});
    // It counts as an uncommitted change, and the merge does not meet it.
    EXPECT_EQ(overtaken.merge("side").error, "");
    EXPECT_EQ(overtaken.read("a"), "mine");
    EXPECT_EQ(overtaken.read("b"), "side");
    EXPECT_EQ(must(overtaken.status()).paths, Paths{"a"});
}

TEST_F(BranchMerge, OverAnOvertakenCommitIsRefusedAndChangesNothing) {
    const EngineClient overtaken = new_clone();
    const std::string mine = commit(overtaken, {{"a", "mine"}});
    on_main({{"folder/c", "main"}});
    on_side({{"a", "side"}});
    EXPECT_EQ(overtaken.merge("side").error, "uncommitted changes would be overwritten: a");
    EXPECT_EQ(overtaken.read("a"), "mine");
    EXPECT_EQ(must(overtaken.status()).hash, mine);
}

TEST_F(BranchMerge, LeavesStagedChangesForTheNextCommit) {
    on_side({{"b", "side"}});
    main_.write("a", "staged");
    must(main_.stage({"a"}));
    const std::string merge = must(main_.merge("side")).hash;
    must(main_.commit("m"));
    must(main_.push("main"));
    EXPECT_EQ(must(main_.diff(merge, remote_head("main"))).changes, Paths{"modify a"});
}

TEST_F(BranchMerge, WithoutARemoteIsPublishedInTheCheckout) {
    const EngineClient client(new_folder());
    must(client.create("plain"));
    client.write("a", "1");
    client.commit_paths({"a"});
    must(client.create_branch("side"));
    must(client.switch_to("side"));
    client.write("a", "2");
    client.commit_paths({"a"});
    must(client.switch_to("main"));
    const std::string merge = must(client.merge("side")).hash;
    EXPECT_EQ(must(client.list_branches()).branches.at("main").head, merge);
    EXPECT_EQ(client.read("a"), "2");
}

}  // namespace
}  // namespace quill_test
