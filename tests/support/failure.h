// What a failing call says.
#pragma once

#include <functional>
#include <stdexcept>
#include <string>

namespace quill_test {

/// The text of the std::runtime_error that `action` throws, or "no failure". Anything else it throws passes.
inline std::string failure_of(const std::function<void()>& action) {
    try {
        action();
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "no failure";
}

}  // namespace quill_test
