// A checkout: a directory with the folder ".tome", in which config.toml, index.db, "tmp" and, once something was stored
// here, "objects" are. Operations that change a checkout exclude one another by an advisory lock on ".tome" itself; it
// ends with the process.
#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <utility>

#include "tome/checkout/checkout_config.h"
#include "tome/checkout/checkout_folder.h"
#include "tome/checkout/checkout_state.h"
#include "tome/checkout/working_tree.h"
#include "tome/remote/branch_memory.h"
#include "tome/remote/remote.h"
#include "tome/store/store.h"

namespace tome {

class Checkout {
  public:
    enum class Access { Read, Change };

    /// Opens the checkout in `directory`. `offline`: do without its remote. `working_folder`: where the files of a
    /// detached checkout lie; empty for every other. Throws Error(NotFound) "not a checkout: DIRECTORY", Error(Invalid)
    /// for a detached one without a working folder and the reverse, Error(Corrupt) for damaged state.
    Checkout(const std::filesystem::path& directory, Access access, bool offline,
             const std::filesystem::path& working_folder = {});

    const std::filesystem::path& directory() const { return directory_; }
    const CheckoutConfig& config() const { return config_; }
    CheckoutState& state() { return state_; }
    const WorkingTree& files() const { return files_; }

    /// The digest of the working file at `path` and the stamp that goes with it: from the index where that knows the
    /// file as it is, else read. Nothing where no file is. Throws as WorkingTree::hash() does.
    std::optional<std::pair<Digest, FileStamp>> working_content(const TreePath& path);

    /// All objects that can be read: those of the own store, the shared store and the remote, asked in this order.
    ObjectSources& sources() { return sources_; }

    /// The store for new objects: the shared one when the checkout uses one that was there as it was opened, else its
    /// own, which is made when it is first needed.
    Store& writable_store();

    /// What was last seen of the remote's branches.
    BranchMemory& memory() { return memory_; }

    /// The repository's remote; for a checkout without one, its own branches. Throws Error(NotFound) when offline or
    /// when the remote does not have the repository.
    Remote& remote();
    bool has_remote() const { return !config_.repository_url.empty(); }
    bool reaches_remote() const { return remote_ != nullptr; }
    bool is_offline() const { return offline_; }

    /// A new file name in ".tome/tmp", on the volume of the working files. Only for access to change.
    std::filesystem::path temporary_path();

    /// The tree of a revision; zero for none. Throws what read_base does.
    Digest tree_of(const Digest& revision);

    /// The tree that the files stand on: that of the base revision, unless they stand on several.
    Digest base_tree();

  private:
    void add_store(const std::filesystem::path& directory);

    std::filesystem::path directory_;
    CheckoutConfig config_;
    FileDescriptor lock_;
    CheckoutState state_;
    WorkingTree files_;
    bool offline_;
    BranchMemory memory_;
    std::shared_ptr<Store> store_;  // writable_store(), once it is there
    std::unique_ptr<Remote> remote_;
    std::string remote_failure_;
    ObjectSources sources_;
    std::uint64_t temporary_files_ = 0;
};

/// What the checkout in `directory` remembers of its remote's branches.
BranchMemory branch_memory(const std::filesystem::path& directory, const CheckoutConfig& config,
                           BranchMemory::Making making);

/// The repository on the remote, its branches remembered in `memory`. Throws as open_repository() does.
std::unique_ptr<Remote> open_remote(const CheckoutConfig& config, BranchMemory& memory);

/// Makes `directory` a checkout without files: builds ".tome" aside and renames it into place. False when a finished
/// checkout stood there already or another process was faster.
bool create_checkout(const std::filesystem::path& directory, const CheckoutConfig& config, const BranchName& branch,
                     const Digest& base, const std::optional<Digest>& base_tree = {});

}  // namespace tome
