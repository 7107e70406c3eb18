// Content keys of blobs in a repository's storage: "tome:v1:" + partition (32 hexadecimal digits) + ":" + SHA-256 of
// the bytes (64) + ":" + context (32), and where a blob's copy lies below a mirror folder. Pure functions, safe on any
// thread.
#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace quill {

struct TomeContentKey {
    std::array<std::uint8_t, 16> partition_id{};
    std::array<std::uint8_t, 32> digest{};
    std::array<std::uint8_t, 16> context_id{};
};

/// The first 16 bytes of the text's SHA-256.
std::array<std::uint8_t, 16> deterministic_id_128(std::string_view text);

/// The partition of a project's blobs. Made of the path's text as given: callers pass the canonical form.
std::array<std::uint8_t, 16> tome_content_partition(const std::filesystem::path& project);

/// The context's identifier; an empty context has one, too.
std::array<std::uint8_t, 16> tome_content_context(std::string_view context);

/// The key's text, in lower-case digits.
std::string tome_content_key_text(const TomeContentKey& key);

/// Reads a key with digits of either case; nothing for anything else.
std::optional<TomeContentKey> parse_tome_key(std::string_view key);

/// partition/<first 2 digits of the digest>/<digest>/<context>.blob; empty for a text that is no key.
std::filesystem::path tome_mirror_relative_path_for_key(std::string_view key);

/// The same below `mirror_root`; empty for a text that is no key.
std::filesystem::path tome_mirror_path_for_key(const std::filesystem::path& mirror_root, std::string_view key);

/// `url_base` + "/tome/v1/" + what follows "tome:v1:" in the key, with "/" for ":"; the fields are not checked. Empty
/// for a text that does not begin so.
std::string tome_content_url(const std::string& url_base, std::string_view key);

}  // namespace quill
