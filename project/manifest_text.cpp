#include "project/manifest_text.h"

#include <stdexcept>

namespace quill {
namespace {

constexpr std::string_view white_space = " \t\n\r";

std::string unescape(std::string_view raw) {
    std::string value;
    for (std::size_t i = 0; i < raw.size(); ++i) {
        if (raw[i] != '\\' || i + 1 == raw.size()) {
            value += raw[i];
            continue;
        }
        ++i;
        value += raw[i] == 'n' ? '\n' : raw[i];
    }
    return value;
}

[[noreturn]] void invalid(const std::filesystem::path& manifest_path) {
    throw std::runtime_error("Invalid project manifest: " + manifest_path.string());
}

}  // namespace

std::string manifest_string(std::string_view text, std::string_view key, const std::string& fallback) {
    const std::size_t found = text.find('"' + std::string(key) + '"');
    const std::size_t colon = found == std::string_view::npos ? found : text.find(':', found);
    const std::size_t quote = colon == std::string_view::npos ? colon : text.find('"', colon + 1);
    if (quote == std::string_view::npos) {
        return fallback;
    }
    bool escaped = false;
    for (std::size_t i = quote + 1; i < text.size(); ++i) {
        if (text[i] == '"' && !escaped) {
            return unescape(text.substr(quote + 1, i - quote - 1));
        }
        escaped = text[i] == '\\' && !escaped;
    }
    return fallback;
}

std::string escape_manifest_string(std::string_view value) {
    std::string text;
    for (const char c : value) {
        if (c == '\n') {
            text += "\\n";
        } else {
            if (c == '"' || c == '\\') {
                text += '\\';
            }
            text += c;
        }
    }
    return text;
}

std::string insert_manifest_id(std::string text, const std::string& id, const std::filesystem::path& manifest_path) {
    const std::size_t brace = text.find('{');
    if (brace == std::string::npos) {
        invalid(manifest_path);
    }
    const std::size_t next = text.find_first_not_of(white_space, brace + 1);
    const bool last = next != std::string::npos && text[next] == '}';
    text.insert(brace + 1, "\n  \"id\": \"" + id + "\"" + (last ? "" : ","));
    return text;
}

std::string set_manifest_key(std::string text, std::string_view key, std::string_view value,
                             const std::filesystem::path& manifest_path) {
    if (!manifest_string(text, key, "").empty()) {
        return text;
    }
    const std::size_t open = text.find('{');
    const std::size_t close = text.rfind('}');
    if (open == std::string::npos || close == std::string::npos || close < open) {
        invalid(manifest_path);
    }
    const std::size_t last = text.find_last_not_of(white_space, close - 1);
    text.insert(last + 1, std::string(last == open ? "" : ",") + "\n  \"" + std::string(key) + "\": \"" +
                              escape_manifest_string(value) + "\"");
    return text;
}

}  // namespace quill
