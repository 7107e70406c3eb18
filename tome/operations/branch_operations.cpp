// tome_branch_*: create, switch, list, metadata, push, archive, diff, merge.
#include "tome/base/error.h"
#include "tome/checkout/branch_lifecycle.h"
#include "tome/checkout/branch_merge.h"
#include "tome/checkout/branch_metadata.h"
#include "tome/checkout/branch_state.h"
#include "tome/checkout/branch_switch.h"
#include "tome/object/revision_graph.h"
#include "tome/operations/operation.h"

namespace tome {
namespace {

void create(const tome_globals_t& globals, const tome_branch_create_params_t& params, const Events& events) {
    Checkout checkout = open_checkout(globals, Checkout::Access::Read);
    const NewBranch branch{BranchName::parse(to_text(params.name)), BranchName::parse(to_text(params.from)),
                           to_text(params.kind), to_text(params.author)};
    const CreatedBranch created = create_branch(checkout, branch);
    events.identity(TOME_EVENT_BRANCH_HEAD, created.head, created.order);
}

void switch_to(const tome_globals_t& globals, const tome_branch_switch_params_t& params, const Events& events) {
    Checkout checkout = open_checkout(globals, Checkout::Access::Change);
    const SwitchedBranch switched =
        switch_branch(checkout, BranchName::parse(to_text(params.name)), params.fetch_newest != 0);
    events.paths(TOME_EVENT_SYNCED_PATH, switched.changed);
    events.identity(TOME_EVENT_BRANCH_HEAD, switched.head, order_of(checkout.sources(), switched.head));
}

void list_all_branches(const tome_globals_t& globals, const Events& events) {
    Checkout checkout = open_checkout(globals, Checkout::Access::Read);
    for (const BranchRecord& record : checkout.remote().branches()) {
        tome_event_t event{};
        event.kind = TOME_EVENT_BRANCH;
        event.as.branch = {view_of(record.name), view_of(record.kind), view_of(record.author),
                           to_hash(record.head), record.updated_at,    record.archived ? 1U : 0U};
        events.send(event);
    }
}

void set_metadata_values(const tome_globals_t& globals, const tome_branch_metadata_set_params_t& params) {
    Checkout checkout = open_checkout(globals, Checkout::Access::Change);
    note_metadata(checkout, BranchName::parse(to_text(params.branch)), to_texts(params.keys), to_texts(params.values));
}

void report_metadata(const tome_globals_t& globals, const tome_branch_metadata_get_params_t& params,
                     const Events& events) {
    Checkout checkout = open_checkout(globals, Checkout::Access::Read);
    const BranchName branch = BranchName::parse(to_text(params.branch));
    for (const auto& [key, value] : branch_metadata(checkout, branch, to_texts(params.keys))) {
        tome_event_t event{};
        event.kind = TOME_EVENT_METADATA;
        event.as.metadata.key = view_of(key);
        event.as.metadata.type = TOME_VALUE_TEXT;
        event.as.metadata.text = view_of(value);
        events.send(event);
    }
}

void push_branch(const tome_globals_t& globals, const tome_branch_push_params_t& params, const Events& events) {
    Checkout checkout = open_checkout(globals, Checkout::Access::Change);
    if (globals.use_remote != 0 && !checkout.has_remote()) {  // Its own store would take the branch, and nobody see it.
        throw Error(ErrorCode::NotFound, "the checkout has no remote: " + checkout_directory(globals).string());
    }
    const BranchName name = BranchName::parse(to_text(params.name));
    const Digest head = publish_branch(checkout, name, params.with_metadata != 0);
    events.identity(TOME_EVENT_BRANCH_HEAD, head, order_of(checkout.sources(), head));
}

void archive(const tome_globals_t& globals, const tome_branch_archive_params_t& params) {
    Checkout checkout = open_checkout(globals, Checkout::Access::Read);
    archive_branch(checkout, BranchName::parse(to_text(params.name)));
}

void diff_branches(const tome_globals_t& globals, const tome_branch_diff_params_t& params, const Events& events) {
    Checkout checkout = open_checkout(globals, Checkout::Access::Read);
    const auto tree = [&](const tome_string_t& name) {
        return checkout.tree_of(newest_head(checkout, BranchName::parse(to_text(name))).head);
    };
    const Digest from = tree(params.from);
    for (const PathChange& change : find_changes(diff_trees(checkout.sources(), from, tree(params.to)))) {
        events.change(TOME_EVENT_BRANCH_DIFF, change);
    }
}

void merge(const tome_globals_t& globals, const tome_branch_merge_into_params_t& params, const Events& events) {
    Checkout checkout = open_checkout(globals, Checkout::Access::Change);
    const BranchMerge merged =
        merge_branch(checkout, BranchName::parse(to_text(params.source)), to_text(params.message));
    if (!merged.conflicts.empty()) {
        events.paths(TOME_EVENT_MERGE_CONFLICT, merged.conflicts);
        return;
    }
    for (const PathChange& change : merged.changes) {
        events.change(TOME_EVENT_MERGE_CHANGE, change);
    }
    events.identity(TOME_EVENT_BASE_REVISION, merged.head, merged.order);
}

}  // namespace
}  // namespace tome

extern "C" {

int32_t tome_branch_create(const tome_globals_t* globals, const tome_branch_create_params_t* params, uint64_t user,
                           tome_callback_t callback) {
    return tome::run_operation(globals, params, user, callback,
                               [&](const tome::Events& events) { tome::create(*globals, *params, events); });
}

int32_t tome_branch_switch(const tome_globals_t* globals, const tome_branch_switch_params_t* params, uint64_t user,
                           tome_callback_t callback) {
    return tome::run_operation(globals, params, user, callback,
                               [&](const tome::Events& events) { tome::switch_to(*globals, *params, events); });
}

int32_t tome_branch_list(const tome_globals_t* globals, const tome_branch_list_params_t* params, uint64_t user,
                         tome_callback_t callback) {
    return tome::run_operation(globals, params, user, callback,
                               [&](const tome::Events& events) { tome::list_all_branches(*globals, events); });
}

int32_t tome_branch_metadata_set(const tome_globals_t* globals, const tome_branch_metadata_set_params_t* params,
                                 uint64_t user, tome_callback_t callback) {
    return tome::run_operation(globals, params, user, callback,
                               [&](const tome::Events&) { tome::set_metadata_values(*globals, *params); });
}

int32_t tome_branch_metadata_get(const tome_globals_t* globals, const tome_branch_metadata_get_params_t* params,
                                 uint64_t user, tome_callback_t callback) {
    return tome::run_operation(globals, params, user, callback,
                               [&](const tome::Events& events) { tome::report_metadata(*globals, *params, events); });
}

int32_t tome_branch_push(const tome_globals_t* globals, const tome_branch_push_params_t* params, uint64_t user,
                         tome_callback_t callback) {
    return tome::run_operation(globals, params, user, callback,
                               [&](const tome::Events& events) { tome::push_branch(*globals, *params, events); });
}

int32_t tome_branch_archive(const tome_globals_t* globals, const tome_branch_archive_params_t* params, uint64_t user,
                            tome_callback_t callback) {
    return tome::run_operation(globals, params, user, callback,
                               [&](const tome::Events&) { tome::archive(*globals, *params); });
}

int32_t tome_branch_diff(const tome_globals_t* globals, const tome_branch_diff_params_t* params, uint64_t user,
                         tome_callback_t callback) {
    return tome::run_operation(globals, params, user, callback,
                               [&](const tome::Events& events) { tome::diff_branches(*globals, *params, events); });
}

int32_t tome_branch_merge_into(const tome_globals_t* globals, const tome_branch_merge_into_params_t* params,
                               uint64_t user, tome_callback_t callback) {
    return tome::run_operation(globals, params, user, callback,
                               [&](const tome::Events& events) { tome::merge(*globals, *params, events); });
}

}  // extern "C"
