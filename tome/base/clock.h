// The wall clock, as revisions and branches record it.
#pragma once

#include <chrono>
#include <cstdint>

namespace tome {

/// ms since the Unix epoch.
inline std::uint64_t current_time() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::milliseconds>(now).count());
}

}  // namespace tome
