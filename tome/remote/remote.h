// A repository that many checkouts share, as the engine sees it. Nothing above this interface knows what kind of remote
// it talks to.
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

    /// Where the repository is, for error messages: a folder, or a URL.
    virtual std::string place() const = 0;

    /// The objects of the repository, read where they are.
    virtual std::shared_ptr<ObjectSource> objects() = 0;

    /// Adds the objects `wanted`, which are read from `source`, and then `new_objects`. Each list has an object after
    /// everything that it refers to. All objects are durable when this returns. After a failure some may be there; they
    /// do no harm, and a later push uses them.
    virtual void add_objects(ObjectSource& source, const ObjectNames& wanted,
                             const std::vector<NewObject>& new_objects) = 0;

    virtual bool has_blob(const BlobKey& key) = 0;

    /// Adds blobs, whose contents are read from `source`. They are durable when this returns.
    virtual void add_blobs(ObjectSource& source, const std::vector<BlobKey>& keys) = 0;

    virtual std::optional<BranchRecord> find_branch(const BranchName& name) = 0;

    /// In byte order of their names.
    virtual std::vector<BranchRecord> branches() = 0;

    /// Writes the record, with next_sequence(), if the branch still has the sequence `record.sequence` (0: if there is
    /// no such branch). Returns false otherwise. Of several writers exactly one succeeds.
    virtual bool compare_and_set(const BranchRecord& record, std::int64_t above) = 0;
    bool compare_and_set(const BranchRecord& record) { return compare_and_set(record, 0); }
};

}  // namespace tome
