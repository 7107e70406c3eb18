// Errors about URLs, which say the URL without the user name and password in it.
#pragma once

#include <string>
#include <string_view>

namespace tome {

/// Throws Error(Invalid) "invalid remote URL (WHY): URL".
[[noreturn]] void refuse_url(std::string_view url, const std::string& why);

}  // namespace tome
