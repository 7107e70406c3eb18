// User names and passwords in URLs, which belong neither in messages nor in files that others read.
#pragma once

#include <string>
#include <string_view>

namespace quill {

/// Whether there is a user name or a password in the URL. There is none in what names a path (files/file_url.h).
bool has_credentials(std::string_view url);

/// The URL with "..." in their place.
std::string without_credentials(std::string_view url);

}  // namespace quill
