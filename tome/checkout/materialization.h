// Making working files match a tree. First a plan is made, which refuses to lose anything; then all new files are
// written to ".tome/tmp"; only then are working files replaced or removed.
//
// A working file may be replaced or removed if its bytes exist elsewhere: the checkout itself put them there, or they
// are the content of the same path in the old base, the new base or the target.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tome/checkout/branch_state.h"
#include "tome/checkout/checkout.h"

namespace tome {

struct MaterializationRequest {
    Digest old_tree;                 ///< of the base before
    Digest new_tree;                 ///< of the base after; held files that differ between the two follow
    Digest target;                   ///< the tree that `paths` are brought to
    std::vector<std::string> paths;  ///< files or folders, checked
    bool whole_tree = false;         ///< all of `target`; files held beyond it go
    Digest overtaken_tree;           ///< of commits made here that the remote has overtaken: what they changed since
                                     ///< `old_tree` counts as uncommitted; zero: there are none
    bool overwrite = false;          ///< replace uncommitted changes, too
    bool scratch = false;            ///< the files need not survive a power cut

    /// Files to be brought to these versions, whatever the trees say: for an update, which finds out itself what each
    /// file is to become.
    TreeChanges versions{};
    /// Among them those that a merge made of uncommitted bytes: the digest of these, and what the file is to stand on.
    std::map<std::string, std::pair<Digest, Digest>> merged{};
};

struct MaterializationPlan {
    std::map<std::string, TreeEntry> writes;
    std::vector<std::string> removals;
    std::map<std::string, std::pair<Digest, FileStamp>> already_there;
    bool scratch = false;
    std::vector<std::string> dropped;           ///< held files that are gone and stay so
    std::map<std::string, Digest> uncommitted;  ///< what files stand on that count as changed afterwards: deletions by
                                                ///< overtaken commits, and merges
};

/// The request that updates held files when the checkout moves from its base to `newest`, a head of the branch that it
/// is to follow.
MaterializationRequest request_to_follow(Checkout& checkout, const NewestHead& newest);

/// Throws Error(WouldOverwrite) "uncommitted changes would be overwritten: PATH" (and how many more).
MaterializationPlan plan_materialization(Checkout& checkout, const MaterializationRequest& request);

/// Carries the plan out and records it in the index, in one transaction with `finish`. Returns the changed paths,
/// sorted.
std::vector<std::string> materialize(Checkout& checkout, const MaterializationPlan& plan,
                                     const std::function<void()>& finish);

}  // namespace tome
