#include "tome/object/branch_name.h"

#include <algorithm>

namespace tome {

BranchName BranchName::parse(std::string_view text) {
    const auto allowed = [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' || c == '-' ||
               c == '.';
    };
    if (text.empty() || text.size() > 255 || text.front() == '.' || !std::all_of(text.begin(), text.end(), allowed)) {
        throw Error(ErrorCode::Invalid, "invalid branch name: " + std::string(text));
    }
    return BranchName(std::string(text));
}

Error missing_branch(const BranchName& name) {
    return {ErrorCode::NotFound, "branch does not exist: " + name.text()};
}

}  // namespace tome
