// What was last seen of a repository's branches: of each the highest sequence, with its head. It tells a remote that
// went back, to an older backup or by damage, from one that stands still. Format: docs/formats.md.
//
// It is a hint in a file of its own, shared by the checkouts that name it: noting waits for no disk, a damaged file is
// made anew, and where there can be none, work goes on without.
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

/// The only name that the file may have: a checkout that somebody else made names no other file to be made anew.
inline constexpr std::string_view branch_memory_name = ".branch-memory";

/// Whether the path ends in that name.
bool names_branch_memory(const std::filesystem::path& path);

/// The file that a caller named for it; empty: none. Throws Error(Invalid) unless the path is absolute and ends in the
/// name.
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
    /// Whether the file may be made, or made anew. Not where a checkout's configuration alone names it: that may be
    /// somebody else's, and lead anywhere.
    enum class Making { Allowed, Refused };

    /// `file`: absolute; empty: nothing is remembered. `repository`: canonical URL.
    BranchMemory(std::filesystem::path file, std::string repository, Making making);

    /// What is remembered of the branch. To be asked before the remote, whose record is then no older, unless the
    /// remote went back.
    std::optional<RememberedBranch> find(const BranchName& branch);

    /// Remembers the records, as they stand on the remote, that have a higher sequence than what is remembered. The
    /// orders of their heads are looked up in `objects`.
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

/// A remote whose branches are remembered as they are read and written.
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
