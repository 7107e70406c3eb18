// Workspace ids: 1 to 63 letters, digits, "_" and "-", the first a letter or digit. They name branches and folders.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace quill {

/// The length of the longest id.
inline constexpr std::size_t max_workspace_id_bytes = 63;

/// Whether `id` may name a workspace. ASCII letters and digits only, whatever the locale.
bool is_valid_workspace_id(std::string_view id);

/// The id for a name: lower case, every run of other characters one "-", none at the ends, at most 63 bytes;
/// "workspace" when nothing is left.
std::string normalize_workspace_id(std::string_view name);

/// The number-th id to try for a name whose id is `base`: `base` for 1, then `base` with "-2", "-3" and so on, `base`
/// cut where the whole would be longer than `max_bytes`.
std::string numbered_id(const std::string& base, int number, std::size_t max_bytes = std::string::npos);

/// The id itself; "main" for an empty one.
std::string workspace_id_or_main(const std::string& id);

}  // namespace quill
