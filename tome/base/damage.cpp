#include "tome/base/damage.h"

#include <array>

namespace tome {
namespace {

// By DatabaseKind.
constexpr std::array<std::string_view, 3> beginnings{"corrupt database: ", "corrupt index: ", "corrupt store: "};

}  // namespace

Error damaged(DatabaseKind kind, const std::string& what) {
    return Error(ErrorCode::Corrupt, std::string(beginnings.at(static_cast<std::size_t>(kind))) + what);
}

std::string_view what_is_damaged(std::string_view text) {
    for (const std::string_view beginning : beginnings) {
        if (text.starts_with(beginning)) {
            return text.substr(beginning.size());
        }
    }
    return {};
}

}  // namespace tome
