// Errors about URLs, which say the URL without the user name and password in it.
#pragma once

#include <string>
#include <string_view>

namespace tome {

/// The URL for use in messages: without user name and password.
std::string without_credentials(std::string_view url);

/// Throws Error(Invalid) "invalid remote URL (WHY): URL".
[[noreturn]] void refuse_url(std::string_view url, const std::string& why);

}  // namespace tome
