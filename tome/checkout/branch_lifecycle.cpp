#include "tome/checkout/branch_lifecycle.h"

#include "tome/base/clock.h"
#include "tome/base/error.h"
#include "tome/checkout/branch_state.h"
#include "tome/object/revision_graph.h"

namespace tome {
namespace {

BranchRecord existing_branch(Checkout& checkout, const BranchName& name) {
    const std::optional<BranchRecord> record = branch_to_write(checkout, name);
    if (!record) {
        throw missing_branch(name);
    }
    return *record;
}

}  // namespace

CreatedBranch create_branch(Checkout& checkout, const NewBranch& branch) {
    const BranchRecord parent = existing_branch(checkout, branch.from);  // Not to begin at an older head.
    BranchRecord record;
    record.name = branch.name.text();
    record.kind = branch.kind;
    record.author = branch.author;
    record.head = parent.head;
    record.metadata = parent.metadata;
    record.created_at = record.updated_at = current_time();
    // A branch must not begin at a head that cannot be gone on from, so it is read first.
    const CreatedBranch created{record.head, order_of(checkout.sources(), record.head)};
    if (branch_to_write(checkout, branch.name) || !checkout.remote().compare_and_set(record)) {
        throw Error(ErrorCode::AlreadyExists, "branch already exists: " + branch.name.text());
    }
    return created;
}

void archive_branch(Checkout& checkout, const BranchName& name) {
    for (;;) {
        BranchRecord record = existing_branch(checkout, name);
        record.archived = true;
        record.updated_at = current_time();
        if (checkout.remote().compare_and_set(record)) {
            return;
        }
    }
}

}  // namespace tome
