#include "project/checkout_configuration.h"

#include <stdexcept>
#include <vector>

#include "files/text_file.h"

namespace quill {
namespace {

std::vector<std::string> lines_of_configuration(const std::filesystem::path& checkout) {
    std::string text;
    try {
        text = read_text_file(tome_configuration_file(checkout));
    } catch (const std::runtime_error&) {
        return {};
    }
    std::vector<std::string> lines;
    for (std::size_t start = 0; start < text.size();) {
        const std::size_t end = text.find('\n', start);
        lines.push_back(text.substr(start, end - start));
        start = end == text.npos ? end : end + 1;
    }
    return lines;
}

std::string trimmed(const std::string& text) {
    constexpr const char* white_space = " \t\n\v\f\r";
    const std::size_t first = text.find_first_not_of(white_space);
    if (first == std::string::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(white_space) - first + 1);
}

}  // namespace

std::filesystem::path tome_state_folder(const std::filesystem::path& checkout) {
    return checkout / tome_state_folder_name;
}

std::filesystem::path tome_configuration_file(const std::filesystem::path& checkout) {
    return tome_state_folder(checkout) / "config.toml";
}

std::optional<std::string> assigned_tome_configuration(const std::filesystem::path& checkout, std::string_view key) {
    for (const std::string& written : lines_of_configuration(checkout)) {
        const std::string line = written.substr(0, written.find('#'));
        const std::size_t equals = line.find('=');
        if (equals == std::string::npos || trimmed(line.substr(0, equals)) != key) {
            continue;
        }
        std::string value = trimmed(line.substr(equals + 1));
        const bool quoted = value.size() >= 2 && value.front() == '"' && value.back() == '"';
        return quoted ? value.substr(1, value.size() - 2) : value;
    }
    return std::nullopt;
}

std::optional<std::string> quoted_tome_configuration(const std::filesystem::path& checkout, std::string_view key) {
    for (const std::string& line : lines_of_configuration(checkout)) {
        const std::size_t found = line.find(key);
        if (found == std::string::npos) {
            continue;
        }
        const std::size_t first = line.find('"', found + key.size());
        const std::size_t last = first == std::string::npos ? first : line.find('"', first + 1);
        return last == std::string::npos ? std::string() : line.substr(first + 1, last - first - 1);
    }
    return std::nullopt;
}

}  // namespace quill
