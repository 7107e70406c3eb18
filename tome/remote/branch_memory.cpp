#include "tome/remote/branch_memory.h"

#include <unistd.h>

#include <array>

#include "tome/base/database_schema.h"
#include "tome/base/error.h"
#include "tome/object/revision_graph.h"

namespace tome {
namespace {

constexpr std::array<const char*, 1> tables{R"sql(CREATE TABLE remembered (
  repository TEXT NOT NULL,      -- canonical URL
  branch TEXT NOT NULL,
  sequence INTEGER NOT NULL,     -- the highest that was seen
  head BLOB NOT NULL,            -- 32 bytes, all zero without a revision
  revision_order INTEGER NOT NULL,
  kind TEXT NOT NULL,
  author TEXT NOT NULL,
  PRIMARY KEY(repository, branch)
) WITHOUT ROWID)sql"};

// Far enough below the largest sequence of a branch that writing can go on from it.
constexpr std::int64_t max_sequence = std::int64_t{1} << 61;

bool is_other_than_a_file(const std::filesystem::path& file) {
    std::error_code ignored;
    const std::filesystem::file_type type = std::filesystem::symlink_status(file, ignored).type();
    return type != std::filesystem::file_type::regular && type != std::filesystem::file_type::not_found;
}

std::unique_ptr<Database> open_memory(const std::filesystem::path& file, bool make) {
    if (is_other_than_a_file(file)) {
        throw Error(ErrorCode::Corrupt, "not a regular file: " + file.string());
    }
    auto database = std::make_unique<Database>(file, make ? Database::Mode::Create : Database::Mode::Open);
    database->execute("PRAGMA synchronous=NORMAL");  // A power cut may take the newest rows, and nothing else.
    if (make && database->user_version() == 0) {
        Transaction alone(*database);
        if (database->user_version() == 0) {
            create_tables(*database, tables);
        }
        alone.commit();
    }
    if (database->user_version() != 1 || !difference_from(tables, *database).empty()) {
        throw Error(ErrorCode::Corrupt, "corrupt branch memory: " + file.string());
    }
    return database;
}

void remove_memory(const std::filesystem::path& file) {
    for (const char* suffix : {"", "-wal", "-shm"}) {
        unlink((file.string() + suffix).c_str());
    }
}

}  // namespace

bool names_branch_memory(const std::filesystem::path& path) {
    return path.filename() == branch_memory_name && path.native().find('\0') == std::string::npos;
}

std::filesystem::path parse_branch_memory(const std::string& text) {
    const std::filesystem::path path = text;
    if (!path.empty() && (!path.is_absolute() || !names_branch_memory(path))) {
        throw Error(ErrorCode::Invalid, "the branch memory is no absolute path of a " +
                                            std::string(branch_memory_name) + ": " + path.string());
    }
    return path.lexically_normal();
}

BranchMemory::BranchMemory(std::filesystem::path file, std::string repository, Making making)
    : file_(std::move(file)), repository_(std::move(repository)), making_(making) {}

void BranchMemory::remove_damaged() const {
    if (making_ == Making::Allowed) {
        remove_memory(file_);
    }
}

Database& BranchMemory::database() {
    const bool make = making_ == Making::Allowed;
    if (!database_) {
        try {
            database_ = open_memory(file_, make);
        } catch (const Error& error) {
            if (error.code() != ErrorCode::Corrupt) {
                throw;
            }
            remove_damaged();
            database_ = open_memory(file_, make);
        }
    }
    return *database_;
}

std::optional<RememberedBranch> BranchMemory::read(const std::string& branch) {
    Statement query = database().prepare(
        "SELECT sequence, head, revision_order, kind, author FROM remembered WHERE repository = ? AND branch = ?");
    if (!query.bind_text(1, repository_).bind_text(2, branch).step()) {
        return std::nullopt;
    }
    RememberedBranch remembered;
    remembered.sequence = query.integer(0);
    remembered.head = digest_from_bytes(query.bytes(1));
    remembered.order = static_cast<std::uint64_t>(query.integer(2));
    remembered.kind = query.bytes(3);
    remembered.author = query.bytes(4);
    if (remembered.sequence < 1 || remembered.sequence > max_sequence) {
        throw Error(ErrorCode::Corrupt, "corrupt branch memory: " + file_.string());
    }
    return remembered;
}

// Gives the file up for the rest of the operation. The next operation makes a damaged one anew.
void BranchMemory::do_without(const std::exception& reason) {
    is_broken_ = true;
    database_.reset();
    const auto* error = dynamic_cast<const Error*>(&reason);
    if (error != nullptr && error->code() == ErrorCode::Corrupt) {
        remove_damaged();
    }
}

std::optional<RememberedBranch> BranchMemory::find(const BranchName& branch) {
    try {
        return is_kept() ? read(branch.text()) : std::nullopt;
    } catch (const std::exception& error) {
        do_without(error);
        return std::nullopt;
    }
}

void BranchMemory::write(const BranchRecord& record, std::uint64_t order) {
    // Another process may have noted a later state of the branch meanwhile, which then stays.
    Statement write = database().prepare(
        "INSERT INTO remembered(repository, branch, sequence, head, revision_order, kind, author)"
        " VALUES(?, ?, ?, ?, ?, ?, ?) ON CONFLICT DO UPDATE SET sequence = excluded.sequence, head = excluded.head,"
        " revision_order = excluded.revision_order, kind = excluded.kind, author = excluded.author"
        " WHERE excluded.sequence > sequence");
    write.bind_text(1, repository_).bind_text(2, record.name).bind(3, record.sequence);
    write.bind_blob(4, record.head.view()).bind(5, static_cast<std::int64_t>(order));
    write.bind_text(6, record.kind).bind_text(7, record.author);
    write.run();
}

void BranchMemory::note(const std::vector<BranchRecord>& records, ObjectSource& objects) {
    if (!is_kept()) {
        return;
    }
    try {
        std::vector<const BranchRecord*> newer;
        for (const BranchRecord& record : records) {
            const std::optional<RememberedBranch> remembered = read(record.name);
            if (record.sequence <= max_sequence && (!remembered || remembered->sequence < record.sequence)) {
                newer.push_back(&record);
            }
        }
        if (newer.empty()) {
            return;
        }
        Transaction transaction(database());
        for (const BranchRecord* record : newer) {
            write(*record, known_order(objects, record->head));
        }
        transaction.commit();
    } catch (const std::exception& error) {
        do_without(error);
    }
}

void BranchMemory::forget() {
    std::error_code ignored;
    if (file_.empty() || !std::filesystem::exists(std::filesystem::symlink_status(file_, ignored))) {
        return;
    }
    database().prepare("DELETE FROM remembered WHERE repository = ?").bind_text(1, repository_).run();
}

RememberingRemote::RememberingRemote(std::unique_ptr<Remote> remote, BranchMemory& memory)
    : remote_(std::move(remote)), memory_(memory) {}

void RememberingRemote::add_objects(ObjectSource& source, const ObjectNames& wanted,
                                    const std::vector<NewObject>& new_objects) {
    remote_->add_objects(source, wanted, new_objects);
}

void RememberingRemote::add_blobs(ObjectSource& source, const std::vector<BlobKey>& keys) {
    remote_->add_blobs(source, keys);
}

std::optional<BranchRecord> RememberingRemote::find_branch(const BranchName& name) {
    std::optional<BranchRecord> record = remote_->find_branch(name);
    if (record) {
        memory_.note({*record}, *remote_->objects());
    }
    return record;
}

std::vector<BranchRecord> RememberingRemote::branches() {
    std::vector<BranchRecord> records = remote_->branches();
    memory_.note(records, *remote_->objects());
    return records;
}

bool RememberingRemote::compare_and_set(const BranchRecord& record, std::int64_t above) {
    if (!remote_->compare_and_set(record, above)) {
        return false;
    }
    BranchRecord written = record;
    written.sequence = next_sequence(record, above);
    memory_.note({written}, *remote_->objects());
    return true;
}

}  // namespace tome
