// Remembers what was last seen of a repository's branches: for each the highest sequence, and its head. So the engine
// notices when a remote went back, to an older backup or by damage. Format: docs/formats.md.
//
// The file is a hint, which several checkouts may share. Writing it never waits for the disk, a damaged file is made
// anew, and where it cannot be written, the engine works without it.
#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tome/base/database.h"
#include "tome/object/branch_name.h"
#include "tome/remote/remote.h"

namespace tome {

/// The file must have this name. So a checkout that somebody else made cannot have another file overwritten.
inline constexpr std::string_view branch_memory_name = ".branch-memory";

/// Whether the path ends in that name.
bool names_branch_memory(const std::filesystem::path& path);

/// The path of the file, as a caller gave it; empty: none. Throws Error(Invalid) unless it is absolute and has the name
/// above.
std::filesystem::path parse_branch_memory(const std::string& text);

struct RememberedBranch {
    std::int64_t sequence = 0;
    Digest head;              ///< zero for a branch without a revision
    std::uint64_t order = 0;  ///< of the head, 0 when it was not known
    std::string kind;
    std::string author;
};

class BranchMemory {
  public:
    /// Whether the file may be created or overwritten. Not if only a checkout's configuration names it: somebody else
    /// may have written that, with any path.
    enum class Making { Allowed, Refused };

    /// `file`: absolute; empty: nothing is remembered. `repository`: canonical URL.
    BranchMemory(std::filesystem::path file, std::string repository, Making making);

    /// What is remembered of the branch. Ask before you ask the remote: then a remote that has not gone back cannot
    /// show an older state.
    std::optional<RememberedBranch> find(const BranchName& branch);

    /// Remembers those records of the remote that have a higher sequence than what is remembered. The orders of their
    /// heads are read from `objects`.
    void note(const std::vector<BranchRecord>& records, ObjectSource& objects);

    /// Forgets all branches of the repository. Throws Error when that fails.
    void forget();

  private:
    bool is_kept() const { return !file_.empty() && !is_broken_; }
    Database& database();
    std::optional<RememberedBranch> read(const std::string& branch);
    void write(const BranchRecord& record, std::uint64_t order);
    void do_without(const std::exception& reason);
    void remove_damaged() const;

    std::filesystem::path file_;
    std::string repository_;
    Making making_;
    std::unique_ptr<Database> database_;
    bool is_broken_ = false;  // it cannot be used now
};

/// A remote that notes in a BranchMemory every branch that is read or written.
class RememberingRemote final : public Remote {
  public:
    /// `memory` must outlive it.
    RememberingRemote(std::unique_ptr<Remote> remote, BranchMemory& memory);

    std::string place() const override { return remote_->place(); }
    std::shared_ptr<ObjectSource> objects() override { return remote_->objects(); }
    void add_objects(ObjectSource& source, const ObjectNames& wanted,
                     const std::vector<NewObject>& new_objects) override;
    bool has_blob(const BlobKey& key) override { return remote_->has_blob(key); }
    void add_blobs(ObjectSource& source, const std::vector<BlobKey>& keys) override;
    std::optional<BranchRecord> find_branch(const BranchName& name) override;
    std::vector<BranchRecord> branches() override;
    bool compare_and_set(const BranchRecord& record, std::int64_t above) override;

  private:
    std::unique_ptr<Remote> remote_;
    BranchMemory& memory_;
};

}  // namespace tome
