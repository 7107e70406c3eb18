#include "project/manifest_text.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/package_folder.h"

namespace quill_test {
namespace {

using quill::escape_manifest_string;
using quill::insert_manifest_id;
using quill::manifest_string;
using quill::set_manifest_key;

const std::string id = "k3Vq9TzA0bLm7XcP";
const std::filesystem::path path = "some/project.json";
const std::string invalid = "Invalid project manifest: some/project.json";

struct Reading {
    std::string text;
    std::string value;
};

void expect_values_of_k(const std::vector<Reading>& cases) {
    for (const auto& [text, value] : cases) {
        EXPECT_EQ(manifest_string(text, "k", "default"), value) << text;
    }
}

TEST(ManifestString, IsTheTextBetweenTheQuotesAfterTheColon) {
    expect_values_of_k({{R"({"k": "v"})", "v"},
                        {R"("k":"v")", "v"},
                        {"\"k\"\r\n\t : \n \"v\"", "v"},
                        {R"({"a": {"b": [{"k": "inner"}]}, "k": "outer"})", "inner"},
                        {R"({"k": "first", "k": "second"})", "first"},
                        {R"({"kk": "1", "K": "2", "k ": "3", "k": "4"})", "4"},
                        {R"({"k": "a:b{}[],"})", "a:b{}[],"}});
}

TEST(ManifestString, EmptyValueIsNotTheDefault) {
    expect_values_of_k({{R"({"k": ""})", ""}, {R"({"k":"","k":"v"})", ""}});
}

TEST(ManifestString, IsTheDefaultWhenAnyPieceIsMissing) {
    for (const std::string text :
         {"", "k", "k: \"v\"", "'k': \"v\"", "\"k: \"v\"", "\"k\"", "\"k\" \"v\"", "\"k\":", "\"k\": v", "\"k\": \"",
          "\"k\": \"v", "\"k\": \"v\\\"", "\"k\": \"\\", "\"a\":\"v\""}) {
        EXPECT_EQ(manifest_string(text, "k", "default"), "default") << text;
    }
}

TEST(ManifestString, KeyIsFoundWithinValuesToo) {
    expect_values_of_k({{R"({"kind": "k", "other": "o", "k": "v"})", "o"},
                        {R"({"note": "\"k\": \"x\"", "k": "v"})", "v"},
                        {R"({"note": "k", "k": "v"})", "v"},
                        {R"({"note": "k"})", "default"}});
}

// The scan knows no tokens: behind a value that is no string it meets whatever is quoted next.
TEST(ManifestString, ValueThatIsNoStringGivesTheNextQuotedText) {
    expect_values_of_k({{R"({"k": null, "name": "X"})", "name"},
                        {R"({"k": 12, "name": "X"})", "name"},
                        {R"({"k": [true, "X"]})", "X"},
                        {R"({"k": {"a": "X"}})", "a"},
                        {R"({"name": "X", "k": null})", "default"},
                        {R"({"k": false})", "default"}});
}

TEST(ManifestString, TextBetweenKeyAndColonIsPassedOver) {
    expect_values_of_k({{R"("k" "junk" : "v")", "v"}, {R"("k", "b" : "v")", "v"}});
}

TEST(ManifestString, EscapedQuotesBackslashesAndLineFeedsAreDecoded) {
    expect_values_of_k({{R"("k": "a\"b")", "a\"b"},
                        {R"("k": "a\nb")", "a\nb"},
                        {R"("k": "a\\b")", "a\\b"},
                        {R"("k": "a\\", "b": "c")", "a\\"},
                        {R"("k": "a\\\"b")", "a\\\"b"},
                        {R"("k": "\\n")", "\\n"},
                        {R"("k": "\\\n")", "\\\n"},
                        {R"("k": "\"")", "\""}});
}

TEST(ManifestString, OtherEscapesLoseTheBackslashAlone) {
    expect_values_of_k({{R"("k": "a\tb")", "atb"},
                        {R"("k": "\u00e4")", "u00e4"},
                        {R"("k": "\/\r\b\f\x\N")", "/rbfxN"},
                        {"\"k\": \"a\\\nb\"", "a\nb"},
                        {"\"k\": \"\\\xc3\xa4\"", "\xc3\xa4"}});
}

TEST(ManifestString, BytesOfAnyKindComeBackAsTheyAre) {
    const std::string bytes("\0\x01\x7f\xff\xc3\x28\r\n\t'", 10);
    EXPECT_EQ(manifest_string("\"k\": \"" + bytes + "\"", "k", ""), bytes);
    EXPECT_EQ(manifest_string(std::string("\0\0", 2) + "\"k\":\"v\"", "k", ""), "v");
}

TEST(ManifestString, LongRunsOfBackslashesEndAtTheFirstBareQuote) {
    const std::string pairs(200'000, '\\');
    EXPECT_EQ(manifest_string("\"k\": \"" + pairs + "\" \"", "k", ""), std::string(100'000, '\\'));
    EXPECT_EQ(manifest_string("\"k\": \"" + pairs + "\\\" \"", "k", ""), std::string(100'000, '\\') + "\" ");
}

TEST(ManifestString, KeyIsTakenLiterally) {
    EXPECT_EQ(manifest_string(R"({"axb": "1", "a.b": "2"})", "a.b", ""), "2");
    EXPECT_EQ(manifest_string(R"({"": "empty"})", "", ""), "empty");
    // The colon is sought from the start of the key.
    EXPECT_EQ(manifest_string(R"({"a:b": "v"})", "a:b", ""), ": ");
}

TEST(EscapedManifestString, HasThreeBytesEscapedAndNoOther) {
    for (int c = 0; c < 256; ++c) {
        const std::string byte(1, static_cast<char>(c));
        const std::string escaped = c == '\n' ? "\\n" : c == '"' ? "\\\"" : c == '\\' ? "\\\\" : byte;
        EXPECT_EQ(escape_manifest_string(byte), escaped) << c;
    }
    EXPECT_EQ(escape_manifest_string(""), "");
    EXPECT_EQ(escape_manifest_string("a\"\\\n\t\xc3\xa4"), "a\\\"\\\\\\n\t\xc3\xa4");
}

TEST(EscapedManifestString, ReadsBackAsItWas) {
    for (const std::string value : {"", "\"", "\\", "\n", "\\n", "\\\\n\n\"\"\\", "\\\"", "a\r\tb", "\xff\xfe\x01"}) {
        EXPECT_EQ(manifest_string("{\"k\": \"" + escape_manifest_string(value) + "\"}", "k", "default"), value);
    }
}

struct Change {
    std::string before;
    std::string after;
};

TEST(InsertedManifestId, ComesFirstFollowedByWhatWasThere) {
    const std::string line = "\n  \"id\": \"" + id + "\"";
    const std::vector<Change> cases{
        {"{}", "{" + line + "}"},
        {"{ \t\r\n}", "{" + line + " \t\r\n}"},
        {"{\n}\n", "{" + line + "\n}\n"},
        {"{}}", "{" + line + "}}"},
        {"{\n  \"name\": \"G\"\n}\n", "{" + line + ",\n  \"name\": \"G\"\n}\n"},
        {"{\"name\":\"G\"}", "{" + line + ",\"name\":\"G\"}"},
        {"{", "{" + line + ","},
        {"{ \n\t\r", "{" + line + ", \n\t\r"},
        {"{\f}", "{" + line + ",\f}"},
        {"{\v}", "{" + line + ",\v}"},
        {"{{}}", "{" + line + ",{}}"},
        {"junk {\"a\": {}}", "junk {" + line + ",\"a\": {}}"},
        {"}{", "}{" + line + ","},
    };
    for (const auto& [before, after] : cases) {
        EXPECT_EQ(insert_manifest_id(before, id, path), after) << before;
    }
}

TEST(InsertedManifestId, StandsBeforeAnInvalidOneAndIsTheOneThatIsRead) {
    const std::string text = insert_manifest_id("{\n  \"id\": \"bad\"\n}\n", id, path);
    EXPECT_EQ(text, "{\n  \"id\": \"" + id + "\",\n  \"id\": \"bad\"\n}\n");
    EXPECT_EQ(manifest_string(text, "id", ""), id);
}

TEST(InsertedManifestId, NeedsAnOpeningBrace) {
    for (const std::string text : {"", "}", "[]", "\"id\": \"x\""}) {
        EXPECT_EQ(failure_of([&] { insert_manifest_id(text, id, path); }), invalid) << text;
    }
}

TEST(ManifestKey, IsPutBehindTheLastOne) {
    const std::string line = "\n  \"k\": \"v\"";
    const std::vector<Change> cases{
        {"{\n  \"a\": \"b\"\n}\n", "{\n  \"a\": \"b\"," + line + "\n}\n"},
        {"{\"a\":1}", "{\"a\":1," + line + "}"},
        {"{\"a\":1 \t\r\n }  x", "{\"a\":1," + line + " \t\r\n }  x"},
        {"{}", "{" + line + "}"},
        {"{ \n\t\r}", "{" + line + " \n\t\r}"},
        {"{\n}\n", "{" + line + "\n}\n"},
        {"{\"a\": {\"b\": {}}}", "{\"a\": {\"b\": {}}," + line + "}"},
        {"{\f}", "{\f," + line + "}"},
        {"x {} {\"a\":1}", "x {} {\"a\":1," + line + "}"},
        {"{\"a\": \"}\"", "{\"a\": \"," + line + "}\""},
    };
    for (const auto& [before, after] : cases) {
        EXPECT_EQ(set_manifest_key(before, "k", "v", path), after) << before;
    }
}

TEST(ManifestKey, WithAValueStaysAsItIs) {
    for (const std::string text :
         {"{\"k\": \"old\"}", "{\"k\":\"old\"", "\"k\": \"old\"", "{\"k\": null, \"a\": \"b\"}"}) {
        EXPECT_EQ(set_manifest_key(text, "k", "v", path), text);
    }
}

TEST(ManifestKey, WithAnEmptyValueIsAddedOnceMoreAndStillReadsAsEmpty) {
    const std::string text = set_manifest_key("{\"k\": \"\"}", "k", "v", path);
    EXPECT_EQ(text, "{\"k\": \"\",\n  \"k\": \"v\"}");
    EXPECT_EQ(manifest_string(text, "k", "default"), "");
}

TEST(ManifestKey, ValueIsEscaped) {
    const std::string value = "a\"b\\c\nd\te'\xc3\xa4";
    const std::string text = set_manifest_key("{}", "k", value, path);
    EXPECT_EQ(text, "{\n  \"k\": \"a\\\"b\\\\c\\nd\te'\xc3\xa4\"}");
    EXPECT_EQ(manifest_string(text, "k", ""), value);
}

TEST(ManifestKey, NeedsAnOpeningBraceBeforeAClosingOne) {
    for (const std::string text : {"", "{", "}", "}{", " } x {", "[]", "{\"a\": \"b\""}) {
        EXPECT_EQ(failure_of([&] { set_manifest_key(text, "k", "v", path); }), invalid) << text;
    }
}

TEST(ManifestKey, GoesIntoAHugeManifestWithoutTouchingTheRest) {
    const std::string before = "{\"a\": \"" + repeated("}{\\\"", 500'000) + "\"" + std::string(500'000, '\n');
    EXPECT_TRUE(set_manifest_key(before + "}", "k", "v", path) ==
                before.substr(0, before.find('\n')) + ",\n  \"k\": \"v\"" + std::string(500'000, '\n') + "}");
}

}  // namespace
}  // namespace quill_test
