#include "project/workspace_id.h"

#include <algorithm>

namespace quill {
namespace {

bool is_letter_or_digit(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
}

void remove_trailing_dashes(std::string& text) {
    while (text.ends_with('-')) {
        text.pop_back();
    }
}

}  // namespace

bool is_valid_workspace_id(std::string_view id) {
    return !id.empty() && id.size() <= max_workspace_id_bytes && is_letter_or_digit(id.front()) &&
           std::all_of(id.begin(), id.end(), [](char c) { return is_letter_or_digit(c) || c == '_' || c == '-'; });
}

std::string normalize_workspace_id(std::string_view name) {
    std::string id;
    for (const char c : name) {
        if (is_letter_or_digit(c)) {
            id += c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
        } else if (!id.empty() && id.back() != '-') {
            id += '-';
        }
    }
    remove_trailing_dashes(id);
    if (id.size() > max_workspace_id_bytes) {
        id.resize(max_workspace_id_bytes);
        remove_trailing_dashes(id);
    }
    return id.empty() ? "workspace" : id;
}

std::string numbered_id(const std::string& base, int number, std::size_t max_bytes) {
    const std::string suffix = number == 1 ? "" : "-" + std::to_string(number);
    return base.substr(0, max_bytes - suffix.size()) + suffix;
}

std::string workspace_id_or_main(const std::string& id) {
    return id.empty() ? "main" : id;
}

}  // namespace quill
