// tome_storage_*: open, put, get, flush, close.
#include <algorithm>
#include <map>

#include "tome/checkout/blob_storage.h"
#include "tome/operations/operation.h"

namespace tome {
namespace {

constexpr std::uint64_t default_chunk_kibibytes = 1024;

struct OpenStorages {
    std::mutex mutex;
    std::map<std::uint64_t, std::shared_ptr<BlobStorage>> by_handle;  // guarded by mutex
    std::uint64_t last_handle = 0;                                    // guarded by mutex
};

// Never destroyed: threads may outlive main.
OpenStorages& open_storages() {
    static auto* storages = new OpenStorages;
    return *storages;
}

std::shared_ptr<BlobStorage> storage_of(std::uint64_t handle) {
    OpenStorages& storages = open_storages();
    const std::lock_guard lock(storages.mutex);
    const auto found = storages.by_handle.find(handle);
    if (found == storages.by_handle.end()) {
        throw Error(ErrorCode::Invalid, "no open storage has the handle " + std::to_string(handle));
    }
    return found->second;
}

BlobKey to_key(const tome_blob_key_t& key) {
    BlobKey result;
    std::copy(std::begin(key.partition), std::end(key.partition), result.partition.begin());
    result.digest = to_digest(key.digest);
    std::copy(std::begin(key.context), std::end(key.context), result.context.begin());
    return result;
}

void open_storage(const tome_globals_t& globals, const tome_storage_open_params_t& params, const Events& events) {
    const std::string locator = to_text(params.locator);
    std::optional<RepositoryLocation> remote;
    if (globals.no_remote == 0 && !locator.empty()) {
        remote = parse_repository_url(locator);
    }
    auto storage = std::make_shared<BlobStorage>(checkout_directory(globals), std::move(remote));
    OpenStorages& storages = open_storages();
    const std::lock_guard lock(storages.mutex);
    storages.by_handle.emplace(++storages.last_handle, std::move(storage));
    tome_event_t event{};
    event.kind = TOME_EVENT_STORAGE_OPENED;
    event.as.handle = storages.last_handle;
    events.send(event);
}

void put_blob(const tome_storage_put_params_t& params, const Events& events) {
    if (params.data == nullptr && params.length > 0) {
        throw Error(ErrorCode::Invalid, "the blob's bytes are missing");
    }
    const std::string_view bytes(static_cast<const char*>(params.data), static_cast<std::size_t>(params.length));
    const bool stored = storage_of(params.handle)->put(to_key(params.key), bytes, params.local_only != 0);
    tome_event_t event{};
    event.kind = TOME_EVENT_STORAGE_ITEM;
    event.as.item.digest = params.key.digest;
    std::copy(std::begin(params.key.context), std::end(params.key.context), event.as.item.context);
    event.as.item.failed = stored ? 0 : 1;
    events.send(event);
    if (!stored) {
        tome_event_t failed{};
        failed.kind = TOME_EVENT_STORAGE_FAILED;
        failed.as.code = static_cast<std::int32_t>(ErrorCode::Invalid);
        events.send(failed);
    }
}

void get_blob(const tome_storage_get_params_t& params, const Events& events) {
    const std::uint64_t chunk_kibibytes =
        params.options.chunk_kibibytes != 0 ? params.options.chunk_kibibytes : default_chunk_kibibytes;
    const auto begin = [&](std::uint64_t size) {
        tome_event_t event{};
        event.kind = TOME_EVENT_STORAGE_SIZE;
        event.as.size = size;
        events.send(event);
    };
    storage_of(params.handle)->get(to_key(params.key), begin, [&](std::uint64_t offset, std::string_view bytes) {
        while (!bytes.empty()) {
            const std::string_view chunk = bytes.substr(0, chunk_kibibytes << 10U);
            tome_event_t event{};
            event.kind = TOME_EVENT_STORAGE_CHUNK;
            event.as.chunk = {offset, chunk.size(), chunk.data()};
            events.send(event);
            offset += chunk.size();
            bytes.remove_prefix(chunk.size());
        }
    });
}

void close_storage(const tome_storage_close_params_t& params) {
    storage_of(params.handle);
    OpenStorages& storages = open_storages();
    const std::lock_guard lock(storages.mutex);
    storages.by_handle.erase(params.handle);
}

}  // namespace
}  // namespace tome

extern "C" {

int32_t tome_storage_open(const tome_globals_t* globals, const tome_storage_open_params_t* params, uint64_t user,
                          tome_callback_t callback) {
    return tome::run_operation(globals, params, user, callback,
                               [&](const tome::Events& events) { tome::open_storage(*globals, *params, events); });
}

int32_t tome_storage_put(const tome_globals_t* globals, const tome_storage_put_params_t* params, uint64_t user,
                         tome_callback_t callback) {
    return tome::run_operation(globals, params, user, callback,
                               [&](const tome::Events& events) { tome::put_blob(*params, events); });
}

int32_t tome_storage_get(const tome_globals_t* globals, const tome_storage_get_params_t* params, uint64_t user,
                         tome_callback_t callback) {
    return tome::run_operation(globals, params, user, callback,
                               [&](const tome::Events& events) { tome::get_blob(*params, events); });
}

int32_t tome_storage_flush(const tome_globals_t* globals, const tome_storage_flush_params_t* params, uint64_t user,
                           tome_callback_t callback) {
    return tome::run_operation(globals, params, user, callback,
                               [&](const tome::Events&) { tome::storage_of(params->handle)->flush(); });
}

int32_t tome_storage_close(const tome_globals_t* globals, const tome_storage_close_params_t* params, uint64_t user,
                           tome_callback_t callback) {
    return tome::run_operation(globals, params, user, callback,
                               [&](const tome::Events&) { tome::close_storage(*params); });
}

}  // extern "C"
