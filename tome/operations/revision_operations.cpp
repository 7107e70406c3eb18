// tome_revision_*: commit, sync, history, info, diff, restore.
#include "tome/base/clock.h"
#include "tome/checkout/branch_state.h"
#include "tome/checkout/materialization.h"
#include "tome/object/revision_graph.h"
#include "tome/operations/operation.h"

namespace tome {
namespace {

// Writes a revision with `tree` on top of the base and makes it the base: objects first, then, in one transaction on
// the index, the branch.
Revision add_revision(Checkout& checkout, const std::vector<NewObject>& trees, const Digest& tree,
                      const std::string& message, Digest& head) {
    const Digest base = checkout.state().base();
    Revision revision;
    revision.tree = tree;
    revision.first_parent = base;
    revision.order = order_of(checkout.sources(), base) + 1;
    revision.created_at = current_time();
    revision.message = message;
    Transaction stored(checkout.store().database());
    for (const NewObject& object : trees) {
        checkout.store().add_object(object.kind, object.bytes);
    }
    head = checkout.store().add_object(ObjectKind::Revision, encode_revision(revision));
    stored.commit();

    Transaction moved(checkout.state().database());
    advance_branch(checkout, head);
    checkout.state().unstage_all();
    moved.commit();
    if (!checkout.has_remote()) {
        publish_branch(checkout, checkout.state().branch(), false);
    }
    return revision;
}

void commit(const tome_globals_t& globals, const tome_revision_commit_params_t& params, const Events& events) {
    Checkout checkout = open_checkout(globals, Checkout::Access::Change);
    const TreeChanges staged = checkout.state().staged_changes();
    const Digest before = checkout.tree_of(checkout.state().base());
    ObjectList trees;
    const Digest tree =
        staged.empty() ? before : apply_changes(checkout.sources(), before, staged, trees, NewNames::Distinct);
    if (staged.empty() || tree == before) {
        throw Error(ErrorCode::NothingStaged, "Nothing staged for commit");
    }
    Digest head;
    const Revision revision = add_revision(checkout, trees.objects(), tree, to_text(params.message), head);
    events.identity(TOME_EVENT_COMMITTED, head, revision.order);
}

// Where a sync starts from and goes to.
struct SyncHeads {
    Digest old_base;
    Digest new_base;
    Digest target;
    bool overtaken = false;
};

SyncHeads sync_heads(Checkout& checkout, const tome_revision_sync_params_t& params) {
    SyncHeads heads;
    heads.old_base = heads.new_base = checkout.state().base();
    const Digest revision = to_digest(params.revision);
    if (revision.is_zero() && params.fetch_newest != 0) {
        const BranchName branch = checkout.state().branch();
        const NewestHead newest = newest_head(checkout, branch);
        heads.new_base = newest.head;
        heads.overtaken = newest.overtaken;
        heads.old_base = heads.overtaken ? newest.common_base : heads.old_base;
    }
    heads.target = revision.is_zero() ? heads.new_base : revision;
    return heads;
}

void sync(const tome_globals_t& globals, const tome_revision_sync_params_t& params, const Events& events) {
    Checkout checkout = open_checkout(globals, Checkout::Access::Change);
    const SyncHeads heads = sync_heads(checkout, params);
    MaterializationRequest request;
    request.old_tree = checkout.tree_of(heads.old_base);
    request.new_tree = checkout.tree_of(heads.new_base);
    request.target = checkout.tree_of(heads.target);
    request.overtaken_tree = heads.overtaken ? checkout.tree_of(checkout.state().base()) : Digest{};
    request.paths = to_paths(params.paths);
    request.whole_tree = request.paths.empty();
    request.overwrite = params.overwrite != 0;
    request.scratch = params.scratch != 0;
    const MaterializationPlan plan = plan_materialization(checkout, request);
    const std::vector<std::string> changed = materialize(checkout, plan, [&] {
        const BranchName branch = checkout.state().branch();
        checkout.state().set_base(branch, heads.new_base);
        if (heads.overtaken) {
            checkout.state().drop_local_head(branch);
        }
    });
    events.paths(TOME_EVENT_SYNCED_PATH, changed);
    events.identity(TOME_EVENT_SYNCED, heads.target, order_of(checkout.sources(), heads.target));
}

void report_history(const tome_globals_t& globals, const tome_revision_history_params_t& params, const Events& events) {
    Checkout checkout = open_checkout(globals, Checkout::Access::Read);
    const Digest head = newest_head(checkout, BranchName::parse(to_text(params.branch))).head;
    std::uint64_t count = 0;
    visit_history(checkout.sources(), head, [&](const NamedRevision& named) {
        tome_event_t event{};
        event.kind = TOME_EVENT_REVISION;
        event.as.revision = {to_hash(named.digest),
                             to_hash(named.revision.first_parent),
                             to_hash(named.revision.second_parent),
                             named.revision.order,
                             named.revision.created_at,
                             view_of(named.revision.message)};
        events.send(event);
        return ++count != params.limit;
    });
}

void report_revision(const tome_globals_t& globals, const tome_revision_info_params_t& params, const Events& events) {
    Checkout checkout = open_checkout(globals, Checkout::Access::Read);
    const Digest digest = to_digest(params.revision);
    const Revision revision = read_revision(checkout.sources(), digest);
    events.identity(TOME_EVENT_REVISION_INFO, digest, revision.order);
    const Digest before = checkout.tree_of(revision.first_parent);
    for (const FileDifference& difference : diff_trees(checkout.sources(), before, revision.tree)) {
        events.path(TOME_EVENT_REVISION_FILE, difference.path);
    }
}

void diff_revisions(const tome_globals_t& globals, const tome_revision_diff_params_t& params, const Events& events) {
    Checkout checkout = open_checkout(globals, Checkout::Access::Read);
    const Digest from = checkout.tree_of(to_digest(params.from));
    const Digest to = checkout.tree_of(to_digest(params.to));
    for (const PathChange& change : find_changes(diff_trees(checkout.sources(), from, to))) {
        events.change(TOME_EVENT_REVISION_DIFF, change);
        events.path(TOME_EVENT_REVISION_PATH, change.path);
        if (change.kind == PathChange::Kind::Move) {
            events.path(TOME_EVENT_REVISION_PATH, change.previous_path);
        }
    }
}

void restore(const tome_globals_t& globals, const tome_revision_restore_params_t& params, const Events& events) {
    Checkout checkout = open_checkout(globals, Checkout::Access::Change);
    const Digest target = to_digest(params.revision);
    const Digest base = checkout.state().base();
    if (target.is_zero() || !is_ancestor(checkout.sources(), target, base)) {
        throw Error(ErrorCode::NotFound, "revision is not in the history of branch " +
                                             checkout.state().branch().text() + ": " + to_hex(target));
    }
    const Digest before = checkout.tree_of(base);
    const Digest tree = checkout.tree_of(target);
    const std::vector<FileDifference> differences = diff_trees(checkout.sources(), before, tree);
    Digest head;
    const Revision revision = add_revision(checkout, {}, tree, to_text(params.message), head);
    for (const FileDifference& difference : differences) {
        events.path(TOME_EVENT_RESTORED_PATH, difference.path);
    }
    events.identity(TOME_EVENT_RESTORED, head, revision.order);
}

}  // namespace
}  // namespace tome

extern "C" {

int32_t tome_revision_commit(const tome_globals_t* globals, const tome_revision_commit_params_t* params, uint64_t user,
                             tome_callback_t callback) {
    return tome::run_operation(globals, params, user, callback,
                               [&](const tome::Events& events) { tome::commit(*globals, *params, events); });
}

int32_t tome_revision_sync(const tome_globals_t* globals, const tome_revision_sync_params_t* params, uint64_t user,
                           tome_callback_t callback) {
    return tome::run_operation(globals, params, user, callback,
                               [&](const tome::Events& events) { tome::sync(*globals, *params, events); });
}

int32_t tome_revision_history(const tome_globals_t* globals, const tome_revision_history_params_t* params,
                              uint64_t user, tome_callback_t callback) {
    return tome::run_operation(globals, params, user, callback,
                               [&](const tome::Events& events) { tome::report_history(*globals, *params, events); });
}

int32_t tome_revision_info(const tome_globals_t* globals, const tome_revision_info_params_t* params, uint64_t user,
                           tome_callback_t callback) {
    return tome::run_operation(globals, params, user, callback,
                               [&](const tome::Events& events) { tome::report_revision(*globals, *params, events); });
}

int32_t tome_revision_diff(const tome_globals_t* globals, const tome_revision_diff_params_t* params, uint64_t user,
                           tome_callback_t callback) {
    return tome::run_operation(globals, params, user, callback,
                               [&](const tome::Events& events) { tome::diff_revisions(*globals, *params, events); });
}

int32_t tome_revision_restore(const tome_globals_t* globals, const tome_revision_restore_params_t* params,
                              uint64_t user, tome_callback_t callback) {
    return tome::run_operation(globals, params, user, callback,
                               [&](const tome::Events& events) { tome::restore(*globals, *params, events); });
}

}  // extern "C"
