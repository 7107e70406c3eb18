// The scan for options behind a command's fixed arguments.
#pragma once

#include <initializer_list>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace quill_tool {

/// The values of the options in `names` among `arguments` from index `first` on. An option counts when a value that is
/// not empty follows; the last one wins. Everything else is passed over, one argument at a time.
std::map<std::string, std::string> scan_options(const std::vector<std::string>& arguments, std::size_t first,
                                                std::initializer_list<std::string_view> names);

}  // namespace quill_tool
