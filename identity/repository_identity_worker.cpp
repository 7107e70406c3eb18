#include "identity/repository_identity_worker.h"

#include <deque>
#include <future>
#include <memory>
#include <mutex>
#include <system_error>
#include <thread>
#include <unordered_map>
#include <utility>

#include "engine/tome_binding.h"
#include "identity/file_identity_cache.h"
#include "project/checkout_configuration.h"

namespace quill {
namespace {

using Clock = std::chrono::steady_clock;
using std::filesystem::path;

struct RepositoryMemo {
    struct Entry {
        std::optional<path> root;
        Clock::time_point found;
    };
    std::mutex mutex;
    std::unordered_map<std::string, Entry> entries;  // by directory
};

struct RepositoryIdentityBatch {
    path root;
    std::vector<path> paths;
    std::promise<void> done;
};

struct RepositoryIdentityWorker {
    std::mutex mutex;
    std::deque<RepositoryIdentityBatch> queue;
    bool running = false;  // a thread serves the queue
    bool slow = false;     // a wait for this worker timed out and no batch was finished since
};

struct PendingWait {
    std::future<void> done;
    std::shared_ptr<RepositoryIdentityWorker> worker;
};

// One shared object for each repository root, made on first use.
template <typename Object>
struct RepositoryObjects {
    std::mutex mutex;
    std::unordered_map<std::string, std::shared_ptr<Object>> objects;

    std::shared_ptr<Object> get(const path& root) {
        const std::lock_guard lock(mutex);
        std::shared_ptr<Object>& object = objects[root.string()];
        if (object == nullptr) {
            object = std::make_shared<Object>();
        }
        return object;
    }
};

std::optional<path> probe_repository(path directory) {
    for (;;) {
        std::error_code ignored;
        if (std::filesystem::is_regular_file(tome_configuration_file(directory), ignored)) {
            return directory;
        }
        path parent = directory.parent_path();
        if (parent == directory) {
            return std::nullopt;
        }
        directory = std::move(parent);
    }
}

// A file stays unknown when the engine does not report it, or reports it under another path than that asked for.
std::vector<CachedProjectFileIdentity> ask_engine(const RepositoryIdentityBatch& batch) {
    std::unordered_map<std::string, path> asked;
    std::vector<std::string> relative_paths;
    for (const path& file : batch.paths) {
        relative_paths.push_back(file.lexically_relative(batch.root).generic_string());
        asked.emplace(relative_paths.back(), file);
    }
    const TomeWorkspaceState state = call_tome_file_info({batch.root, ""}, relative_paths);
    std::vector<CachedProjectFileIdentity> identities;
    for (const TomeWorkspaceState::FileIdentity& identity : state.file_identities) {
        if (const auto found = asked.find(identity.path); found != asked.end()) {
            identities.push_back({found->second, "sha256:" + identity.hash});
        }
    }
    return identities;
}

void answer_batch(const RepositoryIdentityBatch& batch) {
    const std::shared_ptr<std::mutex> tome_mutex = internal::leaked<RepositoryObjects<std::mutex>>().get(batch.root);
    const std::lock_guard lock(*tome_mutex);
    store_file_identities(ask_engine(batch));
}

std::optional<RepositoryIdentityBatch> take_batch(RepositoryIdentityWorker& worker) {
    const std::lock_guard lock(worker.mutex);
    if (worker.queue.empty()) {
        worker.running = false;
        return std::nullopt;
    }
    RepositoryIdentityBatch batch = std::move(worker.queue.front());
    worker.queue.pop_front();
    return batch;
}

void serve_queue(const std::shared_ptr<RepositoryIdentityWorker>& worker) {
    while (std::optional<RepositoryIdentityBatch> batch = take_batch(*worker)) {
        try {
            answer_batch(*batch);
        } catch (...) {
            // Identities only save work: without them the files are hashed.
        }
        {
            const std::lock_guard lock(worker->mutex);
            worker->slow = false;
        }
        batch->done.set_value();
    }
}

// Called with the worker's mutex held.
void start_thread(const std::shared_ptr<RepositoryIdentityWorker>& worker) {
    worker->running = true;
    try {
        std::thread(serve_queue, worker).detach();
    } catch (const std::system_error&) {
        // The system gives no thread. Dropping the batches ends every wait for them.
        worker->running = false;
        worker->queue.clear();
    }
}

PendingWait enqueue(const path& root, const std::vector<path>& paths) {
    RepositoryIdentityBatch batch{root, paths, {}};
    PendingWait wait{batch.done.get_future(),
                     internal::leaked<RepositoryObjects<RepositoryIdentityWorker>>().get(root)};
    const std::lock_guard lock(wait.worker->mutex);
    wait.worker->queue.push_back(std::move(batch));
    if (!wait.worker->running) {
        start_thread(wait.worker);
    }
    return wait;
}

bool is_slow(RepositoryIdentityWorker& worker) {
    const std::lock_guard lock(worker.mutex);
    return worker.slow;
}

void await(const PendingWait& wait) {
    const internal::RepositoryIdentityTimes& times = internal::repository_identity_times();
    const auto patience = is_slow(*wait.worker) ? times.slow_wait : times.first_wait;
    if (wait.done.wait_until(Clock::now() + patience) == std::future_status::timeout) {
        const std::lock_guard lock(wait.worker->mutex);
        wait.worker->slow = true;
    }
}

}  // namespace

std::optional<std::filesystem::path> find_identity_repository(const std::filesystem::path& path) {
    std::error_code ignored;
    const auto directory = std::filesystem::is_directory(path, ignored) ? path : path.parent_path();
    RepositoryMemo& memo = internal::leaked<RepositoryMemo>();
    {
        const std::lock_guard lock(memo.mutex);
        const auto found = memo.entries.find(directory.string());
        if (found != memo.entries.end()) {
            const RepositoryMemo::Entry& entry = found->second;
            if (entry.root || Clock::now() - entry.found < internal::repository_identity_times().no_repository_age) {
                return entry.root;
            }
        }
    }
    std::optional<std::filesystem::path> root = probe_repository(directory);
    const std::lock_guard lock(memo.mutex);
    memo.entries[directory.string()] = {root, Clock::now()};
    return root;
}

void request_repository_identities(const RepositoryIdentityRequests& requests) {
    std::vector<PendingWait> waits;
    for (const auto& [root, paths] : requests) {
        waits.push_back(enqueue(root, paths));
    }
    for (const PendingWait& wait : waits) {
        await(wait);
    }
}

internal::RepositoryIdentityTimes& internal::repository_identity_times() {
    return leaked<RepositoryIdentityTimes>();
}

}  // namespace quill
