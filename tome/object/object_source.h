// Where objects are read from: a store, or several behind one another. What is read is verified against its name.
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

/// Who needs many objects asks for them in one call where it can: a source may be a network away.
class ObjectSource {
  public:
    virtual ~ObjectSource() = default;

    /// The bytes of a tree, revision or metadata node; nothing when it is not here. Throws Error(Corrupt)
    /// "corrupt object HEX in STORE" when they do not hash to the name.
    virtual std::optional<std::string> find_object(const Digest& digest) = 0;

    /// The same for several objects, in the order of `digests`.
    virtual std::vector<std::optional<std::string>> find_objects(const std::vector<Digest>& digests);

    /// A file's content; nothing when it is not here. Small content is verified, large content by write_content.
    virtual std::optional<Content> find_content(const Digest& digest) = 0;

    /// All bytes of a content that is small enough for memory, verified; nothing when it is not here.
    virtual std::optional<std::string> read_content(const Digest& digest);

    /// The size of a content as it is noted here; nothing when the content is not here.
    virtual std::optional<std::uint64_t> content_size(const Digest& digest);

    /// Whether an object of this kind, and so everything it refers to, is here. The bytes of a tree that are here as
    /// the content of some file do not count: what the tree refers to need not be here.
    virtual bool contains(ObjectKind kind, const Digest& digest) = 0;

    /// Those of the objects that contains() denies.
    virtual ObjectNames missing(const ObjectNames& names);

    /// Those of the contents that should be here and whose bytes are gone, in part or wholly. Damage of other kinds
    /// shows when they are read.
    virtual std::vector<Digest> lost(const std::vector<Digest>& contents);

    /// Whether the object is here and its bytes, all of which are read, hash to its name.
    virtual bool is_sound(ObjectKind kind, const Digest& digest);

    /// Those of the objects that are not sound.
    virtual ObjectNames unsound(const ObjectNames& names);

    /// Writes a content to the empty file `to`, checks it against its name on the way and returns its size. Throws
    /// Error(NotFound) or Error(Corrupt); `name` is what the file is called in errors.
    virtual std::uint64_t write_content(const Digest& digest, int to, const std::string& name);
};

/// Sources in the order in which they are asked. A damaged copy in one is made good by a sound one in a later one.
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

/// The error for damage that nothing here can make good.
Error no_sound_copy(const std::string& damage);

}  // namespace tome
