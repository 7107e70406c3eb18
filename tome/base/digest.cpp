#include "tome/base/digest.h"

#include "digest/sha256.h"
#include "tome/base/error.h"

namespace tome {

Digest digest_of(std::string_view bytes) {
    quill::Sha256 hash;
    hash.update(bytes.data(), bytes.size());
    return {hash.finish()};
}

Digest digest_from_bytes(std::string_view bytes) {
    Digest digest;
    if (bytes.size() != digest.bytes.size()) {
        throw Error(ErrorCode::Corrupt, "corrupt: a digest of " + std::to_string(bytes.size()) + " bytes");
    }
    std::memcpy(digest.bytes.data(), bytes.data(), bytes.size());
    return digest;
}

std::string to_hex(const Digest& digest) {
    static constexpr char digits[] = "0123456789abcdef";
    std::string text;
    text.reserve(64);
    for (const std::uint8_t byte : digest.bytes) {
        text += digits[byte >> 4];
        text += digits[byte & 15];
    }
    return text;
}

}  // namespace tome
