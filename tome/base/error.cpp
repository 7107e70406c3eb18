#include "tome/base/error.h"

#include <system_error>

namespace tome {

Error system_error(const std::string& what, int number) {
    return {ErrorCode::Io, what + ": " + std::generic_category().message(number)};
}

}  // namespace tome
