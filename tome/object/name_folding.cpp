#include "tome/object/name_folding.h"

#include <algorithm>

#include "tome/object/name_folding_table.h"

namespace tome {
namespace {

// Hangul syllables, made of a leading consonant, a vowel and maybe a trailing consonant, by arithmetic.
constexpr char32_t first_syllable = 0xac00;
constexpr char32_t last_syllable = 0xd7a3;
constexpr char32_t first_leading = 0x1100;
constexpr char32_t first_vowel = 0x1161;
constexpr char32_t before_trailing = 0x11a7;
constexpr char32_t vowels = 21;
constexpr char32_t trailings = 28;

constexpr char32_t no_code_point = 0x110000;

void append_syllable(std::u32string& text, char32_t syllable) {
    const char32_t index = syllable - first_syllable;
    text.push_back(first_leading + index / (vowels * trailings));
    text.push_back(first_vowel + index / trailings % vowels);
    if (index % trailings != 0) {
        text.push_back(before_trailing + index % trailings);
    }
}

void append_folded(std::u32string& text, char32_t code_point) {
    if (code_point >= first_syllable && code_point <= last_syllable) {
        return append_syllable(text, code_point);
    }
    const auto* const found =
        std::lower_bound(code_point_foldings.begin(), code_point_foldings.end(), code_point,
                         [](const CodePointFolding& folding, char32_t wanted) { return folding.from < wanted; });
    if (found == code_point_foldings.end() || found->from != code_point) {
        text += code_point;
        return;
    }
    for (const char32_t c : found->to) {
        if (c != 0) {
            text += c;
        }
    }
}

std::uint8_t combining_class(char32_t code_point) {
    const auto* const behind =
        std::upper_bound(combining_classes.begin(), combining_classes.end(), code_point,
                         [](char32_t wanted, const CombiningClass& range) { return wanted < range.first; });
    return behind != combining_classes.begin() && code_point <= std::prev(behind)->last ? std::prev(behind)->value : 0;
}

// Marks that follow one another in the order of their classes.
void order_marks(std::u32string& text) {
    for (auto first = text.begin(); first != text.end();) {
        if (combining_class(*first) == 0) {
            ++first;
            continue;
        }
        const auto last = std::find_if(first, text.end(), [](char32_t c) { return combining_class(c) == 0; });
        std::stable_sort(first, last, [](char32_t a, char32_t b) { return combining_class(a) < combining_class(b); });
        first = last;
    }
}

}  // namespace

std::pair<char32_t, std::size_t> first_code_point(std::string_view text) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const std::size_t length = byte(0) >= 0xf0 ? 4 : byte(0) >= 0xe0 ? 3 : byte(0) >= 0xc0 ? 2 : 1;
    if (length == 1 || text.size() < length) {
        return {byte(0), 1};
    }
    char32_t value = byte(0) & (0x7fU >> length);
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xc0U) != 0x80) {
            return {byte(0), 1};
        }
        value = value << 6U | (byte(i) & 0x3fU);
    }
    return {value, length};
}

std::u32string folded_name(std::string_view name) {
    std::u32string text;
    text.reserve(name.size());
    bool ascii = true;
    while (!name.empty()) {
        const auto [value, length] = first_code_point(name);
        name.remove_prefix(length);
        if (value < 0x80 && length == 1) {
            text += value >= 'A' && value <= 'Z' ? value - 'A' + 'a' : value;
            continue;
        }
        ascii = false;
        length == 1 ? void(text += no_code_point + value) : append_folded(text, value);
    }
    if (!ascii) {
        order_marks(text);
    }
    return text;
}

}  // namespace tome
