#include "tome/remote/directory_url.h"

#include <algorithm>

#include "tome/remote/url_error.h"

namespace tome {
namespace {

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
            refuse_url(url, "malformed percent-encoding");
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

std::filesystem::path directory_of_url(std::string_view url) {
    std::string text(url);
    if (url.starts_with(directory_scheme)) {
        if (!url.substr(directory_scheme.size()).starts_with('/')) {
            refuse_url(url, "a directory remote has no host: file:///absolute/path");
        }
        text = percent_decoded(url.substr(directory_scheme.size()), url);
    } else if (!url.starts_with('/')) {
        refuse_url(url, "neither file:///absolute/path nor an absolute path");
    }
    if (text.find('\0') != std::string::npos) {
        refuse_url(url, "NUL in the path");
    }
    const std::filesystem::path path(text);
    if (std::find(path.begin(), path.end(), "..") != path.end()) {
        refuse_url(url, "\"..\" in the path");
    }
    std::string normal = path.lexically_normal().string();
    while (normal.size() > 1 && normal.back() == '/') {
        normal.pop_back();
    }
    if (normal.find_first_not_of('/') == std::string::npos) {
        refuse_url(url, "the root directory cannot be a remote");
    }
    return normal;
}

std::string url_of_directory(const std::filesystem::path& directory) {
    static constexpr char digits[] = "0123456789ABCDEF";
    std::string url(directory_scheme);
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

}  // namespace tome
