#include "tome/store/store.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <iterator>

#include "digest/sha256.h"
#include "files/platform.h"
#include "tome/base/damage.h"
#include "tome/base/database_schema.h"
#include "tome/base/error.h"

namespace tome {
namespace {

constexpr int store_version = 1;
constexpr std::array<const char*, 3> tables{
    R"sql(CREATE TABLE object (
  digest BLOB NOT NULL UNIQUE,   -- 32 bytes
  kind INTEGER NOT NULL,         -- ObjectKind
  size INTEGER NOT NULL,
  bytes BLOB                     -- null: in the content folder
))sql",
    R"sql(CREATE TABLE branch (
  name TEXT PRIMARY KEY,
  kind TEXT NOT NULL,
  author TEXT NOT NULL,
  head BLOB NOT NULL,            -- 32 bytes, all zero without a revision
  metadata BLOB NOT NULL,        -- root of the metadata map, all zero when empty
  archived INTEGER NOT NULL,
  created_at INTEGER NOT NULL,
  updated_at INTEGER NOT NULL,
  sequence INTEGER NOT NULL,     -- grows with every write
  nonce TEXT NOT NULL            -- of the last write
) WITHOUT ROWID)sql",
    R"sql(CREATE TABLE blob (
  partition BLOB NOT NULL,       -- 16 bytes
  digest BLOB NOT NULL,          -- 32 bytes, of a content
  context BLOB NOT NULL,         -- 16 bytes
  state INTEGER NOT NULL,        -- BlobState
  PRIMARY KEY(partition, digest, context)
) WITHOUT ROWID)sql"};

std::filesystem::path database_path(const std::filesystem::path& directory) {
    return directory / "store.db";
}

const std::filesystem::path& require_store(const std::filesystem::path& directory) {
    std::error_code error;
    if (std::filesystem::is_symlink(directory, error)) {
        throw Error(ErrorCode::Io, "a symbolic link stands in the way: " + directory.string());
    }
    const std::filesystem::file_type type = std::filesystem::symlink_status(database_path(directory), error).type();
    if (type == std::filesystem::file_type::not_found) {
        // A store appears whole, so a folder without the database has lost it. An empty store must not take its place.
        if (std::filesystem::exists(std::filesystem::symlink_status(directory, error))) {
            throw damaged(DatabaseKind::Store, directory.string() + " (store.db is missing)");
        }
        throw Error(ErrorCode::NotFound, "Not found: no Tome store at " + directory.string());
    }
    if (error) {
        throw Error(ErrorCode::Io, "could not open store " + directory.string() + ": " + error.message());
    }
    if (type != std::filesystem::file_type::regular && type != std::filesystem::file_type::symlink) {
        throw damaged(DatabaseKind::Store, directory.string());
    }
    return directory;
}

constexpr std::string_view temporary_prefix = "tmp-";

bool try_lock(const FileDescriptor& file) {
    return quill::lock_descriptor(file.get(), LOCK_EX | LOCK_NB);
}

// A file for content that is being written. Its lock, which ends with its writer, tells it from one left behind.
class TemporaryContent {
  public:
    explicit TemporaryContent(const std::filesystem::path& folder) {
        struct stat status {};
        do {  // Again when somebody took the file for one left behind, before it was locked.
            path_ = folder / (std::string(temporary_prefix) + random_text());
            file_ = create_file_at(AT_FDCWD, path_.string(), path_.string());
        } while (!try_lock(file_) || fstat(file_.get(), &status) != 0 || status.st_nlink == 0);
    }
    ~TemporaryContent() { unlink(path_.c_str()); }
    TemporaryContent(const TemporaryContent&) = delete;
    TemporaryContent& operator=(const TemporaryContent&) = delete;

    int file() const { return file_.get(); }
    const std::filesystem::path& path() const { return path_; }

  private:
    std::filesystem::path path_;
    FileDescriptor file_;
};

// Removes the content files that killed processes were writing: each may be as large as an asset.
void remove_abandoned_content(const std::filesystem::path& folder) {
    std::error_code error;
    std::filesystem::directory_iterator entry(folder, error);
    for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
        if (!entry->path().filename().string().starts_with(temporary_prefix)) {
            continue;
        }
        const FileDescriptor file(open(entry->path().c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
        if (file.is_open() && try_lock(file)) {
            unlink(entry->path().c_str());
        }
    }
}

}  // namespace

bool Store::create(const std::filesystem::path& directory) {
    const std::filesystem::path aside = directory.string() + ".making-" + random_text();
    std::error_code error;
    if (std::filesystem::exists(std::filesystem::symlink_status(directory, error))) {
        return false;
    }
    refuse_network_file_system(directory.parent_path());
    if (mkdir(aside.c_str(), 0777) != 0 || mkdir((aside / "content").c_str(), 0777) != 0) {
        throw system_error("could not make store " + directory.string(), errno);
    }
    try {
        {
            Database database(database_path(aside), Database::Mode::Create);
            create_tables(database, tables);
        }
        sync_directory(aside);
        if (rename(aside.c_str(), directory.c_str()) != 0) {
            const int number = errno;
            if (number == EEXIST || number == ENOTEMPTY || number == ENOTDIR) {
                std::filesystem::remove_all(aside, error);
                return false;
            }
            throw system_error("could not make store " + directory.string(), number);
        }
    } catch (...) {
        std::filesystem::remove_all(aside, error);
        throw;
    }
    sync_directory(directory.parent_path());
    return true;
}

Store::Store(const std::filesystem::path& directory)
    : directory_(require_store(directory)), database_(database_path(directory), Database::Mode::Open) {
    const std::int64_t version = database_.user_version();
    if (version > store_version) {
        throw Error(ErrorCode::Invalid, "the store was written by a newer Tome (format " + std::to_string(version) +
                                            "); update to use it: " + directory.string());
    }
    if (version != store_version) {
        throw damaged(DatabaseKind::Store, directory.string());
    }
    if (const std::string difference = difference_from(tables, database_); !difference.empty()) {
        throw damaged(DatabaseKind::Store, directory.string() + " (" + difference + ")");
    }
}

std::filesystem::path Store::content_path(const Digest& digest) const {
    const std::string name = to_hex(digest);
    return directory_ / "content" / name.substr(0, 2) / name.substr(2);
}

std::filesystem::path Store::content_folder() {
    const std::filesystem::path folder = directory_ / "content";
    open_directory(folder, true);  // Refuses a link, through which content would leave the store.
    if (!std::exchange(swept_, true)) {
        remove_abandoned_content(folder);
    }
    return folder;
}

std::optional<std::string> Store::find_object(const Digest& digest) {
    Statement query = database_.prepare("SELECT bytes FROM object WHERE digest = ? AND bytes IS NOT NULL");
    if (!query.bind_blob(1, digest.view()).step()) {
        return std::nullopt;
    }
    std::string bytes(query.bytes(0));
    if (digest_of(bytes) != digest) {
        throw Error(ErrorCode::Corrupt, corrupt_object_text(digest, directory_.string()));
    }
    return bytes;
}

std::optional<Content> Store::find_content(const Digest& digest) {
    Statement query = database_.prepare("SELECT size, bytes FROM object WHERE digest = ?");
    if (!query.bind_blob(1, digest.view()).step()) {
        return std::nullopt;
    }
    Content content;
    content.size = static_cast<std::uint64_t>(query.integer(0));
    if (!query.is_null(1)) {
        content.bytes = query.bytes(1);
        if (content.size != content.bytes.size() || digest_of(content.bytes) != digest) {
            throw Error(ErrorCode::Corrupt, corrupt_object_text(digest, directory_.string()));
        }
        return content;
    }
    const std::filesystem::path path = content_path(digest);
    FileDescriptor file;
    try {
        file = open_file_at(AT_FDCWD, path.string(), path.string());
    } catch (const Error& error) {
        throw Error(ErrorCode::Corrupt, corrupt_object_text(digest, directory_.string()) + " (" + error.what() + ")");
    }
    struct stat status {};
    if (!file.is_open() || fstat(file.get(), &status) != 0 ||
        static_cast<std::uint64_t>(status.st_size) != content.size) {
        throw Error(ErrorCode::Corrupt, corrupt_object_text(digest, directory_.string()));
    }
    content.reader = std::make_unique<FileContent>(std::move(file));
    return content;
}

std::optional<std::uint64_t> Store::content_size(const Digest& digest) {
    Statement query = database_.prepare("SELECT size FROM object WHERE digest = ?");
    return query.bind_blob(1, digest.view()).step() ? std::optional(static_cast<std::uint64_t>(query.integer(0)))
                                                    : std::nullopt;
}

bool Store::contains(ObjectKind kind, const Digest& digest) {
    Statement query = database_.prepare("SELECT kind FROM object WHERE digest = ?");
    return query.bind_blob(1, digest.view()).step() &&
           (kind == ObjectKind::Content || query.integer(0) == static_cast<int>(kind));
}

std::vector<Digest> Store::lost(const std::vector<Digest>& contents) {
    std::vector<Digest> result;
    std::copy_if(contents.begin(), contents.end(), std::back_inserter(result),
                 [&](const Digest& digest) { return has_lost(digest); });
    return result;
}

bool Store::has_lost(const Digest& digest) {
    Statement query = database_.prepare("SELECT size FROM object WHERE digest = ? AND bytes IS NULL");
    if (!query.bind_blob(1, digest.view()).step()) {
        return false;
    }
    std::error_code error;
    const std::uintmax_t size = std::filesystem::file_size(content_path(digest), error);
    return error || size != static_cast<std::uint64_t>(query.integer(0));
}

void Store::add_row(const Digest& digest, ObjectKind kind, std::uint64_t size, std::optional<std::string_view> bytes) {
    // The bytes of a tree may be here already as the content of a file. The tree's kind replaces that of content,
    // because it promises more. Stored bytes that differ are damaged and replaced, because the new ones were just
    // hashed.
    Statement insert = database_.prepare(
        "INSERT INTO object(digest, kind, size, bytes) VALUES(?, ?, ?, ?) ON CONFLICT DO UPDATE SET"
        " kind = iif(excluded.kind = 1, kind, excluded.kind), size = excluded.size,"
        " bytes = coalesce(excluded.bytes, bytes)"
        " WHERE (excluded.kind <> 1 AND kind <> excluded.kind) OR size <> excluded.size"
        " OR (excluded.bytes IS NOT NULL AND bytes IS NOT excluded.bytes)");
    insert.bind_blob(1, digest.view()).bind(2, static_cast<int>(kind)).bind(3, static_cast<std::int64_t>(size));
    bytes ? insert.bind_blob(4, *bytes) : insert.bind_null(4);
    insert.run();
}

Digest Store::add_object(ObjectKind kind, std::string_view bytes) {
    const Digest digest = digest_of(bytes);
    add_row(digest, kind, bytes.size(), bytes);
    return digest;
}

void Store::add_objects(const std::vector<NewObject>& objects) {
    for (const NewObject& object : objects) {
        add_object(object.kind, object.bytes);
    }
}

StoredFile Store::add_file(int file, const std::string& name) {
    struct stat status {};
    if (fstat(file, &status) != 0) {
        throw system_error("could not read " + name, errno);
    }
    if (static_cast<std::uint64_t>(status.st_size) > max_inline_bytes) {
        return add_large_file(file, name);
    }
    const std::string bytes = read_whole(file, name, max_inline_bytes);
    const StoredFile stored{digest_of(bytes), bytes.size()};
    add_bytes(stored.digest, bytes);
    return stored;
}

StoredFile Store::add_large_file(int file, const std::string& name) {
    const TemporaryContent copy(content_folder());
    StoredFile stored;
    quill::Sha256 hash;
    read_blocks(file, name, [&](std::string_view block) {
        hash.update(block.data(), block.size());
        stored.size += block.size();
        write_all(copy.file(), block, copy.path().string());
    });
    stored.digest = Digest{hash.finish()};
    install_content_file(copy.file(), copy.path(), stored.digest);
    add_row(stored.digest, ObjectKind::Content, stored.size, std::nullopt);
    return stored;
}

void Store::add_bytes(const Digest& digest, std::string_view bytes) {
    if (bytes.size() <= max_inline_bytes) {
        return add_row(digest, ObjectKind::Content, bytes.size(), bytes);
    }
    const TemporaryContent copy(content_folder());
    write_all(copy.file(), bytes, copy.path().string());
    install_content_file(copy.file(), copy.path(), digest);
    add_row(digest, ObjectKind::Content, bytes.size(), std::nullopt);
}

void Store::install_content_file(int file, const std::filesystem::path& temporary, const Digest& digest) {
    sync_descriptor(file, temporary.string());
    const std::filesystem::path path = content_path(digest);
    if (mkdir(path.parent_path().c_str(), 0777) != 0 && errno != EEXIST) {
        throw system_error("could not write " + path.string(), errno);
    }
    const FileDescriptor folder = open_directory(path.parent_path(), true);
    if (renameat(AT_FDCWD, temporary.c_str(), folder.get(), path.filename().c_str()) != 0) {
        throw system_error("could not write " + path.string(), errno);
    }
    sync_descriptor(folder.get(), path.parent_path().string());
    // The subfolder's name is synced each time, because whoever made it may have been killed before doing so.
    sync_directory(path.parent_path().parent_path());
}

void Store::prepare_content(const Digest& digest, ObjectSource& source) {
    const TemporaryContent copy(content_folder());
    source.write_content(digest, copy.file(), copy.path().string());
    install_content_file(copy.file(), copy.path(), digest);
}

void Store::add_content(const Digest& digest, const Content& content) {
    if (content.size > max_inline_bytes) {
        add_row(digest, ObjectKind::Content, content.size, std::nullopt);
    } else if (content.reader) {
        add_row(digest, ObjectKind::Content, content.size, read_whole(content, digest));
    } else {
        add_row(digest, ObjectKind::Content, content.size, content.bytes);
    }
}

}  // namespace tome
