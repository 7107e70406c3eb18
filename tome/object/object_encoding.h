// The bytes of trees, revisions and metadata nodes. One writer, one parser, one form: the parser takes exactly what the
// writer writes, so equal values have equal bytes and one digest. Integers are big-endian. Grammar: docs/formats.md.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tome/base/digest.h"

namespace tome {

enum class ObjectKind : std::uint8_t { Content = 1, Tree = 2, Revision = 3, Metadata = 4 };

struct TreeEntry {
    enum class Kind : std::uint8_t { File = 1, Folder = 2 };

    std::string name;
    Kind kind = Kind::File;
    bool executable = false;  ///< files only
    std::uint64_t size = 0;   ///< bytes of a file, 0 for a folder
    Digest digest;            ///< content of a file, tree of a folder

    bool is_folder() const { return kind == Kind::Folder; }
    /// Same kind, content and mode, whatever the name.
    bool same_state(const TreeEntry& other) const {
        return kind == other.kind && executable == other.executable && digest == other.digest;
    }
};

/// Whether both are of the same state, or both are nothing.
inline bool same_state(const std::optional<TreeEntry>& a, const std::optional<TreeEntry>& b) {
    return a && b ? a->same_state(*b) : !a && !b;
}

/// Entries in strictly ascending byte order of their names.
using Tree = std::vector<TreeEntry>;

struct Revision {
    Digest tree;
    Digest first_parent;   ///< zero for a first revision
    Digest second_parent;  ///< zero unless a merge
    std::uint64_t order = 1;
    std::uint64_t created_at = 0;  ///< ms since the Unix epoch
    std::string message;
};

/// A node of the metadata map: a leaf with entries or a branching node with 1 to 16 children.
struct MetadataNode {
    bool leaf = true;
    std::map<std::string, std::string> entries;  ///< leaf
    std::map<std::uint8_t, Digest> children;     ///< otherwise, by nibble
};

/// Each throws Error(Invalid) for a text over 16 MiB, a name that may not stand in a tree, a size or an order above
/// 2^62: the parser would not take them.
std::string encode_tree(const Tree& tree);
std::string encode_revision(const Revision& revision);
std::string encode_metadata_node(const MetadataNode& node);

/// Each throws Error(Corrupt) that says what is wrong unless `bytes` are what the writer writes for some value.
Tree parse_tree(std::string_view bytes);
Revision parse_revision(std::string_view bytes);
MetadataNode parse_metadata_node(std::string_view bytes);

/// Digests of the objects that an object of this kind refers to, a revision's parents included.
std::vector<std::pair<ObjectKind, Digest>> references(ObjectKind kind, std::string_view bytes);

}  // namespace tome
