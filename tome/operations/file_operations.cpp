// tome_file_stage, tome_file_info, tome_file_state, tome_file_base_set, tome_file_update.
#include "tome/checkout/file_base.h"
#include "tome/checkout/file_state.h"
#include "tome/checkout/file_update.h"
#include "tome/checkout/staging.h"
#include "tome/object/revision_graph.h"
#include "tome/operations/operation.h"

namespace tome {
namespace {

void send_file(const Events& events, tome_event_kind_t kind, const std::string& path, const Digest& digest,
               std::uint64_t size, bool present) {
    tome_event_t event{};
    event.kind = kind;
    event.as.file = {view_of(path), to_hash(digest), size, present ? 1U : 0U};
    events.send(event);
}

void stage(const tome_globals_t& globals, const tome_file_stage_params_t& params, const Events& events) {
    Checkout checkout = open_checkout(globals, Checkout::Access::Change);
    StagingRequest request;
    request.paths = to_paths(params.paths);
    request.deletions = params.stage_deletions != 0;
    request.additions = params.stage_additions != 0;
    for (const StagedFile& file : stage_files(checkout, request)) {
        const TreeEntry entry = file.entry.value_or(TreeEntry{});
        send_file(events, TOME_EVENT_FILE_STAGED, file.path, entry.digest, entry.size, file.entry.has_value());
    }
    const Digest base = checkout.state().base();
    events.identity(TOME_EVENT_BASE_REVISION, base, order_of(checkout.sources(), base));
}

void report_info(const tome_globals_t& globals, const tome_file_info_params_t& params, const Events& events) {
    Checkout checkout = open_checkout(globals, Checkout::Access::Read);
    for (const std::string& text : to_paths(params.paths)) {
        const auto content = checkout.working_content(TreePath::parse(text));
        content ? send_file(events, TOME_EVENT_FILE_INFO, text, content->first, content->second.size, true)
                : send_file(events, TOME_EVENT_FILE_INFO, text, {}, 0, false);
    }
}

tome_file_version_t version_of(const std::optional<TreeEntry>& entry) {
    return entry ? tome_file_version_t{to_hash(entry->digest), entry->size, 1U, entry->executable ? 1U : 0U}
                 : tome_file_version_t{};
}

void report_state(const tome_globals_t& globals, const tome_file_state_params_t& params, const Events& events) {
    Checkout checkout = open_checkout(globals, Checkout::Access::Read);
    const std::vector<std::string> skip = to_texts(params.skip_paths);  // Also what no tree could have.
    const FileStates states = file_states(checkout, {to_paths(params.paths), {skip.begin(), skip.end()}});
    for (const FileState& file : states.files) {
        tome_event_t event{};
        event.kind = TOME_EVENT_FILE_STATE;
        event.as.file_state = {view_of(file.path), version_of(file.base), version_of(file.here), version_of(file.there),
                               file.is_other_kind ? 1U : 0U};
        events.send(event);
    }
    events.identity(TOME_EVENT_SYNCED, states.head, order_of(checkout.sources(), states.head));
}

void set_base(const tome_globals_t& globals, const tome_file_base_set_params_t& params) {
    Checkout checkout = open_checkout(globals, Checkout::Access::Change);
    const Digest revision = to_digest(params.revision);
    if (revision.is_zero()) {
        return find_file_bases(checkout, to_paths(params.paths), params.versions);
    }
    set_file_bases(checkout, {revision, to_paths(params.paths), params.is_base != 0});
}

void update(const tome_globals_t& globals, const tome_file_update_params_t& params, const Events& events) {
    Checkout checkout = open_checkout(globals, Checkout::Access::Change);
    const UpdatedFiles updated = update_files(
        checkout, {to_digest(params.revision), to_paths(params.paths), params.is_base != 0, params.check_only != 0});
    events.paths(TOME_EVENT_MERGE_CONFLICT, updated.conflicts);
    events.paths(TOME_EVENT_SYNCED_PATH, updated.changed);
    events.paths(TOME_EVENT_MERGED_PATH, updated.merged);
    if (updated.conflicts.empty() && params.check_only == 0) {
        events.identity(TOME_EVENT_SYNCED, updated.revision, order_of(checkout.sources(), updated.revision));
    }
}

}  // namespace
}  // namespace tome

extern "C" {

int32_t tome_file_stage(const tome_globals_t* globals, const tome_file_stage_params_t* params, uint64_t user,
                        tome_callback_t callback) {
    return tome::run_operation(globals, params, user, callback,
                               [&](const tome::Events& events) { tome::stage(*globals, *params, events); });
}

int32_t tome_file_info(const tome_globals_t* globals, const tome_file_info_params_t* params, uint64_t user,
                       tome_callback_t callback) {
    return tome::run_operation(globals, params, user, callback,
                               [&](const tome::Events& events) { tome::report_info(*globals, *params, events); });
}

int32_t tome_file_state(const tome_globals_t* globals, const tome_file_state_params_t* params, uint64_t user,
                        tome_callback_t callback) {
    return tome::run_operation(globals, params, user, callback,
                               [&](const tome::Events& events) { tome::report_state(*globals, *params, events); });
}

int32_t tome_file_base_set(const tome_globals_t* globals, const tome_file_base_set_params_t* params, uint64_t user,
                           tome_callback_t callback) {
    return tome::run_operation(globals, params, user, callback,
                               [&](const tome::Events&) { tome::set_base(*globals, *params); });
}

int32_t tome_file_update(const tome_globals_t* globals, const tome_file_update_params_t* params, uint64_t user,
                         tome_callback_t callback) {
    return tome::run_operation(globals, params, user, callback,
                               [&](const tome::Events& events) { tome::update(*globals, *params, events); });
}

}  // extern "C"
