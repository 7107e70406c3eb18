#include "tome/object/object_encoding.h"

#include "tome/base/error.h"
#include "tome/object/tree_path.h"

namespace tome {
namespace {

constexpr std::string_view tree_magic = "TMT1";
constexpr std::string_view revision_magic = "TMR1";
constexpr std::string_view metadata_magic = "TMM1";
constexpr std::size_t max_text_bytes = 1U << 24U;  // messages, metadata keys and values

// Far above any real order or size, and far enough below the largest number that sums of some stay correct.
constexpr std::uint64_t max_number = std::uint64_t{1} << 62U;

void check_number(std::uint64_t value, const char* what) {
    if (value > max_number) {
        throw Error(ErrorCode::Invalid, std::string(what) + " of " + std::to_string(value) + " is too large");
    }
}

[[noreturn]] void corrupt(const std::string& what) {
    throw Error(ErrorCode::Corrupt, "corrupt object: " + what);
}

class Writer {
  public:
    explicit Writer(std::string_view magic) : bytes_(magic) {}

    void integer(std::uint64_t value, int width) {
        for (int shift = (width - 1) * 8; shift >= 0; shift -= 8) {
            bytes_ += static_cast<char>((value >> shift) & 0xffU);
        }
    }
    void text(std::string_view value, int width) {
        if (value.size() > max_text_bytes) {
            throw Error(ErrorCode::Invalid, "text of " + std::to_string(value.size()) + " bytes is too long");
        }
        integer(value.size(), width);
        bytes_ += value;
    }
    void digest(const Digest& value) { bytes_ += value.view(); }
    std::string take() { return std::move(bytes_); }

  private:
    std::string bytes_;
};

class Reader {
  public:
    Reader(std::string_view bytes, std::string_view magic) : rest_(bytes) {
        if (take(magic.size()) != magic) {
            corrupt("not of the expected kind");
        }
    }

    std::string_view take(std::size_t count) {
        if (rest_.size() < count) {
            corrupt("cut off");
        }
        const std::string_view result = rest_.substr(0, count);
        rest_.remove_prefix(count);
        return result;
    }
    std::uint64_t integer(int width) {
        std::uint64_t value = 0;
        for (const char c : take(static_cast<std::size_t>(width))) {
            value = value << 8U | static_cast<std::uint8_t>(c);
        }
        return value;
    }
    std::string text(int width) {
        const std::uint64_t size = integer(width);
        if (size > max_text_bytes) {
            corrupt("text too long");
        }
        return std::string(take(static_cast<std::size_t>(size)));
    }
    Digest digest() { return digest_from_bytes(take(32)); }
    bool at_end() const { return rest_.empty(); }
    void require_end() const {
        if (!at_end()) {
            corrupt("bytes after the end");
        }
    }

  private:
    std::string_view rest_;
};

TreeEntry read_entry(Reader& in) {
    TreeEntry entry;
    entry.name = in.text(2);
    try {
        check_entry_name(entry.name);
    } catch (const Error& error) {
        corrupt(error.what());
    }
    const std::uint64_t kind = in.integer(1);
    const std::uint64_t mode = in.integer(1);
    entry.size = in.integer(8);
    entry.digest = in.digest();
    if (kind != 1 && kind != 2) {
        corrupt("unknown kind of entry: " + entry.name);
    }
    entry.kind = static_cast<TreeEntry::Kind>(kind);
    entry.executable = mode == 1;
    if (mode > 1 || (entry.is_folder() && (mode != 0 || entry.size != 0)) || entry.size > max_number ||
        entry.digest.is_zero()) {
        corrupt("malformed entry: " + entry.name);
    }
    return entry;
}

}  // namespace

std::string encode_tree(const Tree& tree) {
    Writer out(tree_magic);
    for (const TreeEntry& entry : tree) {
        check_entry_name(entry.name);
        check_number(entry.size, "size");
        out.text(entry.name, 2);
        out.integer(static_cast<std::uint64_t>(entry.kind), 1);
        out.integer(entry.executable ? 1 : 0, 1);
        out.integer(entry.size, 8);
        out.digest(entry.digest);
    }
    return out.take();
}

Tree parse_tree(std::string_view bytes) {
    Reader in(bytes, tree_magic);
    Tree tree;
    while (!in.at_end()) {
        tree.push_back(read_entry(in));
        if (tree.size() > 1 && tree[tree.size() - 2].name >= tree.back().name) {
            corrupt("entries out of order or twice: " + tree.back().name);
        }
    }
    return tree;
}

std::string encode_revision(const Revision& revision) {
    check_number(revision.order, "order");
    Writer out(revision_magic);
    out.digest(revision.tree);
    out.digest(revision.first_parent);
    out.digest(revision.second_parent);
    out.integer(revision.order, 8);
    out.integer(revision.created_at, 8);
    out.text(revision.message, 4);
    return out.take();
}

Revision parse_revision(std::string_view bytes) {
    Reader in(bytes, revision_magic);
    Revision revision;
    revision.tree = in.digest();
    revision.first_parent = in.digest();
    revision.second_parent = in.digest();
    revision.order = in.integer(8);
    revision.created_at = in.integer(8);
    revision.message = in.text(4);
    in.require_end();
    const bool first = revision.first_parent.is_zero();
    if (revision.tree.is_zero() || (first && !revision.second_parent.is_zero()) || (first != (revision.order == 1)) ||
        revision.order == 0 || revision.order > max_number) {
        corrupt("malformed revision");
    }
    return revision;
}

std::string encode_metadata_node(const MetadataNode& node) {
    Writer out(metadata_magic);
    out.integer(node.leaf ? 1 : 2, 1);
    for (const auto& [key, value] : node.entries) {
        out.text(key, 4);
        out.text(value, 4);
    }
    for (const auto& [nibble, child] : node.children) {
        out.integer(nibble, 1);
        out.digest(child);
    }
    return out.take();
}

MetadataNode parse_metadata_node(std::string_view bytes) {
    Reader in(bytes, metadata_magic);
    const std::uint64_t form = in.integer(1);
    if (form != 1 && form != 2) {
        corrupt("unknown form of metadata node");
    }
    MetadataNode node;
    node.leaf = form == 1;
    while (!in.at_end()) {
        if (node.leaf) {
            std::string key = in.text(4);
            std::string value = in.text(4);
            if (!node.entries.empty() && node.entries.rbegin()->first >= key) {
                corrupt("metadata keys out of order or twice");
            }
            node.entries.emplace_hint(node.entries.end(), std::move(key), std::move(value));
        } else {
            const auto nibble = static_cast<std::uint8_t>(in.integer(1));
            if (nibble > 15 || (!node.children.empty() && node.children.rbegin()->first >= nibble)) {
                corrupt("metadata children out of order or twice");
            }
            node.children.emplace_hint(node.children.end(), nibble, in.digest());
        }
    }
    if (node.leaf ? node.entries.empty() : node.children.empty()) {
        corrupt("empty metadata node");
    }
    return node;
}

std::vector<std::pair<ObjectKind, Digest>> references(ObjectKind kind, std::string_view bytes) {
    std::vector<std::pair<ObjectKind, Digest>> result;
    if (kind == ObjectKind::Tree) {
        for (const TreeEntry& entry : parse_tree(bytes)) {
            result.emplace_back(entry.is_folder() ? ObjectKind::Tree : ObjectKind::Content, entry.digest);
        }
    } else if (kind == ObjectKind::Revision) {
        const Revision revision = parse_revision(bytes);
        for (const Digest& parent : {revision.first_parent, revision.second_parent}) {
            if (!parent.is_zero()) {
                result.emplace_back(ObjectKind::Revision, parent);
            }
        }
        result.emplace_back(ObjectKind::Tree, revision.tree);
    } else if (kind == ObjectKind::Metadata) {
        for (const auto& [nibble, child] : parse_metadata_node(bytes).children) {
            result.emplace_back(ObjectKind::Metadata, child);
        }
    }
    return result;
}

}  // namespace tome
