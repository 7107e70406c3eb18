// What the engine asks of a repository that many checkouts share. Nothing above this interface knows what kind of
// remote it talks to.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tome/object/blob_key.h"
#include "tome/object/branch_name.h"
#include "tome/object/branch_record.h"
#include "tome/object/object_sink.h"
#include "tome/object/object_source.h"

namespace tome {

class Remote {
  public:
    virtual ~Remote() = default;

    /// Where the repository lies, for errors: a folder, a URL.
    virtual std::string place() const = 0;

    /// The objects of the repository, read where they are.
    virtual std::shared_ptr<ObjectSource> objects() = 0;

    /// Adds objects found in `source` by kind and name, each after what it refers to, and then `new_objects`, in that
    /// order. All durable when this returns; a failure may leave some, which are garbage until a later push needs them.
    virtual void add_objects(ObjectSource& source, const ObjectNames& wanted,
                             const std::vector<NewObject>& new_objects) = 0;

    virtual bool has_blob(const BlobKey& key) = 0;

    /// Adds blobs with their contents, found in `source`. Durable when this returns.
    virtual void add_blobs(ObjectSource& source, const std::vector<BlobKey>& keys) = 0;

    virtual std::optional<BranchRecord> find_branch(const BranchName& name) = 0;

    /// In byte order of their names.
    virtual std::vector<BranchRecord> branches() = 0;

    /// Writes the record if the branch's sequence still is `record.sequence` (0: no such branch), with next_sequence().
    /// False otherwise.
    virtual bool compare_and_set(const BranchRecord& record, std::int64_t above) = 0;
    bool compare_and_set(const BranchRecord& record) { return compare_and_set(record, 0); }
};

}  // namespace tome
