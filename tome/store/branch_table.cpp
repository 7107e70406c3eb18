#include "tome/store/branch_table.h"

#include "tome/base/damage.h"
#include "tome/base/error.h"
#include "tome/base/file_io.h"

namespace tome {
namespace {

// No branch is written that often, and the next sequence is still a valid number.
constexpr std::int64_t max_sequence = std::int64_t{1} << 62;

// Refuses numbers that this program never writes: others may have written the table.
void check_numbers(const Statement& row) {
    const std::int64_t sequence = row.integer(8);
    if (row.integer(6) < 0 || row.integer(7) < 0 || sequence < 1 || sequence > max_sequence) {
        throw damaged(DatabaseKind::Store, "times or sequence of branch " + std::string(row.bytes(0)));
    }
}

BranchRecord from_row(const Statement& row) {
    check_numbers(row);
    BranchRecord record;
    record.name = row.bytes(0);
    record.kind = row.bytes(1);
    record.author = row.bytes(2);
    record.head = digest_from_bytes(row.bytes(3));
    record.metadata = digest_from_bytes(row.bytes(4));
    record.archived = row.integer(5) != 0;
    record.created_at = static_cast<std::uint64_t>(row.integer(6));
    record.updated_at = static_cast<std::uint64_t>(row.integer(7));
    record.sequence = row.integer(8);
    return record;
}

}  // namespace

std::optional<BranchRecord> read_branch(Database& database, const BranchName& name) {
    Statement query = database.prepare(
        "SELECT name, kind, author, head, metadata, archived, created_at, updated_at, sequence"
        " FROM branch WHERE name = ?");
    if (!query.bind_text(1, name.text()).step()) {
        return std::nullopt;
    }
    return from_row(query);
}

std::vector<BranchRecord> list_branches(Database& database) {
    Statement query = database.prepare(
        "SELECT name, kind, author, head, metadata, archived, created_at, updated_at, sequence"
        " FROM branch ORDER BY name");
    std::vector<BranchRecord> result;
    while (query.step()) {
        result.push_back(from_row(query));
        if (result.size() > 1 && result[result.size() - 2].name >= result.back().name) {
            throw damaged(DatabaseKind::Store, "branches out of order or twice: " + result.back().name);
        }
    }
    return result;
}

bool compare_and_set_branch(Database& database, const BranchRecord& record, std::int64_t above) {
    const std::string nonce = random_text();
    Statement write = database.prepare(
        record.sequence == 0
            ? "INSERT INTO branch(name, kind, author, head, metadata, archived, created_at, updated_at, sequence, "
              "nonce)"
              " VALUES(?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?11, ?10) ON CONFLICT DO NOTHING"
            : "UPDATE branch SET kind = ?2, author = ?3, head = ?4, metadata = ?5, archived = ?6, created_at = ?7,"
              " updated_at = ?8, sequence = ?11, nonce = ?10 WHERE name = ?1 AND sequence = ?9");
    write.bind_text(1, record.name).bind_text(2, record.kind).bind_text(3, record.author);
    write.bind_blob(4, record.head.view()).bind_blob(5, record.metadata.view()).bind(6, record.archived ? 1 : 0);
    write.bind(7, static_cast<std::int64_t>(record.created_at)).bind(8, static_cast<std::int64_t>(record.updated_at));
    write.bind(9, record.sequence).bind_text(10, nonce).bind(11, next_sequence(record, above));
    write.run();
    return database.changes() == 1;
}

}  // namespace tome
