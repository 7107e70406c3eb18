// Databases of stores and checkouts that somebody wrote by hand: with things in them that run, with numbers that no
// writer of ours makes, behind links.
#include <gtest/gtest.h>

#include "tests/tome/damage_fixture.h"

namespace quill_test {
namespace {

constexpr std::int32_t corrupt = 7;
constexpr std::int32_t file_system = 8;

struct SchemaIntruder {
    const char* sql;
    const char* difference;
};

const std::vector<SchemaIntruder> store_intruders{
    {"ALTER TABLE branch RENAME TO real;"
     "CREATE VIEW branch AS WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n)"
     " SELECT 'b' || i AS name, '' AS kind, '' AS author, zeroblob(32) AS head, zeroblob(32) AS metadata,"
     " 0 AS archived, 0 AS created_at, 0 AS updated_at, 1 AS sequence, '' AS nonce FROM n",
     "table real"},
    {"CREATE VIEW more AS SELECT 1", "view more"},
    {"CREATE TRIGGER endless AFTER INSERT ON object BEGIN"
     " DELETE FROM object WHERE (WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n) SELECT count(*) FROM "
     "n);"
     " END",
     "trigger endless"},
    {"CREATE INDEX by_kind ON object(kind + 1)", "index by_kind"},
    {"CREATE TABLE more (a)", "table more"},
    {"ALTER TABLE branch ADD COLUMN made AS (abs(sequence))", "table branch"},
    {"ALTER TABLE object ADD COLUMN more CHECK(length(hex(zeroblob(1000000))) > 0)", "table object"},
    {"DROP TABLE blob", "no table blob"},
    {"DROP TABLE blob; CREATE TABLE blob (partition, digest, context, state)", "table blob"},
    {"DROP TABLE blob; CREATE TABLE \"blob -- \" (a)", "table blob -- "},
};

class HostileStore : public DamagedRepository {
  protected:
    HostileStore() { head_ = author_.publish_files({{"top.txt", "top"}}); }

    // Runs `work` with `database` changed by `sql`, and puts the database back.
    static void with_schema(const std::filesystem::path& database, const char* sql, const std::function<void()>& work) {
        damage_fold_log(database);
        const std::string before = read_file(database);
        DamageDatabase(database).execute(sql);
        work();
        for (const char* beside : {"-wal", "-shm"}) {
            std::filesystem::remove(database.string() + beside);
        }
        write_file(database, before);
    }

    static void expect_error(const DamageReply& reply, std::int32_t code, const std::string& text) {
        EXPECT_EQ(reply.code, code);
        EXPECT_EQ(reply.text(), text);
    }

    void set_in_branch(const std::string& assignment) const {
        DamageDatabase(remote_store_ / "store.db").execute(("UPDATE branch SET " + assignment).c_str());
    }

    tome::Digest head_;
};

TEST_F(HostileStore, WithAnythingButTheTablesOfAStoreIsRefusedBeforeAnythingOfItRuns) {
    const DamageCheckout reader = clone("reader");
    for (const SchemaIntruder& intruder : store_intruders) {
        SCOPED_TRACE(intruder.sql);
        with_schema(remote_store_ / "store.db", intruder.sql, [&] {
            const std::string text =
                "corrupt store: " + remote_store_.string() + " (" + std::string(intruder.difference) + ")";
            expect_error(checkout("clone").clone(), corrupt, text);
            expect_error(reader.sync(), corrupt, text);
            expect_error(reader.list_branches(), corrupt, text);
            expect_error(author_.push(), corrupt, text);
            expect_error(reader.create_branch("side"), corrupt, text);
        });
    }
    EXPECT_EQ(reader.sync().text(), "done");
}

TEST_F(HostileStore, OfACheckoutWithATriggerIsRefused) {
    with_schema(author_.own_store() / "store.db", store_intruders[2].sql, [&] {
        write_file(author_ / "top.txt", "two");
        expect_error(author_.stage({"top.txt"}), corrupt,
                     "corrupt store: " + author_.own_store().string() + " (trigger endless)");
    });
}

TEST_F(HostileStore, WithOtherWhiteSpaceAndCommentsInItsTablesIsTheSameStore) {
    const char* const tables =
        "DROP TABLE blob; CREATE TABLE blob ( partition BLOB NOT NULL,\tdigest BLOB NOT NULL, context BLOB NOT NULL,"
        " state INTEGER NOT NULL, -- another comment\n PRIMARY KEY(partition, digest, context)\n)   WITHOUT ROWID";
    with_schema(remote_store_ / "store.db", tables, [&] { EXPECT_EQ(author_.sync().text(), "done"); });
}

TEST_F(HostileStore, InTheFormOfACheckoutsIndexIsRefused) {
    const std::filesystem::path index = author_ / ".tome/index.db";
    const std::vector<SchemaIntruder> intruders{
        {"DROP TABLE file; CREATE VIEW file AS WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n)"
         " SELECT 'f' || i AS path, zeroblob(32) AS digest, 0 AS size, 0 AS modified, 0 AS changed, 0 AS inode,"
         " 0 AS executable, 0 AS recorded_at FROM n",
         "view file"},
        {"CREATE TRIGGER endless AFTER INSERT ON staged BEGIN SELECT 1; END", "trigger endless"},
        {"CREATE INDEX by_size ON file(size + 1)", "index by_size"},
        {"DROP TABLE staged", "no table staged"},
    };
    for (const SchemaIntruder& intruder : intruders) {
        SCOPED_TRACE(intruder.sql);
        with_schema(index, intruder.sql, [&] {
            expect_error(author_.status(), corrupt,
                         "corrupt index: " + index.string() + " (" + intruder.difference + ")");
        });
    }
    EXPECT_EQ(author_.status().text(), "done");
}

TEST_F(HostileStore, WithASequenceThatNoBranchCanHaveIsRefused) {
    const DamageCheckout reader = clone("reader");
    write_file(author_ / "top.txt", "two");
    DamageCheckout::require(author_.stage({"top.txt"}));
    DamageCheckout::require(author_.commit());
    for (const std::string sequence : {"0", "-1", "9223372036854775807", "9223372032559808512"}) {
        SCOPED_TRACE(sequence);
        set_in_branch("sequence = " + sequence);
        const std::string text = "corrupt store: times or sequence of branch main";
        expect_error(author_.push(), corrupt, text);
        expect_error(reader.list_branches(), corrupt, text);
        expect_error(reader.create_branch("side"), corrupt, text);
        expect_error(checkout("clone").clone(), corrupt, text);
        EXPECT_FALSE(std::filesystem::exists(checkout("clone").path()));
    }
    set_in_branch("sequence = 5");
    EXPECT_EQ(author_.push().text(), "done");
}

TEST_F(HostileStore, WithTimesBeforeTheEpochIsRefused) {
    for (const std::string time : {"created_at = -1", "updated_at = -1"}) {
        SCOPED_TRACE(time);
        set_in_branch(time);
        expect_error(author_.list_branches(), corrupt, "corrupt store: times or sequence of branch main");
        set_in_branch("created_at = 1, updated_at = 1");
    }
}

TEST_F(HostileStore, BehindALinkIsNotOpened) {
    const std::filesystem::path elsewhere = folder_ / "elsewhere";
    std::filesystem::rename(remote_store_, elsewhere);
    std::filesystem::create_directory_symlink(elsewhere, remote_store_);
    const std::string text = "a symbolic link stands in the way: " + remote_store_.string();
    expect_error(author_.sync(), file_system, text);
    expect_error(author_.push(), file_system, text);
    expect_error(checkout("clone").clone(), file_system, text);
    std::filesystem::remove_all(elsewhere);
    expect_error(author_.push(), file_system, text);
    EXPECT_FALSE(std::filesystem::exists(elsewhere));
}

TEST_F(HostileStore, IsNotWhatAUsersOwnLinkToTheRemotesFolderLeadsTo) {
    std::filesystem::rename(folder_ / "remote", folder_ / "volume");
    std::filesystem::create_directory_symlink(folder_ / "volume", folder_ / "remote");
    EXPECT_EQ(author_.sync().text(), "done");
    EXPECT_EQ(checkout("clone").clone().text(), "done");
}

}  // namespace
}  // namespace quill_test
