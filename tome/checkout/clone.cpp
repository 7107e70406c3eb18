#include "tome/checkout/clone.h"

#include "tome/base/error.h"
#include "tome/checkout/local_branches.h"
#include "tome/checkout/materialization.h"
#include "tome/object/revision_graph.h"
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

[[noreturn]] void refuse_checkout(const std::filesystem::path& directory) {
    throw Error(ErrorCode::AlreadyExists, "is a checkout already: " + directory.string());
}

// The path as the configuration of the checkout in `directory` says it, so that it holds when both are moved.
std::filesystem::path memory_in_config(const std::filesystem::path& memory, const std::filesystem::path& directory) {
    return memory.empty() ? memory : memory.lexically_relative(directory);
}

void create_on_remote(const std::filesystem::path& directory, const NewRepository& repository, CheckoutConfig& config) {
    const RepositoryLocation& location = *repository.location;
    config.remote_url = location.remote_url;
    config.repository_url = repository_url(location);
    config.branch_memory = repository.branch_memory.empty() ? state_folder({}) / branch_memory_name
                                                            : memory_in_config(repository.branch_memory, directory);
    make_folder(directory);
    if (!repository_is_there(location)) {  // A new one owes nothing to one that is gone.
        branch_memory(directory, config, BranchMemory::Making::Refused).forget();
    }
    create_repository(location);
}

CheckoutConfig config_of(const CloneRequest& request, const std::filesystem::path& directory) {
    CheckoutConfig config;
    config.remote_url = request.location.remote_url;
    config.repository_url = repository_url(request.location);
    config.branch_memory = memory_in_config(request.branch_memory, directory);
    config.detached = !request.working_folder.empty();
    config.use_shared_store = request.use_shared_store;
    if (config.use_shared_store) {
        config.shared_store = request.shared_store;
        Store check(config.shared_store);
    }
    return config;
}

Digest head_on_remote(const std::filesystem::path& directory, const CheckoutConfig& config, const BranchName& branch) {
    BranchMemory memory = branch_memory(directory, config, BranchMemory::Making::Allowed);
    const std::optional<BranchRecord> record = open_remote(config, memory)->find_branch(branch);
    if (!record) {
        throw missing_branch(branch);
    }
    return record->head;
}

std::vector<std::string> write_files(Checkout& checkout, const CloneRequest& request) {
    if (!request.whole_tree && request.paths.empty()) {
        return {};
    }
    MaterializationRequest files;
    files.paths = request.paths;
    files.whole_tree = request.whole_tree;
    files.target = files.old_tree = files.new_tree = checkout.tree_of(checkout.state().base());
    return materialize(checkout, plan_materialization(checkout, files), [] {});
}

ClonedCheckout finish_clone(const std::filesystem::path& directory, const CloneRequest& request) {
    Checkout checkout(directory, Checkout::Access::Change, false, request.working_folder);
    if (checkout.state().branch() != request.branch) {
        throw Error(ErrorCode::AlreadyExists, "is a checkout of another branch: " + directory.string());
    }
    ClonedCheckout result;
    result.changed = write_files(checkout, request);
    result.head = checkout.state().base();
    result.order = order_of(checkout.sources(), result.head);
    return result;
}

}  // namespace

void create_repository_and_checkout(const std::filesystem::path& directory, const NewRepository& repository) {
    std::error_code ignored;
    if (std::filesystem::exists(std::filesystem::symlink_status(state_folder(directory), ignored))) {
        refuse_checkout(directory);
    }
    CheckoutConfig config;
    config.description = repository.description;
    if (repository.location) {
        create_on_remote(directory, repository, config);
    }
    make_folder(directory);
    if (!create_checkout(directory, config, BranchName::parse("main"), {}) ||
        (!repository.location && !LocalBranches::create(directory))) {
        refuse_checkout(directory);
    }
}

ClonedCheckout clone_repository(const std::filesystem::path& directory, const CloneRequest& request) {
    const CheckoutConfig config = config_of(request, directory);
    const Digest head = head_on_remote(directory, config, request.branch);
    make_folder(directory);
    const std::optional<Digest> tree = config.detached ? std::optional(Digest{}) : std::nullopt;
    const bool is_new = create_checkout(directory, config, request.branch, head, tree);
    if (!is_new && read_config(config_path(directory)).repository_url != config.repository_url) {
        throw Error(ErrorCode::AlreadyExists, "is a checkout of another repository: " + directory.string());
    }
    try {
        return finish_clone(directory, request);
    } catch (...) {
        std::error_code ignored;
        if (is_new) {
            std::filesystem::remove_all(state_folder(directory), ignored);
        }
        throw;
    }
}

}  // namespace tome
