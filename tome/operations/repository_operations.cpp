// tome_repository_create, tome_repository_status, tome_repository_clone, tome_repository_accept_remote,
// tome_shared_store_create.
#include "tome/checkout/clone.h"
#include "tome/checkout/working_status.h"
#include "tome/object/revision_graph.h"
#include "tome/operations/operation.h"

namespace tome {
namespace {

void create_repository(const tome_globals_t& globals, const tome_repository_create_params_t& params) {
    const std::string name = to_text(params.name);
    NewRepository repository;
    repository.description = to_text(params.description);
    if (is_repository_url(name) && globals.no_remote == 0) {
        repository.location = parse_repository_url(name);
        repository.branch_memory = parse_branch_memory(to_text(params.branch_memory));
    }
    create_repository_and_checkout(checkout_directory(globals), repository);
}

void report_status(const tome_globals_t& globals, const tome_repository_status_params_t& params, const Events& events) {
    Checkout checkout = open_checkout(globals, Checkout::Access::Read);
    tome_event_t event{};
    event.kind = TOME_EVENT_STATUS;
    const Digest base = checkout.state().base();
    event.as.status.local_head = to_hash(base);
    event.as.status.local_order = order_of(checkout.sources(), base);
    if (checkout.has_remote() && !checkout.is_offline()) {
        if (const auto record = checkout.remote().find_branch(checkout.state().branch())) {
            event.as.status.remote_head = to_hash(record->head);
            event.as.status.remote_order = order_of(checkout.sources(), record->head);
        }
    }
    std::vector<std::string> changed;
    if (params.report_changes != 0) {
        const std::vector<std::string> skip = to_paths(params.skip_paths);
        changed = changed_paths(checkout, {skip.begin(), skip.end()});
    }
    events.send(event);
    events.paths(TOME_EVENT_STATUS_PATH, changed);
}

void clone(const tome_globals_t& globals, const tome_repository_clone_params_t& params, const Events& events) {
    const std::filesystem::path directory = checkout_directory(globals);
    CloneRequest request{parse_repository_url(to_text(params.repository_url)),
                         BranchName::parse(to_text(params.branch))};
    request.branch_memory = parse_branch_memory(to_text(params.branch_memory));
    request.use_shared_store = params.use_shared_store != 0;
    request.shared_store = to_text(params.shared_store);
    request.paths = to_paths(params.paths);
    request.working_folder = working_folder(globals);
    request.whole_tree = params.sparse == 0 && params.metadata_only == 0 && request.paths.empty();
    const ClonedCheckout clone = clone_repository(directory, request);
    events.paths(TOME_EVENT_SYNCED_PATH, clone.changed);
    events.identity(TOME_EVENT_BRANCH_HEAD, clone.head, clone.order);
}

void accept_remote(const tome_globals_t& globals, const tome_repository_accept_remote_params_t& params) {
    const std::filesystem::path memory = parse_branch_memory(to_text(params.branch_memory));
    if (memory.empty()) {
        const std::filesystem::path directory = checkout_directory(globals);
        return branch_memory(directory, read_config(config_path(directory)), BranchMemory::Making::Refused).forget();
    }
    const RepositoryLocation location = parse_repository_url(to_text(params.repository_url));
    BranchMemory(memory, repository_url(location), BranchMemory::Making::Allowed).forget();
}

void create_shared_store(const tome_globals_t& globals, const tome_shared_store_create_params_t& params) {
    const std::filesystem::path directory = to_text(params.path);
    if (!directory.is_absolute()) {
        throw Error(ErrorCode::Invalid, "the shared store is no absolute path: " + directory.string());
    }
    if (to_text(globals.remote_url).empty()) {
        throw Error(ErrorCode::Invalid, "a shared store needs a remote: " + directory.string());
    }
    if (!Store::create(directory.lexically_normal())) {
        Store check(directory.lexically_normal());
    }
}

}  // namespace
}  // namespace tome

extern "C" {

int32_t tome_repository_create(const tome_globals_t* globals, const tome_repository_create_params_t* params,
                               uint64_t user, tome_callback_t callback) {
    return tome::run_operation(globals, params, user, callback,
                               [&](const tome::Events&) { tome::create_repository(*globals, *params); });
}

int32_t tome_repository_status(const tome_globals_t* globals, const tome_repository_status_params_t* params,
                               uint64_t user, tome_callback_t callback) {
    return tome::run_operation(globals, params, user, callback,
                               [&](const tome::Events& events) { tome::report_status(*globals, *params, events); });
}

int32_t tome_repository_clone(const tome_globals_t* globals, const tome_repository_clone_params_t* params,
                              uint64_t user, tome_callback_t callback) {
    return tome::run_operation(globals, params, user, callback,
                               [&](const tome::Events& events) { tome::clone(*globals, *params, events); });
}

int32_t tome_repository_accept_remote(const tome_globals_t* globals,
                                      const tome_repository_accept_remote_params_t* params, uint64_t user,
                                      tome_callback_t callback) {
    return tome::run_operation(globals, params, user, callback,
                               [&](const tome::Events&) { tome::accept_remote(*globals, *params); });
}

int32_t tome_shared_store_create(const tome_globals_t* globals, const tome_shared_store_create_params_t* params,
                                 uint64_t user, tome_callback_t callback) {
    return tome::run_operation(globals, params, user, callback,
                               [&](const tome::Events&) { tome::create_shared_store(*globals, *params); });
}

}  // extern "C"
