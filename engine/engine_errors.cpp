#include "engine/engine_errors.h"

#include <algorithm>
#include <initializer_list>
#include <string_view>

namespace quill {
namespace {

bool holds(const std::exception& error, std::string_view words) {
    return std::string_view(error.what()).find(words) != std::string_view::npos;
}

bool holds_any(const std::exception& error, std::initializer_list<std::string_view> texts) {
    return std::any_of(texts.begin(), texts.end(), [&](std::string_view words) { return holds(error, words); });
}

}  // namespace

bool says_that_branch_moved(const std::exception& error) {
    return holds(error, "has moved");
}

bool says_that_nothing_is_staged(const std::exception& error) {
    return holds(error, "Nothing staged for commit");
}

bool says_that_history_is_missing(const std::exception& error) {
    return holds(error, "tome_repository_clone") && holds(error, "Not found");
}

bool says_that_branch_exists(const std::exception& error) {
    return holds(error, "already exists");
}

bool says_that_repository_exists(const std::exception& error) {
    return holds_any(error, {"Already exists", "already exists", "exists with id", "exist with id"});
}

bool says_that_checkout_is_damaged(const std::exception& error) {
    return holds_any(error, {"corrupt ", "missing object", "damaged checkout configuration", "not a checkout"});
}

bool says_that_history_was_started(const std::exception& error) {
    return holds_any(error, {"Already exists", "already exists"});
}

}  // namespace quill
