#include "records/wall_clock.h"

#include <chrono>

namespace quill {

std::string wall_clock_milliseconds() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return std::to_string(std::chrono::duration_cast<std::chrono::milliseconds>(now).count());
}

}  // namespace quill
