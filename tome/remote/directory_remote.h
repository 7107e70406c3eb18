// A remote that is a directory: the file "tome-remote" marks it, and each repository on it is a store in a folder of
// its own. Format: docs/formats.md.
#pragma once

#include <filesystem>

#include "tome/remote/remote.h"
#include "tome/remote/remote_url.h"
#include "tome/store/store.h"

namespace tome {

/// Makes the directory a remote when it is missing (its parent must exist) or empty. Throws Error that says why the
/// directory cannot serve: a file, not writable, not a Tome remote, no parent.
void prepare_directory_remote(const std::filesystem::path& directory);

class DirectoryRemote final : public Remote {
  public:
    /// Whether something stands where the repository's folder is to be.
    static bool is_there(const RepositoryLocation& location);

    /// Makes the repository, with a branch "main" that has no revision. Throws Error(AlreadyExists)
    /// "Already exists: URL".
    static void create_repository(const RepositoryLocation& location);

    /// Opens a repository. Throws Error(NotFound) "Not found: URL" when the remote or the repository is missing.
    static std::unique_ptr<DirectoryRemote> open(const RepositoryLocation& location);

    /// The branches and objects that a checkout without a remote keeps in its own store.
    explicit DirectoryRemote(std::shared_ptr<Store> store);

    std::shared_ptr<ObjectSource> objects() override { return store_; }
    void add_objects(ObjectSource& source, const std::vector<std::pair<ObjectKind, Digest>>& wanted,
                     const std::vector<NewObject>& made) override;
    bool has_blob(const BlobKey& key) override;
    void add_blobs(ObjectSource& source, const std::vector<BlobKey>& keys) override;
    std::optional<BranchRecord> find_branch(const BranchName& name) override;
    std::vector<BranchRecord> branches() override;
    bool compare_and_set(const BranchRecord& record, std::int64_t above) override;

  private:
    std::shared_ptr<Store> store_;
};

/// A store in `directory` whose branch table holds "main" without a revision. False when something is there.
bool create_repository_store(const std::filesystem::path& directory);

}  // namespace tome
