// Three-way merge of texts by lines. The result has the changes of both sides; a change that both made appears once.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tome {

/// Files above this size are not merged by lines.
inline constexpr std::uint64_t max_merged_text_bytes = 16U << 20U;

/// Whether the bytes may be merged by lines: not too large, and without NUL.
bool is_mergeable_text(std::string_view bytes);

/// `ours` with what changed from `base` to `theirs`; nothing when both sides changed the same lines, or one
/// inserted lines where the other changed or inserted some, or lines repeat so that it is unsure whether both made the
/// same change, or the sides differ in so much that looking for the lines they share would take too long.
std::optional<std::string> merge_texts(std::string_view base, std::string_view ours, std::string_view theirs);

}  // namespace tome
