// Content keys of the local form, "sha256:" + 64 lower-case hexadecimal digits (SHA-256, FIPS 180-4), and the
// hexadecimal text of bytes. Pure functions, safe on any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace quill {

/// The content key of `bytes`: "sha256:" + their digest, 71 characters.
std::string sha256_content_key(std::span<const std::byte> bytes);

/// The digest inside a local content key; nothing when `key` does not begin with "sha256:" or is not 71 characters
/// long. The characters of the digest are not checked: a key of the right form is taken to be one that this system
/// made.
std::optional<std::string> digest_from_key(std::string_view key);

/// Each of the `count` bytes as two lower-case digits, in order.
std::string bytes_to_hex(const std::uint8_t* bytes, std::size_t count);

/// Reads `count` bytes from exactly 2 * `count` hexadecimal digits of either case. False, with `bytes` in part written,
/// when `text` is of another length or holds anything else.
bool hex_to_bytes(std::string_view text, std::uint8_t* bytes, std::size_t count);

}  // namespace quill
