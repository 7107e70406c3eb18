// The compression function of SHA-256 (FIPS 180-4, section 6.2) in its implementations. Each takes the state and whole
// 64-byte blocks; all give the same result. For digest/sha256 and its tests.
#pragma once

#include <cstddef>
#include <cstdint>

namespace quill {

using Sha256Compression = void (*)(std::uint32_t state[8], const std::uint8_t* blocks, std::size_t count);

void sha256_compress_portable(std::uint32_t state[8], const std::uint8_t* blocks, std::size_t count);

/// With the SHA extensions of x86; null where the program was not built for x86 or the processor lacks them.
Sha256Compression sha256_compression_x86();

/// With the cryptography extensions of Armv8; null likewise.
Sha256Compression sha256_compression_armv8();

/// The 64 round constants.
extern const std::uint32_t sha256_round_constants[64];

}  // namespace quill
