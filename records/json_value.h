// The structure of a JSON text (RFC 8259), read strictly: for telling whether a record file can be read as a whole, and
// for finding what it holds besides. Strings may hold any byte, as this system writes them. Pure functions, safe on any
// thread.
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>
#include <vector>

namespace quill {

/// One member of an object, as it stands.
struct JsonMember {
    std::string_view key;    ///< between its quotes
    std::string_view value;  ///< without the white space around it
};

/// Where the string whose text begins at `start` has its closing quote, escapes observed; npos without one.
std::size_t json_string_end(std::string_view text, std::size_t start);

/// The members of the object that `text` is, white space around it allowed; nothing when it is anything else, has a
/// damaged value or is nested deeper than 64 levels.
std::optional<std::vector<JsonMember>> json_object_members(std::string_view text);

/// The same for the values of an array.
std::optional<std::vector<std::string_view>> json_array_values(std::string_view text);

}  // namespace quill
