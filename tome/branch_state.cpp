#include "tome/branch_state.h"

#include <algorithm>
#include <set>

#include "tome/clock.h"
#include "tome/error.h"
#include "tome/metadata_map.h"
#include "tome/revision_graph.h"

namespace tome {
namespace {

using Wanted = std::vector<std::pair<ObjectKind, Digest>>;

// Objects below a revision that the remote lacks, each after what it refers to. What the remote has is whole there, so
// it is not entered.
class MissingObjects {
  public:
    MissingObjects(ObjectSource& local, ObjectSource& remote) : local_(local), remote_(remote) {}

    void add_history(const Digest& head) {
        const auto is_published = [&](const Digest& revision) {
            return remote_.contains(ObjectKind::Revision, revision);
        };
        for (const Digest& revision : unknown_revisions(local_, head, is_published)) {
            add(ObjectKind::Tree, read_revision(local_, revision).tree);
            wanted_.emplace_back(ObjectKind::Revision, revision);
        }
    }
    const Wanted& wanted() const { return wanted_; }

  private:
    void add(ObjectKind kind, const Digest& digest) {
        if (!seen_.emplace(kind, digest).second || (remote_.contains(kind, digest) && !can_make_good(kind, digest))) {
            return;
        }
        if (kind == ObjectKind::Tree) {
            for (const TreeEntry& entry : read_tree(local_, digest)) {
                add(entry.is_folder() ? ObjectKind::Tree : ObjectKind::Content, entry.digest);
            }
        }
        wanted_.emplace_back(kind, digest);
    }

    // Whether the remote has lost a content that is whole here. What nobody has holds up no push of other files.
    bool can_make_good(ObjectKind kind, const Digest& digest) {
        if (kind != ObjectKind::Content || !remote_.has_lost(digest)) {
            return false;
        }
        try {
            return local_.find_content(digest).has_value();
        } catch (const Error& error) {
            if (error.code() != ErrorCode::Corrupt) {
                throw;
            }
            return false;
        }
    }

    ObjectSource& local_;
    ObjectSource& remote_;
    std::set<std::pair<ObjectKind, Digest>> seen_;
    Wanted wanted_;
};

BranchRecord new_record(const BranchName& branch) {
    BranchRecord record;
    record.name = branch.text();
    record.created_at = current_time();
    return record;
}

// The head that the remote is to have: the local one, unless the remote already goes beyond it.
Digest head_to_publish(Checkout& checkout, const BranchRecord& record, const Digest& local) {
    if (is_ancestor(checkout.sources(), record.head, local)) {
        return local;
    }
    if (is_ancestor(checkout.sources(), local, record.head)) {
        return record.head;
    }
    throw Error(ErrorCode::Moved, "branch has moved on the remote: " + record.name);
}

}  // namespace

std::optional<Digest> known_head(Checkout& checkout, const BranchName& branch) {
    if (const auto local = checkout.index().local_head(branch)) {
        return local;
    }
    return checkout.index().branch() == branch ? std::optional(checkout.index().base()) : std::nullopt;
}

NewestHead newest_head(Checkout& checkout, const BranchName& branch) {
    const std::optional<Digest> local = checkout.index().local_head(branch);
    if (checkout.is_offline()) {
        const std::optional<Digest> known = known_head(checkout, branch);
        if (!known) {
            throw Error(ErrorCode::NotFound, "branch does not exist: " + branch.text());
        }
        return {*known, *known};
    }
    const std::optional<BranchRecord> record = checkout.remote().find_branch(branch);
    if (!record && !local) {
        throw Error(ErrorCode::NotFound, "branch does not exist: " + branch.text());
    }
    if (!local || !record) {
        const Digest head = record ? record->head : *local;
        return {head, head};
    }
    if (is_ancestor(checkout.sources(), *local, record->head)) {
        return {record->head, *local};
    }
    if (is_ancestor(checkout.sources(), record->head, *local)) {
        return {*local, *local};
    }
    const std::vector<Digest> bases = merge_bases(checkout.sources(), {*local}, record->head);
    return {record->head, bases.empty() ? Digest{} : bases.front(), true};
}

Digest publish_branch(Checkout& checkout, const BranchName& branch, bool with_metadata) {
    const std::optional<Digest> local = known_head(checkout, branch);
    const std::map<std::string, std::string> noted =
        with_metadata ? checkout.index().noted_metadata(branch) : std::map<std::string, std::string>();
    for (;;) {
        const std::optional<BranchRecord> found = checkout.remote().find_branch(branch);
        if (!found && !local) {
            throw Error(ErrorCode::NotFound, "branch does not exist: " + branch.text());
        }
        BranchRecord record = found ? *found : new_record(branch);
        const BranchRecord before = record;
        record.head = local ? head_to_publish(checkout, record, *local) : record.head;

        // Content, objects and metadata are durable before the branch moves.
        MissingObjects missing(checkout.sources(), *checkout.remote().objects());
        missing.add_history(record.head);
        ObjectList nodes;
        record.metadata = set_metadata(checkout.sources(), record.metadata, noted, nodes);
        if (!missing.wanted().empty() || !nodes.objects().empty()) {
            checkout.remote().add_objects(checkout.sources(), missing.wanted(), nodes.objects());
        }
        const bool changed = !found || record.head != before.head || record.metadata != before.metadata;
        record.updated_at = changed ? current_time() : record.updated_at;
        if (!changed || checkout.remote().compare_and_set(record)) {
            Transaction transaction(checkout.index().database());
            checkout.index().drop_local_head(branch);
            checkout.index().drop_noted_metadata(branch, noted);
            transaction.commit();
            return record.head;
        }
    }
}

void advance_branch(Checkout& checkout, const Digest& head) {
    const BranchName branch = checkout.index().branch();
    checkout.index().set_base(branch, head);
    checkout.index().set_local_head(branch, head);
}

}  // namespace tome
