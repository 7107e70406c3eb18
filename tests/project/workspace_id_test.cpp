#include "project/workspace_id.h"

#include <gtest/gtest.h>

namespace {

using quill::is_valid_workspace_id;
using quill::normalize_workspace_id;

TEST(WorkspaceId, NormalizesToLowerCaseWithSingleDashes) {
    EXPECT_EQ(normalize_workspace_id("  Feature Branch!! "), "feature-branch");
    EXPECT_EQ(normalize_workspace_id("--A__b..C9--"), "a-b-c9");
    EXPECT_EQ(normalize_workspace_id("AZaz09"), "azaz09");
    EXPECT_EQ(normalize_workspace_id("\t\r\nx\v\f"), "x");
}

TEST(WorkspaceId, NormalizesATextWithoutLettersAndDigitsToWorkspace) {
    EXPECT_EQ(normalize_workspace_id(""), "workspace");
    EXPECT_EQ(normalize_workspace_id("   "), "workspace");
    EXPECT_EQ(normalize_workspace_id("?!-_."), "workspace");
    EXPECT_EQ(normalize_workspace_id("\xc3\xa4\xe6\x97\xa5"), "workspace");
}

TEST(WorkspaceId, CutsALongNameTo63Bytes) {
    EXPECT_EQ(normalize_workspace_id(std::string(63, 'a')), std::string(63, 'a'));
    EXPECT_EQ(normalize_workspace_id(std::string(64, 'a')), std::string(63, 'a'));
    EXPECT_EQ(normalize_workspace_id(std::string(70, 'A')), std::string(63, 'a'));
}

TEST(WorkspaceId, LeavesNoDashWhereALongNameIsCut) {
    EXPECT_EQ(normalize_workspace_id(std::string(62, 'a') + " b"), std::string(62, 'a'));
}

TEST(WorkspaceId, NumberFollowsFromTheSecondOn) {
    EXPECT_EQ(quill::numbered_id("a", 1), "a");
    EXPECT_EQ(quill::numbered_id("a", 2), "a-2");
    EXPECT_EQ(quill::numbered_id("a", 10), "a-10");
}

TEST(WorkspaceId, NumberedOneIsCutWhereItWouldBeTooLong) {
    EXPECT_EQ(quill::numbered_id("abcdef", 1, 5), "abcde");
    EXPECT_EQ(quill::numbered_id("abcdef", 2, 5), "abc-2");
    EXPECT_EQ(quill::numbered_id(std::string(63, 'a'), 2), std::string(63, 'a') + "-2");
}

TEST(WorkspaceId, NormalizedNamesAreValid) {
    for (const char* name : {"", "Main", "A b", "_x", "-", "9 lives"}) {
        EXPECT_TRUE(is_valid_workspace_id(normalize_workspace_id(name))) << name;
    }
    EXPECT_TRUE(is_valid_workspace_id(normalize_workspace_id(std::string(200, '1'))));
}

TEST(WorkspaceId, AllowsLettersDigitsUnderscoresAndDashes) {
    for (const char* id : {"a", "Z", "0", "main", "a_B-9", "x--"}) {
        EXPECT_TRUE(is_valid_workspace_id(id)) << id;
    }
}

TEST(WorkspaceId, BeginsWithALetterOrDigit) {
    EXPECT_FALSE(is_valid_workspace_id("_a"));
    EXPECT_FALSE(is_valid_workspace_id("-a"));
}

TEST(WorkspaceId, HoldsNothingElse) {
    for (const char* id : {"a b", "a/b", "..", ".a", "a.b", "a\n", "\xc3\xa4", "a\xc3\xa4"}) {
        EXPECT_FALSE(is_valid_workspace_id(id)) << id;
    }
    EXPECT_FALSE(is_valid_workspace_id(std::string_view("a\0b", 3)));
}

TEST(WorkspaceId, IsOneTo63BytesLong) {
    EXPECT_FALSE(is_valid_workspace_id(""));
    EXPECT_TRUE(is_valid_workspace_id(std::string(63, 'a')));
    EXPECT_FALSE(is_valid_workspace_id(std::string(64, 'a')));
}

}  // namespace
