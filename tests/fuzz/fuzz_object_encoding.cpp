// The engine's objects: what the parser takes is what the writer writes for it, anything else is refused as corrupt;
// every value that may be written is read back. The input is an object and, cut into values, what is written.
#include <algorithm>
#include <tuple>

#include "tests/fuzz/fuzz_input.h"
#include "tome/base/error.h"
#include "tome/object/object_encoding.h"
#include "tome/object/tree_path.h"

namespace {

using quill_test::FuzzInput;
using quill_test::require;
using tome::ObjectKind;

constexpr std::uint64_t largest = std::uint64_t{1} << 62U;  // size or order

template <typename Parse, typename Encode>
void check_bytes(Parse parse, Encode encode, ObjectKind kind, std::string_view bytes) {
    try {
        const auto value = parse(bytes);
        require(encode(value) == bytes, "what is parsed has one form");
    } catch (const tome::Error& error) {
        require(error.code() == tome::ErrorCode::Corrupt, "refused objects are corrupt");
        return;
    }
    for (const auto& [of_kind, digest] : tome::references(kind, bytes)) {
        require(!digest.is_zero() || kind == ObjectKind::Metadata, "no object refers to nothing");
    }
}

tome::Digest digest_in(FuzzInput& input) {
    tome::Digest digest;
    digest.bytes.fill(input.byte());
    digest.bytes[31] = 1;  // Never all zero.
    return digest;
}

bool may_stand_in_a_tree(const std::string& name) {
    try {
        tome::check_entry_name(name);
        return true;
    } catch (const tome::Error&) {
        return false;
    }
}

void check_written_tree(FuzzInput input) {
    tome::Tree tree;
    while (!input.at_end()) {
        tome::TreeEntry entry;
        entry.name = input.text();
        const std::uint8_t form = input.byte();
        entry.kind = (form & 1U) != 0 ? tome::TreeEntry::Kind::Folder : tome::TreeEntry::Kind::File;
        entry.executable = !entry.is_folder() && (form & 2U) != 0;
        entry.size = entry.is_folder() ? 0 : input.number() % (largest + 1);
        entry.digest = digest_in(input);
        if (may_stand_in_a_tree(entry.name)) {
            tree.push_back(std::move(entry));
        }
    }
    const auto by_name = [](const auto& a, const auto& b) { return a.name < b.name; };
    const auto same_name = [](const auto& a, const auto& b) { return a.name == b.name; };
    std::stable_sort(tree.begin(), tree.end(), by_name);
    tree.erase(std::unique(tree.begin(), tree.end(), same_name), tree.end());
    const auto same = [](const auto& a, const auto& b) {
        return a.name == b.name && a.size == b.size && a.same_state(b);
    };
    const tome::Tree read = tome::parse_tree(tome::encode_tree(tree));
    require(std::equal(read.begin(), read.end(), tree.begin(), tree.end(), same), "a written tree is read back");
}

void check_written_revision(FuzzInput input) {
    tome::Revision revision;
    revision.tree = digest_in(input);
    const std::uint8_t parents = input.byte() % 3;
    revision.first_parent = parents > 0 ? digest_in(input) : tome::Digest();
    revision.second_parent = parents > 1 ? digest_in(input) : tome::Digest();
    revision.order = parents > 0 ? std::max<std::uint64_t>(input.number() % (largest + 1), 2) : 1;
    revision.created_at = input.number();
    revision.message = input.text();
    const auto fields = [](const tome::Revision& of) {  // Names all members: with another one it does not compile.
        const auto& [tree, first_parent, second_parent, order, created_at, message] = of;
        return std::tie(tree, first_parent, second_parent, order, created_at, message);
    };
    const tome::Revision read = tome::parse_revision(tome::encode_revision(revision));
    require(fields(read) == fields(revision), "a written revision is read back");
}

void check_written_metadata(FuzzInput input) {
    tome::MetadataNode leaf;
    tome::MetadataNode branching;
    branching.leaf = false;
    do {
        std::string key = input.text();
        leaf.entries[std::move(key)] = input.text();
        const auto nibble = static_cast<std::uint8_t>(input.byte() & 15U);
        branching.children[nibble] = digest_in(input);
    } while (!input.at_end());
    for (const tome::MetadataNode& node : {leaf, branching}) {
        const tome::MetadataNode read = tome::parse_metadata_node(tome::encode_metadata_node(node));
        require(read.leaf == node.leaf && read.entries == node.entries && read.children == node.children,
                "a written metadata node is read back");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes = quill_test::whole_text(data, size);
    check_bytes(tome::parse_tree, tome::encode_tree, ObjectKind::Tree, bytes);
    check_bytes(tome::parse_revision, tome::encode_revision, ObjectKind::Revision, bytes);
    check_bytes(tome::parse_metadata_node, tome::encode_metadata_node, ObjectKind::Metadata, bytes);
    check_written_tree(FuzzInput(data, size));
    check_written_revision(FuzzInput(data, size));
    check_written_metadata(FuzzInput(data, size));
    return 0;
}
