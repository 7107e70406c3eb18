#include "records/json_records.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "tests/support/comma_locale.h"

namespace {

using Vector = std::array<double, 3>;

TEST(JsonRecords, FindsAnArraysText) {
    EXPECT_EQ(quill::json_array_text(R"({"v":1,"list":["a","b"],"z":[]})", "list"), R"("a","b")");
    EXPECT_EQ(quill::json_array_text("{\n  \"list\": [\n\n  ]\n}\n", "list"), "\n\n  ");
}

TEST(JsonRecords, ArrayTextReachesToTheMatchingBracket) {
    EXPECT_EQ(quill::json_array_text(R"("list":[[1,[2]],[3]],"z":[4])", "list"), "[1,[2]],[3]");
}

TEST(JsonRecords, ArrayTextIgnoresBracketsInStrings) {
    EXPECT_EQ(quill::json_array_text(R"("list":["]","[["],"z":[4])", "list"), R"("]","[[")");
}

TEST(JsonRecords, ArrayTextTakesAnEscapedQuoteForTheEndOfAString) {
    EXPECT_EQ(quill::json_array_text(R"("list":["a\"]b"])", "list"), R"("a\")");
}

TEST(JsonRecords, ArrayTextIsMissingWithoutMemberColonOrBracket) {
    EXPECT_EQ(quill::json_array_text(R"({"other":[1]})", "list"), std::nullopt);
    EXPECT_EQ(quill::json_array_text(R"({"list")", "list"), std::nullopt);
    EXPECT_EQ(quill::json_array_text(R"({"list":1})", "list"), std::nullopt);
    EXPECT_EQ(quill::json_array_text(R"({"list":[1,[2])", "list"), std::nullopt);
    EXPECT_EQ(quill::json_array_text("", "list"), std::nullopt);
}

TEST(JsonRecords, ArrayTextSkipsWhatStandsBeforeTheBracket) {
    EXPECT_EQ(quill::json_array_text(R"("list":null,"z":[4])", "list"), "4");
}

TEST(JsonRecords, SplitsTopLevelObjects) {
    EXPECT_EQ(quill::json_top_level_object_entries(R"(  {"a":1},
    {"b":{"c":[{"d":2}]}} , x )"),
              (std::vector<std::string>{R"({"a":1})", R"({"b":{"c":[{"d":2}]}})"}));
    EXPECT_TRUE(quill::json_top_level_object_entries("").empty());
}

TEST(JsonRecords, EntriesIgnoreBracesInStrings) {
    EXPECT_EQ(quill::json_top_level_object_entries(R"({"a":"}{"},{"b":"]["})"),
              (std::vector<std::string>{R"({"a":"}{"})", R"({"b":"]["})"}));
}

TEST(JsonRecords, EntriesInsideBracketsAreSkipped) {
    EXPECT_EQ(quill::json_top_level_object_entries(R"([{"a":1}],{"b":2})"), std::vector<std::string>{R"({"b":2})"});
}

TEST(JsonRecords, EntriesThatDoNotEndAreSkipped) {
    EXPECT_EQ(quill::json_top_level_object_entries(R"({"a":1},{"b":2)"), std::vector<std::string>{R"({"a":1})"});
}

TEST(JsonRecords, EntriesSurviveStrayClosers) {
    EXPECT_EQ(quill::json_top_level_object_entries(R"(}]{"a":1})"), std::vector<std::string>{R"({"a":1})"});
}

TEST(JsonRecords, BraceAfterAnEscapedQuoteSplitsARecordWrongly) {
    EXPECT_EQ(quill::json_top_level_object_entries(R"({"body":"a\"}b"})"),
              std::vector<std::string>{R"({"body":"a\"})"});
}

TEST(JsonRecords, RecordsWithoutQuotesInTheirStringsAreReadBackExactly) {
    const std::string body = "a{b}[c]:,\\ \n\t\r \xc3\xa9 end";
    const std::string text = "{\"list\":[{\"id\":\"1\",\"body\":\"" + quill::json_escape(body) + "\"},{\"id\":\"2\"}]}";
    const auto entries = quill::json_top_level_object_entries(quill::json_array_text(text, "list").value());
    ASSERT_EQ(entries.size(), 2U);
    EXPECT_EQ(quill::json_string(entries[0], "body"), body);
    EXPECT_EQ(quill::json_string(entries[1], "id"), "2");
}

TEST(JsonRecords, ReadsAString) {
    EXPECT_EQ(quill::json_string(R"({"id":"x","name":"A b"})", "name"), "A b");
    EXPECT_EQ(quill::json_string(R"({"id": "x"})", "id"), "x");
    EXPECT_EQ(quill::json_string(R"({"id":""})", "id"), "");
}

TEST(JsonRecords, MissingStringIsEmpty) {
    EXPECT_EQ(quill::json_string(R"({"id":"x"})", "name"), "");
    EXPECT_EQ(quill::json_string(R"({"name")", "name"), "");
    EXPECT_EQ(quill::json_string(R"({"name":5})", "name"), "");
    EXPECT_EQ(quill::json_string(R"({"name":"open)", "name"), "");
}

TEST(JsonRecords, KeysAreMatchedWhole) {
    EXPECT_EQ(quill::json_string(R"({"parentId":"p","id":"x"})", "id"), "x");
}

TEST(JsonRecords, StringReachesOverEscapedQuotes) {
    EXPECT_EQ(quill::json_string(R"({"name":"say \"hi\"","z":"q"})", "name"), R"(say "hi")");
}

TEST(JsonRecords, StringAfterAnythingElseIsTaken) {
    EXPECT_EQ(quill::json_string(R"({"name":5,"z":"q"})", "name"), "z");
}

TEST(JsonRecords, BackslashAtTheEndOfAStringHidesItsQuote) {
    EXPECT_EQ(quill::json_string(R"({"name":"a\\","z":"q"})", "name"), R"(a\",)");
}

TEST(JsonRecords, KeyInsideAnEarlierStringIsFoundFirst) {
    EXPECT_EQ(quill::json_string(R"({"body":"the \"name\"",)"
                                 R"("name":"right"})",
                                 "name"),
              "right");  // The escaping keeps the quoted key from appearing.
    EXPECT_EQ(quill::json_string(R"({"kind":"name","x":"wrong","name":"right"})", "name"), "wrong");
}

TEST(JsonRecords, NestedKeyIsFoundFirst) {
    EXPECT_EQ(quill::json_string(R"({"inner":{"id":"deep"},"id":"x"})", "id"), "deep");
}

TEST(JsonRecords, UnescapesLineFeedsAndDropsOtherBackslashes) {
    EXPECT_EQ(quill::json_unescape(R"(a\nb\"c\\d\te\/)"), "a\nb\"c\\dte/");
    EXPECT_EQ(quill::json_unescape(R"(\\n)"), "\\n");
    EXPECT_EQ(quill::json_unescape("raw\ttab"), "raw\ttab");
    EXPECT_EQ(quill::json_unescape("end\\"), "end\\");
}

TEST(JsonRecords, RawTabIsReadBackRawAndAnEscapedOneAsItsLetter) {
    EXPECT_EQ(quill::json_string("{\"b\":\"x\ty\"}", "b"), "x\ty");
    EXPECT_EQ(quill::json_string(R"({"b":"x\ty"})", "b"), "xty");
}

TEST(JsonRecords, EscapesQuoteBackslashAndLineFeedAlone) {
    EXPECT_EQ(quill::json_escape("a\"b\\c\nd"), R"(a\"b\\c\nd)");
    const std::string others("\t\r\b\0\x01/\xc3\xa9\xff", 9);
    EXPECT_EQ(quill::json_escape(others), others);
}

TEST(JsonRecords, EscapedTextComesBack) {
    const std::string text = "\\n \\ \"q\" \n\n \\\\\" \t \xf0\x9f\x98\x80";
    EXPECT_EQ(quill::json_unescape(quill::json_escape(text)), text);
}

TEST(JsonRecords, ReadsABool) {
    EXPECT_TRUE(quill::json_bool(R"({"done":true})", "done", false));
    EXPECT_TRUE(quill::json_bool("{\"done\": \t\r\n\v\ftrue}", "done", false));
    EXPECT_TRUE(quill::json_bool(R"({"done":truely})", "done", false));
    EXPECT_FALSE(quill::json_bool(R"({"done":false})", "done", true));
    EXPECT_FALSE(quill::json_bool(R"({"done":"true"})", "done", true));
    EXPECT_FALSE(quill::json_bool(R"({"done":TRUE})", "done", true));
    EXPECT_FALSE(quill::json_bool(R"({"done":tru)", "done", true));
    EXPECT_FALSE(quill::json_bool(R"({"done":)", "done", true));
}

TEST(JsonRecords, MissingBoolIsTheDefault) {
    EXPECT_TRUE(quill::json_bool("{}", "done", true));
    EXPECT_FALSE(quill::json_bool("{}", "done", false));
    EXPECT_TRUE(quill::json_bool(R"({"done")", "done", true));
}

TEST(JsonRecords, ReadsAnUnsignedInteger) {
    EXPECT_EQ(quill::json_u64(R"({"tick":12})", "tick", 7), 12U);
    EXPECT_EQ(quill::json_u64(R"({"tick": 0012})", "tick", 7), 12U);
    EXPECT_EQ(quill::json_u64(R"({"tick":18446744073709551615})", "tick", 7), UINT64_MAX);
}

TEST(JsonRecords, IntegerEndsAtPointAndExponent) {
    EXPECT_EQ(quill::json_u64(R"({"runtimeTick": 12.7})", "runtimeTick", 7), 12U);
    EXPECT_EQ(quill::json_u64(R"({"tick":3e5})", "tick", 7), 3U);
    EXPECT_EQ(quill::json_u64(R"({"tick":3-5})", "tick", 7), 3U);
}

TEST(JsonRecords, WhatIsNoUnsignedIntegerIsTheDefault) {
    EXPECT_EQ(quill::json_u64(R"({"runtimeTick": -5})", "runtimeTick", 7), 7U);
    EXPECT_EQ(quill::json_u64(R"({"tick":+5})", "tick", 7), 7U);
    EXPECT_EQ(quill::json_u64(R"({"tick":"5"})", "tick", 7), 7U);
    EXPECT_EQ(quill::json_u64(R"({"tick":18446744073709551616})", "tick", 7), 7U);
    EXPECT_EQ(quill::json_u64(R"({"tick":)", "tick", 7), 7U);
    EXPECT_EQ(quill::json_u64("{}", "tick", 7), 7U);
}

TEST(JsonRecords, ReadsAVector) {
    EXPECT_EQ(quill::json_vector3(R"({"p":[1.5,-2,3e2]})", "p"), (Vector{1.5, -2, 300}));
    EXPECT_EQ(quill::json_vector3(R"({"anchorWorldPosition": [1, 2, 3]})", "anchorWorldPosition"), (Vector{1, 2, 3}));
    EXPECT_EQ(quill::json_vector3("{\"p\":[\n1 ,\t+2 , .5]}", "p"), (Vector{1, 2, 0.5}));
}

TEST(JsonRecords, VectorIgnoresWhatFollowsItsThirdNumber) {
    EXPECT_EQ(quill::json_vector3(R"({"p":[1,2,3,4]})", "p"), (Vector{1, 2, 3}));
}

TEST(JsonRecords, WhatIsNoVectorIsMissing) {
    for (const std::string value : {"[1;2;3]", "[1,2;3]", "[1,2]", "[]", "[a,2,3]", "[1,2,]", "[1,2,1e999]",
                                    "[1,[2,3]]", "[1,2,3", "1,2,3", "[\"1\",2,3]", "[nan,2,3]"}) {
        EXPECT_EQ(quill::json_vector3("{\"p\":" + value + "}", "p"), std::nullopt) << value;
    }
    EXPECT_EQ(quill::json_vector3(R"({"q":[1,2,3]})", "p"), std::nullopt);
    EXPECT_EQ(quill::json_vector3(R"({"p")", "p"), std::nullopt);
}

// ---- What was written is read exactly

// Everything that leads the scanners astray: quotes, brackets, members, a backslash at the end.
const std::string awkward = "\",\"id\":\"no\"}],[{ \"list\":[\\\" \n\t\\";

TEST(JsonRecords, WrittenStringsComeBackWhateverTheyHold) {
    const std::string text = "{" + quill::json_text_member("first", awkward) + "," +
                             quill::json_text_member("second", "id") + "," + quill::json_text_member("id", awkward) +
                             "," + quill::json_text_member("last", "") + "}";
    EXPECT_EQ(quill::json_written_string(text, "first"), awkward);
    EXPECT_EQ(quill::json_written_string(text, "second"), "id");
    EXPECT_EQ(quill::json_written_string(text, "id"), awkward);
    EXPECT_EQ(quill::json_written_string(text, "last"), "");
}

TEST(JsonRecords, WrittenStringMayStandApartFromItsKey) {
    EXPECT_EQ(quill::json_written_string("{ \"id\" :\n\t\"a\\\\\" , \"z\": \"q\" }", "id"), "a\\");
}

TEST(JsonRecords, WhatIsNoWrittenStringIsReadByTheScanner) {
    EXPECT_EQ(quill::json_written_string(R"({"name":5,"z":"q"})", "name"), "z");
    EXPECT_EQ(quill::json_written_string("{}", "name"), "");
}

TEST(JsonRecords, WrittenMemberOfARecordWithinIsNoneOfTheRecord) {
    const std::string text = R"({"meta":{"id":"deep","done":true},"list":[{"id":"deeper","late":"x"}],"id":"x"})";
    EXPECT_EQ(quill::json_written_string(text, "id"), "x");
    EXPECT_EQ(quill::json_written_string(text, "late"), "");
    EXPECT_EQ(quill::json_written_member(text, "done"), "");
}

TEST(JsonRecords, WrittenMemberIsFoundAnywhereInARecordThatDoesNotEnd) {
    EXPECT_EQ(quill::json_written_string(R"({"list":[{"id":"deep")", "id"), "deep");
}

TEST(JsonRecords, WrittenStringThatDoesNotEndIsEmpty) {
    EXPECT_EQ(quill::json_written_string(R"({"name":"open)", "name"), "");
    EXPECT_EQ(quill::json_written_string(R"({"name":"open\)", "name"), "");
    EXPECT_EQ(quill::json_written_string(R"({"name":")", "name"), "");
    EXPECT_EQ(quill::json_written_string(R"({"name":)", "name"), "");
}

TEST(JsonRecords, WrittenMemberIsNoStringOfThatText) {
    const std::string text = R"({"a":"done","b":["done"],"done":true,"z":"done"})";
    EXPECT_EQ(quill::json_written_member(text, "done"), R"("done":true,"z":"done"})");
    EXPECT_TRUE(quill::json_bool(quill::json_written_member(text, "done"), "done", false));
    EXPECT_EQ(quill::json_written_member(R"({"a":"done"})", "done"), "");
    EXPECT_EQ(quill::json_written_member("", "done"), "");
}

TEST(JsonRecords, WrittenArrayReachesToItsBracketWhateverItsStringsHold) {
    const std::string content = quill::json_quoted(awkward) + ",[" + quill::json_quoted("]\\") + "]";
    EXPECT_EQ(quill::json_written_array("{\"x\":\"list\",\"list\": [" + content + "],\"z\":[]}", "list"), content);
    EXPECT_EQ(quill::json_written_array(R"({"list":[]})", "list"), "");
}

TEST(JsonRecords, WhatIsNoWrittenArrayIsEmpty) {
    for (const std::string value : {"null,\"z\":[4]", "[1", "[\"]", "[[1]", "[\"\\", "[", ""}) {
        EXPECT_EQ(quill::json_written_array("{\"list\":" + value, "list"), "") << value;
    }
}

TEST(JsonRecords, WrittenObjectsAreSplitWhateverTheirStringsHold) {
    const std::string first = "{" + quill::json_text_member("a", awkward) + ",\"b\":[{\"c\":{}}]}";
    const std::string second = "{" + quill::json_text_member("a", "}\\") + "}";
    EXPECT_EQ(quill::json_written_objects("\n" + first + ",\n " + second + ",\"{\""),
              (std::vector<std::string_view>{first, second}));
    EXPECT_TRUE(quill::json_written_objects("").empty());
}

TEST(JsonRecords, WrittenObjectsThatDoNotEndAreSkipped) {
    EXPECT_EQ(quill::json_written_objects(R"(}{"a":1},{"b":2)"), std::vector<std::string_view>{R"({"a":1})"});
    EXPECT_TRUE(quill::json_written_objects(R"({"a":"})").empty());
    EXPECT_TRUE(quill::json_written_objects("{\"a\\").empty());
}

TEST(JsonRecords, WrittenStringsAreListed) {
    const std::string text =
        quill::json_quoted(awkward) + "," + quill::json_quoted("") + ", " + quill::json_quoted("b");
    EXPECT_EQ(quill::json_written_strings(text), (std::vector<std::string>{awkward, "", "b"}));
    EXPECT_EQ(quill::json_written_strings(R"("a","open)"), std::vector<std::string>{"a"});
    EXPECT_TRUE(quill::json_written_strings(" 1 ").empty());
}

TEST(JsonRecords, JoinsTexts) {
    EXPECT_EQ(quill::json_joined(std::vector<std::string>{"a", "", "b\""}, ",", quill::json_quoted), R"("a","","b\"")");
    EXPECT_EQ(quill::json_joined(std::vector<std::string>{"x"}, ",", quill::json_quoted), R"("x")");
    EXPECT_EQ(quill::json_joined(std::vector<std::string>(), ",", quill::json_quoted), "");
}

TEST(JsonRecords, WritesNumbersWith17SignificantDigits) {
    EXPECT_EQ(quill::json_number(0.1), "0.10000000000000001");
    EXPECT_EQ(quill::json_number(1), "1");
    EXPECT_EQ(quill::json_number(-2.5), "-2.5");
    EXPECT_EQ(quill::json_number(1e16), "10000000000000000");
    EXPECT_EQ(quill::json_number(1e17), "1e+17");
    EXPECT_EQ(quill::json_number(1e-5), "1.0000000000000001e-05");
    EXPECT_EQ(quill::json_number(std::numeric_limits<double>::lowest()), "-1.7976931348623157e+308");
    EXPECT_EQ(quill::json_number(-0.0), "-0");
}

TEST(JsonRecords, NumbersComeBackExactly) {
    const Vector values{1.0 / 3, -6.02214076e23, std::numeric_limits<double>::min()};
    const std::string text = "{\"p\":[" + quill::json_number(values[0]) + "," + quill::json_number(values[1]) + "," +
                             quill::json_number(values[2]) + "]}";
    EXPECT_EQ(quill::json_vector3(text, "p"), values);
}

TEST(JsonRecords, NumbersDoNotDependOnTheLocale) {
    const quill_test::CommaLocale comma;
    EXPECT_EQ(quill::json_number(1234.5), "1234.5");
    EXPECT_EQ(quill::json_vector3(R"({"p":[1234.5,2,3]})", "p"), (Vector{1234.5, 2, 3}));
}

}  // namespace
