#include "tome/object/branch_name.h"

#include <gtest/gtest.h>

#include <type_traits>

#include "tome/base/error.h"

namespace {

using namespace std::string_literals;
using tome::BranchName;

std::string refusal(const std::string& text) {
    try {
        BranchName::parse(text);
    } catch (const tome::Error& error) {
        return (error.code() == tome::ErrorCode::Invalid ? "" : "not Invalid: ") + std::string(error.what());
    }
    return "";
}

static_assert(!std::is_convertible_v<std::string, BranchName> && !std::is_constructible_v<BranchName, std::string>,
              "a branch name is made by parsing alone");

TEST(BranchName, TakesLettersDigitsUnderscoresDashesAndDots) {
    for (const char* name : {"main", "a", "0", "_", "-", "Evening_light-2.1", "a.", "a..b", "-rf", "evening-light",
                             "main.lock", "HEAD", "history-preview--main--0"}) {
        EXPECT_EQ(BranchName::parse(name).text(), name);
    }
}

TEST(BranchName, TakesExactlyTheseCharacters) {
    const std::string allowed = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_-.";
    for (int value = 0; value < 256; ++value) {
        const auto character = static_cast<char>(value);
        const std::string text = "a"s + character + "b";
        const bool taken = allowed.find(character) != std::string::npos;
        EXPECT_EQ(refusal(text), taken ? "" : "invalid branch name: " + std::string(text.c_str())) << value;
        EXPECT_EQ(refusal(std::string(1, character)).empty(), taken && character != '.') << value;
        EXPECT_EQ(refusal("a"s + character).empty(), taken) << value;
    }
}

TEST(BranchName, RefusesALeadingDot) {
    for (const char* name : {".", "..", ".a", "...", ".tome"}) {
        EXPECT_EQ(refusal(name), "invalid branch name: "s + name);
    }
}

TEST(BranchName, RefusesTheEmptyText) {
    EXPECT_EQ(refusal(""), "invalid branch name: ");
}

TEST(BranchName, RefusesPathsAndTextsWithMeaningElsewhere) {
    for (const char* name : {"a/b", "/main", "main/", "../main", "a\\b", "a b", " main", "main ", "main\n", "a:b",
                             "a@{1}", "~1", "a^", "*", "$(id)", "'; DROP TABLE branch; --", "a%2fb", "m\xc3\xa4in"}) {
        EXPECT_EQ(refusal(name), "invalid branch name: "s + name);
    }
}

TEST(BranchName, TakesUpTo255Characters) {
    EXPECT_EQ(BranchName::parse(std::string(255, 'a')).text(), std::string(255, 'a'));
    EXPECT_EQ(refusal(std::string(256, 'a')), "invalid branch name: " + std::string(256, 'a'));
}

TEST(BranchName, TellsCasesApart) {
    EXPECT_EQ(BranchName::parse("main"), BranchName::parse("main"));
    EXPECT_NE(BranchName::parse("main"), BranchName::parse("Main"));
    EXPECT_LT(BranchName::parse("a"), BranchName::parse("b"));
}

TEST(BranchName, OfNoBranchIsNotFound) {
    const tome::Error error = missing_branch(BranchName::parse("side"));
    EXPECT_EQ(error.code(), tome::ErrorCode::NotFound);
    EXPECT_EQ(error.what(), "branch does not exist: side"s);
}

}  // namespace
