#include "content/content_key.h"

#include <gtest/gtest.h>

#include <array>
#include <string>

namespace {

const std::string digest_of_abc = "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";

TEST(ContentKey, IsThePrefixAndTheDigest) {
    const std::string text = "abc";
    EXPECT_EQ(quill::sha256_content_key(std::as_bytes(std::span(text))), "sha256:" + digest_of_abc);
}

TEST(ContentKey, OfNothingIsTheDigestOfNothing) {
    EXPECT_EQ(quill::sha256_content_key({}), "sha256:e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
}

TEST(ContentKey, GivesItsDigest) {
    EXPECT_EQ(quill::digest_from_key("sha256:" + digest_of_abc), digest_of_abc);
}

TEST(ContentKey, TakesTheDigestAsItStands) {
    const std::string odd = "XYZ" + std::string(61, '-');
    EXPECT_EQ(quill::digest_from_key("sha256:" + odd), odd);
}

TEST(ContentKey, OfAnotherLengthHasNoDigest) {
    EXPECT_EQ(quill::digest_from_key("sha256:" + digest_of_abc.substr(1)), std::nullopt);
    EXPECT_EQ(quill::digest_from_key("sha256:" + digest_of_abc + "0"), std::nullopt);
    EXPECT_EQ(quill::digest_from_key(""), std::nullopt);
    EXPECT_EQ(quill::digest_from_key("sha256:"), std::nullopt);
}

TEST(ContentKey, WithAnUpperCasePrefixHasNoDigest) {
    EXPECT_EQ(quill::digest_from_key("SHA256:" + digest_of_abc), std::nullopt);
}

TEST(ContentKey, WithTextBeforeThePrefixHasNoDigest) {
    EXPECT_EQ(quill::digest_from_key(" sha256:" + digest_of_abc), std::nullopt);
    EXPECT_EQ(quill::digest_from_key(" sha256:" + digest_of_abc.substr(1)), std::nullopt);
}

TEST(ContentKey, HexHasTwoLowerCaseDigitsForEachByte) {
    const std::array<std::uint8_t, 4> bytes{0x00, 0x0a, 0xbc, 0xff};
    EXPECT_EQ(quill::bytes_to_hex(bytes.data(), bytes.size()), "000abcff");
    EXPECT_EQ(quill::bytes_to_hex(nullptr, 0), "");
}

TEST(ContentKey, HexOfEitherCaseBecomesBytes) {
    std::array<std::uint8_t, 4> bytes{};
    EXPECT_TRUE(quill::hex_to_bytes("000aBcFf", bytes.data(), bytes.size()));
    EXPECT_EQ(bytes, (std::array<std::uint8_t, 4>{0x00, 0x0a, 0xbc, 0xff}));
}

TEST(ContentKey, HexOfAnotherLengthIsRefused) {
    std::array<std::uint8_t, 2> bytes{};
    EXPECT_FALSE(quill::hex_to_bytes("abc", bytes.data(), 2));
    EXPECT_FALSE(quill::hex_to_bytes("abcde", bytes.data(), 2));
    EXPECT_FALSE(quill::hex_to_bytes("abcdef", bytes.data(), 2));
    EXPECT_FALSE(quill::hex_to_bytes("", bytes.data(), 1));
    EXPECT_FALSE(quill::hex_to_bytes("a", bytes.data(), 0));
}

TEST(ContentKey, HexWithAnyOtherCharacterIsRefused) {
    std::uint8_t byte = 0;
    for (int c = 0; c < 256; ++c) {
        const auto character = static_cast<char>(c);
        const bool digit = std::string("0123456789abcdefABCDEF").find(character) != std::string::npos;
        EXPECT_EQ(quill::hex_to_bytes(std::string{character, '0'}, &byte, 1), digit) << c;
        EXPECT_EQ(quill::hex_to_bytes(std::string{'0', character}, &byte, 1), digit) << c;
    }
}

TEST(ContentKey, HexOfNothingIsNothing) {
    EXPECT_TRUE(quill::hex_to_bytes("", nullptr, 0));
}

}  // namespace
