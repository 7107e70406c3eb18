#include "tome/object/tree_path.h"

#include <algorithm>
#include <array>

#include "tome/base/error.h"
#include "tome/object/name_folding.h"

namespace tome {
namespace {

struct Range {
    char32_t first;
    char32_t last;
};

// Code points that file systems leave out when they compare names: Default_Ignorable_Code_Point of the Unicode
// Character Database, which holds all that HFS+ and folders that fold case on ext4 and f2fs drop.
constexpr std::array<Range, 17> ignorable{{{0xad, 0xad},
                                           {0x34f, 0x34f},
                                           {0x61c, 0x61c},
                                           {0x115f, 0x1160},
                                           {0x17b4, 0x17b5},
                                           {0x180b, 0x180f},
                                           {0x200b, 0x200f},
                                           {0x202a, 0x202e},
                                           {0x2060, 0x206f},
                                           {0x3164, 0x3164},
                                           {0xfe00, 0xfe0f},
                                           {0xfeff, 0xfeff},
                                           {0xffa0, 0xffa0},
                                           {0xfff0, 0xfff8},
                                           {0x1bca0, 0x1bca3},
                                           {0x1d173, 0x1d17a},
                                           {0xe0000, 0xe0fff}}};

bool skip_ignorable(std::string_view& rest) {
    const auto [value, length] = first_code_point(rest);
    const bool skipped = length > 1 && std::any_of(ignorable.begin(), ignorable.end(), [v = value](const Range& range) {
                             return range.first <= v && v <= range.last;
                         });
    if (skipped) {
        rest.remove_prefix(length);
    }
    return skipped;
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
    if (is_state_folder(plain)) {
        return true;
    }
    // Short names of the form TOME~1.
    return plain.size() > 5 && plain.starts_with("tome~") &&
           std::all_of(plain.begin() + 5, plain.end(), [](char c) { return c >= '0' && c <= '9'; });
}

}  // namespace

bool is_state_folder(std::string_view name) {
    constexpr std::string_view making = ".tome-";
    return name == ".tome" || (name.size() == making.size() + 16 && name.starts_with(making) &&
                               name.find_first_not_of("0123456789abcdef", making.size()) == std::string_view::npos);
}

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
