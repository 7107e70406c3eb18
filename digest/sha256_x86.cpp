// SHA-256 with the x86 SHA extensions: two rounds an instruction. The processor keeps the state as the words ABEF and
// CDGH (Intel 64 and IA-32 Architectures Software Developer's Manual, volume 2, SHA256RNDS2).
#include "digest/sha256_compression.h"

#if defined(__x86_64__) || defined(__i386__)

#include <cpuid.h>
#include <immintrin.h>

namespace quill {
namespace {

bool processor_has_sha() {
    unsigned a = 0, b = 0, c = 0, d = 0;
    if (__get_cpuid(1, &a, &b, &c, &d) == 0 || (c & bit_SSE4_1) == 0 || (c & bit_SSSE3) == 0) {
        return false;
    }
    constexpr unsigned sha_bit = 1U << 29U;
    return __get_cpuid_count(7, 0, &a, &b, &c, &d) != 0 && (b & sha_bit) != 0;
}

__attribute__((target("sha,sse4.1,ssse3"))) void compress(std::uint32_t state[8], const std::uint8_t* blocks,
                                                          std::size_t count) {
    const __m128i swap = _mm_set_epi64x(0x0c0d0e0f08090a0bLL, 0x0405060700010203LL);
    const auto load = [](const void* from) __attribute__((target("sha,sse4.1,ssse3"))) {
        return _mm_loadu_si128(static_cast<const __m128i*>(from));
    };
    const __m128i dcba = load(state);
    const __m128i hgfe = load(state + 4);
    const __m128i cdab = _mm_shuffle_epi32(dcba, 0xb1);
    const __m128i efgh = _mm_shuffle_epi32(hgfe, 0x1b);
    __m128i abef = _mm_alignr_epi8(cdab, efgh, 8);
    __m128i cdgh = _mm_blend_epi16(efgh, cdab, 0xf0);
    for (; count > 0; --count, blocks += 64) {
        const __m128i abef_before = abef;
        const __m128i cdgh_before = cdgh;
        __m128i w[4];
        for (int i = 0; i < 16; ++i) {
            __m128i& now = w[i % 4];
            if (i < 4) {
                now = _mm_shuffle_epi8(load(blocks + 16 * i), swap);
            } else {
                const __m128i last = w[(i + 3) % 4];
                const __m128i nine_back = _mm_alignr_epi8(last, w[(i + 2) % 4], 4);
                now = _mm_add_epi32(_mm_sha256msg1_epu32(now, w[(i + 1) % 4]), nine_back);
                now = _mm_sha256msg2_epu32(now, last);
            }
            const __m128i sum = _mm_add_epi32(now, load(sha256_round_constants + 4 * i));
            cdgh = _mm_sha256rnds2_epu32(cdgh, abef, sum);
            abef = _mm_sha256rnds2_epu32(abef, cdgh, _mm_shuffle_epi32(sum, 0x0e));
        }
        abef = _mm_add_epi32(abef, abef_before);
        cdgh = _mm_add_epi32(cdgh, cdgh_before);
    }
    const __m128i feba = _mm_shuffle_epi32(abef, 0x1b);
    const __m128i dchg = _mm_shuffle_epi32(cdgh, 0xb1);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(state), _mm_blend_epi16(feba, dchg, 0xf0));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(state + 4), _mm_alignr_epi8(dchg, feba, 8));
}

}  // namespace

Sha256Compression sha256_compression_x86() {
    static const bool available = processor_has_sha();
    return available ? compress : nullptr;
}

}  // namespace quill

#else

namespace quill {

Sha256Compression sha256_compression_x86() {
    return nullptr;
}

}  // namespace quill

#endif
