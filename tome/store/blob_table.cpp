#include "tome/store/blob_table.h"

#include <algorithm>

#include "tome/base/damage.h"
#include "tome/base/error.h"

namespace tome {
namespace {

using Id = std::array<std::uint8_t, 16>;

std::string_view view_of(const Id& id) {
    return {reinterpret_cast<const char*>(id.data()), id.size()};
}

Id id_from(std::string_view bytes) {
    Id id{};
    if (bytes.size() != id.size()) {
        throw damaged(DatabaseKind::Store, "a blob's name of " + std::to_string(bytes.size()) + " bytes");
    }
    std::copy(bytes.begin(), bytes.end(), id.begin());
    return id;
}

void bind_key(Statement& statement, const BlobKey& key) {
    statement.bind_blob(1, view_of(key.partition)).bind_blob(2, key.digest.view()).bind_blob(3, view_of(key.context));
}

void set_state(Database& database, const BlobKey& key, BlobState state) {
    Statement update =
        database.prepare("UPDATE blob SET state = ?4 WHERE partition = ?1 AND digest = ?2 AND context = ?3");
    bind_key(update, key);
    update.bind(4, static_cast<std::int64_t>(state)).run();
}

}  // namespace

bool has_blob(Database& database, const BlobKey& key) {
    Statement query = database.prepare("SELECT 1 FROM blob WHERE partition = ?1 AND digest = ?2 AND context = ?3");
    bind_key(query, key);
    return query.step();
}

void add_blob(Database& database, const BlobKey& key, BlobState state) {
    Statement insert = database.prepare(
        "INSERT INTO blob(partition, digest, context, state) VALUES(?1, ?2, ?3, ?4)"
        " ON CONFLICT DO UPDATE SET state = max(state, excluded.state)");
    bind_key(insert, key);
    insert.bind(4, static_cast<std::int64_t>(state)).run();
}

std::vector<BlobKey> unflushed_blobs(Database& database) {
    Statement query = database.prepare("SELECT partition, digest, context FROM blob WHERE state = ?1");
    query.bind(1, static_cast<std::int64_t>(BlobState::Unflushed));
    std::vector<BlobKey> keys;
    while (query.step()) {
        keys.push_back({id_from(query.bytes(0)), digest_from_bytes(query.bytes(1)), id_from(query.bytes(2))});
    }
    return keys;
}

void mark_flushed(Database& database, const BlobKey& key) {
    set_state(database, key, BlobState::Flushed);
}

void mark_local(Database& database, const BlobKey& key) {
    set_state(database, key, BlobState::Local);
}

void mark_all_unflushed(Database& database) {
    Statement update = database.prepare("UPDATE blob SET state = ?1 WHERE state = ?2");
    update.bind(1, static_cast<std::int64_t>(BlobState::Unflushed));
    update.bind(2, static_cast<std::int64_t>(BlobState::Flushed)).run();
}

}  // namespace tome
