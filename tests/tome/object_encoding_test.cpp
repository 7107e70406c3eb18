#include "tome/object/object_encoding.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <limits>
#include <random>
#include <set>

#include "tome/base/error.h"

namespace {

using namespace std::string_literals;
using tome::Digest;
using tome::MetadataNode;
using tome::ObjectKind;
using tome::Revision;
using tome::Tree;
using tome::TreeEntry;

constexpr std::size_t longest_text = 16'777'216;
constexpr std::uint64_t largest = std::uint64_t{1} << 62U;  // size or order

// ---- Bytes made by hand

// The bytes of pairs of hexadecimal digits with spaces between them.
std::string from_hex(const std::string& digits) {
    std::string bytes;
    for (std::size_t at = 0; at < digits.size(); at += 3) {
        bytes += static_cast<char>(std::stoi(digits.substr(at, 2), nullptr, 16));
    }
    return bytes;
}

std::string number(std::uint64_t value, std::size_t width) {
    std::string bytes(width, '\0');
    for (std::size_t at = width; at-- > 0; value /= 256) {
        bytes[at] = static_cast<char>(value % 256);
    }
    return bytes;
}

std::string raw_entry(const std::string& name, std::uint64_t kind = 1, std::uint64_t mode = 0, std::uint64_t size = 7,
                      const std::string& digest = std::string(32, 'd')) {
    return number(name.size(), 2) + name + number(kind, 1) + number(mode, 1) + number(size, 8) + digest;
}

std::string raw_pair(const std::string& key, const std::string& value) {
    return number(key.size(), 4) + key + number(value.size(), 4) + value;
}

const std::string zero_digest(32, '\0');
const std::string one_digest(32, '\1');
const std::string two_digest(32, '\2');

std::string raw_revision(const std::string& tree, const std::string& first, const std::string& second,
                         std::uint64_t order, const std::string& message = "m") {
    return "TMR1" + tree + first + second + number(order, 8) + number(5, 8) + number(message.size(), 4) + message;
}

// The worked example of docs/formats.md.
const std::string example_content = from_hex("23 75 73 64 61 20 31 2e 30 0a");
const std::string example_content_digest =
    from_hex("28 f8 4f 70 5d ab 5d c6 d5 ba ae e8 ee 94 e5 9b 93 b7 1b cd 70 8c 04 8c 71 06 6e 7a 89 56 e2 d1");
const std::string example_scenes =
    from_hex("54 4d 54 31 00 09 4d 61 69 6e 2e 75 73 64 61 01 00 00 00 00 00 00 00 00 0a") + example_content_digest;
const std::string example_scenes_digest =
    from_hex("02 01 e7 a4 3b e9 18 de 53 78 7d 87 10 f5 fe fa a0 5e e5 8f de 11 f1 31 f1 7f 6d 10 1b 3f 87 25");
const std::string example_root =
    from_hex("54 4d 54 31 00 06 53 63 65 6e 65 73 02 00 00 00 00 00 00 00 00 00") + example_scenes_digest;
const std::string example_root_digest =
    from_hex("48 1e 9c 88 42 df f6 fd 28 97 29 58 de 6e 6f 5f fc 79 0e 49 ed 4c 5e a4 b3 ee 16 f6 18 ea 45 e6");
const std::string example_revision =
    from_hex("54 4d 52 31") + example_root_digest + std::string(64, '\0') +
    from_hex("00 00 00 00 00 00 00 01 00 00 01 8b cf e5 68 00 00 00 00 05 46 69 72 73 74");
const std::string example_leaf =
    from_hex("54 4d 4d 31 01 00 00 00 0f 71 75 69 6c 6c 2e 77 6f 72 6b 73 70 61 63 65 00 00 00 01 31");

// ---- Values

Digest digest(char fill) {
    return tome::digest_from_bytes(std::string(32, fill));
}

Revision revision_with(const std::string& message) {
    return {digest(1), digest(2), digest(3), 9, 1700000000000, message};
}

// All that differs between entries, files and folders in their order.
Tree varied_tree() {
    return {{"A", TreeEntry::Kind::Folder, false, 0, digest('a')},
            {"a", TreeEntry::Kind::File, true, largest, digest('b')},
            {"a\n\"b", TreeEntry::Kind::File, false, 1, digest('c')},
            {"a.b", TreeEntry::Kind::File, false, 0, digest('c')},
            {"\xc3\xa4", TreeEntry::Kind::File, false, 1, digest('d')},
            {std::string(255, '\xff'), TreeEntry::Kind::File, false, 1, digest('e')}};
}

MetadataNode leaf_with(const std::map<std::string, std::string>& entries) {
    return {true, entries, {}};
}

// "" when `parse` takes the bytes, else the text of the error, which is marked when its code is not Corrupt.
template <typename Parse>
std::string refusal(Parse parse, std::string_view bytes) {
    try {
        parse(bytes);
    } catch (const tome::Error& error) {
        return (error.code() == tome::ErrorCode::Corrupt ? "" : "not Corrupt: ") + std::string(error.what());
    }
    return "";
}

template <typename Parse>
void expect_corrupt(Parse parse, const std::string& bytes, const std::string& what) {
    EXPECT_TRUE(refusal(parse, bytes).starts_with("corrupt object: ")) << what << ": " << refusal(parse, bytes);
}

// What the parser takes must be what the writer writes for it.
template <typename Parse, typename Encode>
void expect_refused_or_canonical(Parse parse, Encode encode, const std::string& bytes) {
    std::string written;
    try {
        written = encode(parse(bytes));
    } catch (const tome::Error&) {
        return;
    }
    EXPECT_TRUE(written == bytes) << testing::PrintToString(bytes);
}

// Every byte in turn replaced by others, and many changes at once.
template <typename Parse, typename Encode>
void expect_one_form_for_all_damage(Parse parse, Encode encode, const std::string& sound) {
    ASSERT_EQ(refusal(parse, sound), "");
    for (std::size_t at = 0; at < sound.size(); ++at) {
        for (const int change : {1, 2, 3, 4, 8, 16, 32, 64, 128, 255}) {
            std::string damaged = sound;
            damaged[at] = static_cast<char>(damaged[at] ^ change);
            expect_refused_or_canonical(parse, encode, damaged);
        }
    }
    std::mt19937 random(20);  // the same sequence everywhere
    for (int round = 0; round < 5'000; ++round) {
        std::string damaged = sound;
        for (auto changes = 1 + random() % 6; changes > 0 && !damaged.empty(); --changes) {
            const auto at = random() % damaged.size();
            switch (random() % 4) {
                case 0:
                    damaged[at] = static_cast<char>(random());
                    break;
                case 1:
                    damaged.erase(at, random() % 9);
                    break;
                case 2:
                    damaged.insert(at, damaged.substr(random() % damaged.size(), random() % 60));
                    break;
                default:
                    damaged.insert(at, random() % 5, static_cast<char>(random()));
                    break;
            }
        }
        expect_refused_or_canonical(parse, encode, damaged);
    }
}

// The lengths at which the bytes, cut off, are still taken.
template <typename Parse>
std::set<std::size_t> lengths_taken(Parse parse, const std::string& bytes) {
    std::set<std::size_t> lengths;
    for (std::size_t length = 0; length < bytes.size(); ++length) {
        const std::string text = refusal(parse, bytes.substr(0, length));
        if (text.empty()) {
            lengths.insert(length);
        } else {
            EXPECT_TRUE(text.starts_with("corrupt object: ")) << length << ": " << text;
        }
    }
    return lengths;
}

// ---- The example, byte for byte

TEST(ObjectEncoding, NamesContentByThePlainDigestOfItsBytes) {
    EXPECT_EQ(tome::digest_of(example_content).view(), example_content_digest);
}

TEST(ObjectEncoding, WritesATreeOfAFileAsDocumented) {
    const Tree tree{{"Main.usda", TreeEntry::Kind::File, false, 10, tome::digest_of(example_content)}};
    EXPECT_EQ(tome::encode_tree(tree), example_scenes);
    EXPECT_EQ(tome::digest_of(tome::encode_tree(tree)).view(), example_scenes_digest);
}

TEST(ObjectEncoding, WritesATreeOfAFolderAsDocumented) {
    const Tree tree{{"Scenes", TreeEntry::Kind::Folder, false, 0, tome::digest_from_bytes(example_scenes_digest)}};
    EXPECT_EQ(tome::encode_tree(tree), example_root);
    EXPECT_EQ(tome::digest_of(tome::encode_tree(tree)).view(), example_root_digest);
}

TEST(ObjectEncoding, WritesARevisionAsDocumented) {
    const Revision revision{tome::digest_from_bytes(example_root_digest), {}, {}, 1, 1700000000000, "First"};
    EXPECT_EQ(tome::encode_revision(revision), example_revision);
    EXPECT_EQ(tome::to_hex(tome::digest_of(example_revision)),
              "64bcabc2a8a41fca9dedb470f53d51108b4afa238ffc69c13eda2273a03a16ad");
}

TEST(ObjectEncoding, WritesAMetadataLeafAsDocumented) {
    EXPECT_EQ(tome::encode_metadata_node(leaf_with({{"quill.workspace", "1"}})), example_leaf);
    EXPECT_EQ(tome::to_hex(tome::digest_of(example_leaf)),
              "aa64fdbada5576b567851674b71c2304ead0cd68dc8ee1b7759aace4b57fd37d");
}

TEST(ObjectEncoding, WritesTheEmptyTreeAsItsFirstFourBytes) {
    EXPECT_EQ(tome::encode_tree({}), "TMT1");
}

TEST(ObjectEncoding, WritesEveryFieldOfATree) {
    const Tree tree{{"a", TreeEntry::Kind::File, true, 0x0102030405060708, digest('x')},
                    {"b", TreeEntry::Kind::Folder, false, 0, digest('y')}};
    EXPECT_EQ(tome::encode_tree(tree), from_hex("54 4d 54 31 00 01 61 01 01 01 02 03 04 05 06 07 08") +
                                           std::string(32, 'x') + from_hex("00 01 62 02 00 00 00 00 00 00 00 00 00") +
                                           std::string(32, 'y'));
}

TEST(ObjectEncoding, WritesEveryFieldOfARevision) {
    const Revision revision{digest('t'), digest('p'), digest('q'), 0x0102030405060708, 0x1112131415161718, "\n\0"s};
    EXPECT_EQ(tome::encode_revision(revision),
              "TMR1" + std::string(32, 't') + std::string(32, 'p') + std::string(32, 'q') +
                  from_hex("01 02 03 04 05 06 07 08 11 12 13 14 15 16 17 18 00 00 00 02 0a 00"));
}

TEST(ObjectEncoding, WritesABranchingMetadataNodeByNibbles) {
    const MetadataNode node{false, {}, {{15, digest('z')}, {0, digest('a')}}};
    EXPECT_EQ(tome::encode_metadata_node(node),
              from_hex("54 4d 4d 31 02 00") + std::string(32, 'a') + from_hex("0f") + std::string(32, 'z'));
}

// ---- Round trips

TEST(ObjectEncoding, ReadsBackEveryFieldOfATree) {
    const Tree tree = varied_tree();
    const Tree read = tome::parse_tree(tome::encode_tree(tree));
    ASSERT_EQ(read.size(), tree.size());
    for (std::size_t i = 0; i < tree.size(); ++i) {
        EXPECT_EQ(read[i].name, tree[i].name);
        EXPECT_EQ(read[i].kind, tree[i].kind) << i;
        EXPECT_EQ(read[i].executable, tree[i].executable) << i;
        EXPECT_EQ(read[i].size, tree[i].size) << i;
        EXPECT_EQ(read[i].digest, tree[i].digest) << i;
    }
}

TEST(ObjectEncoding, ReadsBackEveryFieldOfARevision) {
    const Revision revision{digest(1), digest(2), digest(3), largest, largest - 1, "a\nb\"\0\xff"s};
    const Revision read = tome::parse_revision(tome::encode_revision(revision));
    EXPECT_EQ(read.tree, revision.tree);
    EXPECT_EQ(read.first_parent, revision.first_parent);
    EXPECT_EQ(read.second_parent, revision.second_parent);
    EXPECT_EQ(read.order, revision.order);
    EXPECT_EQ(read.created_at, revision.created_at);
    EXPECT_EQ(read.message, revision.message);
}

TEST(ObjectEncoding, ReadsBackAMetadataLeafWithAnyBytes) {
    const std::map<std::string, std::string> entries{
        {"", ""}, {"a\"=]\n", "\0\xff"s}, {std::string(70'000, 'k'), std::string(70'000, 'v')}};
    const MetadataNode read = tome::parse_metadata_node(tome::encode_metadata_node(leaf_with(entries)));
    EXPECT_TRUE(read.leaf);
    EXPECT_EQ(read.entries, entries);
    EXPECT_TRUE(read.children.empty());
}

TEST(ObjectEncoding, ReadsBackAMetadataNodeWithAllSixteenChildren) {
    MetadataNode node{false, {}, {}};
    for (std::uint8_t nibble = 0; nibble < 16; ++nibble) {
        node.children[nibble] = digest(static_cast<char>('a' + nibble));
    }
    const MetadataNode read = tome::parse_metadata_node(tome::encode_metadata_node(node));
    EXPECT_FALSE(read.leaf);
    EXPECT_EQ(read.children, node.children);
    EXPECT_TRUE(read.entries.empty());
}

TEST(ObjectEncoding, ReadsBackTheLongestTexts) {
    const std::string text(longest_text, 'x');
    EXPECT_EQ(tome::parse_revision(tome::encode_revision(revision_with(text))).message, text);
    const auto entries = tome::parse_metadata_node(tome::encode_metadata_node(leaf_with({{text, text}}))).entries;
    EXPECT_EQ(entries, (std::map<std::string, std::string>{{text, text}}));
}

TEST(ObjectEncoding, NeverWritesATextThatItWouldNotReadBack) {
    const std::string text(longest_text + 1, 'x');
    EXPECT_THROW(tome::encode_revision(revision_with(text)), tome::Error);
    EXPECT_THROW(tome::encode_metadata_node(leaf_with({{text, ""}})), tome::Error);
    EXPECT_THROW(tome::encode_metadata_node(leaf_with({{"key", text}})), tome::Error);
}

TEST(ObjectEncoding, ReadsALargeTree) {
    std::string bytes = "TMT1";
    for (int i = 0; i < 5'000; ++i) {
        bytes += raw_entry(std::to_string(100'000 + i));
    }
    EXPECT_EQ(tome::parse_tree(bytes).size(), 5'000U);
    EXPECT_TRUE(tome::encode_tree(tome::parse_tree(bytes)) == bytes);
}

// ---- Damage of any kind

TEST(ObjectEncoding, TakesOfACutOffTreeOnlyWholeEntries) {
    const std::string bytes = "TMT1" + raw_entry("a") + raw_entry("bc", 2, 0, 0);
    EXPECT_EQ(lengths_taken(tome::parse_tree, bytes), (std::set<std::size_t>{4, 4 + 45}));
}

TEST(ObjectEncoding, TakesNoCutOffRevision) {
    EXPECT_EQ(lengths_taken(tome::parse_revision, example_revision), std::set<std::size_t>{});
}

TEST(ObjectEncoding, TakesOfACutOffMetadataNodeOnlyWholeMembers) {
    const std::string leaf = "TMM1\1" + raw_pair("a", "1") + raw_pair("b", "22");
    EXPECT_EQ(lengths_taken(tome::parse_metadata_node, leaf), (std::set<std::size_t>{5 + 10}));
    const std::string branching = "TMM1\2" + number(3, 1) + one_digest + number(4, 1) + two_digest;
    EXPECT_EQ(lengths_taken(tome::parse_metadata_node, branching), (std::set<std::size_t>{5 + 33}));
}

TEST(ObjectEncoding, RefusesBytesAfterTheEnd) {
    for (const std::string& tail : {"\0"s, "\n"s, "x"s, "TMT1"s, std::string(33, '\1'), std::string(500, '\xff')}) {
        const std::string what = testing::PrintToString(tail);
        expect_corrupt(tome::parse_tree, "TMT1" + tail, what);
        expect_corrupt(tome::parse_tree, example_scenes + tail, what);
        expect_corrupt(tome::parse_revision, example_revision + tail, what);
        expect_corrupt(tome::parse_metadata_node, example_leaf + tail, what);
        expect_corrupt(tome::parse_metadata_node, "TMM1\2\3" + one_digest + tail, what);
    }
}

TEST(ObjectEncoding, TakesNoBytesOfATreeThatItWouldNotWrite) {
    expect_one_form_for_all_damage(tome::parse_tree, tome::encode_tree,
                                   "TMT1" + raw_entry("a", 1, 1) + raw_entry("bc", 2, 0, 0) + raw_entry("d"));
}

TEST(ObjectEncoding, TakesNoBytesOfARevisionThatItWouldNotWrite) {
    expect_one_form_for_all_damage(tome::parse_revision, tome::encode_revision,
                                   raw_revision(one_digest, two_digest, zero_digest, 2));
}

TEST(ObjectEncoding, TakesNoBytesOfAMetadataNodeThatItWouldNotWrite) {
    expect_one_form_for_all_damage(tome::parse_metadata_node, tome::encode_metadata_node,
                                   "TMM1\1" + raw_pair("a", "1") + raw_pair("b.c", "") + raw_pair("d", "22"));
    expect_one_form_for_all_damage(tome::parse_metadata_node, tome::encode_metadata_node,
                                   "TMM1\2" + number(3, 1) + one_digest + number(4, 1) + two_digest);
}

TEST(ObjectEncoding, RefusesBytesOfAnotherKindOrVersion) {
    const std::string text = "corrupt object: not of the expected kind";
    for (const std::string& first : {"TMR1"s, "TMM1"s, "TMT2"s, "TMT0"s, "tmt1"s, "TMT\1"s, "\0\0\0\0"s, "1TMT"s}) {
        EXPECT_EQ(refusal(tome::parse_tree, first + example_scenes.substr(4)), text) << first;
    }
    for (const std::string& first : {"TMT1"s, "TMM1"s, "TMR2"s, "tmr1"s}) {
        EXPECT_EQ(refusal(tome::parse_revision, first + example_revision.substr(4)), text) << first;
    }
    for (const std::string& first : {"TMT1"s, "TMR1"s, "TMM2"s, "tmm1"s}) {
        EXPECT_EQ(refusal(tome::parse_metadata_node, first + example_leaf.substr(4)), text) << first;
    }
    EXPECT_EQ(refusal(tome::parse_tree, example_content), text);
}

// ---- Trees

TEST(ObjectEncoding, RefusesATreeWithANameTwice) {
    expect_corrupt(tome::parse_tree, "TMT1" + raw_entry("a") + raw_entry("a"), "equal entries");
    expect_corrupt(tome::parse_tree, "TMT1" + raw_entry("a") + raw_entry("a", 2, 0, 0), "a file and a folder");
    expect_corrupt(tome::parse_tree, "TMT1" + raw_entry("a") + raw_entry("b") + raw_entry("a"), "apart");
}

TEST(ObjectEncoding, RefusesATreeOutOfByteOrder) {
    EXPECT_EQ(refusal(tome::parse_tree, "TMT1" + raw_entry("Z") + raw_entry("a") + raw_entry("a ") + raw_entry("\xc3")),
              "");
    expect_corrupt(tome::parse_tree, "TMT1" + raw_entry("b") + raw_entry("a"), "letters");
    expect_corrupt(tome::parse_tree, "TMT1" + raw_entry("a") + raw_entry("Z"), "order of a dictionary");
    expect_corrupt(tome::parse_tree, "TMT1" + raw_entry("ab") + raw_entry("a"), "the shorter name last");
    expect_corrupt(tome::parse_tree, "TMT1" + raw_entry("\xc3") + raw_entry("a"), "order of signed bytes");
    expect_corrupt(tome::parse_tree, "TMT1" + raw_entry("a") + raw_entry("c") + raw_entry("b"), "at the end");
}

TEST(ObjectEncoding, RefusesAnUnknownKindOfEntry) {
    for (const std::uint64_t kind : {0, 3, 4, 128, 255}) {
        expect_corrupt(tome::parse_tree, "TMT1" + raw_entry("a", kind, 0, 0), "kind " + std::to_string(kind));
    }
}

TEST(ObjectEncoding, RefusesAnUnknownMode) {
    for (const std::uint64_t mode : {2, 3, 128, 255}) {
        expect_corrupt(tome::parse_tree, "TMT1" + raw_entry("a", 1, mode), "mode " + std::to_string(mode));
    }
}

TEST(ObjectEncoding, RefusesAFolderWithAModeOrASize) {
    EXPECT_EQ(refusal(tome::parse_tree, "TMT1" + raw_entry("a", 2, 0, 0)), "");
    expect_corrupt(tome::parse_tree, "TMT1" + raw_entry("a", 2, 1, 0), "mode");
    expect_corrupt(tome::parse_tree, "TMT1" + raw_entry("a", 2, 0, 1), "size");
    expect_corrupt(tome::parse_tree, "TMT1" + raw_entry("a", 2, 0, largest), "largest size");
}

TEST(ObjectEncoding, RefusesAnEntryWithoutADigest) {
    expect_corrupt(tome::parse_tree, "TMT1" + raw_entry("a", 1, 0, 0, zero_digest), "file");
    expect_corrupt(tome::parse_tree, "TMT1" + raw_entry("a", 2, 0, 0, zero_digest), "folder");
}

const std::string refused_names[] = {"",
                                     ".",
                                     "..",
                                     "/",
                                     "/a",
                                     "a/b",
                                     "a/",
                                     "../a",
                                     "a/..",
                                     "\0"s,
                                     "a\0"s,
                                     "a\0b"s,
                                     "\\",
                                     "a\\b",
                                     "..\\a",
                                     ".tome",
                                     ".TOME",
                                     ".Tome",
                                     ".tome.",
                                     ".tome ",
                                     ".tome. .",
                                     "tome~1",
                                     "TOME~1",
                                     ".tome:stream",
                                     ".tome::$INDEX_ALLOCATION",
                                     ".t\xe2\x80\x8dome",
                                     std::string(256, 'a'),
                                     std::string(65'535, 'a')};

TEST(ObjectEncoding, RefusesATreeWithANameThatMayNotStandInOne) {
    for (const std::string& name : refused_names) {
        for (const std::uint64_t kind : {1, 2}) {
            EXPECT_NE(refusal(tome::parse_tree, "TMT1" + raw_entry(name, kind, 0, 0)), "")
                << testing::PrintToString(name) << " of kind " << kind;
        }
    }
}

TEST(ObjectEncoding, ReportsANameThatMayNotStandInATreeAsACorruptObject) {
    for (const std::string& name : refused_names) {
        expect_corrupt(tome::parse_tree, "TMT1" + raw_entry(name), testing::PrintToString(name.substr(0, 40)));
    }
}

TEST(ObjectEncoding, TakesNamesThatOnlyLookUnusual) {
    for (const std::string& name : {"..."s, "-rf"s, "~"s, "a:b"s, "con"s, " "s, "%2e%2e"s, "\n"s, "\x7f"s, "\xff\xfe"s,
                                    "'; DROP TABLE branch; --"s, ".tomes"s, "tome"s, std::string(255, 'a')}) {
        EXPECT_EQ(refusal(tome::parse_tree, "TMT1" + raw_entry(name)), "") << testing::PrintToString(name);
    }
}

TEST(ObjectEncoding, RefusesANameThatIsSaidToBeLongerThanTheTree) {
    const std::string rest = raw_entry("a").substr(2);
    for (const std::uint64_t size : {2, 44, 200, 255, 256, 65'535}) {
        expect_corrupt(tome::parse_tree, "TMT1" + number(size, 2) + rest, std::to_string(size));
    }
}

// ---- Revisions

TEST(ObjectEncoding, RefusesARevisionWithoutATree) {
    expect_corrupt(tome::parse_revision, raw_revision(zero_digest, zero_digest, zero_digest, 1), "first");
    expect_corrupt(tome::parse_revision, raw_revision(zero_digest, one_digest, zero_digest, 2), "later");
}

TEST(ObjectEncoding, RefusesASecondParentWithoutAFirst) {
    expect_corrupt(tome::parse_revision, raw_revision(one_digest, zero_digest, two_digest, 1), "order 1");
    expect_corrupt(tome::parse_revision, raw_revision(one_digest, zero_digest, two_digest, 2), "order 2");
}

TEST(ObjectEncoding, RefusesAnOrderThatCannotBe) {
    EXPECT_EQ(refusal(tome::parse_revision, raw_revision(one_digest, zero_digest, zero_digest, 1)), "");
    EXPECT_EQ(refusal(tome::parse_revision, raw_revision(one_digest, two_digest, zero_digest, 2)), "");
    EXPECT_EQ(refusal(tome::parse_revision, raw_revision(one_digest, two_digest, one_digest, largest)), "");
    expect_corrupt(tome::parse_revision, raw_revision(one_digest, two_digest, one_digest, largest + 1), "too large");
    for (const std::uint64_t order : {std::uint64_t{0}, std::uint64_t{2}, largest}) {
        expect_corrupt(tome::parse_revision, raw_revision(one_digest, zero_digest, zero_digest, order),
                       "first revision of order " + std::to_string(order));
    }
    for (const std::uint64_t order : {0, 1}) {
        expect_corrupt(tome::parse_revision, raw_revision(one_digest, two_digest, zero_digest, order),
                       "later revision of order " + std::to_string(order));
    }
}

TEST(ObjectEncoding, RefusesASizeThatNoFileHas) {
    EXPECT_EQ(refusal(tome::parse_tree, "TMT1" + raw_entry("a", 1, 0, largest)), "");
    for (const std::uint64_t size : {largest + 1, std::uint64_t{1} << 63U, ~std::uint64_t{0}}) {
        expect_corrupt(tome::parse_tree, "TMT1" + raw_entry("a", 1, 0, size), std::to_string(size));
        EXPECT_THROW(tome::encode_tree({TreeEntry{"a", TreeEntry::Kind::File, false, size, digest(1)}}), tome::Error);
    }
}

TEST(ObjectEncoding, RefusesAMessageOfForgedSize) {
    const std::string start = raw_revision(one_digest, zero_digest, zero_digest, 1, "").substr(0, 4 + 96 + 16);
    for (const std::uint64_t size :
         {std::uint64_t{0}, std::uint64_t{4}, std::uint64_t{6}, std::uint64_t{longest_text},
          std::uint64_t{longest_text + 1}, std::uint64_t{0x80000000}, std::uint64_t{0xffffffff}}) {
        expect_corrupt(tome::parse_revision, start + number(size, 4) + "First", std::to_string(size));
    }
    EXPECT_EQ(refusal(tome::parse_revision, start + number(5, 4) + "First"), "");
}

#if defined(QUILL_ADDRESS_SANITIZER) || defined(QUILL_THREAD_SANITIZER)
constexpr bool sanitized = true;
#elif defined(__has_feature)
constexpr bool sanitized = __has_feature(address_sanitizer) || __has_feature(thread_sanitizer);
#else
constexpr bool sanitized = false;
#endif

// Ends the process with 0 when all the bytes are refused in the memory that it has.
[[noreturn]] void refuse_without_more_memory(const std::vector<std::string>& revisions,
                                             const std::vector<std::string>& nodes) {
    const rlimit nothing_more{1, 1};
    setrlimit(RLIMIT_AS, &nothing_more);
    bool refused = true;
    for (const std::string& bytes : revisions) {
        refused = refused && refusal(tome::parse_revision, bytes).starts_with("corrupt object: ");
    }
    for (const std::string& bytes : nodes) {
        refused = refused && refusal(tome::parse_metadata_node, bytes).starts_with("corrupt object: ");
    }
    _exit(refused ? 0 : 1);
}

TEST(ObjectEncoding, TakesNoMemoryForForgedSizes) {
    if (sanitized) {
        GTEST_SKIP() << "a limit on memory would stop the sanitizer itself";
    }
    std::vector<std::string> revisions;
    std::vector<std::string> nodes;
    for (const std::uint64_t size :
         {std::uint64_t{longest_text}, std::uint64_t{0x7fffffff}, std::uint64_t{0xffffffff}}) {
        revisions.push_back(raw_revision(one_digest, zero_digest, zero_digest, 1, "").substr(0, 4 + 96 + 16) +
                            number(size, 4) + "m");
        nodes.push_back("TMM1\1" + number(size, 4) + "key");
        nodes.push_back("TMM1\1" + number(3, 4) + "key" + number(size, 4) + "value");
    }
    EXPECT_EXIT(refuse_without_more_memory(revisions, nodes), testing::ExitedWithCode(0), "");
}

TEST(ObjectEncoding, RefusesATextThatIsTooLongEvenWhenItIsAllThere) {
    const std::string text(longest_text + 1, 'x');
    expect_corrupt(tome::parse_revision, raw_revision(one_digest, zero_digest, zero_digest, 1, text), "message");
    expect_corrupt(tome::parse_metadata_node, "TMM1\1" + raw_pair(text, ""), "key");
    expect_corrupt(tome::parse_metadata_node, "TMM1\1" + raw_pair("", text), "value");
}

// ---- Metadata nodes

TEST(ObjectEncoding, RefusesAnEmptyMetadataNode) {
    expect_corrupt(tome::parse_metadata_node, "TMM1\1", "leaf");
    expect_corrupt(tome::parse_metadata_node, "TMM1\2", "branching");
}

TEST(ObjectEncoding, RefusesAnUnknownFormOfMetadataNode) {
    for (const std::uint64_t form : {0, 3, 49, 255}) {
        for (const std::string& members : {raw_pair("a", "1"), "\3" + one_digest, ""s}) {
            expect_corrupt(tome::parse_metadata_node, "TMM1" + number(form, 1) + members, std::to_string(form));
        }
    }
}

TEST(ObjectEncoding, RefusesMetadataKeysTwiceOrOutOfByteOrder) {
    EXPECT_EQ(refusal(tome::parse_metadata_node, "TMM1\1" + raw_pair("", "") + raw_pair("Z", "") + raw_pair("a", "")),
              "");
    expect_corrupt(tome::parse_metadata_node, "TMM1\1" + raw_pair("a", "1") + raw_pair("a", "2"), "twice");
    expect_corrupt(tome::parse_metadata_node, "TMM1\1" + raw_pair("", "1") + raw_pair("", "1"), "the empty key twice");
    expect_corrupt(tome::parse_metadata_node, "TMM1\1" + raw_pair("b", "") + raw_pair("a", ""), "letters");
    expect_corrupt(tome::parse_metadata_node, "TMM1\1" + raw_pair("a", "") + raw_pair("", ""), "the empty key last");
    expect_corrupt(tome::parse_metadata_node, "TMM1\1" + raw_pair("\xff", "") + raw_pair("a", ""), "signed bytes");
}

TEST(ObjectEncoding, RefusesMetadataTextsOfForgedSize) {
    for (const std::uint64_t size : {std::uint64_t{9}, std::uint64_t{longest_text}, std::uint64_t{longest_text + 1},
                                     std::uint64_t{0x7fffffff}, std::uint64_t{0xffffffff}}) {
        const std::string what = std::to_string(size);
        expect_corrupt(tome::parse_metadata_node, "TMM1\1" + number(size, 4) + "key" + number(1, 4) + "1",
                       "key " + what);
        expect_corrupt(tome::parse_metadata_node, "TMM1\1" + number(3, 4) + "key" + number(size, 4) + "1",
                       "value " + what);
    }
}

TEST(ObjectEncoding, RefusesMetadataChildrenTwiceOrOutOfOrderOrBeyondFifteen) {
    const auto child = [](std::uint64_t nibble) { return number(nibble, 1) + one_digest; };
    expect_corrupt(tome::parse_metadata_node, "TMM1\2" + child(3) + child(3), "twice");
    expect_corrupt(tome::parse_metadata_node, "TMM1\2" + child(4) + child(3), "out of order");
    for (const std::uint64_t nibble : {16, 17, 128, 255}) {
        expect_corrupt(tome::parse_metadata_node, "TMM1\2" + child(nibble), "nibble " + std::to_string(nibble));
    }
}

// ---- References

using References = std::vector<std::pair<ObjectKind, Digest>>;

TEST(ObjectEncoding, ATreeRefersToItsEntries) {
    const std::string bytes = "TMT1" + raw_entry("a", 1, 0, 7, one_digest) + raw_entry("b", 2, 0, 0, two_digest);
    EXPECT_EQ(tome::references(ObjectKind::Tree, bytes),
              (References{{ObjectKind::Content, digest(1)}, {ObjectKind::Tree, digest(2)}}));
    EXPECT_EQ(tome::references(ObjectKind::Tree, "TMT1"), References{});
}

TEST(ObjectEncoding, ARevisionRefersToItsTreeAndItsParents) {
    const auto sorted = [](const std::string& bytes) {
        const References found = tome::references(ObjectKind::Revision, bytes);
        return std::multiset<std::pair<ObjectKind, Digest>>(found.begin(), found.end());
    };
    using Set = std::multiset<std::pair<ObjectKind, Digest>>;
    EXPECT_EQ(sorted(raw_revision(one_digest, zero_digest, zero_digest, 1)), (Set{{ObjectKind::Tree, digest(1)}}));
    EXPECT_EQ(sorted(raw_revision(one_digest, two_digest, zero_digest, 2)),
              (Set{{ObjectKind::Tree, digest(1)}, {ObjectKind::Revision, digest(2)}}));
    EXPECT_EQ(
        sorted(raw_revision(one_digest, two_digest, std::string(32, '\3'), 3)),
        (Set{{ObjectKind::Tree, digest(1)}, {ObjectKind::Revision, digest(2)}, {ObjectKind::Revision, digest(3)}}));
}

TEST(ObjectEncoding, AMetadataNodeRefersToItsChildren) {
    EXPECT_EQ(tome::references(ObjectKind::Metadata, "TMM1\2\1" + one_digest + "\2" + two_digest),
              (References{{ObjectKind::Metadata, digest(1)}, {ObjectKind::Metadata, digest(2)}}));
    EXPECT_EQ(tome::references(ObjectKind::Metadata, example_leaf), References{});
}

TEST(ObjectEncoding, ContentRefersToNothingWhateverItsBytes) {
    EXPECT_EQ(tome::references(ObjectKind::Content, example_scenes), References{});
}

TEST(ObjectEncoding, DamagedBytesHaveNoReferences) {
    for (const ObjectKind kind : {ObjectKind::Tree, ObjectKind::Revision, ObjectKind::Metadata}) {
        const auto parse = [kind](std::string_view bytes) { return tome::references(kind, bytes); };
        expect_corrupt(parse, example_content, "content as kind " + std::to_string(static_cast<int>(kind)));
        expect_corrupt(parse, "", "nothing as kind " + std::to_string(static_cast<int>(kind)));
    }
}

// ---- Entries

TEST(ObjectEncoding, EntriesHaveTheSameStateWhateverTheirNames) {
    const TreeEntry file{"a", TreeEntry::Kind::File, false, 1, digest(1)};
    EXPECT_TRUE(file.same_state({"b", TreeEntry::Kind::File, false, 1, digest(1)}));
    EXPECT_FALSE(file.same_state({"a", TreeEntry::Kind::File, true, 1, digest(1)}));
    EXPECT_FALSE(file.same_state({"a", TreeEntry::Kind::Folder, false, 1, digest(1)}));
    EXPECT_FALSE(file.same_state({"a", TreeEntry::Kind::File, false, 1, digest(2)}));
}

}  // namespace
