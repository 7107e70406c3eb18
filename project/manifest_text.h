// The manifest's text: a scanner for string values, the escaping of written ones, and the insertion of keys that leaves
// everything else as it stands. The scanner is no JSON parser; its behaviour is part of the format (docs/formats.md).
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace quill {

/// The string value of the first `"key"` in `text`, unescaped: what stands between the next double quote after the next
/// colon and the next unescaped one. `fallback` when any of these is missing; an empty value yields empty text.
std::string manifest_string(std::string_view text, std::string_view key, const std::string& fallback);

/// `value` with line feed, double quote and backslash escaped; every other byte as it is.
std::string escape_manifest_string(std::string_view value);

/// `text` with `"id": "<id>"` put directly after its first "{". Throws std::runtime_error "Invalid project manifest: "
/// + manifest_path when there is none.
std::string insert_manifest_id(std::string text, const std::string& id, const std::filesystem::path& manifest_path);

/// `text` with `key` put before its last "}", unless it has a value that is not empty. Throws std::runtime_error
/// "Invalid project manifest: " + manifest_path when there is no "{" before a "}".
std::string set_manifest_key(std::string text, std::string_view key, std::string_view value,
                             const std::filesystem::path& manifest_path);

}  // namespace quill
