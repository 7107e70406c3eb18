// URLs of directories: "file:///absolute/path" with percent-encoding (RFC 3986, RFC 8089), or an absolute path.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace tome {

/// The directory that a URL names. Throws Error(Invalid) with a text that names the URL, without any user name and
/// password in it, for another scheme, a host, a relative path, "..", NUL or malformed encoding.
std::filesystem::path directory_of_url(std::string_view url);

/// The one form in which a directory is written down as a URL: "file://" and the percent-encoded path. It has no quote,
/// no "#", no control character, so that it stands in any configuration file as it is.
std::string url_of_directory(const std::filesystem::path& directory);

}  // namespace tome
