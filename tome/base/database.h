// SQLite (3.31 or later) behind three small classes: a database file, a statement, a transaction. All values go in as
// bound parameters. A Database serves one thread.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>

#include "tome/base/file_io.h"

struct sqlite3;
struct sqlite3_stmt;

namespace tome {

class Database;

/// Throws Error(Invalid) "a Tome store cannot lie on a network file system, …: DIRECTORY" if the directory is on one:
/// the locks and the log's shared memory of one host do not reach another.
void refuse_network_file_system(const std::filesystem::path& directory);

/// A prepared statement, taken from its Database's cache for the time of one use.
class Statement {
  public:
    Statement(Database& database, sqlite3_stmt* statement) : database_(database), statement_(statement) {}
    ~Statement();
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    Statement& bind(int index, std::int64_t value);
    Statement& bind_text(int index, std::string_view value);  ///< not copied: must outlive the stepping
    Statement& bind_blob(int index, std::string_view value);  ///< not copied: must outlive the stepping
    Statement& bind_null(int index);

    /// Moves to the next row; false at the end. Throws Error.
    bool step();
    /// Steps a statement that gives no rows.
    void run() { step(); }

    std::int64_t integer(int column) const;
    std::string_view bytes(int column) const;  ///< text or blob, until the next step
    bool is_null(int column) const;

  private:
    Database& database_;
    sqlite3_stmt* statement_;
};

class Database {
  public:
    enum class Mode { Open, Create };

    /// Opens the file, a new one in write-ahead mode, with full synchronisation; waits up to a minute for locks of
    /// others. Throws Error(Invalid) on a network file system, Error(Corrupt) for a file that is no database, Error(Io)
    /// otherwise.
    Database(const std::filesystem::path& path, Mode mode);
    ~Database();
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;

    /// From now on, closing the database after a write moves the log into the file. A failure is ignored, and nobody is
    /// waited for. Without it a single damaged byte in the log would hide everything behind it, and SQLite would not
    /// report that.
    void fold_log_when_closed() { folds_log_ = true; }

    void execute(const char* sql);
    /// `sql` must be a literal: statements are cached by its address.
    Statement prepare(const char* sql);

    /// The file's schema version, 0 for a new one.
    std::int64_t user_version();
    const std::filesystem::path& path() const { return path_; }
    bool in_transaction() const;
    int changes() const;
    /// Undoes the open transaction. A failure is ignored: SQLite has then ended the transaction itself.
    void roll_back() noexcept;

    /// The error for SQLite's result `code` on this file.
    [[noreturn]] void fail(int code) const;

  private:
    bool has_long_log() const noexcept;

    std::string name_for_sqlite();

    std::filesystem::path path_;
    FileDescriptor folder_;           // open where the path is too long for SQLite
    std::filesystem::path log_path_;  // made ready: closing must not allocate
    sqlite3* handle_ = nullptr;
    bool folds_log_ = false;
    std::unordered_map<const void*, sqlite3_stmt*> statements_;
};

/// A write transaction: begins at once, is rolled back unless committed. Inside another one it is part of that.
class Transaction {
  public:
    explicit Transaction(Database& database);
    ~Transaction();
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;

    void commit();

  private:
    Database& database_;
    bool outer_;
    bool done_ = false;
};

}  // namespace tome
