// Scanners and value texts for the record files (JSON, RFC 8259, as this system writes it): one record per line, a
// fixed member order, strings that escape the quote, the backslash and the line feed alone. No general JSON parser:
// what the scanners do with other texts is part of the file formats, blind spots included. Pure functions, safe on any
// thread, and the same in every locale.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quill {

// The plain scanners. What they find is fixed, wrong results on some texts included; code of ours reads records by the
// exact readers further down. They take the text of an object or of a whole file. The member is the first occurrence of
// the quoted key, however deep it is nested and even inside a string; its value is what follows the next colon.

/// What stands between an array's brackets. Nothing when the member or its closing bracket is missing. Brackets inside
/// strings do not count, but an escaped quote ends a string like any other.
std::optional<std::string> json_array_text(std::string_view text, std::string_view key);

/// The objects outside of any other object and of any brackets, each with its braces, in order. Strings end as in
/// `json_array_text`.
std::vector<std::string> json_top_level_object_entries(std::string_view text);

/// The next string after the colon, unescaped, whatever stands before it. It ends at a quote that does not follow a
/// backslash. Empty when the member is missing or the string does not end.
std::string json_string(std::string_view text, std::string_view key);

/// Whether the value begins with "true"; `missing` when there is no such member.
bool json_bool(std::string_view text, std::string_view key, bool missing);

/// The leading decimal digits of the value; `missing` when there is no such member, it does not begin with a digit or
/// does not fit.
std::uint64_t json_u64(std::string_view text, std::string_view key, std::uint64_t missing);

/// The three numbers that the next brackets begin with, separated by commas; nothing when they do not.
std::optional<std::array<double, 3>> json_vector3(std::string_view text, std::string_view key);

// The exact readers, for what the writers below wrote. Escaped quotes, brackets, a backslash at the end or the name of
// a member inside a string do not mislead them.

/// The rest of the object `text` from the key of its member on; members of records within the object do not count.
/// Empty when there is no such member. In an object that does not end, the rest from the first quoted `key` that a
/// colon follows. The result is for the scanners above: `json_bool(json_written_member(text, key), key, false)`.
std::string_view json_written_member(std::string_view text, std::string_view key);

/// The member's string, unescaped; the next string after a value that is none. Empty when the member is missing.
std::string json_written_string(std::string_view text, std::string_view key);

/// What stands between the brackets of the member's array; empty when the member is missing, no array or does not end.
std::string_view json_written_array(std::string_view text, std::string_view key);

/// The objects outside of any other object, each with its braces, in order.
std::vector<std::string_view> json_written_objects(std::string_view text);

/// The strings in the text, unescaped, in order; one that does not end is passed over.
std::vector<std::string> json_written_strings(std::string_view text);

// Writers.

/// Undoes `json_escape`: backslash and "n" is a line feed, a backslash before any other character is dropped. One at
/// the end stays.
std::string json_unescape(std::string_view text);

/// `text` for use between quotes: the quote, the backslash and the line feed escaped, every other byte unchanged.
std::string json_escape(std::string_view text);

/// `text` escaped and between quotes.
std::string json_quoted(std::string_view text);

/// A member that is a string: the quoted key, a colon, the quoted value.
std::string json_text_member(std::string_view key, std::string_view value);

/// What `text_of` gives for each item, with `separator` between two of them.
template <typename Items, typename TextOf>
std::string json_joined(const Items& items, std::string_view separator, TextOf text_of) {
    std::string text;
    std::string_view before;
    for (const auto& item : items) {
        text += before;
        text += text_of(item);
        before = separator;
    }
    return text;
}

/// `value` in general notation with 17 significant digits, from which the same value is read back.
std::string json_number(double value);

}  // namespace quill
