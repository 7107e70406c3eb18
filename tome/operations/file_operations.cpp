// tome_file_stage, tome_file_info.
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
        const TreePath path = TreePath::parse(text);
        const std::optional<WorkingEntry> existing = checkout.files().find(path);
        if (!existing || existing->kind != WorkingEntry::Kind::File) {
            send_file(events, TOME_EVENT_FILE_INFO, text, {}, 0, false);
            continue;
        }
        const std::optional<HeldFile> held = checkout.state().held_file(text);
        if (held && held->is_unchanged(existing->stamp)) {
            send_file(events, TOME_EVENT_FILE_INFO, text, held->digest, existing->stamp.size, true);
        } else {
            const auto [digest, stamp] = checkout.files().hash(path);
            send_file(events, TOME_EVENT_FILE_INFO, text, digest, stamp.size, true);
        }
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

}  // extern "C"
