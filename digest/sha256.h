// SHA-256 (FIPS 180-4), streaming. The first use picks the fastest implementation that the processor has. This is the
// one digest of the repository; it depends on nothing else in it, because the engine stands on it, too.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "digest/sha256_compression.h"

namespace quill {

/// A digest in the making. One thread at a time for each object.
class Sha256 {
  public:
    /// With the fastest implementation there is.
    Sha256();
    /// With the given one.
    explicit Sha256(Sha256Compression compression);

    /// Adds `size` bytes.
    void update(const void* data, std::size_t size);

    /// Adds the bytes of `text`.
    void update(std::string_view text) { update(text.data(), text.size()); }

    /// The digest of all bytes added. The object is spent afterwards.
    std::array<std::uint8_t, 32> finish();

    /// Likewise, as 64 lower-case hexadecimal digits.
    std::string finish_hex();

  private:
    Sha256Compression compression_;
    std::array<std::uint32_t, 8> state_;
    std::array<std::uint8_t, 64> pending_{};
    std::size_t pending_size_ = 0;
    std::uint64_t total_ = 0;
};

/// The digest of `bytes` as 64 lower-case hexadecimal digits.
std::string sha256_hex(std::span<const std::byte> bytes);

}  // namespace quill
