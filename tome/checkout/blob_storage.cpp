#include "tome/checkout/blob_storage.h"

#include <algorithm>

#include "digest/sha256.h"
#include "tome/base/error.h"
#include "tome/checkout/checkout_folder.h"
#include "tome/remote/repository.h"
#include "tome/store/blob_table.h"

namespace tome {
namespace {

// A flush keeps other writers to the remote waiting for no more than this many.
constexpr std::size_t blobs_at_once = 500;

std::filesystem::path store_of(const std::filesystem::path& directory) {
    std::error_code ignored;
    if (!std::filesystem::exists(config_path(directory), ignored)) {
        throw Error(ErrorCode::NotFound, "not a checkout: " + directory.string());
    }
    const std::filesystem::path store = own_store_path(directory);
    Store::create(store);
    return store;
}

[[noreturn]] void refuse_missing(const BlobKey& key) {
    throw Error(ErrorCode::NotFound, "Not found: blob " + to_hex(key.digest));
}

std::unique_ptr<Remote> make_remote(const RepositoryLocation& location) {
    try {
        create_repository(location);
    } catch (const Error& error) {
        if (error.code() != ErrorCode::AlreadyExists) {  // Another process may have been faster.
            throw;
        }
    }
    return open_repository(location);
}

}  // namespace

BlobStorage::BlobStorage(const std::filesystem::path& directory, std::optional<RepositoryLocation> remote)
    : store_(store_of(directory)), location_(std::move(remote)) {}

bool BlobStorage::put(const BlobKey& key, std::string_view bytes, bool local_only) {
    const std::lock_guard lock(mutex_);
    if (digest_of(bytes) != key.digest) {
        return false;
    }
    store_.add_bytes(key.digest, bytes);  // Also where it is there already: what is there may be damaged.
    add_blob(store_.database(), key, local_only ? BlobState::Local : BlobState::Unflushed);
    return true;
}

std::unique_ptr<Remote> BlobStorage::find_remote() const {
    try {
        return location_ ? open_repository(*location_) : nullptr;
    } catch (const Error& error) {
        if (error.code() != ErrorCode::NotFound) {
            throw;
        }
        return nullptr;
    }
}

void BlobStorage::deliver_from(ObjectSource& source, const std::string& source_name, const BlobKey& key,
                               const std::function<void(std::uint64_t)>& begin,
                               const std::function<void(std::uint64_t, std::string_view)>& deliver) {
    const std::optional<Content> content = source.find_content(key.digest);
    if (!content) {
        refuse_missing(key);
    }
    begin(content->size);
    if (!content->reader) {
        deliver(0, content->bytes);
        return;
    }
    quill::Sha256 hash;
    std::uint64_t offset = 0;
    content->read("blob " + to_hex(key.digest), [&](std::string_view block) {
        hash.update(block.data(), block.size());
        deliver(offset, block);
        offset += block.size();
    });
    if (Digest{hash.finish()} != key.digest) {
        throw Error(ErrorCode::Corrupt, corrupt_object_text(key.digest, source_name));
    }
}

void BlobStorage::get(const BlobKey& key, const std::function<void(std::uint64_t)>& begin,
                      const std::function<void(std::uint64_t, std::string_view)>& deliver) {
    const std::lock_guard lock(mutex_);
    std::optional<Error> damage;
    if (has_blob(store_.database(), key)) {
        try {
            return deliver_from(store_, store_.directory().string(), key, begin, deliver);
        } catch (const Error& error) {
            if (error.code() != ErrorCode::Corrupt) {
                throw;
            }
            damage = error;
        }
    }
    const std::unique_ptr<Remote> remote = find_remote();
    if (remote && remote->has_blob(key)) {
        return deliver_from(*remote->objects(), remote->place(), key, begin, deliver);
    }
    if (damage) {
        throw Error(*damage);
    }
    refuse_missing(key);
}

void BlobStorage::flush() {
    const std::lock_guard lock(mutex_);
    if (!location_) {
        return;
    }
    std::unique_ptr<Remote> remote = find_remote();
    if (!remote) {  // What was flushed is on another remote, or on one that is gone.
        mark_all_unflushed(store_.database());
    }
    const std::vector<BlobKey> keys = unflushed_blobs(store_.database());
    if (keys.empty()) {
        return;
    }
    if (!remote) {
        remote = make_remote(*location_);
    }
    std::optional<Error> damage;
    for (std::size_t first = 0; first < keys.size(); first += blobs_at_once) {
        const std::size_t count = std::min(blobs_at_once, keys.size() - first);
        const auto begin = keys.begin() + static_cast<std::ptrdiff_t>(first);
        if (auto found = flush_to(*remote, {begin, begin + static_cast<std::ptrdiff_t>(count)})) {
            damage = found;
        }
    }
    if (damage) {
        throw Error(*damage);
    }
}

// Damage of one blob does not hold up the others: then each goes by itself.
std::optional<Error> BlobStorage::flush_to(Remote& remote, const std::vector<BlobKey>& keys) {
    try {
        remote.add_blobs(store_, keys);
    } catch (const Error& error) {
        if (error.code() != ErrorCode::Corrupt) {
            throw;
        }
        if (keys.size() == 1) {
            mark_local(store_.database(), keys.front());  // Named once; later flushes are not held up.
            return error;
        }
        std::optional<Error> damage;
        for (const BlobKey& key : keys) {
            if (auto found = flush_to(remote, {key})) {
                damage = found;
            }
        }
        return damage;
    }
    Transaction transaction(store_.database());
    for (const BlobKey& key : keys) {
        mark_flushed(store_.database(), key);
    }
    transaction.commit();
    return std::nullopt;
}

}  // namespace tome
