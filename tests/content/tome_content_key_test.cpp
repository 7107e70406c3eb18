#include "content/tome_content_key.h"

#include <gtest/gtest.h>

#include "content/content_key.h"

namespace {

const std::string partition(32, 'a');
const std::string digest = "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";
const std::string context(32, '5');
const std::string key = "tome:v1:" + partition + ":" + digest + ":" + context;

TEST(TomeContentKey, IsReadAndWrittenAgain) {
    EXPECT_EQ(quill::tome_content_key_text(quill::parse_tome_key(key).value()), key);
}

TEST(TomeContentKey, TakesDigitsOfEitherCase) {
    const std::string upper = "tome:v1:" + std::string(32, 'A') + ":" + digest + ":" + context;
    EXPECT_EQ(quill::tome_content_key_text(quill::parse_tome_key(upper).value()), key);
}

TEST(TomeContentKey, TakesNoOtherText) {
    for (const std::string& text :
         {std::string(), key + ":", key + "0", "x" + key, key.substr(0, key.size() - 1),
          "TOME:v1:" + partition + ":" + digest + ":" + context, "tome:v1:" + partition + ":" + digest,
          "tome:v1:" + partition + ":" + context + ":" + digest, "tome:v1:" + partition + "::" + context,
          "tome:v1:" + partition.substr(1) + "g:" + digest + ":" + context}) {
        EXPECT_FALSE(quill::parse_tome_key(text).has_value()) << text;
        EXPECT_TRUE(quill::tome_mirror_path_for_key("/mirror", text).empty()) << text;
    }
}

// The digest of "abc" is known from FIPS 180-4; its first half names the identifier.
TEST(TomeContentKey, IdentifiersAreTheFirstHalfOfADigest) {
    const auto id = quill::deterministic_id_128("abc");
    EXPECT_EQ(quill::bytes_to_hex(id.data(), id.size()), digest.substr(0, 32));
}

TEST(TomeContentKey, PartitionAndContextComeFromTheirTexts) {
    EXPECT_EQ(quill::tome_content_partition("/p"), quill::deterministic_id_128("quill:tome:partition:/p"));
    EXPECT_EQ(quill::tome_content_context(""), quill::deterministic_id_128("quill:tome:content"));
    EXPECT_EQ(quill::tome_content_context("scene"), quill::deterministic_id_128("quill:tome:content-context:scene"));
}

TEST(TomeContentKey, MirrorFansOutByTheDigest) {
    EXPECT_EQ(quill::tome_mirror_path_for_key("/mirror", key),
              "/mirror/" + partition + "/ba/" + digest + "/" + context + ".blob");
}

TEST(TomeContentKey, UrlHasTheFieldsUnchecked) {
    EXPECT_EQ(quill::tome_content_url("http://x", "tome:v1:AA:BB:CC"), "http://x/tome/v1/AA/BB/CC");
    EXPECT_EQ(quill::tome_content_url("http://x", ""), "");
}

}  // namespace
