#include "content/local_content_store.h"

#include <system_error>
#include <utility>

#include "content/content_key.h"
#include "content/content_store_blob_file.h"

namespace quill {

LocalContentStore::LocalContentStore(const std::filesystem::path& root, std::string url_base)
    : root_(std::filesystem::absolute(root).lexically_normal()), url_base_(std::move(url_base)) {}

StoredContent LocalContentStore::put(std::span<const std::byte> bytes) {
    return put(bytes, "");
}

StoredContent LocalContentStore::put(std::span<const std::byte> bytes, std::string_view /*context*/) {
    const std::string key = sha256_content_key(bytes);
    const std::filesystem::path path = path_for_key(key);
    std::error_code ignored;
    if (!std::filesystem::exists(path, ignored)) {
        write_binary_file_atomically(path, bytes);
    }
    return {key, url_for(key), bytes.size(), digest_from_key(key).value()};
}

std::optional<std::vector<std::byte>> LocalContentStore::get(std::string_view key) const {
    return read_blob_file(path_for_key(key));
}

std::optional<std::uint64_t> LocalContentStore::size(std::string_view key) const {
    return blob_file_size(path_for_key(key));
}

std::optional<std::vector<std::byte>> LocalContentStore::get_range(std::string_view key, std::uint64_t offset,
                                                                   std::uint64_t length) const {
    return read_blob_file_range(path_for_key(key), offset, length);
}

bool LocalContentStore::contains(std::string_view key) const {
    return blob_file_exists(path_for_key(key));
}

std::string LocalContentStore::url_for(std::string_view key) const {
    const std::optional<std::string> digest = digest_from_key(key);
    return digest ? url_base_ + "/sha256/" + *digest : std::string();
}

std::filesystem::path LocalContentStore::path_for_key(std::string_view key) const {
    const std::optional<std::string> digest = digest_from_key(key);
    if (!digest) {
        return {};
    }
    return root_ / "sha256" / digest->substr(0, 2) / digest->substr(2, 2) / (*digest + ".blob");
}

}  // namespace quill
