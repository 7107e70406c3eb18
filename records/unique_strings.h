// Lists of identifiers.
#pragma once

#include <string>
#include <vector>

namespace quill {

/// `texts` without empty ones and later duplicates, in first-seen order.
std::vector<std::string> unique_non_empty_strings(const std::vector<std::string>& texts);

}  // namespace quill
