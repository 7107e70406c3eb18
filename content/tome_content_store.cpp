#include "content/tome_content_store.h"

#include <tome/tome.h>

#include <algorithm>
#include <cstdlib>
#include <stdexcept>
#include <string_view>
#include <system_error>

#include "content/content_key.h"
#include "content/content_store_blob_file.h"
#include "content/tome_content_key.h"
#include "digest/sha256.h"
#include "files/absolute_path.h"
#include "files/trace.h"
#include "project/checkout_configuration.h"
#include "project/manifest.h"
#include "project/repository_configuration.h"

namespace quill {
namespace {

namespace fs = std::filesystem;

constexpr tome_storage_options_t storage_options{1, 60, 0x100};

tome_string_t view_of(const std::string& text) {
    return {text.empty() ? nullptr : text.data(), text.size()};
}

void require_success(const char* operation, std::int32_t result, const TomeCallState& state) {
    if (result != 0 || state.status != 0) {
        throw std::runtime_error(state.message.empty() ? std::string(operation) + " failed" : state.message);
    }
}

tome_blob_key_t blob_key(const TomeContentKey& key) {
    tome_blob_key_t result{};
    std::copy(key.partition_id.begin(), key.partition_id.end(), result.partition);
    std::copy(key.digest.begin(), key.digest.end(), result.digest.bytes);
    std::copy(key.context_id.begin(), key.context_id.end(), result.context);
    return result;
}

bool may_ask_engine() {
    const char* value = std::getenv("QUILL_TOME_BLOCKING_GET_FALLBACK");
    const std::string_view text = value != nullptr ? value : "";
    return !text.empty() && text != "0" && text != "false" && text != "FALSE";
}

}  // namespace

struct TomeContentStore::Impl {
    std::string repository;  ///< folder, absolute and normalised
    fs::path mirror_root;
    std::string remote_url;
    std::string url_base;
    std::string repository_url;
    std::array<std::uint8_t, 16> partition_id{};
    std::uint64_t handle = 0;

    tome_globals_t globals() const {
        tome_globals_t globals{};
        globals.size = sizeof globals;
        globals.checkout = view_of(repository);
        globals.remote_url = view_of(remote_url);
        globals.no_remote = remote_url.empty() || repository_url.empty() ? 1 : 0;
        globals.offline = globals.no_remote;
        globals.use_remote = globals.no_remote == 0 ? 1 : 0;
        globals.non_interactive = 1;
        return globals;
    }

    template <typename Params>
    TomeCallState call(std::int32_t (*operation)(const tome_globals_t*, const Params*, std::uint64_t, tome_callback_t),
                       const char* name, const Params& params) const {
        TomeCallState state;
        const tome_globals_t record = globals();
        const TraceStep step(name, repository);
        const std::int32_t result =
            operation(&record, &params, reinterpret_cast<std::uintptr_t>(&state), tome_callback);
        require_success(name, result, state);
        return state;
    }

    void create_repository_if_needed() const {
        std::error_code ignored;
        const fs::path state_folder = tome_state_folder(repository);
        if (fs::exists(state_folder, ignored)) {
            return;
        }
        const std::string last = fs::path(repository).filename().string();
        const std::string name = last.empty() ? "KeelProject" : last;
        const std::string description = "Keel content-addressed project repository";
        try {
            call(tome_repository_create, "tome_repository_create",
                 tome_repository_create_params_t{view_of(name), view_of(description), {}});
        } catch (const std::runtime_error&) {
            if (!fs::exists(state_folder, ignored)) {  // Another process may have been faster.
                throw;
            }
        }
    }

    void open() {
        const std::string& locator = repository_url.empty() ? repository : repository_url;
        handle =
            call(tome_storage_open, "tome_storage_open", tome_storage_open_params_t{view_of(locator), storage_options})
                .handle;
        if (handle == 0) {
            throw std::runtime_error("tome_storage_open did not return a store handle");
        }
    }

    void store(const TomeContentKey& key, std::span<const std::byte> bytes) const {
        tome_storage_put_params_t params{};
        params.handle = handle;
        params.key = blob_key(key);
        params.data = bytes.data();
        params.length = bytes.size();
        params.local_only = remote_url.empty() ? 1 : 0;
        params.options = storage_options;
        const TomeCallState state = call(tome_storage_put, "tome_storage_put", params);
        if (state.item.failed != 0 || state.item_flag != 0) {
            throw std::runtime_error("tome_storage_put item failed");
        }
        if (!remote_url.empty()) {
            call(tome_storage_flush, "tome_storage_flush", tome_storage_flush_params_t{handle});
        }
    }
};

TomeContentStore::TomeContentStore(const fs::path& repository, const fs::path& project, const std::string& remote_url,
                                   const std::string& url_base)
    : impl_(std::make_unique<Impl>()) {
    const fs::path package = absolute_normalized(project);
    impl_->repository = absolute_normalized(repository).string();
    impl_->mirror_root = package / "Content" / "tome_mirror";
    impl_->remote_url = remote_url;
    impl_->url_base = url_base;
    impl_->partition_id = tome_content_partition(package);
    std::error_code error;
    fs::create_directories(impl_->repository, error);
    if (error) {
        throw std::runtime_error("could not create Tome repository path: " + error.message());
    }
    if (fs::is_regular_file(project_manifest_path(package), error)) {
        impl_->repository_url = project_tome_repository_url(package);
    }
    impl_->create_repository_if_needed();
    impl_->open();
}

TomeContentStore::~TomeContentStore() {
    if (impl_->handle != 0) {
        const tome_globals_t globals = impl_->globals();
        const tome_storage_close_params_t params{impl_->handle};
        tome_storage_close(&globals, &params, 0, tome_callback);
    }
}

StoredContent TomeContentStore::put(std::span<const std::byte> bytes) {
    return put(bytes, "");
}

StoredContent TomeContentStore::put(std::span<const std::byte> bytes, std::string_view context) {
    Sha256 hash;
    hash.update(bytes.data(), bytes.size());
    const TomeContentKey name{impl_->partition_id, hash.finish(), tome_content_context(context)};
    const std::string key = tome_content_key_text(name);
    impl_->store(name, bytes);
    write_binary_file_atomically(tome_mirror_path_for_key(impl_->mirror_root, key), bytes);
    return {key, url_for(key), bytes.size(), bytes_to_hex(name.digest.data(), name.digest.size())};
}

std::optional<std::vector<std::byte>> TomeContentStore::get(std::string_view key) const {
    const std::optional<TomeContentKey> name = parse_tome_key(key);
    if (!name) {
        return std::nullopt;
    }
    if (auto bytes = read_blob_file(tome_mirror_path_for_key(impl_->mirror_root, key)); bytes || !may_ask_engine()) {
        return bytes;
    }
    try {
        return impl_
            ->call(tome_storage_get, "tome_storage_get",
                   tome_storage_get_params_t{impl_->handle, blob_key(*name), storage_options})
            .bytes;
    } catch (const std::runtime_error&) {
        return std::nullopt;
    }
}

std::optional<std::uint64_t> TomeContentStore::size(std::string_view key) const {
    return blob_file_size(tome_mirror_path_for_key(impl_->mirror_root, key));
}

std::optional<std::vector<std::byte>> TomeContentStore::get_range(std::string_view key, std::uint64_t offset,
                                                                  std::uint64_t length) const {
    return read_blob_file_range(tome_mirror_path_for_key(impl_->mirror_root, key), offset, length);
}

bool TomeContentStore::contains(std::string_view key) const {
    return blob_file_exists(tome_mirror_path_for_key(impl_->mirror_root, key));
}

std::string TomeContentStore::url_for(std::string_view key) const {
    return tome_content_url(impl_->url_base, key);
}

}  // namespace quill
