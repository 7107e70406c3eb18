#include "tool/options.h"

#include <algorithm>

namespace quill_tool {

std::map<std::string, std::string> scan_options(const std::vector<std::string>& arguments, std::size_t first,
                                                std::initializer_list<std::string_view> names) {
    std::map<std::string, std::string> values;
    for (std::size_t i = first; i + 1 < arguments.size(); ++i) {
        const bool known = std::find(names.begin(), names.end(), arguments[i]) != names.end();
        if (known && !arguments[i + 1].empty()) {
            values[arguments[i]] = arguments[i + 1];
            ++i;
        }
    }
    return values;
}

}  // namespace quill_tool
