// tome_branch_*: create, switch, list, metadata, push, archive, diff, merge.
#include "tome/base/clock.h"
#include "tome/checkout/branch_state.h"
#include "tome/checkout/materialization.h"
#include "tome/merge/revision_merge.h"
#include "tome/object/metadata_map.h"
#include "tome/object/revision_graph.h"
#include "tome/operations/operation.h"

namespace tome {
namespace {

void create_branch(const tome_globals_t& globals, const tome_branch_create_params_t& params, const Events& events) {
    Checkout checkout = open_checkout(globals, Checkout::Access::Read);
    const BranchName name = BranchName::parse(to_text(params.name));
    const BranchName from = BranchName::parse(to_text(params.from));
    const std::optional<BranchRecord> parent = branch_to_write(checkout, from);  // Not to begin at an older head.
    if (!parent) {
        throw Error(ErrorCode::NotFound, "branch does not exist: " + from.text());
    }
    BranchRecord record;
    record.name = name.text();
    record.kind = to_text(params.kind);
    record.author = to_text(params.author);
    record.head = parent->head;
    record.metadata = parent->metadata;
    record.created_at = record.updated_at = current_time();
    const std::uint64_t order = order_of(checkout.sources(), record.head);
    if (branch_to_write(checkout, name) || !checkout.remote().compare_and_set(record)) {
        throw Error(ErrorCode::AlreadyExists, "branch already exists: " + name.text());
    }
    events.identity(TOME_EVENT_BRANCH_HEAD, record.head, order);
}

void switch_branch(const tome_globals_t& globals, const tome_branch_switch_params_t& params, const Events& events) {
    Checkout checkout = open_checkout(globals, Checkout::Access::Change);
    const BranchName name = BranchName::parse(to_text(params.name));
    NewestHead newest;
    if (const auto known = params.fetch_newest == 0 ? known_head(checkout, name) : std::nullopt) {
        newest = {*known, *known};
    } else {
        newest = newest_head(checkout, name);
    }
    if (newest.overtaken && checkout.state().branch() != name) {
        // Its commits would be in no branch and, unlike on the branch that is checked out, in no working file.
        throw Error(ErrorCode::Moved, "branch has moved on the remote: " + name.text());
    }
    const Digest base = checkout.tree_of(checkout.state().base());
    MaterializationRequest request;
    request.old_tree = newest.overtaken ? checkout.tree_of(newest.common_base) : base;
    request.overtaken_tree = newest.overtaken ? base : Digest{};
    request.new_tree = request.target = checkout.tree_of(newest.head);
    const MaterializationPlan plan = plan_materialization(checkout, request);
    const std::vector<std::string> changed = materialize(checkout, plan, [&] {
        checkout.state().set_base(name, newest.head);
        if (newest.overtaken) {
            checkout.state().drop_local_head(name);
        }
    });
    events.paths(TOME_EVENT_SYNCED_PATH, changed);
    events.identity(TOME_EVENT_BRANCH_HEAD, newest.head, order_of(checkout.sources(), newest.head));
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

void note_metadata(const tome_globals_t& globals, const tome_branch_metadata_set_params_t& params) {
    Checkout checkout = open_checkout(globals, Checkout::Access::Change);
    const BranchName branch = BranchName::parse(to_text(params.branch));
    const std::vector<std::string> keys = to_texts(params.keys);
    const std::vector<std::string> values = to_texts(params.values);
    if (keys.size() != values.size()) {
        throw Error(ErrorCode::Invalid, "metadata of " + branch.text() + " with more keys than values, or fewer");
    }
    Transaction transaction(checkout.state().database());
    for (std::size_t i = 0; i < keys.size(); ++i) {
        if (keys[i].empty()) {
            throw Error(ErrorCode::Invalid, "empty metadata key for branch " + branch.text());
        }
        checkout.state().note_metadata(branch, keys[i], values[i]);
    }
    transaction.commit();
}

void report_metadata(const tome_globals_t& globals, const tome_branch_metadata_get_params_t& params,
                     const Events& events) {
    Checkout checkout = open_checkout(globals, Checkout::Access::Read);
    const BranchName branch = BranchName::parse(to_text(params.branch));
    const std::vector<std::string> keys = to_texts(params.keys);
    const std::optional<BranchRecord> record = checkout.remote().find_branch(branch);
    std::map<std::string, std::string> values;
    if (record) {
        values = keys.empty() ? list_metadata(checkout.sources(), record->metadata)
                              : get_metadata(checkout.sources(), record->metadata, keys);
    } else if (!checkout.state().local_head(branch)) {
        throw Error(ErrorCode::NotFound, "branch does not exist: " + branch.text());
    }
    for (const auto& [key, value] : checkout.state().noted_metadata(branch)) {
        if (keys.empty() || std::find(keys.begin(), keys.end(), key) != keys.end()) {
            values.insert_or_assign(key, value);
        }
    }
    for (const auto& [key, value] : values) {
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

void archive_branch(const tome_globals_t& globals, const tome_branch_archive_params_t& params) {
    Checkout checkout = open_checkout(globals, Checkout::Access::Read);
    const BranchName name = BranchName::parse(to_text(params.name));
    for (;;) {
        std::optional<BranchRecord> record = branch_to_write(checkout, name);
        if (!record) {
            throw Error(ErrorCode::NotFound, "branch does not exist: " + name.text());
        }
        record->archived = true;
        record->updated_at = current_time();
        if (checkout.remote().compare_and_set(*record)) {
            return;
        }
    }
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

Revision merge_revision(Checkout& checkout, const Digest& tree, const Digest& ours, const Digest& theirs,
                        const std::string& message) {
    Revision revision;
    revision.tree = tree;
    revision.first_parent = ours;
    revision.second_parent = theirs;
    revision.order = 1 + std::max(order_of(checkout.sources(), ours), order_of(checkout.sources(), theirs));
    revision.created_at = current_time();
    revision.message = message;
    return revision;
}

// Merges `theirs` and makes the result the base; the files that the checkout holds follow.
void merge_heads(Checkout& checkout, const NewestHead& target, const Digest& theirs, const std::string& message,
                 const Events& events) {
    ObjectSources& sources = checkout.sources();
    const Digest& ours = target.head;
    const Digest our_tree = checkout.tree_of(ours);
    const RevisionMerge merge = merge_revisions(sources, checkout.store(), ours, theirs);
    if (!merge.conflicts.empty()) {
        events.paths(TOME_EVENT_MERGE_CONFLICT, merge.conflicts);
        return;
    }
    const Digest& tree = merge.tree;
    const Revision revision = merge_revision(checkout, tree, ours, theirs, message);
    const Digest head = checkout.store().add_object(ObjectKind::Revision, encode_revision(revision));

    const Digest old_base = checkout.tree_of(checkout.state().base());
    MaterializationRequest request;
    request.old_tree = target.overtaken ? checkout.tree_of(target.common_base) : old_base;
    request.overtaken_tree = target.overtaken ? old_base : Digest{};
    request.new_tree = request.target = tree;
    const MaterializationPlan plan = plan_materialization(checkout, request);
    materialize(checkout, plan, [&] { advance_branch(checkout, head); });
    for (const PathChange& change : find_changes(diff_trees(sources, our_tree, tree))) {
        events.change(TOME_EVENT_MERGE_CHANGE, change);
    }
    events.identity(TOME_EVENT_BASE_REVISION, head, revision.order);
}

void merge_branch(const tome_globals_t& globals, const tome_branch_merge_into_params_t& params, const Events& events) {
    Checkout checkout = open_checkout(globals, Checkout::Access::Change);
    const BranchName target = checkout.state().branch();
    const NewestHead newest = newest_head(checkout, target);
    const Digest& ours = newest.head;
    const Digest theirs = newest_head(checkout, BranchName::parse(to_text(params.source))).head;
    if (is_ancestor(checkout.sources(), theirs, ours)) {
        events.identity(TOME_EVENT_BASE_REVISION, ours, order_of(checkout.sources(), ours));
        return;
    }
    if (ours.is_zero()) {
        throw Error(ErrorCode::Invalid, "branch has no revision to merge into: " + target.text());
    }
    merge_heads(checkout, newest, theirs, to_text(params.message), events);
    if (!checkout.has_remote()) {
        publish_branch(checkout, target, false);
    }
}

}  // namespace
}  // namespace tome

extern "C" {

int32_t tome_branch_create(const tome_globals_t* globals, const tome_branch_create_params_t* params, uint64_t user,
                           tome_callback_t callback) {
    return tome::run_operation(globals, params, user, callback,
                               [&](const tome::Events& events) { tome::create_branch(*globals, *params, events); });
}

int32_t tome_branch_switch(const tome_globals_t* globals, const tome_branch_switch_params_t* params, uint64_t user,
                           tome_callback_t callback) {
    return tome::run_operation(globals, params, user, callback,
                               [&](const tome::Events& events) { tome::switch_branch(*globals, *params, events); });
}

int32_t tome_branch_list(const tome_globals_t* globals, const tome_branch_list_params_t* params, uint64_t user,
                         tome_callback_t callback) {
    return tome::run_operation(globals, params, user, callback,
                               [&](const tome::Events& events) { tome::list_all_branches(*globals, events); });
}

int32_t tome_branch_metadata_set(const tome_globals_t* globals, const tome_branch_metadata_set_params_t* params,
                                 uint64_t user, tome_callback_t callback) {
    return tome::run_operation(globals, params, user, callback,
                               [&](const tome::Events&) { tome::note_metadata(*globals, *params); });
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
                               [&](const tome::Events&) { tome::archive_branch(*globals, *params); });
}

int32_t tome_branch_diff(const tome_globals_t* globals, const tome_branch_diff_params_t* params, uint64_t user,
                         tome_callback_t callback) {
    return tome::run_operation(globals, params, user, callback,
                               [&](const tome::Events& events) { tome::diff_branches(*globals, *params, events); });
}

int32_t tome_branch_merge_into(const tome_globals_t* globals, const tome_branch_merge_into_params_t* params,
                               uint64_t user, tome_callback_t callback) {
    return tome::run_operation(globals, params, user, callback,
                               [&](const tome::Events& events) { tome::merge_branch(*globals, *params, events); });
}

}  // extern "C"
