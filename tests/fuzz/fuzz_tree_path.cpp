// Names and paths of trees: what passes the check is one component that no file system takes for the state folder, what
// is refused has a reason; a name in another case is folded alike; a path in its form stays so. The input is a name, a
// path and, cut into values, a disguise.
#include <algorithm>
#include <optional>
#include <utility>
#include <vector>

#include "tests/fuzz/fuzz_input.h"
#include "tome/base/error.h"
#include "tome/object/name_folding.h"
#include "tome/object/tree_path.h"

namespace {

using namespace std::string_literals;
using quill_test::FuzzInput;
using quill_test::require;

// The code points that Unicode's Default_Ignorable_Code_Point lists, as bytes of UTF-8 from first to last.
const std::vector<std::pair<std::string, std::string>> ignorable{
    {"\u00ad", "\u00ad"},         {"\u034f", "\u034f"}, {"\u061c", "\u061c"},         {"\u115f", "\u1160"},
    {"\u17b4", "\u17b5"},         {"\u180b", "\u180f"}, {"\u200b", "\u200f"},         {"\u202a", "\u202e"},
    {"\u2060", "\u206f"},         {"\u3164", "\u3164"}, {"\ufe00", "\ufe0f"},         {"\ufeff", "\ufeff"},
    {"\uffa0", "\uffa0"},         {"\ufff0", "\ufff8"}, {"\U0001bca0", "\U0001bca3"}, {"\U0001d173", "\U0001d17a"},
    {"\U000e0000", "\U000e0fff"},
};

// Bytes of the ignorable code point that `text` begins with, 0 for none: UTF-8 sorts as its code points do.
std::size_t ignorable_bytes(std::string_view text) {
    for (const auto& [first, last] : ignorable) {
        const std::string_view start = text.substr(0, first.size());
        const bool continues = start.size() == first.size() && std::all_of(start.begin() + 1, start.end(), [](char c) {
                                   return static_cast<unsigned char>(c) >> 6U == 2;
                               });
        if (continues && first <= start && start <= last) {
            return first.size();
        }
    }
    return 0;
}

// The name without what file systems ignore; with `ascii_only` without all other bytes beyond ASCII, too.
std::string plain(std::string_view name, bool ascii_only) {
    std::string result;
    while (!name.empty() && name.front() != ':') {
        const std::size_t ignored = ignorable_bytes(name);
        if (ignored == 0 && (!ascii_only || static_cast<unsigned char>(name.front()) < 0x80)) {
            result += name.front();
        }
        name.remove_prefix(std::max<std::size_t>(ignored, 1));
    }
    result.erase(result.find_last_not_of(". ") + 1);
    for (char& c : result) {
        c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    }
    return result;
}

bool names_state_folder(const std::string& plain_name) {
    return plain_name == ".tome" || (plain_name.starts_with("tome~") && plain_name.size() > 5 &&
                                     plain_name.find_first_not_of("0123456789", 5) == plain_name.npos);
}

// Errors hand on C strings, which end at a NUL.
bool says(const tome::Error& error, const std::string& text) {
    return error.what() == text.substr(0, text.find('\0'));
}

bool passes(std::string_view name) {
    try {
        tome::check_entry_name(name);
        return true;
    } catch (const tome::Error& error) {
        require(error.code() == tome::ErrorCode::Invalid, "a refused name is invalid");
        require(says(error, "invalid name in a tree: " + std::string(name)), "an error says which name");
        return false;
    }
}

std::string in_other_case(std::string_view name) {
    std::string result(name);
    for (char& c : result) {
        const bool letter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
        c = letter ? static_cast<char>(c ^ 0x20) : c;
    }
    return result;
}

void check_name(std::string_view name) {
    require(tome::folded_name(in_other_case(name)) == tome::folded_name(name), "a name's case does not tell it apart");
    const bool component =
        !name.empty() && name.size() <= 255 && name != "." && name != ".." && name.find_first_of("/\\\0"s) == name.npos;
    if (passes(name)) {
        require(component, "a name is one component");
        require(!names_state_folder(plain(name, false)), "no name is taken for the state folder");
    } else {
        require(!component || names_state_folder(plain(name, true)), "a name is refused for a reason");
    }
}

// The state folder's name with its letters' case, what stands between them and what follows as the input says.
void check_disguise(FuzzInput input) {
    std::string name;
    const std::uint8_t form = input.byte();
    for (const char c : (form & 1U) != 0 ? ".tome"s : "tome~" + std::to_string(input.byte())) {
        const std::uint8_t choice = input.byte();
        const auto& [first, last] = ignorable[choice % ignorable.size()];
        name += choice < 64 ? first : choice < 128 ? last : "";
        const bool capital = (choice & 1U) != 0 && c >= 'a' && c <= 'z';
        name += capital ? static_cast<char>(c - 'a' + 'A') : c;
    }
    for (unsigned more = form >> 5U; more > 0; --more) {
        name += ". "[more & 1U];
    }
    if ((form & 2U) != 0) {
        name += ":" + input.text();
    }
    require(!passes(name), "no disguise of the state folder passes");
}

std::optional<tome::TreePath> parsed(std::string_view text) {
    try {
        return tome::TreePath::parse(text);
    } catch (const tome::Error& error) {
        require(error.code() == tome::ErrorCode::Invalid, "a refused path is invalid");
        require(says(error, "invalid path: " + std::string(text)), "an error says which path");
        return std::nullopt;
    }
}

void check_path(std::string_view text) {
    const auto path = parsed(text);
    if (!path) {
        return;
    }
    require(parsed(path->text()) == path, "a path in its form stays so");
    std::string joined;
    for (const std::string_view component : path->components()) {
        require(passes(component), "a path has names that may stand in a tree");
        joined += (joined.empty() ? "" : "/") + std::string(component);
        require(tome::is_within(path->text(), joined), "a path lies within its folders");
    }
    require(joined == path->text(), "a path is its components");
    require(joined.size() <= tome::max_path_bytes && path->components().size() <= tome::max_path_depth,
            "a path keeps the limits");
    require(parsed("./" + joined + "//") == path || joined.size() + 4 > tome::max_path_bytes, "a path has one form");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text = quill_test::whole_text(data, size);
    check_name(text);
    check_disguise(FuzzInput(data, size));
    check_path(text);
    return 0;
}
