#include "digest/sha256.h"

#include <algorithm>
#include <cstring>

namespace quill {
namespace {

// Section 5.3.3: the first 32 bits of the fractional parts of the square roots of the first eight primes.
constexpr std::array<std::uint32_t, 8> initial_state{0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a,
                                                     0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19};

Sha256Compression fastest_compression() {
    static const Sha256Compression fastest = [] {
        if (const Sha256Compression x86 = sha256_compression_x86()) {
            return x86;
        }
        const Sha256Compression armv8 = sha256_compression_armv8();
        return armv8 != nullptr ? armv8 : sha256_compress_portable;
    }();
    return fastest;
}

}  // namespace

Sha256::Sha256() : Sha256(fastest_compression()) {}

Sha256::Sha256(Sha256Compression compression) : compression_(compression), state_(initial_state) {}

void Sha256::update(const void* data, std::size_t size) {
    const auto* bytes = static_cast<const std::uint8_t*>(data);
    total_ += size;
    if (pending_size_ > 0) {
        const std::size_t taken = std::min(size, pending_.size() - pending_size_);
        std::copy_n(bytes, taken, pending_.begin() + static_cast<std::ptrdiff_t>(pending_size_));
        pending_size_ += taken;
        bytes += taken;
        size -= taken;
        if (pending_size_ < pending_.size()) {
            return;
        }
        compression_(state_.data(), pending_.data(), 1);
        pending_size_ = 0;
    }
    if (const std::size_t blocks = size / 64; blocks > 0) {
        compression_(state_.data(), bytes, blocks);
        bytes += blocks * 64;
        size -= blocks * 64;
    }
    if (size > 0) {
        std::copy_n(bytes, size, pending_.begin());
        pending_size_ = size;
    }
}

std::array<std::uint8_t, 32> Sha256::finish() {
    // Section 5.1.1: a one bit, zeros, and the length in bits as 64 bits.
    const std::uint64_t bits = total_ * 8;
    std::array<std::uint8_t, 72> padding{0x80};
    const std::size_t zeros_end = (pending_size_ < 56 ? 56 : 120) - pending_size_;
    for (std::size_t i = 0; i < 8; ++i) {
        padding[zeros_end + i] = static_cast<std::uint8_t>(bits >> (56 - 8 * i));
    }
    update(padding.data(), zeros_end + 8);
    std::array<std::uint8_t, 32> digest{};
    for (std::size_t i = 0; i < digest.size(); ++i) {
        digest[i] = static_cast<std::uint8_t>(state_[i / 4] >> (24 - 8 * (i % 4)));
    }
    return digest;
}

std::string Sha256::finish_hex() {
    static constexpr char digits[] = "0123456789abcdef";
    std::string text;
    for (const std::uint8_t byte : finish()) {
        text += digits[byte >> 4];
        text += digits[byte & 15];
    }
    return text;
}

std::string sha256_hex(std::span<const std::byte> bytes) {
    Sha256 hash;
    hash.update(bytes.data(), bytes.size());
    return hash.finish_hex();
}

}  // namespace quill
