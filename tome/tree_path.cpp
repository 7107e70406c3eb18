#include "tome/tree_path.h"

#include <algorithm>
#include <array>

#include "tome/error.h"

namespace tome {
namespace {

// Code points that HFS+ leaves out when it compares names, in UTF-8: U+200C-200F, U+202A-202E, U+206A-206F, U+FEFF;
// and U+00AD, U+200B, U+2060, which other systems leave out.
bool skip_ignorable(std::string_view& rest) {
    static constexpr std::array<std::string_view, 20> ignorable{
        "\xe2\x80\x8c", "\xe2\x80\x8d", "\xe2\x80\x8e", "\xe2\x80\x8f", "\xe2\x80\xaa", "\xe2\x80\xab", "\xe2\x80\xac",
        "\xe2\x80\xad", "\xe2\x80\xae", "\xe2\x81\xaa", "\xe2\x81\xab", "\xe2\x81\xac", "\xe2\x81\xad", "\xe2\x81\xae",
        "\xe2\x81\xaf", "\xef\xbb\xbf", "\xc2\xad",     "\xe2\x80\x8b", "\xe2\x81\xa0", "\xe2\x80\xa8"};
    for (const std::string_view sequence : ignorable) {
        if (rest.starts_with(sequence)) {
            rest.remove_prefix(sequence.size());
            return true;
        }
    }
    return false;
}

// The name as the most forgiving file system would see it: lower case, nothing ignorable, no stream, no trailing dots
// and spaces.
std::string folded(std::string_view name) {
    std::string result;
    while (!name.empty()) {
        if (skip_ignorable(name)) {
            continue;
        }
        const char c = name.front();
        name.remove_prefix(1);
        if (c == ':') {
            break;
        }
        result += (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
    }
    while (!result.empty() && (result.back() == '.' || result.back() == ' ')) {
        result.pop_back();
    }
    return result;
}

bool looks_like_state_folder(std::string_view name) {
    const std::string plain = folded(name);
    if (plain == ".tome") {
        return true;
    }
    // Short names of the form TOME~1.
    return plain.size() > 5 && plain.starts_with("tome~") &&
           std::all_of(plain.begin() + 5, plain.end(), [](char c) { return c >= '0' && c <= '9'; });
}

}  // namespace

void check_entry_name(std::string_view name) {
    const bool malformed = name.empty() || name == "." || name == ".." || name.size() > 255 ||
                           name.find_first_of(std::string_view("/\\\0", 3)) != std::string_view::npos;
    if (malformed || looks_like_state_folder(name)) {
        throw Error(ErrorCode::Invalid, "invalid name in a tree: " + std::string(name));
    }
}

TreePath TreePath::parse(std::string_view text) {
    const auto refuse = [&] { throw Error(ErrorCode::Invalid, "invalid path: " + std::string(text)); };
    if (text.starts_with('/') || text.size() > max_path_bytes) {
        refuse();
    }
    std::string path;
    std::size_t depth = 0;
    for (std::string_view rest = text; !rest.empty();) {
        const std::string_view name = rest.substr(0, rest.find('/'));
        rest.remove_prefix(std::min(rest.size(), name.size() + 1));
        if (name.empty() || name == ".") {
            continue;
        }
        try {
            check_entry_name(name);
        } catch (const Error&) {
            refuse();
        }
        path += path.empty() ? "" : "/";
        path += name;
        ++depth;
    }
    if (path.empty() || depth > max_path_depth) {
        refuse();
    }
    return TreePath(std::move(path));
}

std::vector<std::string_view> components_of(std::string_view path) {
    std::vector<std::string_view> result;
    for (std::string_view rest = path; !rest.empty();) {
        result.push_back(rest.substr(0, rest.find('/')));
        rest.remove_prefix(std::min(rest.size(), result.back().size() + 1));
    }
    return result;
}

bool is_within(std::string_view path, std::string_view folder) {
    return folder.empty() || path == folder ||
           (path.size() > folder.size() && path.starts_with(folder) && path[folder.size()] == '/');
}

}  // namespace tome
