#include "records/json_value.h"

#include <gtest/gtest.h>

namespace {

std::string members_of(std::string_view text) {
    const auto members = quill::json_object_members(text);
    std::string result = members ? "whole" : "damaged";
    for (const quill::JsonMember& member : members.value_or(std::vector<quill::JsonMember>())) {
        result += " " + std::string(member.key) + "=" + std::string(member.value);
    }
    return result;
}

TEST(JsonValue, MembersStandAsTheyAreWritten) {
    EXPECT_EQ(members_of("{}"), "whole");
    EXPECT_EQ(members_of(" { \"a\" : 1 ,\n\"b\":\"x \\\" }\" , \"c\" : [ 1 , {} ] } \n"),
              "whole a=1 b=\"x \\\" }\" c=[ 1 , {} ]");
    EXPECT_EQ(members_of(R"({"a":{"b":[true,false,null,-1.5e+3]}})"), "whole a={\"b\":[true,false,null,-1.5e+3]}");
}

TEST(JsonValue, StringsMayHoldAnyByte) {
    EXPECT_EQ(members_of("{\"a\":\"\t\r\x01\xff\"}"), "whole a=\"\t\r\x01\xff\"");
}

TEST(JsonValue, DamagedObjectHasNoMembers) {
    for (const std::string text : {"",
                                   " ",
                                   "{",
                                   "}",
                                   "[]",
                                   "5",
                                   "{}x",
                                   "{}{}",
                                   "{\"a\"}",
                                   "{\"a\":}",
                                   "{\"a\":1,}",
                                   "{,}",
                                   "{\"a\":1 \"b\":2}",
                                   "{\"a\":1;\"b\":2}",
                                   "{a:1}",
                                   "{\"a\":tru}",
                                   "{\"a\":nan}",
                                   "{\"a\":+1}",
                                   "{\"a\":[1;2]}",
                                   "{\"a\":[1,]}",
                                   "{\"a\":[1}",
                                   "{\"a\":{]}",
                                   "{\"a\":\"x}",
                                   "{\"a\":\"x\\\"}",
                                   "{\"a",
                                   "{\"a\":'x'}",
                                   "{\"a\":1}}"}) {
        EXPECT_EQ(members_of(text), "damaged") << text;
    }
}

TEST(JsonValue, ArrayGivesItsValues) {
    EXPECT_EQ(quill::json_array_values(" [ 1 , \"a,]\",{\"b\":[]} ] "),
              (std::vector<std::string_view>{"1", "\"a,]\"", "{\"b\":[]}"}));
    EXPECT_EQ(quill::json_array_values("[]"), std::vector<std::string_view>());
    for (const std::string text : {"", "[", "]", "[1 2]", "[1,,2]", "[1]]", "{}"}) {
        EXPECT_EQ(quill::json_array_values(text), std::nullopt) << text;
    }
}

TEST(JsonValue, NestingHasALimit) {
    const auto nested = [](std::size_t levels) { return std::string(levels, '[') + std::string(levels, ']'); };
    EXPECT_TRUE(quill::json_array_values(nested(60)));
    EXPECT_FALSE(quill::json_array_values(nested(70)));
    EXPECT_FALSE(quill::json_array_values(std::string(1000000, '[')));
}

}  // namespace
