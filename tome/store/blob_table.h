// The table of blobs in a store: names of contents that belong to no tree.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>
#include <vector>

#include "tome/base/database.h"
#include "tome/base/digest.h"

namespace tome {

struct BlobKey {
    std::array<std::uint8_t, 16> partition{};
    Digest digest;
    std::array<std::uint8_t, 16> context{};
};

/// Where a blob of a checkout's store is to be.
enum class BlobState : std::int64_t { Local = 0, Unflushed = 1, Flushed = 2 };

bool has_blob(Database& database, const BlobKey& key);

/// Adds the blob, whose content must be in the store. One that is there keeps its state, but a local one becomes
/// unflushed when `state` says so.
void add_blob(Database& database, const BlobKey& key, BlobState state);

std::vector<BlobKey> unflushed_blobs(Database& database);

void mark_flushed(Database& database, const BlobKey& key);

/// Makes a blob a local one until it is stored again.
void mark_local(Database& database, const BlobKey& key);

/// Makes every flushed blob an unflushed one: the remote turned out to have none.
void mark_all_unflushed(Database& database);

}  // namespace tome
