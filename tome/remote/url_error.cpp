#include "tome/remote/url_error.h"

#include "tome/base/error.h"

namespace tome {

std::string without_credentials(std::string_view url) {
    const std::size_t at = url.rfind('@');
    const bool is_directory = url.starts_with('/') || url.starts_with("file:///");
    if (at == std::string_view::npos || is_directory) {
        return std::string(url);
    }
    // A password may hold anything, so everything up to the last "@" goes.
    const std::size_t authority = url.find("://");
    const std::size_t kept = authority < at ? authority + 3 : 0;
    return std::string(url.substr(0, kept)) + "..." + std::string(url.substr(at));
}

void refuse_url(std::string_view url, const std::string& why) {
    throw Error(ErrorCode::Invalid, "invalid remote URL (" + why + "): " + without_credentials(url));
}

}  // namespace tome
