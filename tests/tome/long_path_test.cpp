// Databases, repositories and checkouts whose paths are longer than SQLite's own limit of 512 bytes.
#include <gtest/gtest.h>

#include "tests/support/concurrency.h"
#include "tests/tome/engine_client.h"
#include "tome/base/database.h"
#include "tome/base/error.h"

namespace quill_test {
namespace {

namespace fs = std::filesystem;

class LongPath : public testing::Test {
  protected:
    LongPath() { fs::create_directories(long_); }

    static std::int64_t count(const fs::path& path) {
        tome::Database database(path, tome::Database::Mode::Open);
        tome::Statement query = database.prepare("SELECT count(*) FROM t");
        query.step();
        return query.integer(0);
    }

    TemporaryFolder folder_;
    fs::path long_ = folder_ / std::string(200, 'a') / std::string(200, 'b') / std::string(200, 'c');
};

TEST_F(LongPath, ServesAWholeRepositoryAndItsCheckouts) {
    const std::string url = "file://" + (long_ / "remote/project").string();
    for (const char* name : {"author", "reader"}) {
        fs::create_directory(long_ / name);
    }
    const EngineClient author(long_ / "author");
    must(author.create(url));
    author.write("a.txt", "a");
    author.write("large.bin", std::string(100'000, 'L'));
    const std::string head = author.publish({"a.txt", "large.bin"});
    const EngineClient reader(long_ / "reader");
    must(reader.clone(url, {.branch_memory = (long_ / ".branch-memory").string()}));
    EXPECT_EQ(reader.files(), author.files());
    EXPECT_EQ(must(reader.history()).revisions.at(0).hash, head);
    EXPECT_TRUE(fs::exists(long_ / ".branch-memory"));
}

// A long and a short name of one file: both find the same log and the same locks.
TEST_F(LongPath, ShowsAnotherProcessWhatIsWrittenUnderAShortName) {
    const fs::path by_long_name = long_ / "test.db";
    fs::create_directory_symlink(long_, folder_ / "short");
    const fs::path by_short_name = folder_ / "short/test.db";
    tome::Database database(by_long_name, tome::Database::Mode::Create);
    database.execute("CREATE TABLE t(i)");
    in_processes(
        1, [&](int) { tome::Database(by_short_name, tome::Database::Mode::Open).execute("INSERT INTO t VALUES(1)"); });
    EXPECT_EQ(count(by_long_name), 1);
    database.execute("INSERT INTO t VALUES(2)");
    EXPECT_EQ(count(by_short_name), 2);
    EXPECT_TRUE(fs::exists(by_long_name.string() + "-wal"));
}

TEST_F(LongPath, KeepsTwoWritersApart) {
    const fs::path path = long_ / "test.db";
    tome::Database(path, tome::Database::Mode::Create).execute("CREATE TABLE t(i)");
    fs::create_directory_symlink(long_, folder_ / "short");
    in_processes(2, [&](int n) {
        const fs::path name = n == 0 ? path : folder_ / "short/test.db";
        for (int i = 0; i < 200; ++i) {
            tome::Database(name, tome::Database::Mode::Open).execute("INSERT INTO t VALUES(1)");
        }
    });
    EXPECT_EQ(count(path), 400);
}

TEST_F(LongPath, BeyondWhatTheSystemTakesIsNamed) {
    fs::path path = long_;
    while (path.native().size() < 4096) {
        path /= std::string(200, 'd');
    }
    fs::create_directory(long_ / "checkout");
    const std::string error = EngineClient(path / "checkout").create("file://" + (long_ / "remote/p").string()).error;
    EXPECT_NE(error.find(path.string()), std::string::npos) << error;
    EXPECT_NE(error.find("File name too long"), std::string::npos) << error;
    try {
        tome::Database(path / "test.db", tome::Database::Mode::Create);
        ADD_FAILURE() << "opened";
    } catch (const tome::Error& failure) {
        EXPECT_NE(std::string(failure.what()).find("File name too long"), std::string::npos) << failure.what();
    }
}

}  // namespace
}  // namespace quill_test
