#include "files/file_url.h"

namespace quill {
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

bool is_unreserved(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || c == '_' ||
           c == '.' || c == '~' || c == '/';
}

}  // namespace

bool names_path(std::string_view url) {
    return url.starts_with('/') || url.starts_with("file:///");
}

std::optional<std::string> path_named_by(std::string_view url) {
    if (!names_path(url)) {
        return std::nullopt;
    }
    if (url.starts_with('/')) {
        return std::string(url);
    }
    const std::string_view text = url.substr(file_scheme.size());
    std::string path;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            path += text[i];
            continue;
        }
        const int high = i + 2 < text.size() ? hex_value(text[i + 1]) : -1;
        const int low = i + 2 < text.size() ? hex_value(text[i + 2]) : -1;
        if (high < 0 || low < 0) {
            return std::nullopt;
        }
        path += static_cast<char>(high * 16 + low);
        i += 2;
    }
    return path;
}

std::string file_url_of(std::string_view path) {
    static constexpr char digits[] = "0123456789ABCDEF";
    std::string url(file_scheme);
    for (const char c : path) {
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

}  // namespace quill
