#include "tome/remote/directory_url.h"

#include <algorithm>
#include <optional>

#include "tome/remote/url_error.h"

namespace tome {
std::filesystem::path directory_of_url(std::string_view url) {
    std::string text(url);
    if (url.starts_with(directory_scheme)) {
        if (!url.substr(directory_scheme.size()).starts_with('/')) {
            refuse_url(url, "a directory remote has no host: file:///absolute/path");
        }
        const std::optional<std::string> path = quill::path_of_file_url(url);
        if (!path) {
            refuse_url(url, "malformed percent-encoding");
        }
        text = *path;
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
    return quill::file_url_of(directory.native());
}

}  // namespace tome
