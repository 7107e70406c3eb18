// The branches of a store: one record each, moved by compare-and-set.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tome/base/database.h"
#include "tome/base/digest.h"
#include "tome/object/branch_name.h"

namespace tome {

struct BranchRecord {
    std::string name;
    std::string kind;
    std::string author;
    Digest head;      ///< zero for a branch without a revision
    Digest metadata;  ///< root of the metadata map, zero when empty
    bool archived = false;
    std::uint64_t created_at = 0;  ///< ms since the Unix epoch
    std::uint64_t updated_at = 0;  ///< ms since the Unix epoch
    std::int64_t sequence = 0;     ///< 0: not there yet; grows by one with every write, also when a head returns
    std::string nonce;             ///< random, of the last write: a writer knows its own success by it
};

/// Both throw Error(Corrupt) for a record that no writer of ours makes: a negative time, a sequence below 1 or so large
/// that it cannot grow for ever.
std::optional<BranchRecord> read_branch(Database& database, const BranchName& name);

/// In byte order of their names.
std::vector<BranchRecord> list_branches(Database& database);

/// The sequence that a branch gets when `record` is written: one above the record's and above `above`.
std::int64_t next_sequence(const BranchRecord& record, std::int64_t above);

/// Writes `record` if the branch's sequence still is `record.sequence` (0: no such branch); the written record carries
/// the next one, which lies above `above`, too. False, with nothing written, otherwise. Durable when the transaction
/// around it commits.
bool compare_and_set_branch(Database& database, const BranchRecord& record, std::int64_t above = 0);

}  // namespace tome
