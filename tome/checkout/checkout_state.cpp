#include "tome/checkout/checkout_state.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <span>

#include "tome/base/damage.h"
#include "tome/base/database_schema.h"
#include "tome/base/error.h"

namespace tome {
namespace {

constexpr int index_version = 2;
constexpr std::array<const char*, 7> tables{
    "CREATE TABLE checkout (branch TEXT NOT NULL, base BLOB NOT NULL)",
    R"sql(CREATE TABLE file (
  path TEXT PRIMARY KEY,
  digest BLOB NOT NULL,
  size INTEGER NOT NULL,
  modified INTEGER NOT NULL,
  changed INTEGER NOT NULL,
  inode INTEGER NOT NULL,
  executable INTEGER NOT NULL,
  recorded_at INTEGER NOT NULL
) WITHOUT ROWID)sql",
    R"sql(CREATE TABLE staged (
  path TEXT PRIMARY KEY,
  digest BLOB,                   -- null: a deletion
  size INTEGER NOT NULL,
  executable INTEGER NOT NULL
) WITHOUT ROWID)sql",
    "CREATE TABLE local_head (branch TEXT PRIMARY KEY, head BLOB NOT NULL) WITHOUT ROWID",
    R"sql(CREATE TABLE noted_metadata (
  branch TEXT NOT NULL, key TEXT NOT NULL, value TEXT NOT NULL, PRIMARY KEY(branch, key)
) WITHOUT ROWID)sql",
    // Since version 2:
    "CREATE TABLE base_tree (tree BLOB NOT NULL)",  // no row: that of the base revision
    R"sql(CREATE TABLE seen (
  path TEXT PRIMARY KEY,
  digest BLOB NOT NULL,
  size INTEGER NOT NULL,
  modified INTEGER NOT NULL,
  changed INTEGER NOT NULL,
  inode INTEGER NOT NULL,
  executable INTEGER NOT NULL,
  recorded_at INTEGER NOT NULL
) WITHOUT ROWID)sql"};
constexpr std::size_t tables_of_version_1 = 5;

std::int64_t now_nanoseconds() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::nanoseconds>(now).count();
}

[[noreturn]] void refuse(const std::filesystem::path& index, const std::string& what = {}) {
    throw damaged(DatabaseKind::Index, index.string() + what);
}

bool is_tree_path(std::string_view text) {
    try {
        return TreePath::parse(text).text() == text;
    } catch (const Error&) {
        return false;
    }
}

// What version 2 added is empty at first.
void upgrade(Database& database) {
    Transaction transaction(database);
    if (database.user_version() == 1) {  // No other process was faster.
        for (const char* table : std::span(tables).subspan(tables_of_version_1)) {
            database.execute(table);
        }
        database.execute("PRAGMA user_version = 2");
    }
    transaction.commit();
}

HeldFile held_from_row(const Statement& row, const Digest& digest) {
    HeldFile file;
    file.digest = digest;
    file.stamp.size = static_cast<std::uint64_t>(row.integer(2));
    file.stamp.modified = row.integer(3);
    file.stamp.changed = row.integer(4);
    file.stamp.inode = static_cast<std::uint64_t>(row.integer(5));
    file.stamp.executable = row.integer(6) != 0;
    file.recorded_at = row.integer(7);
    return file;
}

void record(Statement write, const std::string& path, const Digest& digest, const FileStamp& stamp) {
    write.bind_text(1, path).bind_blob(2, digest.view()).bind(3, static_cast<std::int64_t>(stamp.size));
    write.bind(4, stamp.modified).bind(5, stamp.changed).bind(6, static_cast<std::int64_t>(stamp.inode));
    write.bind(7, stamp.executable ? 1 : 0).bind(8, now_nanoseconds()).run();
}

}  // namespace

bool HeldFile::is_unchanged(const FileStamp& now) const {
    // File systems with whole seconds need a wide margin, the others tick at least every hundredth of a second.
    const std::int64_t latest = std::max(stamp.modified, stamp.changed);
    const std::int64_t margin = latest % 1'000'000'000 == 0 ? 2'000'000'000 : 20'000'000;
    return now == stamp && latest + margin < recorded_at;
}

void CheckoutState::create(const std::filesystem::path& path, const BranchName& branch, const Digest& base) {
    Database database(path, Database::Mode::Create);
    create_tables(database, tables, index_version);
    Statement insert = database.prepare("INSERT INTO checkout(branch, base) VALUES(?, ?)");
    insert.bind_text(1, branch.text()).bind_blob(2, base.view()).run();
}

CheckoutState::CheckoutState(const std::filesystem::path& path) : database_(path, Database::Mode::Open) {
    if (database_.user_version() == 1 &&
        difference_from(std::span(tables).first(tables_of_version_1), database_).empty()) {
        upgrade(database_);
    }
    if (const std::int64_t version = database_.user_version(); version != index_version) {
        if (version < index_version) {
            refuse(path);
        }
        throw Error(ErrorCode::Invalid, "the checkout was written by a newer Tome: " + path.string());
    }
    if (const std::string difference = difference_from(tables, database_); !difference.empty()) {
        refuse(path, " (" + difference + ")");
    }
}

Digest CheckoutState::digest_in(const Statement& row, int column) const {
    if (row.bytes(column).size() != sizeof Digest::bytes) {
        refuse(database_.path());
    }
    return digest_from_bytes(row.bytes(column));
}

BranchName CheckoutState::branch() {
    Statement query = database_.prepare("SELECT branch FROM checkout");
    try {
        if (query.step()) {
            return BranchName::parse(query.bytes(0));
        }
    } catch (const Error& error) {
        if (error.code() != ErrorCode::Invalid) {
            throw;
        }
    }
    refuse(database_.path());
}

Digest CheckoutState::base() {
    Statement query = database_.prepare("SELECT base FROM checkout");
    if (!query.step()) {
        refuse(database_.path());
    }
    return digest_in(query, 0);
}

void CheckoutState::set_base(const BranchName& branch, const Digest& base) {
    database_.prepare("UPDATE checkout SET branch = ?, base = ?")
        .bind_text(1, branch.text())
        .bind_blob(2, base.view())
        .run();
    database_.execute("DELETE FROM base_tree");
}

std::optional<Digest> CheckoutState::base_tree() {
    Statement query = database_.prepare("SELECT tree FROM base_tree");
    return query.step() ? std::optional(digest_in(query, 0)) : std::nullopt;
}

void CheckoutState::set_base_tree(const Digest& tree) {
    database_.execute("DELETE FROM base_tree");
    database_.prepare("INSERT INTO base_tree(tree) VALUES(?)").bind_blob(1, tree.view()).run();
}

std::optional<HeldFile> CheckoutState::held_file(const std::string& path) {
    return file_in(
        database_.prepare(
            "SELECT path, digest, size, modified, changed, inode, executable, recorded_at FROM file WHERE path = ?"),
        path);
}

std::optional<HeldFile> CheckoutState::seen_file(const std::string& path) {
    return file_in(
        database_.prepare(
            "SELECT path, digest, size, modified, changed, inode, executable, recorded_at FROM seen WHERE path = ?"),
        path);
}

std::optional<HeldFile> CheckoutState::file_in(Statement query, const std::string& path) const {
    return query.bind_text(1, path).step() ? std::optional(held_from_row(query, digest_in(query, 1))) : std::nullopt;
}

std::map<std::string, HeldFile> CheckoutState::held_files(const std::string& folder) {
    // "0" follows "/" in byte order, so the two bounds hold exactly what lies below the folder.
    Statement query =
        folder.empty() ? database_.prepare(
                             "SELECT path, digest, size, modified, changed, inode, executable, recorded_at FROM file")
                       : database_.prepare(
                             "SELECT path, digest, size, modified, changed, inode, executable, recorded_at FROM file"
                             " WHERE path = ?1 OR (path >= ?1 || '/' AND path < ?1 || '0')");
    if (!folder.empty()) {
        query.bind_text(1, folder);
    }
    std::map<std::string, HeldFile> files;
    while (query.step()) {
        if (!files.emplace(query.bytes(0), held_from_row(query, digest_in(query, 1))).second) {
            refuse(database_.path());  // Damaged pages that lead to one another would give the same keys for ever.
        }
    }
    return files;
}

void CheckoutState::hold_file(const std::string& path, const Digest& digest, const FileStamp& stamp) {
    record(database_.prepare(
               "INSERT OR REPLACE INTO file(path, digest, size, modified, changed, inode, executable, recorded_at)"
               " VALUES(?, ?, ?, ?, ?, ?, ?, ?)"),
           path, digest, stamp);
}

void CheckoutState::remember_seen(const std::string& path, const Digest& digest, const FileStamp& stamp) {
    record(database_.prepare(
               "INSERT OR REPLACE INTO seen(path, digest, size, modified, changed, inode, executable, recorded_at)"
               " VALUES(?, ?, ?, ?, ?, ?, ?, ?)"),
           path, digest, stamp);
}

void CheckoutState::drop_file(const std::string& path) {
    database_.prepare("DELETE FROM file WHERE path = ?").bind_text(1, path).run();
}

TreeChanges CheckoutState::staged_changes() {
    Statement query = database_.prepare("SELECT path, digest, size, executable FROM staged");
    TreeChanges changes;
    while (query.step()) {
        if (!is_tree_path(query.bytes(0))) {
            refuse(database_.path());
        }
        std::optional<TreeEntry> entry;
        if (!query.is_null(1)) {
            entry = TreeEntry{"", TreeEntry::Kind::File, query.integer(3) != 0,
                              static_cast<std::uint64_t>(query.integer(2)), digest_in(query, 1)};
        }
        if (!changes.emplace(query.bytes(0), std::move(entry)).second) {
            refuse(database_.path());
        }
    }
    return changes;
}

void CheckoutState::stage(const std::string& path, const std::optional<TreeEntry>& entry) {
    Statement write =
        database_.prepare("INSERT OR REPLACE INTO staged(path, digest, size, executable) VALUES(?, ?, ?, ?)");
    write.bind_text(1, path);
    entry ? write.bind_blob(2, entry->digest.view()) : write.bind_null(2);
    write.bind(3, entry ? static_cast<std::int64_t>(entry->size) : 0).bind(4, entry && entry->executable ? 1 : 0);
    write.run();
}

void CheckoutState::unstage(const std::string& path) {
    database_.prepare("DELETE FROM staged WHERE path = ?").bind_text(1, path).run();
}

void CheckoutState::unstage_below(const std::string& folder) {
    database_.prepare("DELETE FROM staged WHERE path >= ?1 || '/' AND path < ?1 || '0'").bind_text(1, folder).run();
}

void CheckoutState::unstage_all() {
    database_.prepare("DELETE FROM staged").run();
}

std::optional<Digest> CheckoutState::local_head(const BranchName& branch) {
    Statement query = database_.prepare("SELECT head FROM local_head WHERE branch = ?");
    return query.bind_text(1, branch.text()).step() ? std::optional(digest_in(query, 0)) : std::nullopt;
}

void CheckoutState::set_local_head(const BranchName& branch, const Digest& head) {
    database_.prepare("INSERT OR REPLACE INTO local_head(branch, head) VALUES(?, ?)")
        .bind_text(1, branch.text())
        .bind_blob(2, head.view())
        .run();
}

void CheckoutState::drop_local_head(const BranchName& branch) {
    database_.prepare("DELETE FROM local_head WHERE branch = ?").bind_text(1, branch.text()).run();
}

std::map<std::string, std::string> CheckoutState::noted_metadata(const BranchName& branch) {
    Statement query = database_.prepare("SELECT key, value FROM noted_metadata WHERE branch = ?");
    query.bind_text(1, branch.text());
    std::map<std::string, std::string> values;
    while (query.step()) {
        if (!values.emplace(query.bytes(0), query.bytes(1)).second) {
            refuse(database_.path());
        }
    }
    return values;
}

void CheckoutState::note_metadata(const BranchName& branch, const std::string& key, const std::string& value) {
    database_.prepare("INSERT OR REPLACE INTO noted_metadata(branch, key, value) VALUES(?, ?, ?)")
        .bind_text(1, branch.text())
        .bind_text(2, key)
        .bind_text(3, value)
        .run();
}

void CheckoutState::drop_noted_metadata(const BranchName& branch, const std::map<std::string, std::string>& published) {
    for (const auto& [key, value] : published) {
        database_.prepare("DELETE FROM noted_metadata WHERE branch = ? AND key = ? AND value = ?")
            .bind_text(1, branch.text())
            .bind_text(2, key)
            .bind_text(3, value)
            .run();
    }
}

}  // namespace tome
