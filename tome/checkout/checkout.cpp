#include "tome/checkout/checkout.h"

#include <sys/file.h>
#include <unistd.h>

#include <cerrno>

#include "files/trace.h"
#include "tome/base/error.h"
#include "tome/checkout/local_branches.h"
#include "tome/object/revision_graph.h"
#include "tome/remote/repository.h"

namespace tome {
namespace {

FileDescriptor lock_folder(const std::filesystem::path& directory, Checkout::Access access) {
    FileDescriptor folder = open_directory(state_folder(directory), true);
    const quill::TraceStep step("lock", directory.native());
    if (!quill::lock_descriptor(folder.get(), access == Checkout::Access::Change ? LOCK_EX : LOCK_SH)) {
        throw system_error("could not lock checkout " + directory.string(), errno);
    }
    return folder;
}

// What a killed process left; nobody else can be using it while the checkout is locked for change.
void clear_temporary_files(const std::filesystem::path& directory) {
    const std::filesystem::path folder = temporary_folder(directory);
    if (mkdir(folder.c_str(), 0777) != 0 && errno != EEXIST) {
        throw system_error("could not write to " + folder.string(), errno);
    }
    const FileDescriptor descriptor = open_directory(folder, true);  // Not a link to somebody's files.
    std::error_code ignored;
    for (const auto& entry : std::filesystem::directory_iterator(folder, ignored)) {
        unlinkat(descriptor.get(), entry.path().filename().c_str(), 0);
    }
}

bool is_store(const std::filesystem::path& directory) {
    std::error_code ignored;
    return std::filesystem::exists(directory / "store.db", ignored);
}

// A detached checkout's own folder holds none of its files: taken for them, they would all seem deleted.
const std::filesystem::path& folder_of_files(const std::filesystem::path& directory, const CheckoutConfig& config,
                                             const std::filesystem::path& working_folder) {
    if (config.detached == working_folder.empty()) {
        throw Error(ErrorCode::Invalid, (config.detached ? "the checkout is detached, and no working folder was given: "
                                                         : "the checkout is not detached: ") +
                                            directory.string());
    }
    return config.detached ? working_folder : directory;
}

// The file beside the configuration is the checkout's own; others are made by those who name them in a call.
BranchMemory::Making making_of(const CheckoutConfig& config) {
    const bool own = config.branch_memory == state_folder({}) / branch_memory_name;
    return own ? BranchMemory::Making::Allowed : BranchMemory::Making::Refused;
}

}  // namespace

BranchMemory branch_memory(const std::filesystem::path& directory, const CheckoutConfig& config,
                           BranchMemory::Making making) {
    const bool is_kept = !config.branch_memory.empty() && !config.repository_url.empty();
    return {is_kept ? (directory / config.branch_memory).lexically_normal() : std::filesystem::path(),
            config.repository_url, making};
}

std::unique_ptr<Remote> open_remote(const CheckoutConfig& config, BranchMemory& memory) {
    return std::make_unique<RememberingRemote>(open_repository(parse_repository_url(config.repository_url)), memory);
}

Checkout::Checkout(const std::filesystem::path& directory, Access access, bool offline,
                   const std::filesystem::path& working_folder)
    : directory_(directory),
      config_(read_config(config_path(directory))),
      lock_(lock_folder(directory, access)),
      state_(index_path(directory)),
      files_(folder_of_files(directory, config_, working_folder)),
      offline_(offline && has_remote()),
      memory_(branch_memory(directory, config_, making_of(config_))) {
    if (access == Access::Change) {
        clear_temporary_files(directory);
    }
    add_store(own_store_path(directory));
    if (config_.use_shared_store) {
        add_store(config_.shared_store);
    }
    if (!has_remote()) {
        remote_ = std::make_unique<LocalBranches>(directory);
    } else if (!offline_) {
        try {
            remote_ = open_remote(config_, memory_);
            sources_.add(remote_->objects());
        } catch (const Error& error) {
            if (error.code() != ErrorCode::NotFound) {
                throw;
            }
            remote_failure_ = error.what();
        }
    }
}

// A shared store that is gone was moved or removed with the folder around it; the remote has what it held.
void Checkout::add_store(const std::filesystem::path& directory) {
    if (is_store(directory)) {
        store_ = std::make_shared<Store>(directory);
        sources_.add(store_);
    }
}

std::optional<std::pair<Digest, FileStamp>> Checkout::working_content(const TreePath& path) {
    const std::optional<WorkingEntry> entry = files_.find(path);
    if (!entry || !entry->is_file()) {
        return std::nullopt;
    }
    for (const auto& known : {state_.held_file(path.text()), state_.seen_file(path.text())}) {
        if (known && known->is_unchanged(entry->stamp)) {
            return std::pair(known->digest, known->stamp);
        }
    }
    return files_.hash(path);
}

Store& Checkout::writable_store() {
    if (!store_) {
        const std::filesystem::path own = own_store_path(directory_);
        Store::create(own);
        store_ = std::make_shared<Store>(own);
        sources_.add(store_);
    }
    return *store_;
}

Remote& Checkout::remote() {
    if (!remote_) {
        throw Error(ErrorCode::NotFound,
                    remote_failure_.empty() ? "Not found: the remote, while offline" : remote_failure_);
    }
    return *remote_;
}

std::filesystem::path Checkout::temporary_path() {
    return temporary_folder(directory_) / ("file-" + std::to_string(++temporary_files_));
}

Digest Checkout::tree_of(const Digest& revision) {
    return revision.is_zero() ? Digest{} : read_base(sources_, revision).tree;
}

Digest Checkout::base_tree() {
    const std::optional<Digest> mixed = state_.base_tree();
    return mixed ? *mixed : tree_of(state_.base());
}

bool create_checkout(const std::filesystem::path& directory, const CheckoutConfig& config, const BranchName& branch,
                     const Digest& base, const std::optional<Digest>& base_tree) {
    const std::filesystem::path aside = directory / (".tome-" + random_text());
    std::error_code error;
    if (std::filesystem::exists(config_path(directory), error)) {
        return false;
    }
    if (mkdir(aside.c_str(), 0777) != 0 || mkdir((aside / "tmp").c_str(), 0777) != 0) {
        throw system_error("could not make checkout " + directory.string(), errno);
    }
    try {
        CheckoutState::create(aside / "index.db", branch, base);
        if (base_tree) {
            CheckoutState(aside / "index.db").set_base_tree(*base_tree);
        }
        write_file_durably(aside / "config.toml", config_text(config));
    } catch (...) {
        std::filesystem::remove_all(aside, error);
        throw;
    }
    if (rename(aside.c_str(), state_folder(directory).c_str()) != 0) {
        const int number = errno;
        std::filesystem::remove_all(aside, error);
        if (number == EEXIST || number == ENOTEMPTY) {
            return false;
        }
        throw system_error("could not make checkout " + directory.string(), number);
    }
    sync_directory(directory);
    return true;
}

}  // namespace tome
