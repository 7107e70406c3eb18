#include "tome/remote/remote_url.h"

#include <algorithm>

#include "files/file_url.h"
#include "tome/remote/directory_url.h"
#include "tome/remote/url_error.h"

namespace tome {
namespace {

bool may_be_in_name(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || c == '_' ||
           c == '.';
}

// Every remote is a directory so far.
std::string canonical_url(std::string_view remote_url) {
    return url_of_directory(directory_of_url(remote_url));
}

}  // namespace

bool is_repository_url(std::string_view text) {
    return text.find('/') != std::string_view::npos || text.find("://") != std::string_view::npos;
}

RepositoryLocation parse_repository_url(std::string_view url) {
    const std::size_t slash = url.rfind('/');
    if (slash == std::string_view::npos) {
        refuse_url(url, "no repository name");
    }
    const std::string_view name = url.substr(slash + 1);
    if (name.empty() || name.size() > 200 || name.front() == '.' ||
        !std::all_of(name.begin(), name.end(), may_be_in_name)) {
        refuse_url(url, "invalid repository name");
    }
    std::string_view remote = url.substr(0, slash);
    while (remote.ends_with('/') && remote != quill::file_scheme) {
        remote.remove_suffix(1);
    }
    return {canonical_url(remote), std::string(name)};
}

std::string repository_url(const RepositoryLocation& location) {
    return location.remote_url + "/" + location.name;
}

}  // namespace tome
