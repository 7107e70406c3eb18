#include "tome/object/metadata_map.h"

#include <set>

#include "tome/base/error.h"

namespace tome {
namespace {

using Entries = std::map<std::string, std::string>;

constexpr std::size_t max_depth = 64;  // nibbles of a digest

std::string group_of(const std::string& key) {
    return key.substr(0, key.rfind('.'));
}

// Where the key belongs: the nibbles of this digest lead from the root to its leaf.
Digest position_of(const std::string& key) {
    return digest_of(group_of(key));
}

std::uint8_t nibble_of(const Digest& digest, std::size_t depth) {
    const std::uint8_t byte = digest.bytes.at(depth / 2);
    return depth % 2 == 0 ? static_cast<std::uint8_t>(byte >> 4) : static_cast<std::uint8_t>(byte & 15);
}

bool fits_leaf(const Entries& entries, std::size_t depth) {
    std::set<std::string> groups;
    for (const auto& [key, value] : entries) {
        groups.insert(group_of(key));
    }
    return groups.size() <= max_groups_in_leaf || depth == max_depth;
}

[[noreturn]] void refuse_depth(const Digest& node) {
    throw Error(ErrorCode::Corrupt, "corrupt object: metadata nested too deep (object " + to_hex(node) + ")");
}

std::map<std::uint8_t, Entries> by_nibble(const Entries& entries, std::size_t depth) {
    std::map<std::uint8_t, Entries> result;
    for (const auto& entry : entries) {
        result[nibble_of(position_of(entry.first), depth)].insert(entry);
    }
    return result;
}

Digest set_at(ObjectSource& source, const Digest& root, const Entries& values, std::size_t depth, ObjectSink& sink) {
    MetadataNode node;
    if (!root.is_zero()) {
        node = read_metadata_node(source, root);
    }
    if (node.leaf) {
        for (const auto& [key, value] : values) {
            node.entries.insert_or_assign(key, value);
        }
        if (fits_leaf(node.entries, depth)) {
            return sink.add(ObjectKind::Metadata, encode_metadata_node(node));
        }
    }
    if (depth == max_depth) {
        refuse_depth(root);
    }
    const std::map<std::uint8_t, Entries> parts = by_nibble(node.leaf ? node.entries : values, depth);
    node.leaf = false;
    node.entries.clear();
    for (const auto& [nibble, part] : parts) {
        Digest& child = node.children[nibble];
        child = set_at(source, child, part, depth + 1, sink);
    }
    return sink.add(ObjectKind::Metadata, encode_metadata_node(node));
}

void get_at(ObjectSource& source, const Digest& root, const Entries& wanted, std::size_t depth, Entries& found) {
    if (root.is_zero()) {
        return;
    }
    const MetadataNode node = read_metadata_node(source, root);
    if (node.leaf) {
        for (const auto& [key, unused] : wanted) {
            if (const auto entry = node.entries.find(key); entry != node.entries.end()) {
                found.insert(*entry);
            }
        }
        return;
    }
    if (depth == max_depth) {
        refuse_depth(root);
    }
    for (const auto& [nibble, part] : by_nibble(wanted, depth)) {
        if (const auto child = node.children.find(nibble); child != node.children.end()) {
            get_at(source, child->second, part, depth + 1, found);
        }
    }
}

// Lists the entries at and below a node, to which the nibbles in `way` lead. A key that is not where it belongs is
// refused. So a node that others made stand in many places is not listed many times.
void list_at(ObjectSource& source, const Digest& root, std::vector<std::uint8_t>& way, Entries& found) {
    const MetadataNode node = read_metadata_node(source, root);
    if (!node.leaf && way.size() == max_depth) {
        refuse_depth(root);
    }
    for (const auto& [key, value] : node.entries) {
        const Digest wanted = position_of(key);
        for (std::size_t depth = 0; depth < way.size(); ++depth) {
            if (nibble_of(wanted, depth) != way[depth]) {
                throw Error(ErrorCode::Corrupt, "corrupt object: misplaced metadata (object " + to_hex(root) + ")");
            }
        }
        found.emplace(key, value);
    }
    for (const auto& [nibble, child] : node.children) {
        way.push_back(nibble);
        list_at(source, child, way, found);
        way.pop_back();
    }
}

}  // namespace

std::map<std::string, std::string> get_metadata(ObjectSource& source, const Digest& root,
                                                const std::vector<std::string>& keys) {
    Entries wanted;
    for (const std::string& key : keys) {
        wanted.emplace(key, "");
    }
    Entries found;
    get_at(source, root, wanted, 0, found);
    return found;
}

std::map<std::string, std::string> list_metadata(ObjectSource& source, const Digest& root) {
    Entries found;
    std::vector<std::uint8_t> way;
    if (!root.is_zero()) {
        list_at(source, root, way, found);
    }
    return found;
}

Digest set_metadata(ObjectSource& source, const Digest& root, const std::map<std::string, std::string>& values,
                    ObjectSink& sink) {
    return values.empty() ? root : set_at(source, root, values, 0, sink);
}

}  // namespace tome
