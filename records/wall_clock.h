// The wall clock, as records and branch metadata write it.
#pragma once

#include <string>

namespace quill {

/// Milliseconds since the Unix epoch, decimal.
std::string wall_clock_milliseconds();

}  // namespace quill
