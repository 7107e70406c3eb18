// Remote and repository URLs: "file:///absolute/path" with percent-encoding (RFC 3986, RFC 8089), or an absolute path.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace tome {

/// The directory that a remote's URL names. Throws Error(Invalid) with a text that names the URL, without any user
/// name and password in it, for another scheme, a host, a relative path, "..", NUL or malformed encoding.
std::filesystem::path parse_remote_url(std::string_view url);

/// The one form in which a remote is written down: "file://" and the percent-encoded path. It has no quote, no "#", no
/// control character, so that it stands in any configuration file as it is.
std::string canonical_url(const std::filesystem::path& directory);

struct RepositoryLocation {
    std::filesystem::path remote;  ///< directory of the remote
    std::string name;              ///< of the repository on it
};

/// Whether the text names a repository on a remote rather than a local one by its plain name.
bool is_repository_url(std::string_view text);

/// Splits "REMOTE/NAME". The name is ASCII letters, digits, "-", "_" and ".", and no "." comes first. Throws
/// Error(Invalid).
RepositoryLocation parse_repository_url(std::string_view url);

/// The URL for use in messages: without user name and password.
std::string without_credentials(std::string_view url);

}  // namespace tome
