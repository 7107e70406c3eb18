// Reading objects: from one store, or from several that are asked in turn. Whatever is read is checked against its
// digest.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tome/base/digest.h"
#include "tome/base/error.h"
#include "tome/object/content.h"
#include "tome/object/object_encoding.h"

namespace tome {

/// Objects by kind and name.
using ObjectName = std::pair<ObjectKind, Digest>;
using ObjectNames = std::vector<ObjectName>;

/// Ask for many objects in one call where you can: a source may be at the other end of a network.
class ObjectSource {
  public:
    virtual ~ObjectSource() = default;

    /// The bytes of a tree, revision or metadata node; nothing if this source lacks it. Throws Error(Corrupt) "corrupt
    /// object HEX in STORE" if the bytes do not match the digest.
    virtual std::optional<std::string> find_object(const Digest& digest) = 0;

    /// The same for several objects, in the order of `digests`.
    virtual std::vector<std::optional<std::string>> find_objects(const std::vector<Digest>& digests);

    /// The content of a file; nothing if this source lacks it. A small content has been verified. Who reads a large one
    /// must verify it, as write_content does.
    virtual std::optional<Content> find_content(const Digest& digest) = 0;

    /// All bytes of a content, verified; nothing if this source lacks it. Only for contents that are small enough for
    /// memory.
    virtual std::optional<std::string> read_content(const Digest& digest);

    /// The recorded size of a content; nothing if this source lacks it.
    virtual std::optional<std::uint64_t> content_size(const Digest& digest);

    /// Whether this source has the object and everything that it refers to. A tree's bytes that were stored as the
    /// content of a file do not count as the tree, because what the tree refers to may be missing.
    virtual bool contains(ObjectKind kind, const Digest& digest) = 0;

    /// The objects among `names` for which contains() is false.
    virtual ObjectNames missing(const ObjectNames& names);

    /// The contents that are recorded here and whose file is missing or has another size. Other damage shows only when
    /// the content is read.
    virtual std::vector<Digest> lost(const std::vector<Digest>& contents) = 0;

    /// Whether the object is here and undamaged. Reads all its bytes.
    virtual bool is_sound(ObjectKind kind, const Digest& digest);

    /// The objects among `names` for which is_sound() is false.
    virtual ObjectNames unsound(const ObjectNames& names);

    /// Writes a content to the empty file `to`, verifies it meanwhile, and returns its size. Throws Error(NotFound) or
    /// Error(Corrupt). Errors call the file `name`.
    virtual std::uint64_t write_content(const Digest& digest, int to, const std::string& name);
};

/// Several sources, asked in the order in which they were added. If one has a damaged copy, the next ones are asked.
class ObjectSources final : public ObjectSource {
  public:
    void add(std::shared_ptr<ObjectSource> source) { sources_.push_back(std::move(source)); }

    std::optional<std::string> find_object(const Digest& digest) override;
    std::vector<std::optional<std::string>> find_objects(const std::vector<Digest>& digests) override;
    std::optional<Content> find_content(const Digest& digest) override;
    std::optional<std::string> read_content(const Digest& digest) override;
    std::optional<std::uint64_t> content_size(const Digest& digest) override;
    bool contains(ObjectKind kind, const Digest& digest) override;
    ObjectNames missing(const ObjectNames& names) override;
    std::vector<Digest> lost(const std::vector<Digest>& contents) override;
    bool is_sound(ObjectKind kind, const Digest& digest) override;
    std::uint64_t write_content(const Digest& digest, int to, const std::string& name) override;

    /// Writes the content of a tree's entry as write_content does and checks it against the entry's size, too.
    void copy_content(const TreeEntry& entry, int to, const std::string& name);

  private:
    std::vector<std::shared_ptr<ObjectSource>> sources_;
};

/// Each reads and parses one object; throws Error(NotFound) "missing object: HEX" or Error(Corrupt) with its name.
Tree read_tree(ObjectSource& source, const Digest& digest);
Revision read_revision(ObjectSource& source, const Digest& digest);
MetadataNode read_metadata_node(ObjectSource& source, const Digest& digest);

/// Reads several trees at once, in the order of `digests`. Throws what read_tree does.
std::vector<Tree> read_trees(ObjectSource& source, const std::vector<Digest>& digests);

/// Throws Error(Corrupt) "corrupt object: size of PATH in its tree" when `entry` has another size than its content, of
/// which there are `size` bytes.
void check_size(const TreeEntry& entry, std::uint64_t size, const std::string& path);

/// The text of the error for an object whose bytes are damaged in the store at `where`.
std::string corrupt_object_text(const Digest& digest, const std::string& where);

/// Error(NotFound) "missing object: HEX".
Error missing_object(const Digest& digest);

/// Error(Corrupt) for an object of which every known copy is damaged: `damage`, and what the user can do.
Error no_sound_copy(const std::string& damage);

}  // namespace tome
