// SHA-256 with the Armv8 cryptography extensions: four rounds an instruction pair (Arm Architecture Reference Manual,
// SHA256H, SHA256H2, SHA256SU0, SHA256SU1).
#include "digest/sha256_compression.h"

// Before version 16, clang declares the intrinsics only where the whole program is built for processors that have them,
// which is so for Apple's by default.
#if defined(__aarch64__) && (!defined(__clang__) || defined(__ARM_FEATURE_SHA2) || __clang_major__ >= 16)

#include <arm_neon.h>
#if defined(__linux__)
#include <asm/hwcap.h>
#include <sys/auxv.h>
#endif

#if defined(__clang__)
#define QUILL_TARGET_SHA2 __attribute__((target("sha2")))
#else
#define QUILL_TARGET_SHA2 __attribute__((target("+crypto")))
#endif

namespace quill {
namespace {

bool processor_has_sha() {
#if defined(__linux__)
    return (getauxval(AT_HWCAP) & HWCAP_SHA2) != 0;
#elif defined(__APPLE__)
    return true;  // Every 64-bit Apple processor has them.
#else
    return false;
#endif
}

QUILL_TARGET_SHA2 void compress(std::uint32_t state[8], const std::uint8_t* blocks, std::size_t count) {
    uint32x4_t abcd = vld1q_u32(state);
    uint32x4_t efgh = vld1q_u32(state + 4);
    for (; count > 0; --count, blocks += 64) {
        const uint32x4_t abcd_before = abcd;
        const uint32x4_t efgh_before = efgh;
        uint32x4_t w[4];
        for (int i = 0; i < 16; ++i) {
            uint32x4_t& now = w[i % 4];
            if (i < 4) {
                now = vreinterpretq_u32_u8(vrev32q_u8(vld1q_u8(blocks + 16 * i)));
            } else {
                now = vsha256su1q_u32(vsha256su0q_u32(now, w[(i + 1) % 4]), w[(i + 2) % 4], w[(i + 3) % 4]);
            }
            const uint32x4_t sum = vaddq_u32(now, vld1q_u32(sha256_round_constants + 4 * i));
            const uint32x4_t abcd_old = abcd;
            abcd = vsha256hq_u32(abcd, efgh, sum);
            efgh = vsha256h2q_u32(efgh, abcd_old, sum);
        }
        abcd = vaddq_u32(abcd, abcd_before);
        efgh = vaddq_u32(efgh, efgh_before);
    }
    vst1q_u32(state, abcd);
    vst1q_u32(state + 4, efgh);
}

}  // namespace

Sha256Compression sha256_compression_armv8() {
    static const bool available = processor_has_sha();
    return available ? compress : nullptr;
}

}  // namespace quill

#else

namespace quill {

Sha256Compression sha256_compression_armv8() {
    return nullptr;
}

}  // namespace quill

#endif
