#include "tome/checkout/branch_state.h"

#include "tome/base/clock.h"
#include "tome/base/error.h"
#include "tome/object/metadata_map.h"
#include "tome/object/revision_graph.h"
#include "tome/remote/remote_copies.h"

namespace tome {
namespace {

BranchRecord new_record(const BranchName& branch) {
    BranchRecord record;
    record.name = branch.text();
    record.created_at = current_time();
    return record;
}

std::string state_text(const Digest& head, std::uint64_t order) {
    return head.is_zero() ? "without a revision"
                          : "at revision " + (order == 0 ? "" : std::to_string(order) + " ") + "(" +
                                to_hex(head).substr(0, 12) + ")";
}

[[noreturn]] void refuse_older_state(Checkout& checkout, const BranchName& branch,
                                     const std::optional<BranchRecord>& record, const RememberedBranch& remembered) {
    const std::string now = record ? state_text(record->head, known_order(checkout.sources(), record->head)) : "gone";
    throw Error(ErrorCode::Moved, "the remote went back: branch " + branch.text() + " was " +
                                      state_text(remembered.head, remembered.order) + " and is " + now +
                                      "; bring the remote back from a backup, or accept its state with "
                                      "accept_project_remote_state");
}

bool went_back(const std::optional<BranchRecord>& record, const RememberedBranch& remembered) {
    return !record || record->sequence < remembered.sequence ||
           (record->sequence == remembered.sequence && record->head != remembered.head);
}

// What is not here whole is not known.
bool is_known_ancestor(ObjectSource& source, const Digest& ancestor, const Digest& head) {
    try {
        return is_ancestor(source, ancestor, head);
    } catch (const Error& error) {
        if (error.code() != ErrorCode::NotFound && error.code() != ErrorCode::Corrupt) {
            throw;
        }
        return false;
    }
}

// False when something that the remote lacks is not here, or damaged.
bool send_history(Checkout& checkout, const Digest& head) {
    try {
        Remote& remote = checkout.remote();
        remote.add_objects(checkout.sources(), objects_to_push(checkout.sources(), *remote.objects(), head), {});
        return true;
    } catch (const Error& error) {
        if (error.code() != ErrorCode::NotFound && error.code() != ErrorCode::Corrupt) {
            throw;
        }
        return false;
    }
}

// Makes the branch's head on the remote the remembered one, or leaves one that goes beyond it, above the remembered
// sequence. The metadata is not remembered: that of the remote stays.
void bring_forward(Checkout& checkout, const BranchName& branch, const std::optional<BranchRecord>& found,
                   const RememberedBranch& remembered) {
    BranchRecord record = found ? *found : new_record(branch);
    if (!found) {
        record.kind = remembered.kind;
        record.author = remembered.author;
    }
    if (!is_known_ancestor(checkout.sources(), remembered.head, record.head)) {
        if (!is_known_ancestor(checkout.sources(), record.head, remembered.head) ||
            !send_history(checkout, remembered.head)) {
            refuse_older_state(checkout, branch, found, remembered);
        }
        record.head = remembered.head;
    }
    record.updated_at = current_time();
    checkout.remote().compare_and_set(record, remembered.sequence);  // Or another process did, or wrote something else.
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
    if (const auto local = checkout.state().local_head(branch)) {
        return local;
    }
    return checkout.state().branch() == branch ? std::optional(checkout.state().base()) : std::nullopt;
}

NewestHead newest_head(Checkout& checkout, const BranchName& branch) {
    const std::optional<Digest> local = checkout.state().local_head(branch);
    if (checkout.is_offline()) {
        const std::optional<Digest> known = known_head(checkout, branch);
        if (!known) {
            throw missing_branch(branch);
        }
        return {*known, *known};
    }
    const std::optional<BranchRecord> record = checkout.remote().find_branch(branch);
    if (!record && !local) {
        throw missing_branch(branch);
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

std::optional<BranchRecord> branch_to_write(Checkout& checkout, const BranchName& branch) {
    for (;;) {
        const std::optional<RememberedBranch> remembered = checkout.memory().find(branch);
        std::optional<BranchRecord> record = checkout.remote().find_branch(branch);
        if (!remembered || !went_back(record, *remembered)) {
            return record;
        }
        bring_forward(checkout, branch, record, *remembered);
    }
}

Digest publish_branch(Checkout& checkout, const BranchName& branch, bool with_metadata) {
    const std::optional<Digest> local = known_head(checkout, branch);
    const std::map<std::string, std::string> noted =
        with_metadata ? checkout.state().noted_metadata(branch) : std::map<std::string, std::string>();
    for (;;) {
        const std::optional<BranchRecord> found = branch_to_write(checkout, branch);
        if (!found && !local) {
            throw missing_branch(branch);
        }
        BranchRecord record = found ? *found : new_record(branch);
        const BranchRecord before = record;
        record.head = local ? head_to_publish(checkout, record, *local) : record.head;

        // Content, objects and metadata are durable before the branch moves.
        const ObjectNames wanted = objects_to_push(checkout.sources(), *checkout.remote().objects(), record.head);
        ObjectList nodes;
        record.metadata = set_metadata(checkout.sources(), record.metadata, noted, nodes);
        if (!wanted.empty() || !nodes.objects().empty()) {
            checkout.remote().add_objects(checkout.sources(), wanted, nodes.objects());
        }
        const bool changed = !found || record.head != before.head || record.metadata != before.metadata;
        record.updated_at = changed ? current_time() : record.updated_at;
        if (!changed || checkout.remote().compare_and_set(record)) {
            Transaction transaction(checkout.state().database());
            checkout.state().drop_local_head(branch);
            checkout.state().drop_noted_metadata(branch, noted);
            transaction.commit();
            return record.head;
        }
    }
}

void follow_branch(Checkout& checkout, const BranchName& branch, const NewestHead& newest) {
    checkout.state().set_base(branch, newest.head);
    if (newest.overtaken) {
        checkout.state().drop_local_head(branch);
    }
}

void advance_branch(Checkout& checkout, const Digest& head) {
    const BranchName branch = checkout.state().branch();
    checkout.state().set_base(branch, head);
    checkout.state().set_local_head(branch, head);
}

}  // namespace tome
