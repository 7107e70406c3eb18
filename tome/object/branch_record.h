// What a repository stores about a branch. The sequence number lets a writer notice that somebody else wrote meanwhile.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string>

#include "tome/base/digest.h"

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
    std::int64_t sequence = 0;     ///< 0: not written yet; grows with every write, also when a head returns
};

/// The sequence that a branch gets when `record` is written: one above the record's and above `above`.
inline std::int64_t next_sequence(const BranchRecord& record, std::int64_t above) {
    return std::max(record.sequence, above) + 1;
}

}  // namespace tome
