// The operations of the engine that workspaces use: a function for each, all of one shape. Each makes one call of the
// C interface (tome_call.h) and gives back what the engine reported, or throws. The operations of the engine's blob
// storage are called in content/tome_content_store instead; no other module includes tome.h. Whoever has a libtome of
// his own adapts the modules tome_binding, tome_call and tome_content_store.
//
// Threads: calls on different threads are independent.
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "engine/tome_workspace_state.h"

namespace quill {

/// The checkout that a call works on.
struct CheckoutLocation {
    std::filesystem::path root;
    std::string remote_url;                  ///< may be empty; then the checkout's own configuration tells
    std::filesystem::path working_folder{};  ///< absolute; where the files of a detached checkout lie, else empty
};

// Each operation throws std::runtime_error when the engine reports a failure: the operation's name in the C interface,
// ": " and the engine's message. Those that take a revision throw "not a Tome revision: " + text, without a call,
// unless the text is 64 hex digits that are not all 0.

/// Makes a repository, with the checkout as its first one. `branch_memory`: as in TomeClone.
TomeWorkspaceState call_tome_repository_create(const CheckoutLocation& checkout, const std::string& name,
                                               const std::string& description, const std::string& branch_memory = {});

/// Where the checkout stands. `identity`, `identity_number`: its base; `second_identity`, `identity_extra`: the
/// branch's head on the remote. With `report_changes`, `reported_paths` are the changed paths.
TomeWorkspaceState call_tome_repository_status(const CheckoutLocation& checkout, bool report_changes);

/// What to clone, and how.
struct TomeClone {
    std::string repository_url;
    std::string branch;
    bool metadata_only = false;  ///< the checkout serves queries alone
    bool use_shared_store = false;
    std::string shared_store;        ///< path, when used
    std::vector<std::string> paths;  ///< to fetch; none: a checkout without files
    std::string branch_memory;       ///< file that remembers the branches seen on the remote
};
/// Makes the location's folder a checkout.
TomeWorkspaceState call_tome_repository_clone(const CheckoutLocation& checkout, const TomeClone& clone);

/// Forgets what the file `branch_memory` remembers of the repository's branches.
void call_tome_repository_accept_remote(const CheckoutLocation& checkout, const std::string& repository_url,
                                        const std::string& branch_memory);

/// Makes the branch `name` at the head of the branch `from`, in the checkout's repository.
TomeWorkspaceState call_tome_branch_create(const CheckoutLocation& checkout, const std::string& name,
                                           const std::string& from, const std::string& kind, const std::string& author);

/// Makes the branch's newest head the checkout's base.
TomeWorkspaceState call_tome_branch_switch(const CheckoutLocation& checkout, const std::string& branch);

/// `workspaces`, `branch_kinds`: the branches of the repository.
TomeWorkspaceState call_tome_branch_list(const CheckoutLocation& checkout);

/// Notes metadata in the checkout; push_tome_branch carries it to the remote.
void set_tome_branch_metadata(const CheckoutLocation& checkout, const std::string& branch,
                              const std::map<std::string, std::string>& values);

/// `metadata`: the values of `keys`, or of all keys when `keys` is empty.
TomeWorkspaceState call_tome_branch_metadata_get(const CheckoutLocation& checkout, const std::string& branch,
                                                 const std::vector<std::string>& keys);

/// Publishes the branch with its metadata. Does nothing when the branch or the remote URL is empty.
void push_tome_branch(const std::filesystem::path& checkout, const std::string& branch, const std::string& remote_url,
                      bool force);

/// Marks the branch archived.
TomeWorkspaceState call_tome_branch_archive(const CheckoutLocation& checkout, const std::string& branch);

/// `diff_entries`: how the tree of `to` differs from that of `from`.
TomeWorkspaceState call_tome_branch_diff(const CheckoutLocation& checkout, const std::string& from,
                                         const std::string& to);

/// Merges `source` into the checkout's branch and publishes nothing. `identity`: the head afterwards; `diff_entries`:
/// what the merge changed; `changed_paths`: the conflicts, and if there are any, nothing was changed.
TomeWorkspaceState call_tome_branch_merge_into(const CheckoutLocation& checkout, const std::string& source,
                                               const std::string& message);

/// Stages the files at `paths`, added and deleted ones included. `identity`: the base revision.
TomeWorkspaceState call_tome_file_stage(const CheckoutLocation& checkout, const std::vector<std::string>& paths);

/// `file_identities`: those of the files at `paths`, relative to the checkout. A path that names no file is left out.
TomeWorkspaceState call_tome_file_info(const CheckoutLocation& checkout, const std::vector<std::string>& paths);

/// `file_states`: the files at `paths`, or all without `skip`, whose three states are not all the same, in byte order;
/// `identity`: the newest head of the checkout's branch.
TomeWorkspaceState call_tome_file_state(const CheckoutLocation& checkout, const std::vector<std::string>& paths,
                                        const std::vector<std::string>& skip);

/// Makes the files at `paths` (none: all) stand on the revision. `is_base`: no other file stands on another one.
TomeWorkspaceState call_tome_file_base_set(const CheckoutLocation& checkout, const std::string& revision,
                                           const std::vector<std::string>& paths, bool is_base);

/// Makes each file at `paths` stand on the newest of the last `versions` versions of its path that has its bytes.
TomeWorkspaceState call_tome_file_base_find(const CheckoutLocation& checkout, const std::vector<std::string>& paths,
                                            std::uint64_t versions);

/// What to bring up to date.
struct TomeUpdate {
    std::vector<std::string> paths;  ///< none: all files
    std::string revision;            ///< 64 hex digits; empty: the branch's newest head
    bool is_base = false;            ///< no other file is behind
    bool check_only = false;         ///< find the conflicts, do nothing
};
/// Brings files up to date. `changed_paths`: conflicts, and if there are any, nothing was done; `reported_paths`: files
/// written or removed; `merged_paths`: those among them with both changes.
TomeWorkspaceState call_tome_file_update(const CheckoutLocation& checkout, const TomeUpdate& update);

/// `identity`, `identity_number`: the new revision.
TomeWorkspaceState call_tome_revision_commit(const CheckoutLocation& checkout, const std::string& message);

/// What to bring into a checkout.
struct TomeSync {
    std::vector<std::string> paths;  ///< none: the whole tree
    std::string revision;            ///< 64 hex digits; empty: the branch's newest head, which becomes the base
    bool overwrite = false;          ///< drop uncommitted changes that stand in the way
    bool scratch = false;            ///< the files need not survive a power cut
};
/// Writes files of a revision into the checkout. `identity`: that revision; `reported_paths`: the files written or
/// removed. `operation` is the name that a failure is reported under.
TomeWorkspaceState call_tome_revision_sync(const CheckoutLocation& checkout, const TomeSync& sync,
                                           std::string_view operation = "tome_revision_sync");

/// `revisions`: the newest `limit` of the branch.
TomeWorkspaceState call_tome_revision_history(const CheckoutLocation& checkout, const std::string& branch,
                                              std::uint64_t limit);

/// `identity_number`: the revision's order; `event_count`: how many files it changed.
TomeWorkspaceState call_tome_revision_info(const CheckoutLocation& checkout, const std::string& revision);

/// `revision_paths`: the paths in which the two differ.
TomeWorkspaceState call_tome_revision_diff(const CheckoutLocation& checkout, const std::string& from,
                                           const std::string& to);

/// Makes a revision on top of the base with the tree of `revision`. `identity`: the new one.
TomeWorkspaceState call_tome_revision_restore(const CheckoutLocation& checkout, const std::string& revision,
                                              const std::string& message);

/// Makes an object store that several checkouts may use.
void call_tome_shared_store_create(const CheckoutLocation& checkout, const std::filesystem::path& store);

}  // namespace quill
