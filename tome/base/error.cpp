#include "tome/base/error.h"

#include <system_error>

#include "files/trace.h"

namespace tome {

Error system_error(const std::string& what, int number) {
    if (quill::is_traced()) {
        quill::trace_line("error", what + " (errno " + std::to_string(number) + ")");
    }
    return {ErrorCode::Io, what + ": " + std::generic_category().message(number)};
}

}  // namespace tome
