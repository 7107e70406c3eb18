// tome_revision_*: commit, sync, history, info, diff, restore.
#include "tome/checkout/branch_state.h"
#include "tome/checkout/checkout_sync.h"
#include "tome/checkout/commit.h"
#include "tome/checkout/restore.h"
#include "tome/object/revision_graph.h"
#include "tome/operations/operation.h"

namespace tome {
namespace {

void commit(const tome_globals_t& globals, const tome_revision_commit_params_t& params, const Events& events) {
    Checkout checkout = open_checkout(globals, Checkout::Access::Change);
    const NamedRevision committed = commit_staged(checkout, to_text(params.message));
    events.identity(TOME_EVENT_COMMITTED, committed.digest, committed.revision.order);
}

void sync(const tome_globals_t& globals, const tome_revision_sync_params_t& params, const Events& events) {
    Checkout checkout = open_checkout(globals, Checkout::Access::Change);
    SyncRequest request;
    request.revision = to_digest(params.revision);
    request.fetch_newest = params.fetch_newest != 0;
    request.paths = to_paths(params.paths);
    request.overwrite = params.overwrite != 0;
    request.scratch = params.scratch != 0;
    const SyncedFiles synced = sync_checkout(checkout, request);
    events.paths(TOME_EVENT_SYNCED_PATH, synced.changed);
    events.identity(TOME_EVENT_SYNCED, synced.revision, order_of(checkout.sources(), synced.revision));
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
    const RestoredRevision restored = restore_revision(checkout, to_digest(params.revision), to_text(params.message));
    for (const FileDifference& difference : restored.differences) {
        events.path(TOME_EVENT_RESTORED_PATH, difference.path);
    }
    events.identity(TOME_EVENT_RESTORED, restored.revision.digest, restored.revision.revision.order);
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
