// A store: a directory with the database "store.db" (small objects and the branch table) and the folder "content" with
// a file for each large content, named by its digest. One format for a checkout's own store, a shared store and a
// repository on a directory remote. Format: docs/formats.md.
//
// An object is added only when everything it refers to is there, so an object that is there is whole.
// Processes: any number may use a store at once. Threads: one at a time for each Store.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tome/base/database.h"
#include "tome/object/object_sink.h"
#include "tome/object/object_source.h"

namespace tome {

/// Contents up to this size are rows of the database; larger ones are files.
inline constexpr std::uint64_t max_inline_bytes = 64U << 10U;

struct StoredFile {
    Digest digest;
    std::uint64_t size = 0;
};

class Store final : public ObjectSource {
  public:
    /// Makes a store in `directory`, whose parent must exist. It appears complete or not at all. Returns false if
    /// something is there already. Refuses network file systems.
    static bool create(const std::filesystem::path& directory);

    /// Opens a store. Throws Error(NotFound) when there is none, Error(Io) when its folder is a symbolic link,
    /// Error(Corrupt) when it is damaged or its database holds anything but the tables of a store.
    explicit Store(const std::filesystem::path& directory);

    std::optional<std::string> find_object(const Digest& digest) override;
    std::optional<Content> find_content(const Digest& digest) override;
    std::optional<std::uint64_t> content_size(const Digest& digest) override;
    bool contains(ObjectKind kind, const Digest& digest) override;
    std::vector<Digest> lost(const std::vector<Digest>& contents) override;

    /// Adds a tree, revision or metadata node and returns its name.
    Digest add_object(ObjectKind kind, std::string_view bytes);

    /// The same for several, in this order.
    void add_objects(const std::vector<NewObject>& objects);

    /// Adds the content of an open file, read once from its start. Durable when the surrounding transaction commits.
    StoredFile add_file(int file, const std::string& name);

    /// The same for bytes in memory, whose digest the caller has computed. They are not copied.
    void add_bytes(const Digest& digest, std::string_view bytes);

    /// Copies a large content from `source` into its file. Call it before the transaction with add_content, so that a
    /// long copy blocks nobody. An existing file is replaced, because it may be damaged.
    void prepare_content(const Digest& digest, ObjectSource& source);

    /// Adds content from another source. Content above `max_inline_bytes` must have been prepared.
    void add_content(const Digest& digest, const Content& content);

    Database& database() { return database_; }
    const std::filesystem::path& directory() const { return directory_; }

  private:
    bool has_lost(const Digest& digest);
    void add_row(const Digest& digest, ObjectKind kind, std::uint64_t size, std::optional<std::string_view> bytes);
    void install_content_file(int file, const std::filesystem::path& temporary, const Digest& digest);
    std::filesystem::path content_path(const Digest& digest) const;
    std::filesystem::path content_folder();  ///< where content is written; swept once of what killed writers left
    StoredFile add_large_file(int file, const std::string& name);

    std::filesystem::path directory_;
    Database database_;
    bool swept_ = false;
};

}  // namespace tome
