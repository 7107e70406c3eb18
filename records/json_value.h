// The structure of a JSON text (RFC 8259), read strictly: to tell whether a record file is whole, and to find the
// members in it that this version does not know. Strings may hold any byte, as this system writes them. Pure functions,
// safe on any thread.
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>
#include <vector>

namespace quill {

/// One member of an object, its texts as they are written.
struct JsonMember {
    std::string_view key;    ///< between its quotes
    std::string_view value;  ///< without the white space around it
};

/// The position of the closing quote of the string whose text begins at `start`; npos without one. An escaped quote
/// closes nothing.
std::size_t json_string_end(std::string_view text, std::size_t start);

/// The members of an object. `text` is the object, with white space around it or not. Nothing when it is anything else,
/// has a damaged value or is nested deeper than 64 levels.
std::optional<std::vector<JsonMember>> json_object_members(std::string_view text);

/// The values of an array, under the same conditions.
std::optional<std::vector<std::string_view>> json_array_values(std::string_view text);

}  // namespace quill
