#include "content/content_key.h"

#include "digest/sha256.h"

namespace quill {
namespace {

constexpr std::string_view key_prefix = "sha256:";
constexpr std::size_t key_length = key_prefix.size() + 64;

// The value of a hexadecimal digit, which may be of either case; -1 for any other character.
int digit_value(char digit) {
    if (digit >= '0' && digit <= '9') {
        return digit - '0';
    }
    if (digit >= 'a' && digit <= 'f') {
        return digit - 'a' + 10;
    }
    return digit >= 'A' && digit <= 'F' ? digit - 'A' + 10 : -1;
}

}  // namespace

std::string sha256_content_key(std::span<const std::byte> bytes) {
    return std::string(key_prefix) + sha256_hex(bytes);
}

std::optional<std::string> digest_from_key(std::string_view key) {
    if (key.size() != key_length || !key.starts_with(key_prefix)) {
        return std::nullopt;
    }
    return std::string(key.substr(key_prefix.size()));
}

std::string bytes_to_hex(const std::uint8_t* bytes, std::size_t count) {
    static constexpr char digits[] = "0123456789abcdef";
    std::string text;
    text.reserve(2 * count);
    for (std::size_t i = 0; i < count; ++i) {
        text += digits[bytes[i] >> 4];
        text += digits[bytes[i] & 15];
    }
    return text;
}

bool hex_to_bytes(std::string_view text, std::uint8_t* bytes, std::size_t count) {
    if (text.size() % 2 != 0 || text.size() / 2 != count) {
        return false;
    }
    for (std::size_t i = 0; i < count; ++i) {
        const int high = digit_value(text[2 * i]);
        const int low = digit_value(text[2 * i + 1]);
        if (high < 0 || low < 0) {
            return false;
        }
        bytes[i] = static_cast<std::uint8_t>(high * 16 + low);
    }
    return true;
}

}  // namespace quill
