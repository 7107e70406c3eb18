// The table of blobs in a store: names of contents that belong to no tree.
#pragma once

#include <vector>

#include "tome/base/database.h"
#include "tome/object/blob_key.h"

namespace tome {

bool has_blob(Database& database, const BlobKey& key);

/// Adds a blob, whose content must be in the store. A blob that is there keeps its state, except that a local one
/// becomes unflushed if `state` is that.
void add_blob(Database& database, const BlobKey& key, BlobState state);

std::vector<BlobKey> unflushed_blobs(Database& database);

void mark_flushed(Database& database, const BlobKey& key);

/// Marks a blob as local. It stays so until it is stored again.
void mark_local(Database& database, const BlobKey& key);

/// Marks every flushed blob as unflushed, because the remote turned out to have none.
void mark_all_unflushed(Database& database);

}  // namespace tome
