#include "tome/base/database.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "tests/support/temporary_folder.h"

namespace {

using tome::Database;

TEST(Database, LogStaysShortWhenEachOpeningWritesOnce) {
    const quill_test::TemporaryFolder folder;
    Database(folder / "test.db", Database::Mode::Create).execute("CREATE TABLE t(bytes BLOB)");
    const std::string bytes(50'000, 'x');
    for (int n = 0; n < 200; ++n) {
        Database database(folder / "test.db", Database::Mode::Open);
        database.prepare("INSERT INTO t VALUES(?)").bind_blob(1, bytes).run();
    }
    EXPECT_LT(std::filesystem::file_size(folder / "test.db-wal"), std::uintmax_t{2} << 20U);
}

}  // namespace
