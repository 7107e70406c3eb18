// The interface of content-addressed blob stores: bytes go in, a content key comes out, the key gives the bytes back.
// Every store's reading operations answer a missing, unreadable or malformed key with an empty result and never throw
// for it. All operations may be called from several threads at once.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace quill {

/// What `ContentStore::put` stored.
struct StoredContent {
    std::string key;         ///< fetches the bytes again from the same store
    std::string url;         ///< what `url_for(key)` returns
    std::uint64_t size = 0;  ///< in bytes
    std::string sha256;      ///< digest of the bytes, 64 lower-case hexadecimal digits

    bool operator==(const StoredContent&) const = default;
};

/// A blob store, owned through shared pointers.
class ContentStore {
  public:
    virtual ~ContentStore() = default;

    /// Stores the bytes without a context. Throws std::runtime_error when they cannot be written.
    virtual StoredContent put(std::span<const std::byte> bytes) = 0;

    /// Stores the bytes under a context text, which may be empty; it is the store's matter what the context changes.
    /// Throws std::runtime_error when they cannot be written.
    virtual StoredContent put(std::span<const std::byte> bytes, std::string_view context) = 0;

    /// The whole blob.
    virtual std::optional<std::vector<std::byte>> get(std::string_view key) const = 0;

    /// The blob's size in bytes.
    virtual std::optional<std::uint64_t> size(std::string_view key) const = 0;

    /// `length` bytes from `offset` on; nothing when the blob does not hold all of them.
    virtual std::optional<std::vector<std::byte>> get_range(std::string_view key, std::uint64_t offset,
                                                            std::uint64_t length) const = 0;

    /// Whether the blob is present.
    virtual bool contains(std::string_view key) const = 0;

    /// A locator text for the blob, present or not; empty for a malformed key.
    virtual std::string url_for(std::string_view key) const = 0;
};

}  // namespace quill
