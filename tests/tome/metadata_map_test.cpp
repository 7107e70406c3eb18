#include "tome/object/metadata_map.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <random>
#include <set>
#include <unordered_map>

#include "tome/base/error.h"

namespace {

using namespace std::string_literals;
using tome::Digest;
using tome::MetadataNode;
using tome::ObjectKind;
using Entries = std::map<std::string, std::string>;

// Keeps nodes in memory, counts what is added and read, and can lose or damage one.
class Nodes final : public tome::ObjectSource, public tome::ObjectSink {
  public:
    Digest add(ObjectKind kind, const std::string& bytes) override {
        EXPECT_EQ(kind, ObjectKind::Metadata);
        if (bytes.starts_with("TMM1\2")) {
            for (const auto& [child_kind, child] : tome::references(kind, bytes)) {
                EXPECT_TRUE(contains(child_kind, child)) << "a node was added before its child";
            }
        }
        ++added;
        const Digest digest = tome::digest_of(bytes);
        nodes[digest] = bytes;
        return digest;
    }
    std::optional<std::string> find_object(const Digest& digest) override {
        ++read;
        const auto node = nodes.find(digest);
        return node == nodes.end() ? std::nullopt : std::optional(node->second);
    }
    std::optional<tome::Content> find_content(const Digest&) override { return std::nullopt; }
    bool contains(ObjectKind, const Digest& digest) override { return nodes.contains(digest); }
    std::vector<Digest> lost(const std::vector<Digest>&) override { return {}; }

    std::unordered_map<Digest, std::string, tome::DigestHash> nodes;
    int added = 0;
    int read = 0;
};

// The hexadecimal digit at `level`.
std::uint8_t nibble(const Digest& digest, std::size_t level) {
    return static_cast<std::uint8_t>(std::stoi(tome::to_hex(digest).substr(level, 1), nullptr, 16));
}

// The keys of revisions, as commits write them.
Entries revisions(int count) {
    Entries entries;
    for (int i = 0; i < count; ++i) {
        const std::string prefix = "keel.revision." + tome::to_hex(tome::digest_of(std::to_string(i)));
        entries[prefix + ".author"] = "ana";
        entries[prefix + ".summary"] = "Change " + std::to_string(i);
    }
    return entries;
}

class MetadataMap : public testing::Test {
  protected:
    Digest set(const Entries& values) { return set(Digest{}, values); }
    Digest set(const Digest& root, const Entries& values) { return tome::set_metadata(nodes_, root, values, nodes_); }
    Entries list(const Digest& root) { return tome::list_metadata(nodes_, root); }
    Entries get(const Digest& root, const std::vector<std::string>& keys) {
        return tome::get_metadata(nodes_, root, keys);
    }

    // A chain of `levels` branching nodes on the way to `key`, above a leaf with it.
    Digest chain(const std::string& key, std::size_t levels) {
        Digest below = nodes_.add(ObjectKind::Metadata, tome::encode_metadata_node({true, {{key, "1"}}, {}}));
        for (std::size_t level = levels; level-- > 0;) {
            const std::uint8_t place = level < 64 ? nibble(tome::digest_of(key), level) : std::uint8_t{0};
            below = nodes_.add(ObjectKind::Metadata, tome::encode_metadata_node({false, {}, {{place, below}}}));
        }
        return below;
    }

    Nodes nodes_;
};

// ---- Values

TEST_F(MetadataMap, IsEmptyWithoutARoot) {
    EXPECT_EQ(list(Digest{}), Entries{});
    EXPECT_EQ(get(Digest{}, {"a", ""}), Entries{});
}

TEST_F(MetadataMap, KeepsItsRootWhenNothingIsSet) {
    EXPECT_TRUE(set({}).is_zero());
    const Digest root = set({{"a", "1"}});
    EXPECT_EQ(set(root, {}), root);
    EXPECT_EQ(nodes_.added, 1);
}

TEST_F(MetadataMap, IsOneLeafWhileItIsSmall) {
    const Digest root = set({{"quill.workspace", "1"}});
    EXPECT_EQ(tome::to_hex(root), "aa64fdbada5576b567851674b71c2304ead0cd68dc8ee1b7759aace4b57fd37d");
}

TEST_F(MetadataMap, GivesBackAnyTexts) {
    const Entries entries{{"quill.workspace.name", "Evening \"light\"\nwith = and ]"},
                          {"a\"b", "1"},
                          {"a\nb", "2"},
                          {"a]b", "3"},
                          {"a=b", "4"},
                          {"a\\b", "\\"},
                          {"a\0b"s, "\0"s},
                          {"", "of the empty key"},
                          {".", "of a dot"},
                          {"..", "of two"},
                          {".a", "of no prefix"},
                          {"a.", "of a prefix alone"},
                          {"'; DROP TABLE branch; --", "%_"},
                          {"\xff\xfe", "\xc3"},
                          {"empty", ""},
                          {"blank", " \t\r\n"}};
    const Digest root = set(entries);
    EXPECT_EQ(list(root), entries);
    for (const auto& [key, value] : entries) {
        EXPECT_EQ(get(root, {key}), (Entries{{key, value}})) << testing::PrintToString(key);
    }
}

TEST_F(MetadataMap, GivesBackVeryLongTexts) {
    const Entries entries{{"long", std::string(16'777'216, 'v')}, {std::string(100'000, 'k'), "1"}};
    const Digest root = set(entries);
    EXPECT_TRUE(list(root) == entries);
    EXPECT_TRUE(get(root, {"long"}).at("long") == entries.at("long"));
}

TEST_F(MetadataMap, RefusesATextThatCouldNotBeReadAgain) {
    const Digest root = set({{"a", "1"}});
    const std::string text(16'777'217, 'v');
    EXPECT_THROW(set(root, {{"b", text}}), tome::Error);
    EXPECT_THROW(set(root, {{text, "b"}}), tome::Error);
}

TEST_F(MetadataMap, GivesOnlyWhatIsThere) {
    const Digest root = set({{"a.b", "1"}, {"a.c", "2"}});
    EXPECT_EQ(get(root, {"a.c", "a.d", "a", "b", ""}), (Entries{{"a.c", "2"}}));
    EXPECT_EQ(get(root, {"a.c", "a.c"}), (Entries{{"a.c", "2"}}));
    EXPECT_EQ(get(root, {}), Entries{});
}

TEST_F(MetadataMap, ReplacesValues) {
    const Digest old = set({{"a", "1"}, {"b", "2"}});
    const Digest changed = set(old, {{"a", ""}});
    EXPECT_EQ(list(changed), (Entries{{"a", ""}, {"b", "2"}}));
    EXPECT_EQ(list(old), (Entries{{"a", "1"}, {"b", "2"}}));
}

TEST_F(MetadataMap, GivesBackAThousandRevisions) {
    const Entries entries = revisions(1000);
    const Digest root = set(entries);
    EXPECT_EQ(list(root), entries);
    std::vector<std::string> keys;
    for (const auto& [key, value] : entries) {
        keys.push_back(key);
    }
    EXPECT_EQ(get(root, keys), entries);
    EXPECT_EQ(get(root, {keys[7], "keel.revision.0.author"}), (Entries{{keys[7], entries.at(keys[7])}}));
}

// ---- Form

TEST_F(MetadataMap, HasAFormThatDependsOnItsContentsAlone) {
    const Entries entries = revisions(100);
    const Digest at_once = set(entries);
    std::vector<std::pair<std::string, std::string>> order(entries.begin(), entries.end());
    std::mt19937 random(3);  // the same orders everywhere
    for (int round = 0; round < 5; ++round) {
        std::shuffle(order.begin(), order.end(), random);
        Digest root;
        for (std::size_t i = 0; i < order.size();) {
            Entries part;
            for (auto size = 1 + random() % 7; size > 0 && i < order.size(); --size, ++i) {
                root = size == 3 ? set(root, {{order[i].first, "to be replaced"}}) : root;
                part.insert(order[i]);
            }
            root = set(root, part);
        }
        EXPECT_EQ(root, at_once);
    }
}

TEST_F(MetadataMap, StaysALeafWithFourPrefixesAndBranchesWithFive) {
    Entries entries;
    for (const char* prefix : {"a", "b.c", "d.", "e"}) {
        for (int i = 0; i < 50; ++i) {
            entries[prefix + "."s + std::to_string(i)] = "v";
        }
    }
    const Digest leaf = set(entries);
    EXPECT_TRUE(tome::parse_metadata_node(nodes_.nodes.at(leaf)).leaf);
    const Digest branching = set(leaf, {{"f.0", "v"}});
    EXPECT_FALSE(tome::parse_metadata_node(nodes_.nodes.at(branching)).leaf);
}

TEST_F(MetadataMap, CountsPrefixesUpToTheLastDot) {
    const Digest root = set({{"k.1.x", ""}, {"k.2.x", ""}, {"k.3.x", ""}, {"k.4.x", ""}, {"k.4.y", ""}});
    EXPECT_TRUE(tome::parse_metadata_node(nodes_.nodes.at(root)).leaf);
    EXPECT_FALSE(tome::parse_metadata_node(nodes_.nodes.at(set(root, {{"k.5.x", ""}}))).leaf);
}

TEST_F(MetadataMap, BranchesOnTheDigitsOfThePrefixesDigests) {
    const Entries entries{{"a.x", "1"}, {"b.x", "2"}, {"c.x", "3"}, {"d.x", "4"}, {"e.x", "5"}, {"f", "6"}};
    const MetadataNode root = tome::parse_metadata_node(nodes_.nodes.at(set(entries)));
    ASSERT_FALSE(root.leaf);
    // The first digits of the SHA-256 of "a" to "f".
    const std::map<std::string, std::uint8_t> places{{"a.x", 0xc}, {"b.x", 0x3}, {"c.x", 0x2},
                                                     {"d.x", 0x1}, {"e.x", 0x3}, {"f", 0x2}};
    std::map<std::uint8_t, Entries> expected;
    for (const auto& [key, place] : places) {
        expected[place][key] = entries.at(key);
    }
    ASSERT_EQ(root.children.size(), expected.size());
    for (const auto& [place, child] : root.children) {
        const MetadataNode node = tome::parse_metadata_node(nodes_.nodes.at(child));
        EXPECT_TRUE(node.leaf);
        EXPECT_EQ(node.entries, expected[place]) << static_cast<int>(place);
    }
}

TEST_F(MetadataMap, PutsTheKeysOfOneRevisionIntoOneLeaf) {
    Entries entries = revisions(200);
    const std::string prefix = "keel.revision.r";
    for (int i = 0; i < 10; ++i) {
        entries[prefix + "." + std::to_string(i)] = "mine";
    }
    set(entries);
    std::set<Digest> leaves;
    for (const auto& [digest, bytes] : nodes_.nodes) {
        for (const auto& [key, value] : tome::parse_metadata_node(bytes).entries) {
            if (value == "mine") {
                leaves.insert(digest);
            }
        }
    }
    EXPECT_EQ(leaves.size(), 1U);
}

// ---- Cost

TEST_F(MetadataMap, WritesAndReadsOnlyTheWayToAKey) {
    const Entries entries = revisions(3000);
    const Digest root = set(entries);
    nodes_.added = nodes_.read = 0;
    set(root, {{"keel.revision.new.author", "ana"}, {"keel.revision.new.summary", "New"}});
    EXPECT_LE(nodes_.added, 20);
    EXPECT_LE(nodes_.read, 10);
    nodes_.read = 0;
    EXPECT_EQ(get(root, {entries.begin()->first}).size(), 1U);
    EXPECT_LE(nodes_.read, 10);
}

// ---- Damage

std::string failure(const std::function<void()>& call, tome::ErrorCode code) {
    try {
        call();
    } catch (const tome::Error& error) {
        return (error.code() == code ? "" : "of another code: ") + std::string(error.what());
    } catch (const std::exception& error) {
        return "no engine error: " + std::string(error.what());
    }
    return "no failure";
}

TEST_F(MetadataMap, NamesANodeThatIsMissing) {
    const Digest root = tome::digest_of("nowhere");
    const std::string text = "missing object: " + tome::to_hex(root);
    EXPECT_EQ(failure([&] { list(root); }, tome::ErrorCode::NotFound), text);
    EXPECT_EQ(failure([&] { get(root, {"a"}); }, tome::ErrorCode::NotFound), text);
    EXPECT_EQ(failure([&] { set(root, {{"a", "1"}}); }, tome::ErrorCode::NotFound), text);
}

TEST_F(MetadataMap, NamesAChildThatIsMissing) {
    const Digest root = set(revisions(50));
    const Digest child = tome::parse_metadata_node(nodes_.nodes.at(root)).children.begin()->second;
    nodes_.nodes.erase(child);
    EXPECT_EQ(failure([&] { list(root); }, tome::ErrorCode::NotFound), "missing object: " + tome::to_hex(child));
}

TEST_F(MetadataMap, NamesANodeThatDoesNotParse) {
    for (const std::string& bytes : {"TMT1"s, "TMM1"s, "TMM1\1"s, "TMM1\2"s, "TMM2\1"s, ""s}) {
        const Digest root = tome::digest_of(bytes);
        nodes_.nodes[root] = bytes;
        for (const auto& call :
             std::initializer_list<std::function<void()>>{[&] { list(root); }, [&] { get(root, {"a"}); },
                                                          [&] {
                                                              set(root, {{"a", "1"}});
                                                          }}) {
            const std::string text = failure(call, tome::ErrorCode::Corrupt);
            EXPECT_TRUE(text.starts_with("corrupt object: ")) << text;
            EXPECT_NE(text.find(tome::to_hex(root)), std::string::npos) << text;
        }
    }
}

TEST_F(MetadataMap, ReadsAMapThatBranchesOnEveryDigit) {
    const Digest root = chain("a", 64);
    EXPECT_EQ(list(root), (Entries{{"a", "1"}}));
    EXPECT_EQ(get(root, {"a"}), (Entries{{"a", "1"}}));
    EXPECT_EQ(list(set(root, {{"a", "2"}})), (Entries{{"a", "2"}}));
}

TEST_F(MetadataMap, ListsNoMapThatIsNestedTooDeep) {
    for (const std::size_t levels : {65U, 66U, 1000U}) {
        const Digest root = chain("a", levels);
        const std::string text = failure([&] { list(root); }, tome::ErrorCode::Corrupt);
        EXPECT_TRUE(text.starts_with("corrupt object: ")) << levels << ": " << text;
    }
}

TEST_F(MetadataMap, ListsNoMapInWhichANodeStandsInTwoPlaces) {
    Digest root = set({}, {{"a", "1"}});
    for (int level = 0; level < 60; ++level) {
        MetadataNode node;
        node.leaf = false;
        for (std::uint8_t nibble = 0; nibble < 16; ++nibble) {
            node.children[nibble] = root;
        }
        root = nodes_.add(ObjectKind::Metadata, tome::encode_metadata_node(node));
    }
    const std::string text = failure([&] { list(root); }, tome::ErrorCode::Corrupt);
    EXPECT_TRUE(text.starts_with("corrupt object: misplaced metadata (object ")) << text;
    EXPECT_EQ(get(root, {"a"}), (Entries{{"a", "1"}}));
}

TEST_F(MetadataMap, ReportsAMapThatIsNestedTooDeepAsCorrupt) {
    for (const std::size_t levels : {65U, 66U, 1000U}) {
        const Digest root = chain("a", levels);
        for (const auto& call : std::initializer_list<std::function<void()>>{[&] { get(root, {"a"}); },
                                                                             [&] {
                                                                                 set(root, {{"a", "2"}});
                                                                             }}) {
            const std::string text = failure(call, tome::ErrorCode::Corrupt);
            EXPECT_TRUE(text.starts_with("corrupt object: ")) << levels << ": " << text;
        }
    }
}

}  // namespace
