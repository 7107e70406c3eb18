// The table of blobs in a store: names of contents that belong to no tree.
#pragma once

#include <vector>

#include "tome/base/database.h"
#include "tome/object/blob_key.h"

namespace tome {

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
