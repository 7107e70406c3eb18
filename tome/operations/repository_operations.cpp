// tome_repository_create, tome_repository_status, tome_repository_clone, tome_repository_accept_remote,
// tome_shared_store_create.
#include <algorithm>
#include <set>

#include "tome/checkout/branch_state.h"
#include "tome/checkout/local_branches.h"
#include "tome/checkout/materialization.h"
#include "tome/checkout/working_status.h"
#include "tome/operations/operation.h"
#include "tome/remote/repository.h"

namespace tome {
namespace {

void make_folder(const std::filesystem::path& directory) {
    std::error_code error;
    std::filesystem::create_directories(directory, error);
    if (error) {
        throw Error(ErrorCode::Io, "could not make checkout " + directory.string() + ": " + error.message());
    }
}

void refuse_checkout(const std::filesystem::path& directory) {
    std::error_code ignored;
    if (std::filesystem::exists(std::filesystem::symlink_status(state_folder(directory), ignored))) {
        throw Error(ErrorCode::AlreadyExists, "is a checkout already: " + directory.string());
    }
}

std::filesystem::path memory_path(const tome_string_t& memory) {
    const std::filesystem::path path = to_text(memory);
    if (!path.empty() && (!path.is_absolute() || !names_branch_memory(path))) {
        throw Error(ErrorCode::Invalid, "the branch memory is no absolute path of a " +
                                            std::string(branch_memory_name) + ": " + path.string());
    }
    return path.lexically_normal();
}

// The path as the configuration of the checkout in `directory` says it, so that it holds when both are moved.
std::filesystem::path memory_in_config(const tome_string_t& memory, const std::filesystem::path& directory) {
    const std::filesystem::path path = memory_path(memory);
    return path.empty() ? path : path.lexically_relative(directory);
}

void create_checkout_and_repository(const tome_globals_t& globals, const tome_repository_create_params_t& params) {
    const std::filesystem::path directory = checkout_directory(globals);
    const std::string name = to_text(params.name);
    refuse_checkout(directory);
    CheckoutConfig config;
    config.description = to_text(params.description);
    const bool on_remote = is_repository_url(name) && globals.no_remote == 0;
    if (on_remote) {
        const RepositoryLocation location = parse_repository_url(name);
        config.remote_url = location.remote_url;
        config.repository_url = repository_url(location);
        config.branch_memory = memory_in_config(params.branch_memory, directory);
        if (config.branch_memory.empty()) {
            config.branch_memory = state_folder({}) / branch_memory_name;
        }
        make_folder(directory);
        if (!repository_is_there(location)) {
            branch_memory(directory, config, BranchMemory::Making::Refused)
                .forget();  // A new one, which owes nothing to one that is gone.
        }
        create_repository(location);
    }
    make_folder(directory);
    if (!create_checkout(directory, config, BranchName::parse("main"), {})) {
        throw Error(ErrorCode::AlreadyExists, "is a checkout already: " + directory.string());
    }
    if (!on_remote && !LocalBranches::create(directory)) {
        throw Error(ErrorCode::AlreadyExists, "is a checkout already: " + directory.string());
    }
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

CheckoutConfig clone_config(const tome_repository_clone_params_t& params, const std::filesystem::path& directory) {
    const RepositoryLocation location = parse_repository_url(to_text(params.repository_url));
    CheckoutConfig config;
    config.remote_url = location.remote_url;
    config.repository_url = repository_url(location);
    config.branch_memory = memory_in_config(params.branch_memory, directory);
    config.use_shared_store = params.use_shared_store != 0;
    if (config.use_shared_store) {
        config.shared_store = to_text(params.shared_store);
        Store check(config.shared_store);
    }
    return config;
}

void fill_clone(Checkout& checkout, const tome_repository_clone_params_t& params, const Events& events) {
    MaterializationRequest request;
    request.paths = to_paths(params.paths);
    request.whole_tree = params.sparse == 0 && params.metadata_only == 0 && request.paths.empty();
    if (!request.whole_tree && request.paths.empty()) {
        return;
    }
    request.target = request.old_tree = request.new_tree = checkout.tree_of(checkout.state().base());
    const MaterializationPlan plan = plan_materialization(checkout, request);
    events.paths(TOME_EVENT_SYNCED_PATH, materialize(checkout, plan, [] {}));
}

void clone_repository(const tome_globals_t& globals, const tome_repository_clone_params_t& params,
                      const Events& events) {
    const std::filesystem::path directory = checkout_directory(globals);
    const CheckoutConfig config = clone_config(params, directory);
    const BranchName branch = BranchName::parse(to_text(params.branch));
    BranchMemory memory = branch_memory(directory, config, BranchMemory::Making::Allowed);
    const std::optional<BranchRecord> record = open_remote(config, memory)->find_branch(branch);
    if (!record) {
        throw Error(ErrorCode::NotFound, "branch does not exist: " + branch.text());
    }
    make_folder(directory);
    const bool made = create_checkout(directory, config, branch, record->head);
    if (!made && read_config(config_path(directory)).repository_url != config.repository_url) {
        throw Error(ErrorCode::AlreadyExists, "is a checkout of another repository: " + directory.string());
    }
    try {
        Checkout checkout(directory, Checkout::Access::Change, false);
        if (!(checkout.state().branch() == branch)) {
            throw Error(ErrorCode::AlreadyExists, "is a checkout of another branch: " + directory.string());
        }
        fill_clone(checkout, params, events);
        const Digest base = checkout.state().base();
        events.identity(TOME_EVENT_BRANCH_HEAD, base, order_of(checkout.sources(), base));
    } catch (...) {
        std::error_code ignored;
        if (made) {
            std::filesystem::remove_all(state_folder(directory), ignored);
        }
        throw;
    }
}

void accept_remote(const tome_globals_t& globals, const tome_repository_accept_remote_params_t& params) {
    const std::filesystem::path memory = memory_path(params.branch_memory);
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
                               [&](const tome::Events&) { tome::create_checkout_and_repository(*globals, *params); });
}

int32_t tome_repository_status(const tome_globals_t* globals, const tome_repository_status_params_t* params,
                               uint64_t user, tome_callback_t callback) {
    return tome::run_operation(globals, params, user, callback,
                               [&](const tome::Events& events) { tome::report_status(*globals, *params, events); });
}

int32_t tome_repository_clone(const tome_globals_t* globals, const tome_repository_clone_params_t* params,
                              uint64_t user, tome_callback_t callback) {
    return tome::run_operation(globals, params, user, callback,
                               [&](const tome::Events& events) { tome::clone_repository(*globals, *params, events); });
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
