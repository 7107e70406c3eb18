// tome_file_update: bringing working files up to date with a newer revision.
#include <sys/stat.h>

#include "tests/tome/detached_checkout.h"

namespace quill_test {
namespace {

class FileUpdate : public DetachedCheckout {};

TEST_F(FileUpdate, BringsWhatChangedThereToUntouchedFiles) {
    start({{"edited", "old"}, {"removed", "old"}});
    publish("edited", "new");
    publish("folder/added", "new");
    const std::string head = publish("removed", std::nullopt);
    const EngineResult result = must(package_.update({.is_base = true}));
    EXPECT_EQ(result.hash, head);
    EXPECT_EQ(result.paths, (std::vector<std::string>{"edited", "folder/added", "removed"}));
    EXPECT_EQ(read("edited") + read("folder/added"), "newnew");
    EXPECT_FALSE(has("removed"));
    EXPECT_TRUE(states().empty());
    EXPECT_EQ(must(package_.status()).hash, head);
}

TEST_F(FileUpdate, KeepsEditsOfFilesThatDidNotChangeThere) {
    start({{"a.txt", "old"}, {"b.txt", "old"}, {"c.txt", "old"}});
    write("a.txt", "own");
    remove("c.txt");
    publish("b.txt", "new");
    EXPECT_EQ(must(package_.update({.is_base = true})).paths, (std::vector<std::string>{"b.txt"}));
    EXPECT_EQ(read("a.txt"), "own");
    EXPECT_FALSE(has("c.txt"));
    EXPECT_EQ(states().size(), 2U);
}

TEST_F(FileUpdate, GivesATextTheChangesOfBothSidesAndCountsItAsChangedHere) {
    start({{"a.txt", "1\n2\n3\n4\n5\n"}});
    write("a.txt", "one\n2\n3\n4\n5\n");
    publish("a.txt", "1\n2\n3\n4\nfive\n");
    const EngineResult result = must(package_.update({.is_base = true}));
    EXPECT_EQ(result.merged, (std::vector<std::string>{"a.txt"}));
    EXPECT_EQ(read("a.txt"), "one\n2\n3\n4\nfive\n");
    const std::string there = sha256_of("1\n2\n3\n4\nfive\n");
    EXPECT_EQ(states(), (std::vector<EngineFileState>{{"a.txt", there, "unread", there}}));
}

TEST_F(FileUpdate, MergedBytesAreNeverOverwrittenAsIfTheyWereCommitted) {
    start({{"a.txt", "1\n2\n3\n4\n5\n"}});
    write("a.txt", "one\n2\n3\n4\n5\n");
    publish("a.txt", "1\n2\n3\n4\nfive\n");
    must(package_.update({.is_base = true}));
    EXPECT_EQ(package_.sync({.paths = {"a.txt"}, .revision = first_, .fetch_newest = false}).error,
              "uncommitted changes would be overwritten: a.txt");
}

TEST_F(FileUpdate, WithAConflictChangesNothingAndNamesEach) {
    start({{"a.txt", "old"}, {"b.txt", "old"}, {"c.txt", "old"}, {"d.txt", "old"}});
    write("a.txt", "own");
    remove("b.txt");
    write("d.txt", "own");
    publish("a.txt", "new");
    publish("b.txt", "new");
    publish("c.txt", "new");
    publish("d.txt", std::nullopt);
    const EngineResult result = must(package_.update({.is_base = true}));
    EXPECT_EQ(result.conflicts, (std::vector<std::string>{"a.txt", "b.txt", "d.txt"}));
    EXPECT_EQ(result.hash, "");
    EXPECT_EQ(read("a.txt") + read("c.txt"), "ownold");
    EXPECT_EQ(must(package_.status()).hash, first_);
}

TEST_F(FileUpdate, ThatOnlyChecksNamesTheConflictsAndDoesNothing) {
    start({{"a.txt", "1\n2\n3\n"}, {"b.txt", "old"}, {"c.txt", "old"}});
    write("a.txt", "one\n2\n3\n");
    write("b.txt", "own");
    publish("a.txt", "1\n2\nthree\n");
    publish("b.txt", "new");
    publish("c.txt", "new");
    EXPECT_EQ(must(package_.update({.check_only = true})).conflicts, (std::vector<std::string>{"b.txt"}));
    EXPECT_TRUE(must(package_.update({.paths = {"a.txt", "c.txt"}, .check_only = true})).events.empty());
    EXPECT_EQ(read("a.txt") + read("c.txt"), "one\n2\n3\nold");
    EXPECT_EQ(states().size(), 3U);
}

TEST_F(FileUpdate, OfAFileThatBothSidesAddedIsAConflictUnlessTheyAreTheSame) {
    start({{"a.txt", "old"}});
    write("same.txt", "new");
    write("other.txt", "own");
    publish("same.txt", "new");
    publish("other.txt", "new");
    EXPECT_EQ(must(package_.update()).conflicts, (std::vector<std::string>{"other.txt"}));
    must(package_.update({.paths = {"same.txt"}}));
    EXPECT_EQ(states().size(), 1U);
}

TEST_F(FileUpdate, OfGivenPathsLeavesTheOthersBehind) {
    start({{"a.txt", "old"}, {"b.txt", "old"}});
    publish("a.txt", "new");
    publish("b.txt", "new");
    must(package_.update({.paths = {"a.txt"}}));
    EXPECT_EQ(read("a.txt") + read("b.txt"), "newold");
    EXPECT_EQ(states(),
              (std::vector<EngineFileState>{{"b.txt", sha256_of("old"), sha256_of("old"), sha256_of("new")}}));
    EXPECT_EQ(must(package_.status()).hash, first_);
}

TEST_F(FileUpdate, TakesTheExecutableBitFromTheSideThatChangedIt) {
    start({{"a.sh", "1\n2\n3\n"}});
    ASSERT_EQ(chmod((folder_ / "package/a.sh").c_str(), 0755), 0);
    write("a.sh", "one\n2\n3\n");
    publish("a.sh", "1\n2\nthree\n");
    must(package_.update());
    EXPECT_EQ(read("a.sh"), "one\n2\nthree\n");
    EXPECT_EQ(states()[0].here, "unread x");
}

TEST_F(FileUpdate, OfAnOrdinaryCheckoutBringsTheFilesThatItDoesNotHold) {
    start({{"a.txt", "old"}, {"b.txt", "old"}, {"c.txt", "old"}});
    const EngineClient sparse = new_clone({.paths = {"a.txt"}});
    sparse.write("a.txt", "own");
    publish("b.txt", "new");
    must(sparse.update({.is_base = true}));
    EXPECT_EQ(sparse.files(),
              (std::map<std::string, std::string>{{"a.txt", "own"}, {"b.txt", "new"}, {"c.txt", "old"}}));
}

TEST_F(FileUpdate, IsRefusedWhereSomethingElseStandsInTheWay) {
    start({{"a.txt", "old"}});
    write("folder", "own");
    publish("folder/b.txt", "new");
    EXPECT_EQ(package_.update().error, "uncommitted changes would be overwritten: folder");
    EXPECT_EQ(read("folder"), "own");
}

TEST_F(FileUpdate, PutsFilesBackToWhatTheyStandOnWithTheSyncOfTheBase) {
    start({{"a.txt", "old"}, {"b.txt", "old"}});
    const std::string head = publish("a.txt", "new");
    must(package_.update({.paths = {"a.txt"}}));
    write("a.txt", "own");
    must(package_.sync({.paths = {"a.txt"}, .fetch_newest = false, .overwrite = true}));
    EXPECT_EQ(read("a.txt"), "new");
}

}  // namespace
}  // namespace quill_test
