#include "tome/remote/directory_url.h"

#include <algorithm>
#include <optional>

#include "files/file_url.h"
#include "tome/remote/url_error.h"

namespace tome {

std::filesystem::path directory_of_url(std::string_view url) {
    if (!quill::names_path(url)) {
        refuse_url(url, url.starts_with(quill::file_scheme) ? "a directory remote has no host: file:///absolute/path"
                                                            : "neither file:///absolute/path nor an absolute path");
    }
    const std::optional<std::string> text = quill::path_named_by(url);
    if (!text) {
        refuse_url(url, "malformed percent-encoding");
    }
    if (text->find('\0') != std::string::npos) {
        refuse_url(url, "NUL in the path");
    }
    const std::filesystem::path path(*text);
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
