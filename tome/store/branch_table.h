// The branches of a store: one record each, moved by compare-and-set.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "tome/base/database.h"
#include "tome/object/branch_name.h"
#include "tome/object/branch_record.h"

namespace tome {

/// Both throw Error(Corrupt) for a record that this program never writes: with a negative time, or a sequence below 1
/// or near the largest number.
std::optional<BranchRecord> read_branch(Database& database, const BranchName& name);

/// In byte order of their names.
std::vector<BranchRecord> list_branches(Database& database);

/// Writes `record` if the branch still has the sequence `record.sequence` (0: if there is no such branch). The written
/// record has next_sequence(). Returns false, and writes nothing, otherwise. Durable when the surrounding transaction
/// commits.
bool compare_and_set_branch(Database& database, const BranchRecord& record, std::int64_t above = 0);

}  // namespace tome
