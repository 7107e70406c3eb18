#include "tome/base/database.h"

#include <sqlite3.h>

#include "files/platform.h"
#include "files/trace.h"
#include "tome/base/damage.h"
#include "tome/base/error.h"

namespace tome {
namespace {

// Whoever opens the database first reads the whole log, so it is not to grow beyond this.
constexpr std::uintmax_t max_log_bytes = 1U << 20U;

constexpr int lock_wait_milliseconds = 60'000;

// SQLite takes names of 512 bytes, its suffixes included.
constexpr std::size_t max_name_bytes = 500;

int keep_name(sqlite3_vfs*, const char* name, int size, char* result) {
    sqlite3_snprintf(size, result, "%s", name);
    return SQLITE_OK;
}

// SQLite's own way to files, which takes names as they are. By itself it would follow the links in a short name to the
// long one that it cannot take.
const char* file_access() {
    static constexpr const char* name = "tome";
    static const bool registered = [] {
        const sqlite3_vfs* own = sqlite3_vfs_find(nullptr);
        if (own == nullptr) {
            return false;
        }
        static sqlite3_vfs access = *own;
        access.zName = name;
        access.xFullPathname = keep_name;
        return sqlite3_vfs_register(&access, 0) == SQLITE_OK;
    }();
    return registered ? name : nullptr;
}

}  // namespace

void refuse_network_file_system(const std::filesystem::path& directory) {
    if (quill::is_on_network_file_system(directory.c_str())) {
        throw Error(ErrorCode::Invalid,
                    "a Tome store cannot lie on a network file system, whose locks do not reach "
                    "other hosts; use a disk of this host instead: " +
                        directory.string());
    }
}

Statement::~Statement() {
    sqlite3_reset(statement_);
    sqlite3_clear_bindings(statement_);
}

Statement& Statement::bind(int index, std::int64_t value) {
    sqlite3_bind_int64(statement_, index, value);
    return *this;
}

Statement& Statement::bind_text(int index, std::string_view value) {
    sqlite3_bind_text64(statement_, index, value.data() ? value.data() : "", value.size(), SQLITE_STATIC, SQLITE_UTF8);
    return *this;
}

Statement& Statement::bind_blob(int index, std::string_view value) {
    sqlite3_bind_blob64(statement_, index, value.data() ? value.data() : "", value.size(), SQLITE_STATIC);
    return *this;
}

Statement& Statement::bind_null(int index) {
    sqlite3_bind_null(statement_, index);
    return *this;
}

bool Statement::step() {
    const int code = sqlite3_step(statement_);
    if (code != SQLITE_ROW && code != SQLITE_DONE) {
        database_.fail(code);
    }
    return code == SQLITE_ROW;
}

std::int64_t Statement::integer(int column) const {
    return sqlite3_column_int64(statement_, column);
}

std::string_view Statement::bytes(int column) const {
    const auto* data = static_cast<const char*>(sqlite3_column_blob(statement_, column));
    return {data ? data : "", static_cast<std::size_t>(sqlite3_column_bytes(statement_, column))};
}

bool Statement::is_null(int column) const {
    return sqlite3_column_type(statement_, column) == SQLITE_NULL;
}

Database::Database(const std::filesystem::path& path, Mode mode) : path_(path), log_path_(path.string() + "-wal") {
    const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX | (mode == Mode::Create ? SQLITE_OPEN_CREATE : 0);
    std::error_code ignored;
    if (std::filesystem::is_symlink(path, ignored)) {
        throw Error(ErrorCode::Io, "a symbolic link stands in the way: " + path.string());
    }
    refuse_network_file_system(path.parent_path());
    const int code = sqlite3_open_v2(name_for_sqlite().c_str(), &handle_, flags, file_access());
    try {
        if (code != SQLITE_OK) {
            fail(code);
        }
        sqlite3_extended_result_codes(handle_, 1);
        sqlite3_busy_timeout(handle_, lock_wait_milliseconds);
        // A short-lived process need not fold the log into the database on its way out, unless it grew long.
        sqlite3_db_config(handle_, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
        // Others may have written the file: nothing in its schema runs, and no page is taken on trust.
        sqlite3_db_config(handle_, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
        sqlite3_db_config(handle_, SQLITE_DBCONFIG_ENABLE_VIEW, 0, nullptr);
        sqlite3_db_config(handle_, SQLITE_DBCONFIG_ENABLE_TRIGGER, 0, nullptr);
        if (mode == Mode::Create) {
            execute("PRAGMA journal_mode=WAL;");  // Writes to the file, so not to one that may be of a newer format.
        }
        execute(
            "PRAGMA synchronous=FULL; PRAGMA foreign_keys=ON; PRAGMA trusted_schema=OFF; PRAGMA cell_size_check=ON;"
            // The log is folded in early, because whoever opens the database first reads all of it.
            "PRAGMA wal_autocheckpoint=100; PRAGMA journal_size_limit=4194304;"
            // On macOS a sync leaves the bytes in the drive's cache otherwise; elsewhere these change nothing.
            "PRAGMA fullfsync=ON; PRAGMA checkpoint_fullfsync=ON;");
    } catch (...) {
        sqlite3_close(handle_);
        throw;
    }
}

std::string Database::name_for_sqlite() {
    if (path_.native().size() <= max_name_bytes) {
        return path_.string();
    }
    folder_ = open_directory(path_.parent_path());
    const std::string folder = quill::short_path_of(folder_.get());
    if (folder.empty()) {
        throw Error(ErrorCode::Io, "the path is too long for a database: " + path_.string());
    }
    return folder + "/" + path_.filename().string();
}

Database::~Database() {
    for (const auto& [sql, statement] : statements_) {
        sqlite3_finalize(statement);
    }
    const bool folds = folds_log_ && sqlite3_total_changes(handle_) > 0;
    if (folds || has_long_log()) {
        sqlite3_busy_timeout(handle_, 0);  // Not waited for: while somebody reads, it is left to those who come later.
        sqlite3_wal_checkpoint_v2(handle_, nullptr, SQLITE_CHECKPOINT_TRUNCATE, nullptr, nullptr);
    }
    sqlite3_close(handle_);
}

// Whether the log has grown long. It grows where each opening writes only once: a writer begins the log anew only when
// it finds all of it folded in, and after an opening SQLite no longer knows that.
bool Database::has_long_log() const noexcept {
    std::error_code error;
    const std::uintmax_t bytes = std::filesystem::file_size(log_path_, error);
    return !error && bytes > max_log_bytes;
}

void Database::execute(const char* sql) {
    const int code = sqlite3_exec(handle_, sql, nullptr, nullptr, nullptr);
    if (code != SQLITE_OK) {
        fail(code);
    }
}

Statement Database::prepare(const char* sql) {
    sqlite3_stmt*& statement = statements_[sql];
    if (statement == nullptr) {
        const int code = sqlite3_prepare_v3(handle_, sql, -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr);
        if (code != SQLITE_OK) {
            fail(code);
        }
    }
    return {*this, statement};
}

std::int64_t Database::user_version() {
    Statement query = prepare("PRAGMA user_version");
    return query.step() ? query.integer(0) : 0;
}

bool Database::in_transaction() const {
    return sqlite3_get_autocommit(handle_) == 0;
}

int Database::changes() const {
    return sqlite3_changes(handle_);
}

void Database::roll_back() noexcept {
    sqlite3_exec(handle_, "ROLLBACK", nullptr, nullptr, nullptr);
}

void Database::fail(int code) const {
    const int primary = code & 0xff;
    const std::string file = path_.string();
    if (primary == SQLITE_CORRUPT || primary == SQLITE_NOTADB) {
        throw damaged(DatabaseKind::Any, file);
    }
    if (primary == SQLITE_FULL) {
        throw Error(ErrorCode::Io, "disk full while writing " + file);
    }
    if (primary == SQLITE_BUSY) {
        throw Error(ErrorCode::Io, "locked by another process: " + file);
    }
    if (primary == SQLITE_NOMEM) {
        throw Error(ErrorCode::Internal, "out of memory");
    }
    if (primary == SQLITE_READONLY || primary == SQLITE_CANTOPEN || primary == SQLITE_PERM) {
        throw Error(ErrorCode::Io, "could not open for writing: " + file);
    }
    throw Error(ErrorCode::Io, "database error on " + file + ": " +
                                   (handle_ != nullptr ? sqlite3_errmsg(handle_) : sqlite3_errstr(code)));
}

Transaction::Transaction(Database& database) : database_(database), outer_(!database.in_transaction()) {
    if (outer_) {
        const quill::TraceStep step("lock", database_.path().native());
        database_.execute("BEGIN IMMEDIATE");
    }
}

Transaction::~Transaction() {
    if (outer_ && !done_ && database_.in_transaction()) {
        database_.roll_back();
    }
}

void Transaction::commit() {
    if (outer_) {
        const quill::TraceStep step("written", database_.path().native());
        database_.execute("COMMIT");
    }
    done_ = true;
}

}  // namespace tome
