// URLs of files and folders: "file://" and the path, percent-encoded (RFC 3986, RFC 8089). Where one may stand, an
// absolute path may stand, too.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace quill {

inline constexpr std::string_view file_scheme = "file://";

/// Whether the text is an absolute path or a URL that begins with "file:///".
bool names_path(std::string_view url);

/// The path that such a text names; nothing for any other text and for malformed encoding.
std::optional<std::string> path_named_by(std::string_view url);

/// The URL of an absolute path. What is neither a letter, a digit, one of "-_.~" nor "/" is encoded.
std::string file_url_of(std::string_view path);

}  // namespace quill
