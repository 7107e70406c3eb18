// The name of a blob: a content that belongs to no tree.
#pragma once

#include <array>
#include <cstdint>

#include "tome/base/digest.h"

namespace tome {

struct BlobKey {
    std::array<std::uint8_t, 16> partition{};
    Digest digest;
    std::array<std::uint8_t, 16> context{};
};

/// Whether a blob of a checkout goes to the remote: never, with the next flush, or it is there already.
enum class BlobState : std::int64_t { Local = 0, Unflushed = 1, Flushed = 2 };

}  // namespace tome
