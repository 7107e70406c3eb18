#include "tome/object/name_folding.h"

#include <gtest/gtest.h>

#include "tome/object/name_folding_table.h"

namespace {

using tome::folded_name;

TEST(NameFolding, TakesNamesForOneThatDifferByCase) {
    const std::vector<std::pair<std::string, std::string>> pairs{
        {"Rock.PNG", "rock.png"},
        {"\u00c4rger", "\u00e4rger"},
        {"\u03a3\u039f\u03a6\u039f\u03a3", "\u03c3\u03bf\u03c6\u03bf\u03c2"},  // Greek, with a final sigma
        {"\u0416\u0423\u041a", "\u0436\u0443\u043a"},
        {"stra\u00dfe", "STRASSE"},
        {"\u0130", "i\u0307"},
        {"\U00010400", "\U00010428"},
    };
    for (const auto& [a, b] : pairs) {
        EXPECT_EQ(folded_name(a), folded_name(b)) << a << " " << b;
    }
}

TEST(NameFolding, TakesNamesForOneThatDifferByNormalisation) {
    const std::vector<std::pair<std::string, std::string>> pairs{
        {"caf\u00e9", "cafe\u0301"},
        {"\u1e69", "s\u0323\u0307"},
        {"s\u0307\u0323", "s\u0323\u0307"},  // marks in another order
        {"\u00c5", "\u212b"},
        {"\ud55c\uae00", "\u1112\u1161\u11ab\u1100\u1173\u11af"},
        {"\uac00", "\u1100\u1161"},
        {"\u03b1\u0301\u0345", "\u1fb4"},
        {"CAF\u00c9", "cafe\u0301"},
        {"\uf900", "\u8c48"},
        {"\u0958", "\u0915\u093c"},
    };
    for (const auto& [a, b] : pairs) {
        EXPECT_EQ(folded_name(a), folded_name(b)) << a << " " << b;
    }
}

TEST(NameFolding, KeepsOtherNamesApart) {
    const std::vector<std::string> names{
        "",       "a",       "b",        "a ",      "\u00e4", "\u00e5", "\u0131",     "i",         "\u00e6",
        "ae",     "\ufb01x", "\u1100",   "\u11a8",  "\uac00", "\uac01", "s\u0323",    "s\u0307",   "\xff",
        "\u00ff", "\xc3",    "\xc3\x28", "\u2126x", "\u8c48", "\xe4",   "\U0001f600", "\U0001f601"};
    for (const std::string& a : names) {
        for (const std::string& b : names) {
            EXPECT_EQ(folded_name(a) == folded_name(b), a == b) << testing::PrintToString(a + " " + b);
        }
    }
}

TEST(NameFolding, ReadsCodePointsOfEveryLength) {
    const std::vector<std::pair<std::string, char32_t>> texts{
        {"\x7f", 0x7f},     {"\u0080", 0x80},        {"\u07ff", 0x7ff},        {"\u0800", 0x800},
        {"\uffff", 0xffff}, {"\U00010000", 0x10000}, {"\U0010ffff", 0x10ffff},
    };
    for (const auto& [text, value] : texts) {
        EXPECT_EQ(tome::first_code_point(text + "x"), std::pair(value, text.size())) << text;
    }
}

TEST(NameFolding, HasTablesInOrder) {
    for (std::size_t i = 1; i < tome::code_point_foldings.size(); ++i) {
        EXPECT_LT(tome::code_point_foldings[i - 1].from, tome::code_point_foldings[i].from);
    }
    for (std::size_t i = 1; i < tome::combining_classes.size(); ++i) {
        EXPECT_LT(tome::combining_classes[i - 1].last, tome::combining_classes[i].first);
    }
}

}  // namespace
