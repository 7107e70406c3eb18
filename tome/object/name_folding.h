// Names as file systems that fold case or normalise compare them: two names with one folded form are one file there.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

namespace tome {

/// The code point at the start of `text`, which is not empty, and its bytes in UTF-8; a byte that begins none stands
/// for itself.
std::pair<char32_t, std::size_t> first_code_point(std::string_view text);

/// The canonical decomposition of the name's case folding (Unicode, full case folding). A byte that is no UTF-8 is
/// equal to itself alone.
std::u32string folded_name(std::string_view name);

}  // namespace tome
