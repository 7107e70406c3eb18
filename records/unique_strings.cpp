#include "records/unique_strings.h"

#include <unordered_set>

namespace quill {

std::vector<std::string> unique_non_empty_strings(const std::vector<std::string>& texts) {
    std::unordered_set<std::string> seen;
    std::vector<std::string> result;
    for (const std::string& text : texts) {
        if (!text.empty() && seen.insert(text).second) {
            result.push_back(text);
        }
    }
    return result;
}

}  // namespace quill
