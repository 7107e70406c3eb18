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

// Readers of a member take the text of an object or of a whole file. The member is the first occurrence of the quoted
// key, however deep it is nested and even inside a string; its value is what follows the next colon.

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

/// Undoes `json_escape`: backslash and "n" is a line feed, a backslash before any other character is dropped. One at
/// the end stays.
std::string json_unescape(std::string_view text);

/// `text` for use between quotes: the quote, the backslash and the line feed escaped, every other byte unchanged.
std::string json_escape(std::string_view text);

/// `value` in general notation with 17 significant digits, from which the same value is read back.
std::string json_number(double value);

}  // namespace quill
