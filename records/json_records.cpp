#include "records/json_records.h"

#include <algorithm>
#include <charconv>
#include <locale>
#include <sstream>
#include <system_error>

#include "records/json_value.h"

namespace quill {
namespace {

// The text after the colon that follows the first `key` in quotes.
std::optional<std::string_view> find_member(std::string_view text, std::string_view key) {
    const std::string quoted = '"' + std::string(key) + '"';
    const std::size_t found = text.find(quoted);
    const std::size_t colon = found == text.npos ? found : text.find(':', found + quoted.size());
    return colon == text.npos ? std::nullopt : std::optional(text.substr(colon + 1));
}

std::string_view skip_white_space(std::string_view text) {
    return text.substr(std::min(text.find_first_not_of(" \t\n\v\f\r"), text.size()));
}

// The text from the first `quoted` on that a colon follows; empty when there is none.
std::string_view named_anywhere(std::string_view text, std::string_view quoted) {
    for (std::size_t at = text.find(quoted); at != text.npos; at = text.find(quoted, at + 1)) {
        if (skip_white_space(text.substr(at + quoted.size())).starts_with(':')) {
            return text.substr(at);
        }
    }
    return {};
}

// The value of a member that `json_written_member` found.
std::string_view written_value(std::string_view member, std::string_view key) {
    return member.empty() ? member : skip_white_space(member.substr(member.find(':', key.size() + 2) + 1));
}

}  // namespace

std::optional<std::string> json_array_text(std::string_view text, std::string_view key) {
    const auto member = find_member(text, key);
    const std::size_t open = member ? member->find('[') : std::string_view::npos;
    if (open == std::string_view::npos) {
        return std::nullopt;
    }
    const std::string_view rest = member->substr(open + 1);
    std::size_t depth = 1;
    bool in_string = false;
    for (std::size_t i = 0; i < rest.size(); ++i) {
        if (rest[i] == '"') {
            in_string = !in_string;
        } else if (!in_string && rest[i] == '[') {
            ++depth;
        } else if (!in_string && rest[i] == ']' && --depth == 0) {
            return std::string(rest.substr(0, i));
        }
    }
    return std::nullopt;
}

std::vector<std::string> json_top_level_object_entries(std::string_view text) {
    std::vector<std::string> entries;
    std::size_t start = text.npos;
    std::size_t braces = 0;
    std::size_t brackets = 0;
    bool in_string = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (c == '"') {
            in_string = !in_string;
        } else if (in_string) {
            continue;
        } else if (c == '[') {
            ++brackets;
        } else if (c == ']' && brackets > 0) {
            --brackets;
        } else if (c == '{') {
            if (braces++ == 0 && brackets == 0) {
                start = i;
            }
        } else if (c == '}' && braces > 0 && --braces == 0 && start != text.npos) {
            entries.emplace_back(text.substr(start, i + 1 - start));
            start = text.npos;
        }
    }
    return entries;
}

std::string json_string(std::string_view text, std::string_view key) {
    const auto member = find_member(text, key);
    const std::size_t open = member ? member->find('"') : std::string_view::npos;
    if (open == std::string_view::npos) {
        return {};
    }
    std::size_t close = member->find('"', open + 1);
    while (close != member->npos && (*member)[close - 1] == '\\') {
        close = member->find('"', close + 1);
    }
    return close == member->npos ? std::string() : json_unescape(member->substr(open + 1, close - open - 1));
}

bool json_bool(std::string_view text, std::string_view key, bool missing) {
    const auto member = find_member(text, key);
    return member ? skip_white_space(*member).starts_with("true") : missing;
}

std::uint64_t json_u64(std::string_view text, std::string_view key, std::uint64_t missing) {
    const auto member = find_member(text, key);
    if (!member) {
        return missing;
    }
    const std::string_view digits = skip_white_space(*member);
    std::uint64_t value = 0;
    const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    return result.ec == std::errc() ? value : missing;
}

std::optional<std::array<double, 3>> json_vector3(std::string_view text, std::string_view key) {
    const auto member = find_member(text, key);
    const std::size_t open = member ? member->find('[') : std::string_view::npos;
    const std::size_t close = open == std::string_view::npos ? open : member->find(']', open);
    if (close == std::string_view::npos) {
        return std::nullopt;
    }
    std::istringstream in(std::string(member->substr(open + 1, close - open - 1)));
    in.imbue(std::locale::classic());
    std::array<double, 3> vector{};
    char first = 0;
    char second = 0;
    in >> vector[0] >> first >> vector[1] >> second >> vector[2];
    return in && first == ',' && second == ',' ? std::optional(vector) : std::nullopt;
}

std::string_view json_written_member(std::string_view text, std::string_view key) {
    const std::string quoted = '"' + std::string(key) + '"';
    std::size_t depth = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '"') {
            const bool named = depth == 1 && text.substr(i).starts_with(quoted);
            if (named && skip_white_space(text.substr(i + quoted.size())).starts_with(':')) {
                return text.substr(i);
            }
            i = std::min(json_string_end(text, i + 1), text.size() - 1);
        } else if (text[i] == '{' || text[i] == '[') {
            ++depth;
        } else if ((text[i] == '}' || text[i] == ']') && depth > 0 && --depth == 0) {
            return {};
        }
    }
    return named_anywhere(text, quoted);
}

std::string json_written_string(std::string_view text, std::string_view key) {
    const std::string_view member = json_written_member(text, key);
    const std::string_view value = written_value(member, key);
    if (!value.starts_with('"')) {
        return json_string(member, key);
    }
    const std::size_t end = json_string_end(value, 1);
    return end == value.npos ? std::string() : json_unescape(value.substr(1, end - 1));
}

std::string_view json_written_array(std::string_view text, std::string_view key) {
    const std::string_view value = written_value(json_written_member(text, key), key);
    if (!value.starts_with('[')) {
        return {};
    }
    std::size_t depth = 0;
    for (std::size_t i = 0; i < value.size(); ++i) {
        if (value[i] == '"') {
            i = std::min(json_string_end(value, i + 1), value.size() - 1);
        } else if (value[i] == '[') {
            ++depth;
        } else if (value[i] == ']' && --depth == 0) {
            return value.substr(1, i - 1);
        }
    }
    return {};
}

std::vector<std::string_view> json_written_objects(std::string_view text) {
    std::vector<std::string_view> objects;
    std::size_t start = 0;
    std::size_t depth = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '"') {
            i = std::min(json_string_end(text, i + 1), text.size() - 1);
        } else if (text[i] == '{') {
            start = depth++ == 0 ? i : start;
        } else if (text[i] == '}' && depth > 0 && --depth == 0) {
            objects.push_back(text.substr(start, i - start + 1));
        }
    }
    return objects;
}

std::vector<std::string> json_written_strings(std::string_view text) {
    std::vector<std::string> strings;
    for (std::size_t open = text.find('"'); open != text.npos;) {
        const std::size_t close = json_string_end(text, open + 1);
        if (close == text.npos) {
            break;
        }
        strings.push_back(json_unescape(text.substr(open + 1, close - open - 1)));
        open = text.find('"', close + 1);
    }
    return strings;
}

std::string json_unescape(std::string_view text) {
    std::string result;
    result.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\' || i + 1 == text.size()) {
            result += text[i];
            continue;
        }
        ++i;
        result += text[i] == 'n' ? '\n' : text[i];
    }
    return result;
}

std::string json_escape(std::string_view text) {
    std::string result;
    result.reserve(text.size());
    for (const char c : text) {
        if (c == '\n') {
            result += "\\n";
            continue;
        }
        if (c == '"' || c == '\\') {
            result += '\\';
        }
        result += c;
    }
    return result;
}

std::string json_quoted(std::string_view text) {
    return '"' + json_escape(text) + '"';
}

std::string json_text_member(std::string_view key, std::string_view value) {
    return '"' + std::string(key) + "\":" + json_quoted(value);
}

std::string json_number(double value) {
    std::array<char, 32> digits{};  // The longest text, -1.7976931348623157e+308, takes 24.
    const auto result =
        std::to_chars(digits.data(), digits.data() + digits.size(), value, std::chars_format::general, 17);
    return {digits.data(), result.ptr};
}

}  // namespace quill
