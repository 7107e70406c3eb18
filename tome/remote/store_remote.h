// A repository that is one store. Both a directory remote and a checkout without a remote keep their branches, objects
// and blobs in this way.
#pragma once

#include <filesystem>

#include "tome/remote/remote.h"
#include "tome/store/store.h"

namespace tome {

class StoreRemote : public Remote {
  public:
    /// Opens the store. Throws what Store's constructor throws.
    explicit StoreRemote(const std::filesystem::path& directory);

    std::string place() const override { return store_->directory().string(); }
    std::shared_ptr<ObjectSource> objects() override { return store_; }
    void add_objects(ObjectSource& source, const ObjectNames& wanted,
                     const std::vector<NewObject>& new_objects) override;
    bool has_blob(const BlobKey& key) override;
    void add_blobs(ObjectSource& source, const std::vector<BlobKey>& keys) override;
    std::optional<BranchRecord> find_branch(const BranchName& name) override;
    std::vector<BranchRecord> branches() override;
    bool compare_and_set(const BranchRecord& record, std::int64_t above) override;

  private:
    std::shared_ptr<Store> store_;
};

/// Makes a store in `directory` whose branch "main" has no revision. False when something is there.
bool create_repository_store(const std::filesystem::path& directory);

}  // namespace tome
