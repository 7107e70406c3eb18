#include "tome/base/digest.h"

#include <gtest/gtest.h>

#include <unordered_set>

#include "tome/base/error.h"

namespace {

using namespace std::string_literals;
using tome::Digest;

TEST(Digest, IsTheSha256OfTheBytes) {
    EXPECT_EQ(tome::to_hex(tome::digest_of("")), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
    EXPECT_EQ(tome::to_hex(tome::digest_of("abc")), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    EXPECT_EQ(tome::to_hex(tome::digest_of("\0"s)), "6e340b9cffb37a989ca544e6bb780a2c78901d3fb33738768511a30617afa01d");
}

TEST(Digest, IsTakenFromItsBytes) {
    std::string bytes;
    for (int value = 0; value < 32; ++value) {
        bytes += static_cast<char>(value * 8 + 7);
    }
    EXPECT_EQ(tome::digest_from_bytes(bytes).view(), bytes);
    EXPECT_EQ(tome::to_hex(tome::digest_from_bytes(bytes)),
              "070f171f272f373f474f575f676f777f878f979fa7afb7bfc7cfd7dfe7eff7ff");
}

TEST(Digest, IsNotTakenFromBytesOfAnotherLength) {
    for (const std::size_t length : {0U, 1U, 31U, 33U, 64U}) {
        try {
            tome::digest_from_bytes(std::string(length, 'a'));
            ADD_FAILURE() << length;
        } catch (const tome::Error& error) {
            EXPECT_EQ(error.code(), tome::ErrorCode::Corrupt) << length;
        }
    }
}

TEST(Digest, OfNoObjectIsAllZero) {
    EXPECT_TRUE(Digest{}.is_zero());
    EXPECT_TRUE(tome::digest_from_bytes(std::string(32, '\0')).is_zero());
    EXPECT_FALSE(tome::digest_from_bytes(std::string(31, '\0') + "\1").is_zero());
    EXPECT_FALSE(tome::digest_of("").is_zero());
    EXPECT_EQ(tome::to_hex(Digest{}), std::string(64, '0'));
}

TEST(Digest, ComparesAndHashesByItsBytes) {
    const Digest a = tome::digest_of("a");
    EXPECT_EQ(a, tome::digest_of("a"));
    EXPECT_NE(a, tome::digest_of("b"));
    EXPECT_LT(Digest{}, a);
    std::unordered_set<Digest, tome::DigestHash> set{a, tome::digest_of("b"), tome::digest_of("a")};
    EXPECT_EQ(set.size(), 2U);
    EXPECT_TRUE(set.contains(tome::digest_of("a")));
}

}  // namespace
