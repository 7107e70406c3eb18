// The branches of a store: one record each, moved by compare-and-set.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "tome/base/database.h"
#include "tome/object/branch_name.h"
#include "tome/object/branch_record.h"

namespace tome {

/// Both throw Error(Corrupt) for a record that no writer of ours makes: a negative time, a sequence below 1 or so large
/// that it cannot grow for ever.
std::optional<BranchRecord> read_branch(Database& database, const BranchName& name);

/// In byte order of their names.
std::vector<BranchRecord> list_branches(Database& database);

/// Writes `record` if the branch's sequence still is `record.sequence` (0: no such branch); the written record carries
/// the next one, which lies above `above`, too. False, with nothing written, otherwise. Durable when the transaction
/// around it commits.
bool compare_and_set_branch(Database& database, const BranchRecord& record, std::int64_t above = 0);

}  // namespace tome
