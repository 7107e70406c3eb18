#include "files/url_credentials.h"

#include "files/file_url.h"

namespace quill {

bool has_credentials(std::string_view url) {
    return !names_path(url) && url.find('@') != std::string_view::npos;
}

std::string without_credentials(std::string_view url) {
    if (!has_credentials(url)) {
        return std::string(url);
    }
    // A password may hold anything, a slash and a "@", too: everything up to the last "@" goes.
    const std::size_t at = url.rfind('@');
    const std::size_t authority = url.find("://");
    const std::size_t kept = authority < at ? authority + 3 : 0;
    return std::string(url.substr(0, kept)) + "..." + std::string(url.substr(at));
}

}  // namespace quill
