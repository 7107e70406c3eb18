#include "tome/remote/remote_url.h"

#include <algorithm>

#include "tome/base/error.h"

namespace tome {
namespace {

constexpr std::string_view scheme = "file://";

[[noreturn]] void refuse(std::string_view url, const std::string& why) {
    throw Error(ErrorCode::Invalid, "invalid remote URL (" + why + "): " + without_credentials(url));
}

int hex_value(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'a' && c <= 'f') {
        return c - 'a' + 10;
    }
    return c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
}

std::string percent_decoded(std::string_view text, std::string_view url) {
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            result += text[i];
            continue;
        }
        const int high = i + 2 < text.size() ? hex_value(text[i + 1]) : -1;
        const int low = i + 2 < text.size() ? hex_value(text[i + 2]) : -1;
        if (high < 0 || low < 0) {
            refuse(url, "malformed percent-encoding");
        }
        result += static_cast<char>(high * 16 + low);
        i += 2;
    }
    return result;
}

bool is_unreserved(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || c == '_' ||
           c == '.' || c == '~' || c == '/';
}

}  // namespace

std::filesystem::path parse_remote_url(std::string_view url) {
    std::string text(url);
    if (url.starts_with(scheme)) {
        if (!url.substr(scheme.size()).starts_with('/')) {
            refuse(url, "a directory remote has no host: file:///absolute/path");
        }
        text = percent_decoded(url.substr(scheme.size()), url);
    } else if (!url.starts_with('/')) {
        refuse(url, "neither file:///absolute/path nor an absolute path");
    }
    if (text.find('\0') != std::string::npos) {
        refuse(url, "NUL in the path");
    }
    const std::filesystem::path path(text);
    if (std::find(path.begin(), path.end(), "..") != path.end()) {
        refuse(url, "\"..\" in the path");
    }
    std::string normal = path.lexically_normal().string();
    while (normal.size() > 1 && normal.back() == '/') {
        normal.pop_back();
    }
    if (normal.find_first_not_of('/') == std::string::npos) {
        refuse(url, "the root directory cannot be a remote");
    }
    return normal;
}

std::string canonical_url(const std::filesystem::path& directory) {
    static constexpr char digits[] = "0123456789ABCDEF";
    std::string url(scheme);
    for (const char c : directory.string()) {
        if (is_unreserved(c)) {
            url += c;
        } else {
            const auto byte = static_cast<unsigned char>(c);
            url += '%';
            url += digits[byte >> 4];
            url += digits[byte & 15];
        }
    }
    return url;
}

bool is_repository_url(std::string_view text) {
    return text.find('/') != std::string_view::npos || text.find("://") != std::string_view::npos;
}

RepositoryLocation parse_repository_url(std::string_view url) {
    const std::size_t slash = url.rfind('/');
    if (slash == std::string_view::npos) {
        refuse(url, "no repository name");
    }
    const std::string_view name = url.substr(slash + 1);
    const auto allowed = [](char c) { return is_unreserved(c) && c != '/' && c != '~'; };
    if (name.empty() || name.size() > 200 || name.front() == '.' || !std::all_of(name.begin(), name.end(), allowed)) {
        refuse(url, "invalid repository name");
    }
    std::string_view remote = url.substr(0, slash);
    while (remote.ends_with('/') && remote != scheme) {
        remote.remove_suffix(1);
    }
    return {parse_remote_url(remote), std::string(name)};
}

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

}  // namespace tome
