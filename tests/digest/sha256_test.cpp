#include "digest/sha256.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace {

using quill::Sha256;

struct Implementation {
    std::string name;
    quill::Sha256Compression compression;
};

// All that this machine can run.
std::vector<Implementation> implementations() {
    std::vector<Implementation> found{{"portable", quill::sha256_compress_portable}};
    if (quill::sha256_compression_x86() != nullptr) {
        found.push_back({"x86", quill::sha256_compression_x86()});
    }
    if (quill::sha256_compression_armv8() != nullptr) {
        found.push_back({"armv8", quill::sha256_compression_armv8()});
    }
    return found;
}

void expect_digest(std::string_view text, const std::string& expected) {
    for (const Implementation& implementation : implementations()) {
        Sha256 hash(implementation.compression);
        hash.update(text);
        EXPECT_EQ(hash.finish_hex(), expected) << implementation.name;
    }
}

std::string varied_bytes(std::size_t size) {
    std::string bytes(size, '\0');
    std::uint32_t state = 1;
    for (char& byte : bytes) {
        state = state * 1664525 + 1013904223;
        byte = static_cast<char>(state >> 24U);
    }
    return bytes;
}

std::string digest_in_chunks(quill::Sha256Compression compression, std::string_view bytes, std::size_t chunk) {
    Sha256 hash(compression);
    while (!bytes.empty()) {
        hash.update(bytes.substr(0, chunk));
        bytes.remove_prefix(std::min(chunk, bytes.size()));
    }
    return hash.finish_hex();
}

TEST(Sha256, DigestsNothing) {
    expect_digest("", "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
}

TEST(Sha256, DigestsOneBlock) {
    expect_digest("abc", "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
}

TEST(Sha256, DigestsTwoBlocksFrom448Bits) {
    expect_digest("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq",
                  "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1");
}

TEST(Sha256, DigestsTwoBlocksFrom896Bits) {
    expect_digest(
        "abcdefghbcdefghicdefghijdefghijkefghijklfghijklmghijklmn"
        "hijklmnoijklmnopjklmnopqklmnopqrlmnopqrsmnopqrstnopqrstu",
        "cf5b16a778af8380036ce59e7b0492370b249b11e8f07a51afac45037afee9d1");
}

TEST(Sha256, DigestsAMillionLetters) {
    expect_digest(std::string(1'000'000, 'a'), "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0");
}

TEST(Sha256, ImplementationsAgreeAtEveryLengthHoweverTheBytesArrive) {
    for (std::size_t length = 0; length <= 300; ++length) {
        const std::string bytes = varied_bytes(length);
        const std::string expected = digest_in_chunks(quill::sha256_compress_portable, bytes, length + 1);
        for (const Implementation& implementation : implementations()) {
            for (const std::size_t chunk : {1, 3, 17, 63, 64, 65, 127, 129, 301}) {
                ASSERT_EQ(digest_in_chunks(implementation.compression, bytes, chunk), expected)
                    << implementation.name << ", " << length << " bytes by " << chunk;
            }
        }
    }
}

TEST(Sha256, ReadsBytesAtAnyAddress) {
    const std::string bytes = varied_bytes(1024);
    for (std::size_t offset = 1; offset < 16; ++offset) {
        const std::string aligned = bytes.substr(offset);
        const std::string expected = digest_in_chunks(quill::sha256_compress_portable, aligned, aligned.size());
        for (const Implementation& implementation : implementations()) {
            Sha256 hash(implementation.compression);
            hash.update(bytes.data() + offset, bytes.size() - offset);
            EXPECT_EQ(hash.finish_hex(), expected) << implementation.name;
        }
    }
}

TEST(Sha256, AddingNothingChangesNothing) {
    Sha256 hash;
    hash.update(nullptr, 0);
    hash.update("ab");
    hash.update(nullptr, 0);
    hash.update("c");
    EXPECT_EQ(hash.finish_hex(), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
}

TEST(Sha256, GivesTheDigestAsBytes) {
    Sha256 hash;
    hash.update("abc");
    const std::array<std::uint8_t, 32> digest = hash.finish();
    EXPECT_EQ(digest[0], 0xba);
    EXPECT_EQ(digest[1], 0x78);
    EXPECT_EQ(digest[31], 0xad);
}

TEST(Sha256, HexIsTheDigestOfASpan) {
    const std::string text = "abc";
    EXPECT_EQ(quill::sha256_hex(std::as_bytes(std::span(text))),
              "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
}

TEST(Sha256, ThreadsDigestAtOnce) {
    std::vector<std::string> digests(8);
    std::vector<std::thread> threads;
    for (std::string& digest : digests) {
        threads.emplace_back([&digest] {
            Sha256 hash;
            hash.update(std::string(1'000'000, 'a'));
            digest = hash.finish_hex();
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (const std::string& digest : digests) {
        EXPECT_EQ(digest, "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0");
    }
}

}  // namespace
