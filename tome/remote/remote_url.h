// URLs of remotes and of the repositories on them. A remote is written down in one form, its canonical URL.
#pragma once

#include <string>
#include <string_view>

namespace tome {

struct RepositoryLocation {
    std::string remote_url;  ///< canonical
    std::string name;        ///< of the repository on the remote
};

/// Whether the text names a repository on a remote rather than a local one by its plain name.
bool is_repository_url(std::string_view text);

/// Splits "REMOTE/NAME". The name is ASCII letters, digits, "-", "_" and ".", and no "." comes first. Throws
/// Error(Invalid) with a text that names the URL, without any user name and password in it.
RepositoryLocation parse_repository_url(std::string_view url);

/// The repository's canonical URL: its remote's, "/" and its name.
std::string repository_url(const RepositoryLocation& location);

}  // namespace tome
