// The one door to the engine. Every operation of tome.h is called from here in one shape: globals for one checkout, a
// parameter record, a fresh TomeWorkspaceState that collects the events, then require_tome_success. No other module
// of the workspace code includes tome.h; a site with a libtome of its own adapts this one file.
//
// Threads: calls on different threads are independent; calls on one thread must not overlap, because the globals point
// into a text kept per thread.
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "engine/workspace_record.h"

extern "C" {
struct tome_event;
struct tome_globals;
struct tome_hash;
struct tome_string;
}

namespace quill {

/// Everything that the engine reported during one call.
struct TomeWorkspaceState {
    /// Identity of one file, as the engine reports it.
    struct FileIdentity {
        std::string path;         ///< relative to the checkout
        std::string hash;         ///< SHA-256 of the bytes, 64 lower-case hex digits
        std::uint64_t value = 0;  ///< size in bytes
    };

    std::int32_t status = 0;  ///< 0: no error
    std::string message;
    std::vector<ProjectWorkspace> workspaces;
    std::map<std::string, std::string> branch_kinds;
    std::map<std::string, std::string> metadata;
    std::vector<ProjectWorkspaceDiffEntry> diff_entries;
    std::vector<std::string> changed_paths;   ///< conflicts of a merge
    std::vector<std::string> reported_paths;  ///< status: changed paths; sync: written or removed paths
    std::string identity;                     ///< 64 lower-case hex digits, or empty
    std::string second_identity;              ///< status: head on the remote
    std::uint64_t identity_number = 0;        ///< order of `identity`
    std::uint64_t identity_extra = 0;         ///< status: order of `second_identity`
    std::vector<ProjectWorkspaceRevision> revisions;
    std::vector<std::string> revision_paths;  ///< paths in which two revisions differ
    std::vector<std::string> restored_paths;
    std::uint64_t event_count = 0;  ///< revision info: changed files
    std::vector<FileIdentity> file_identities;
};

/// The checkout that a call works on.
struct CheckoutLocation {
    std::filesystem::path root;
    std::string remote_url;  ///< may be empty; then the checkout's own configuration tells
};

// ---- The call shape. Declared here for the tests of this module.

/// Globals for `checkout_root`: absolute, normalised and kept in a text of the calling thread until its next call.
/// Without `remote_url` the one in the checkout's .tome/config.toml is taken; without either, the engine is told to
/// work without a remote.
tome_globals tome_globals_for(const std::filesystem::path& checkout_root, const std::string& remote_url);

/// Returns when both `result` and `state.status` are 0; otherwise throws std::runtime_error: `operation`, ": " and the
/// engine's message, or `operation` and " failed" without one.
void require_tome_success(std::string_view operation, std::int32_t result, const TomeWorkspaceState& state);

/// The callback of every call; `user` is the address of the call's TomeWorkspaceState. Passes over events that it does
/// not know. Never throws, because it is called from C: an event that could not be recorded sets `status` to -1.
void tome_workspace_callback(const tome_event* event, std::uint64_t user);

std::string tome_string_to_std(const tome_string& text);

/// 64 lower-case hex digits; empty for the zero hash, which means that there is none.
std::string tome_hash_hex(const tome_hash& hash);

struct TomeStringArrayView {
    const tome_string* items;
    std::uint64_t count;
};

/// Fills `storage` with one library string for each of `texts`, which must outlive the call.
TomeStringArrayView tome_string_array_view(const std::vector<std::string>& texts, std::vector<tome_string>& storage);

// ---- The operations. Each throws what require_tome_success throws, with the engine's name of the operation. Those
// that take a revision throw std::runtime_error "not a Tome revision: " + text, without a call, unless it is 64 hex
// digits that are not all 0.

/// `branch_memory`: as in TomeClone.
TomeWorkspaceState call_tome_repository_create(const CheckoutLocation& checkout, const std::string& name,
                                               const std::string& description, const std::string& branch_memory = {});

/// `identity`, `identity_number`: base of the checkout; `second_identity`, `identity_extra`: head on the remote.
/// With `report_changes`, `reported_paths` are the changed paths.
TomeWorkspaceState call_tome_repository_status(const CheckoutLocation& checkout, bool report_changes);

struct TomeClone {
    std::string repository_url;
    std::string branch;
    bool metadata_only = false;  ///< the checkout serves queries alone
    bool use_shared_store = false;
    std::string shared_store;        ///< path, when used
    std::vector<std::string> paths;  ///< to fetch; none: an empty sparse checkout
    std::string branch_memory;       ///< file that remembers the branches seen on the remote
};
TomeWorkspaceState call_tome_repository_clone(const CheckoutLocation& checkout, const TomeClone& clone);

/// Forgets what the file `branch_memory` remembers of the repository's branches.
void call_tome_repository_accept_remote(const CheckoutLocation& checkout, const std::string& repository_url,
                                        const std::string& branch_memory);

TomeWorkspaceState call_tome_branch_create(const CheckoutLocation& checkout, const std::string& name,
                                           const std::string& from, const std::string& kind, const std::string& author);

/// Makes the branch's newest head the checkout's base.
TomeWorkspaceState call_tome_branch_switch(const CheckoutLocation& checkout, const std::string& branch);

TomeWorkspaceState call_tome_branch_list(const CheckoutLocation& checkout);

/// Notes metadata in the checkout; push_tome_branch carries it to the remote.
void set_tome_branch_metadata(const CheckoutLocation& checkout, const std::string& branch,
                              const std::map<std::string, std::string>& values);

/// Values of `keys`, or all of them without keys.
TomeWorkspaceState call_tome_branch_metadata_get(const CheckoutLocation& checkout, const std::string& branch,
                                                 const std::vector<std::string>& keys);

/// Publishes the branch with its metadata. Does nothing when the branch or the remote URL is empty.
void push_tome_branch(const std::filesystem::path& checkout, const std::string& branch, const std::string& remote_url,
                      bool force);

TomeWorkspaceState call_tome_branch_archive(const CheckoutLocation& checkout, const std::string& branch);

/// `diff_entries`: how the tree of `to` differs from that of `from`.
TomeWorkspaceState call_tome_branch_diff(const CheckoutLocation& checkout, const std::string& from,
                                         const std::string& to);

/// Merges `source` into the checkout's branch, there alone. `changed_paths` are the conflicts; with any, nothing was
/// done. `identity` is the head afterwards, `diff_entries` what the merge brought.
TomeWorkspaceState call_tome_branch_merge_into(const CheckoutLocation& checkout, const std::string& source,
                                               const std::string& message);

/// `reported_paths` stay empty; `identity` is the base revision; deletions and additions are staged, too.
TomeWorkspaceState call_tome_file_stage(const CheckoutLocation& checkout, const std::vector<std::string>& paths);

/// `file_identities` of the files at `paths`, relative to the checkout; what is not a file is left out.
TomeWorkspaceState call_tome_file_info(const CheckoutLocation& checkout, const std::vector<std::string>& paths);

TomeWorkspaceState call_tome_revision_commit(const CheckoutLocation& checkout, const std::string& message);

struct TomeSync {
    std::vector<std::string> paths;  ///< none: the whole tree
    std::string revision;            ///< 64 hex digits; empty: the branch's newest head, which becomes the base
    bool overwrite = false;          ///< drop uncommitted changes that stand in the way
    bool scratch = false;            ///< the files need not survive a power cut
};
/// `operation` is the name that a failure is reported under.
TomeWorkspaceState call_tome_revision_sync(const CheckoutLocation& checkout, const TomeSync& sync,
                                           std::string_view operation = "tome_revision_sync");

TomeWorkspaceState call_tome_revision_history(const CheckoutLocation& checkout, const std::string& branch,
                                              std::uint64_t limit);

TomeWorkspaceState call_tome_revision_info(const CheckoutLocation& checkout, const std::string& revision);

TomeWorkspaceState call_tome_revision_diff(const CheckoutLocation& checkout, const std::string& from,
                                           const std::string& to);

TomeWorkspaceState call_tome_revision_restore(const CheckoutLocation& checkout, const std::string& revision,
                                              const std::string& message);

void call_tome_shared_store_create(const CheckoutLocation& checkout, const std::filesystem::path& store);

}  // namespace quill
