// The name of an object: the SHA-256 (FIPS 180-4) of its bytes. It has a type of its own, so that the compiler refuses
// any other text.
#pragma once

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <string>
#include <string_view>

namespace tome {

struct Digest {
    std::array<std::uint8_t, 32> bytes{};

    auto operator<=>(const Digest&) const = default;

    /// All zero: no object.
    bool is_zero() const { return *this == Digest{}; }
    std::string_view view() const { return {reinterpret_cast<const char*>(bytes.data()), bytes.size()}; }
};

struct DigestHash {
    std::size_t operator()(const Digest& digest) const {
        std::size_t value = 0;
        std::memcpy(&value, digest.bytes.data(), sizeof value);
        return value;
    }
};

/// The digest of `bytes`.
Digest digest_of(std::string_view bytes);

/// Takes 32 raw bytes. Throws Error(Corrupt) for any other length.
Digest digest_from_bytes(std::string_view bytes);

/// 64 lower-case hexadecimal digits.
std::string to_hex(const Digest& digest);

}  // namespace tome
