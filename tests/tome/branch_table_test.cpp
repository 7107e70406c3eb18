#include "tome/store/branch_table.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/temporary_folder.h"
#include "tests/tome/engine_test_objects.h"
#include "tome/store/store.h"

namespace quill_test {
namespace {

using tome::BranchRecord;

class BranchTable : public testing::Test {
  protected:
    static tome::Store made_in(const std::filesystem::path& directory) {
        tome::Store::create(directory);
        return tome::Store(directory);
    }

    static BranchRecord branch(const std::string& name) {
        BranchRecord record;
        record.name = name;
        record.kind = "kind";
        record.author = "ana";
        record.head = tome::digest_of("head");
        record.metadata = tome::digest_of("metadata");
        record.created_at = 5;
        record.updated_at = 7;
        return record;
    }
    BranchRecord read(const std::string& name) {
        return tome::read_branch(database_, tome::BranchName::parse(name)).value_or(BranchRecord());
    }

    TemporaryFolder folder_;
    tome::Store store_ = made_in(folder_ / "store");
    tome::Database& database_ = store_.database();
};

TEST_F(BranchTable, GivesBackWhatWasWritten) {
    EXPECT_EQ(tome::read_branch(database_, tome::BranchName::parse("main")), std::nullopt);
    EXPECT_TRUE(tome::compare_and_set_branch(database_, branch("main")));
    const BranchRecord record = read("main");
    EXPECT_EQ(record.name, "main");
    EXPECT_EQ(record.kind, "kind");
    EXPECT_EQ(record.author, "ana");
    EXPECT_EQ(record.head, tome::digest_of("head"));
    EXPECT_EQ(record.metadata, tome::digest_of("metadata"));
    EXPECT_FALSE(record.archived);
    EXPECT_EQ(record.created_at, 5U);
    EXPECT_EQ(record.updated_at, 7U);
    EXPECT_EQ(record.sequence, 1);
}

TEST_F(BranchTable, IsWrittenByWhoeverSawItLastAlone) {
    EXPECT_TRUE(tome::compare_and_set_branch(database_, branch("main")));
    EXPECT_FALSE(tome::compare_and_set_branch(database_, branch("main"))) << "it is there already";
    BranchRecord mine = read("main");
    BranchRecord others = mine;
    others.author = "ben";
    EXPECT_TRUE(tome::compare_and_set_branch(database_, others));
    mine.author = "cleo";
    mine.archived = true;
    EXPECT_FALSE(tome::compare_and_set_branch(database_, mine));
    EXPECT_EQ(read("main").author, "ben");
    EXPECT_FALSE(read("main").archived);
}

TEST_F(BranchTable, CountsItsWritesAboveWhatWasSeenElsewhere) {
    EXPECT_TRUE(tome::compare_and_set_branch(database_, branch("main"), 41));
    EXPECT_EQ(read("main").sequence, 42);
    EXPECT_TRUE(tome::compare_and_set_branch(database_, read("main")));
    EXPECT_EQ(read("main").sequence, 43);
    EXPECT_EQ(tome::next_sequence(read("main"), 0), 44);
    EXPECT_EQ(tome::next_sequence(read("main"), 50), 51);
}

TEST_F(BranchTable, ListsBranchesInByteOrder) {
    for (const char* name : {"b", "a", "a-b", "B"}) {
        EXPECT_TRUE(tome::compare_and_set_branch(database_, branch(name)));
    }
    std::vector<std::string> names;
    for (const BranchRecord& record : tome::list_branches(database_)) {
        names.push_back(record.name);
    }
    EXPECT_EQ(names, (std::vector<std::string>{"B", "a", "a-b", "b"}));
}

TEST_F(BranchTable, RefusesNumbersThatNoWriterMakes) {
    EXPECT_TRUE(tome::compare_and_set_branch(database_, branch("main")));
    for (const char* change :
         {"UPDATE branch SET sequence = 0", "UPDATE branch SET sequence = 9223372036854775807",
          "UPDATE branch SET sequence = 1, created_at = -1", "UPDATE branch SET created_at = 1, updated_at = -1"}) {
        database_.execute(change);
        EXPECT_EQ(engine_failure_of([&] { read("main"); }), "corrupt store: times or sequence of branch main")
            << change;
    }
}

}  // namespace
}  // namespace quill_test
