#include "tome/object/tree_path.h"

#include <gtest/gtest.h>

#include "tome/base/error.h"

namespace {

using namespace std::string_literals;
using tome::TreePath;

// "" when the call succeeds, else the text of the error, which is marked when its code is not Invalid.
template <typename Call>
std::string refusal(Call call) {
    try {
        call();
    } catch (const tome::Error& error) {
        return (error.code() == tome::ErrorCode::Invalid ? "" : "not Invalid: ") + std::string(error.what());
    }
    return "";
}

std::string name_refusal(const std::string& name) {
    return refusal([&] { tome::check_entry_name(name); });
}

std::string path_refusal(const std::string& path) {
    return refusal([&] { TreePath::parse(path); });
}

// A name is refused alone and wherever it stands in a path.
void expect_refused(const std::string& name) {
    EXPECT_EQ(name_refusal(name), "invalid name in a tree: " + name);
    for (const std::string& path : {name, "a/" + name, name + "/a", "a/" + name + "/b"}) {
        EXPECT_EQ(path_refusal(path), "invalid path: " + path);
    }
}

std::string repeated(const std::string& text, std::size_t count) {
    std::string result;
    for (std::size_t i = 0; i < count; ++i) {
        result += text;
    }
    return result;
}

std::string utf8(char32_t point) {
    const auto byte = [](char32_t value) { return static_cast<char>(value); };
    if (point < 0x800) {
        return {byte(0xc0 | point >> 6), byte(0x80 | (point & 0x3f))};
    }
    if (point < 0x10000) {
        return {byte(0xe0 | point >> 12), byte(0x80 | (point >> 6 & 0x3f)), byte(0x80 | (point & 0x3f))};
    }
    return {byte(0xf0 | point >> 18), byte(0x80 | (point >> 12 & 0x3f)), byte(0x80 | (point >> 6 & 0x3f)),
            byte(0x80 | (point & 0x3f))};
}

// ".tome" with the code point at each place in turn, and everywhere at once.
void expect_refused_with(char32_t point) {
    const std::string ignorable = utf8(point);
    std::string everywhere;
    for (std::size_t at = 0; at <= 5; ++at) {
        std::string name = ".tome";
        name.insert(at, ignorable);
        EXPECT_NE(name_refusal(name), "") << "U+" << std::hex << static_cast<unsigned>(point) << " at " << at;
        everywhere += ignorable + ".tome"s.substr(at, 1);
    }
    EXPECT_NE(name_refusal(everywhere), "") << "U+" << std::hex << static_cast<unsigned>(point) << " everywhere";
}

// ---- Names

TEST(TreePath, RefusesNamesThatAreNotOneComponent) {
    for (const std::string& name : {""s, "."s, ".."s, "/"s, "/a"s, "a/"s, "a/b"s, "../a"s, "a/.."s}) {
        EXPECT_EQ(name_refusal(name), "invalid name in a tree: " + name);
    }
}

TEST(TreePath, RefusesNamesWithNul) {
    for (const std::string& name : {"\0"s, "a\0"s, "\0a"s, "a\0b"s, ".tome\0"s, ".\0"s}) {
        EXPECT_TRUE(name_refusal(name).starts_with("invalid name in a tree: ")) << testing::PrintToString(name);
        EXPECT_TRUE(path_refusal("a/" + name).starts_with("invalid path: ")) << testing::PrintToString(name);
    }
}

TEST(TreePath, RefusesBackslashes) {
    for (const char* name : {"\\", "a\\b", "\\a", "a\\", "..\\a", ".tome\\config.toml", "C:\\a", "\\\\host\\share"}) {
        expect_refused(name);
    }
}

TEST(TreePath, RefusesNamesOver255Bytes) {
    EXPECT_EQ(name_refusal(std::string(255, 'a')), "");
    expect_refused(std::string(256, 'a'));
    EXPECT_EQ(name_refusal(repeated("\xc3\xa4", 127)), "");
    expect_refused(repeated("\xc3\xa4", 128));
}

TEST(TreePath, RefusesTheStateFolderInAnyCase) {
    for (int capitals = 0; capitals < 16; ++capitals) {
        std::string name = ".tome";
        for (int letter = 0; letter < 4; ++letter) {
            if ((capitals >> letter & 1) != 0) {
                name[static_cast<std::size_t>(letter + 1)] = "TOME"[letter];
            }
        }
        expect_refused(name);
    }
}

TEST(TreePath, RefusesTheStateFolderWithTrailingDotsAndSpaces) {
    for (const char* name :
         {".tome.", ".tome ", ".tome..", ".tome  ", ".tome. ", ".tome .", ".ToMe. . .", ".TOME..."}) {
        expect_refused(name);
    }
}

TEST(TreePath, RefusesStreamsOfTheStateFolder) {
    for (const char* name : {".tome:stream", ".tome:", ".tome::$INDEX_ALLOCATION", ".TOME:$I30:$INDEX_ALLOCATION",
                             ".tome.:stream", ".tome :stream", "tome~1:stream", "TOME~1::$INDEX_ALLOCATION"}) {
        expect_refused(name);
    }
}

TEST(TreePath, RefusesShortNamesOfTheStateFolder) {
    for (const char* name : {"tome~1", "TOME~1", "Tome~2", "tome~9", "tome~10", "tome~999999", "tome~1.", "tome~1 "}) {
        expect_refused(name);
    }
}

TEST(TreePath, RefusesTheStateFolderThatIsBeingMade) {
    for (const char* name : {".tome-0123456789abcdef", ".TOME-FEDCBA9876543210", ".tome-0000000000000000. "}) {
        expect_refused(name);
    }
    for (const char* name : {".tome-", ".tome-0123456789abcde", ".tome-0123456789abcdef0", ".tome-0123456789abcdeg"}) {
        EXPECT_EQ(TreePath::parse(name).text(), name);
    }
}

TEST(TreePath, RefusesTheStateFolderWithCodePointsThatMacSystemsIgnore) {
    for (char32_t point = 0x200c; point <= 0x200f; ++point) {
        expect_refused_with(point);
    }
    for (char32_t point = 0x202a; point <= 0x202e; ++point) {
        expect_refused_with(point);
    }
    for (char32_t point = 0x206a; point <= 0x206f; ++point) {
        expect_refused_with(point);
    }
    expect_refused_with(0xfeff);
}

// Unicode's Default_Ignorable_Code_Point, which ext4 and f2fs leave out in folders that fold case.
TEST(TreePath, RefusesTheStateFolderWithCodePointsThatUnicodeIgnores) {
    for (const char32_t point :
         {U'\u00ad',     U'\u034f',     U'\u061c',     U'\u115f',     U'\u1160',     U'\u17b4',     U'\u17b5',
          U'\u180b',     U'\u180c',     U'\u180d',     U'\u180e',     U'\u200b',     U'\u2060',     U'\u2061',
          U'\u2062',     U'\u2063',     U'\u2064',     U'\u2065',     U'\u2066',     U'\u2067',     U'\u2068',
          U'\u2069',     U'\u3164',     U'\ufe00',     U'\ufe0e',     U'\ufe0f',     U'\uffa0',     U'\ufff0',
          U'\ufff8',     U'\U0001bca0', U'\U0001bca3', U'\U0001d173', U'\U0001d17a', U'\U000e0001', U'\U000e0020',
          U'\U000e0100', U'\U000e01ef'}) {
        expect_refused_with(point);
    }
}

TEST(TreePath, RefusesDisguisesOfTheStateFolderOnTopOfOneAnother) {
    for (const std::string& name :
         {".T\u200bOME. "s, "\u200d.tome:x"s, ".tome.\u200c"s, ".tome\u200c."s, ".tome \ufeff."s, ".to\u202eme.:$DATA"s,
          "t\u200come~1"s, "TOME~\u200c1 ."s, ".tome\u200c:\u200c"s}) {
        expect_refused(name);
    }
}

TEST(TreePath, TakesNamesThatNoFileSystemTakesForTheStateFolder) {
    for (const std::string& name :
         {"tome"s, ".tom"s, ".tomes"s, ".tome-x"s, ".tome.toml"s, "..tome"s, "x.tome"s, ".tome~1x"s, "tome~"s,
          "tome~x"s, "tome~1.txt"s, "atome~1"s, ".t\xc3\xb6me"s, "a:.tome"s, ".gnome"s, "tome "s, "tome."s}) {
        EXPECT_EQ(name_refusal(name), "") << name;
        EXPECT_EQ(path_refusal("a/" + name), "") << name;
    }
}

TEST(TreePath, TakesNamesOfAnyOtherBytes) {
    for (const std::string& name : {"..."s,
                                    ".a"s,
                                    "a."s,
                                    " "s,
                                    "-rf"s,
                                    "~"s,
                                    "*"s,
                                    "a:b"s,
                                    "\n"s,
                                    "\r"s,
                                    "\t"s,
                                    "\x1b[2J"s,
                                    "\x7f"s,
                                    "\xff\xfe"s,
                                    "\""s,
                                    "'; DROP TABLE object; --"s,
                                    "%"s,
                                    "_"s,
                                    "%2e%2e"s,
                                    "con"s,
                                    "\u00e4\u65e5\U0001f600"s}) {
        EXPECT_EQ(name_refusal(name), "") << testing::PrintToString(name);
        EXPECT_EQ(TreePath::parse("a/" + name).text(), "a/" + name);
    }
}

// ---- Paths

TEST(TreePath, KeepsAPathInItsForm) {
    for (const char* path : {"a", "a/b", "Scenes/Main.usda", "a b/c", ".hidden/a", "a/..b/c.."}) {
        EXPECT_EQ(TreePath::parse(path).text(), path);
    }
}

TEST(TreePath, FoldsDotsAndSlashesAway) {
    for (const char* path : {"./a/b", "a/./b", "a/b/.", "a//b", "a/b/", "a///.//b//", "././a/b"}) {
        EXPECT_EQ(TreePath::parse(path).text(), "a/b") << path;
    }
}

TEST(TreePath, RefusesPathsThatNameNothing) {
    for (const char* path : {"", ".", "./", "././.", ".//."}) {
        EXPECT_EQ(path_refusal(path), "invalid path: "s + path);
    }
}

TEST(TreePath, RefusesAbsolutePaths) {
    for (const char* path : {"/", "//", "/a", "//a", "/./a", "/.."}) {
        EXPECT_EQ(path_refusal(path), "invalid path: "s + path);
    }
}

TEST(TreePath, RefusesPathsThatGoUp) {
    for (const char* path : {"..", "../a", "a/..", "a/../b", "a/b/../../..", "./..", "a/.././b"}) {
        EXPECT_EQ(path_refusal(path), "invalid path: "s + path);
    }
}

TEST(TreePath, RefusesPathsThatAreTooLong) {
    const std::string folder = std::string(99, 'a') + "/";
    EXPECT_EQ(path_refusal(repeated(folder, 29) + std::string(100, 'b')), "");
    const std::string path = repeated(folder, 29) + std::string(101, 'b');
    ASSERT_EQ(path.size(), 3001U);
    EXPECT_EQ(path_refusal(path), "invalid path: " + path);
}

TEST(TreePath, RefusesPathsThatAreTooDeep) {
    EXPECT_EQ(path_refusal(repeated("a/", 254) + "a"), "");
    EXPECT_EQ(path_refusal(repeated("a/", 255) + "a"), "invalid path: " + repeated("a/", 255) + "a");
    const std::string deep = repeated("a/", 10'000);
    EXPECT_EQ(path_refusal(deep), "invalid path: " + deep);
}

TEST(TreePath, CountsOnlyRealComponentsAsDepth) {
    EXPECT_EQ(TreePath::parse(repeated("./", 1000) + "a").text(), "a");
}

TEST(TreePath, GivesItsComponents) {
    using Components = std::vector<std::string_view>;
    const TreePath one = TreePath::parse("a");
    const TreePath many = TreePath::parse("./a//b.c/d e/");
    EXPECT_EQ(one.components(), (Components{"a"}));
    EXPECT_EQ(many.components(), (Components{"a", "b.c", "d e"}));
}

TEST(TreePath, ComparesByItsForm) {
    EXPECT_EQ(TreePath::parse("a/b"), TreePath::parse("a/./b/"));
    EXPECT_NE(TreePath::parse("a/b"), TreePath::parse("a/B"));
    EXPECT_LT(TreePath::parse("a/b"), TreePath::parse("a/c"));
}

TEST(TreePath, LiesWithinItselfAndTheFoldersAboveIt) {
    EXPECT_TRUE(tome::is_within("a/b/c", "a/b/c"));
    EXPECT_TRUE(tome::is_within("a/b/c", "a/b"));
    EXPECT_TRUE(tome::is_within("a/b/c", "a"));
    EXPECT_TRUE(tome::is_within("a/b/c", ""));
    EXPECT_TRUE(tome::is_within("", ""));
}

TEST(TreePath, LiesWithinNoOtherFolder) {
    EXPECT_FALSE(tome::is_within("a/b", "a/b/c"));
    EXPECT_FALSE(tome::is_within("ab/c", "a"));
    EXPECT_FALSE(tome::is_within("a.b", "a"));
    EXPECT_FALSE(tome::is_within("A/b", "a"));
    EXPECT_FALSE(tome::is_within("", "a"));
}

}  // namespace
