// A repository on a directory remote, checkouts of it that are worked on through tome.h, and the means to damage what
// they stand on.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <tome/tome.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <iterator>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/support/temporary_folder.h"
#include "tome/base/database.h"
#include "tome/base/error.h"
#include "tome/store/branch_table.h"
#include "tome/store/store.h"

namespace quill_test {

struct DamageRevision {
    tome::Digest digest;
    tome::Digest first_parent;
    tome::Digest second_parent;
    std::uint64_t order = 0;
};

/// What one engine call answered.
struct DamageReply {
    std::int32_t code = -1;
    std::string error;
    std::vector<std::string> paths;  ///< of every kind, conflicts and changes too
    std::vector<std::string> branches;
    std::map<std::string, std::string> metadata;
    std::vector<DamageRevision> revisions;
    tome::Digest identity;  ///< of the last event that had one

    /// "done", or the error's text; of one that names a database, a store or an index without the remedy.
    std::string text() const {
        bool with_remedy = false;
        for (const char* kind : {"corrupt database: ", "corrupt store: ", "corrupt index: "}) {
            with_remedy = with_remedy || error.starts_with(kind);
        }
        return code == 0 ? "done" : error.substr(0, with_remedy ? error.find("; ") : error.npos);
    }
};

inline tome::Digest damage_digest(const tome_hash_t& hash) {
    tome::Digest digest;
    std::copy(std::begin(hash.bytes), std::end(hash.bytes), digest.bytes.begin());
    return digest;
}

inline std::string damage_text(const tome_string_t& text) {
    return text.length == 0 ? std::string() : std::string(text.data, static_cast<std::size_t>(text.length));
}

inline tome_string_t damage_view(std::string_view text) {
    return {text.data(), text.size()};
}

/// Texts as an operation takes them.
class DamageTexts {
  public:
    explicit DamageTexts(std::vector<std::string> texts) : texts_(std::move(texts)) {
        for (const std::string& text : texts_) {
            views_.push_back(damage_view(text));
        }
    }
    DamageTexts(const DamageTexts&) = delete;
    DamageTexts& operator=(const DamageTexts&) = delete;

    tome_string_array_t array() const { return {views_.data(), views_.size()}; }

  private:
    std::vector<std::string> texts_;
    std::vector<tome_string_t> views_;
};

struct DamageSync {
    std::vector<std::string> paths{};
    tome::Digest revision{};
    bool overwrite = false;
};

/// A checkout of `repository`, each operation one call of tome.h.
class DamageCheckout {
  public:
    DamageCheckout(std::filesystem::path directory, std::string repository)
        : directory_(std::move(directory)), repository_(std::move(repository)) {}

    bool offline = false;
    std::function<void(const tome_event_t&)> on_event;  ///< called while the operation runs

    const std::filesystem::path& path() const { return directory_; }
    std::filesystem::path operator/(const std::filesystem::path& relative) const { return directory_ / relative; }
    std::filesystem::path own_store() const { return directory_ / ".tome/objects"; }

    DamageReply create() const {
        tome_repository_create_params_t params{};
        params.name = damage_view(repository_);
        return call(tome_repository_create, params);
    }
    DamageReply clone(const std::string& branch = "main", const std::filesystem::path& shared_store = {},
                      bool sparse = false) const {
        const std::string store = shared_store.string();
        tome_repository_clone_params_t params{};
        params.repository_url = damage_view(repository_);
        params.branch = damage_view(branch);
        params.use_shared_store = store.empty() ? 0 : 1;
        params.shared_store = damage_view(store);
        params.sparse = sparse ? 1 : 0;
        return call(tome_repository_clone, params);
    }
    DamageReply status() const {
        tome_repository_status_params_t params{};
        params.report_changes = 1;
        return call(tome_repository_status, params);
    }
    DamageReply stage(const std::vector<std::string>& paths) const {
        const DamageTexts texts(paths);
        tome_file_stage_params_t params{};
        params.paths = texts.array();
        params.stage_additions = params.stage_deletions = 1;
        return call(tome_file_stage, params);
    }
    DamageReply commit(const std::string& message = "work") const {
        tome_revision_commit_params_t params{};
        params.message = damage_view(message);
        return call(tome_revision_commit, params);
    }
    DamageReply push(const std::string& branch = "main") const {
        tome_branch_push_params_t params{};
        params.name = damage_view(branch);
        params.with_metadata = 1;
        return call(tome_branch_push, params);
    }
    DamageReply sync(const DamageSync& wanted = {}) const {
        const DamageTexts texts(wanted.paths);
        tome_revision_sync_params_t params{};
        params.paths = texts.array();
        std::copy(wanted.revision.bytes.begin(), wanted.revision.bytes.end(), params.revision.bytes);
        params.fetch_newest = wanted.revision.is_zero() ? 1 : 0;
        params.overwrite = wanted.overwrite ? 1 : 0;
        return call(tome_revision_sync, params);
    }
    DamageReply create_branch(const std::string& name, const std::string& from = "main") const {
        tome_branch_create_params_t params{};
        params.name = damage_view(name);
        params.from = damage_view(from);
        return call(tome_branch_create, params);
    }
    DamageReply switch_to(const std::string& name) const {
        tome_branch_switch_params_t params{};
        params.name = damage_view(name);
        params.fetch_newest = 1;
        return call(tome_branch_switch, params);
    }
    DamageReply list_branches() const { return call(tome_branch_list, tome_branch_list_params_t{}); }
    DamageReply merge(const std::string& source) const {
        tome_branch_merge_into_params_t params{};
        params.source = damage_view(source);
        return call(tome_branch_merge_into, params);
    }
    DamageReply restore(const tome::Digest& revision) const {
        tome_revision_restore_params_t params{};
        std::copy(revision.bytes.begin(), revision.bytes.end(), params.revision.bytes);
        return call(tome_revision_restore, params);
    }
    DamageReply history(const std::string& branch = "main") const {
        tome_revision_history_params_t params{};
        params.branch = damage_view(branch);
        return call(tome_revision_history, params);
    }
    DamageReply set_metadata(const std::string& key, const std::string& value) const {
        const DamageTexts keys({key});
        const DamageTexts values({value});
        tome_branch_metadata_set_params_t params{};
        params.branch = damage_view("main");
        params.keys = keys.array();
        params.values = values.array();
        return call(tome_branch_metadata_set, params);
    }
    DamageReply metadata() const {
        tome_branch_metadata_get_params_t params{};
        params.branch = damage_view("main");
        return call(tome_branch_metadata_get, params);
    }

    /// Writes the files and commits them; returns the revision. Throws when that fails.
    tome::Digest commit_files(const std::map<std::string, std::string>& files) const {
        std::vector<std::string> paths;
        for (const auto& [name, bytes] : files) {
            write_file(directory_ / name, bytes);
            paths.push_back(name);
        }
        require(stage(paths));
        return require(commit()).identity;
    }
    tome::Digest publish_files(const std::map<std::string, std::string>& files,
                               const std::string& branch = "main") const {
        const tome::Digest head = commit_files(files);
        require(push(branch));
        return head;
    }

    /// The reply, when it is a success; throws its error otherwise.
    static DamageReply require(DamageReply reply) {
        if (reply.code != 0) {
            throw std::runtime_error(reply.error);
        }
        return reply;
    }

  private:
    struct Collector {
        DamageReply reply;
        const std::function<void(const tome_event_t&)>& on_event;
    };

    template <typename Params>
    DamageReply call(std::int32_t (*operation)(const tome_globals_t*, const Params*, std::uint64_t, tome_callback_t),
                     const Params& params) const {
        const std::string checkout = directory_.string();
        const std::string remote = repository_.substr(0, repository_.rfind('/'));
        tome_globals_t globals{};
        globals.size = sizeof globals;
        globals.checkout = damage_view(checkout);
        globals.remote_url = damage_view(remote);
        globals.offline = offline ? 1 : 0;
        Collector collector{{}, on_event};
        const std::int32_t code = operation(&globals, &params, reinterpret_cast<std::uint64_t>(&collector), collect);
        collector.reply.code = code;
        return collector.reply;
    }

    static void collect(const tome_event_t* event, std::uint64_t user) {
        auto& collector = *reinterpret_cast<Collector*>(user);
        DamageReply& reply = collector.reply;
        switch (event->kind) {
            case TOME_EVENT_ERROR_TEXT:
                reply.error = damage_text(event->as.text);
                break;
            case TOME_EVENT_SYNCED_PATH:
            case TOME_EVENT_STATUS_PATH:
            case TOME_EVENT_RESTORED_PATH:
            case TOME_EVENT_MERGE_CONFLICT:
                reply.paths.push_back(damage_text(event->as.path));
                break;
            case TOME_EVENT_MERGE_CHANGE:
                reply.paths.push_back(damage_text(event->as.change.path));
                break;
            case TOME_EVENT_BRANCH:
                reply.branches.push_back(damage_text(event->as.branch.name));
                break;
            case TOME_EVENT_METADATA:
                reply.metadata[damage_text(event->as.metadata.key)] = damage_text(event->as.metadata.text);
                break;
            case TOME_EVENT_REVISION:
                reply.revisions.push_back({damage_digest(event->as.revision.hash),
                                           damage_digest(event->as.revision.first_parent),
                                           damage_digest(event->as.revision.second_parent), event->as.revision.order});
                break;
            case TOME_EVENT_BRANCH_HEAD:
            case TOME_EVENT_SYNCED:
            case TOME_EVENT_COMMITTED:
            case TOME_EVENT_RESTORED:
            case TOME_EVENT_BASE_REVISION:
                reply.identity = damage_digest(event->as.identity.hash);
                break;
            default:
                break;
        }
        if (collector.on_event) {
            collector.on_event(*event);
        }
    }

    std::filesystem::path directory_;
    std::string repository_;
};

/// Everything below `root` by relative path: bytes of small files, size and digest of others, "link to …", "folder",
/// "other". `.tome` folders are left out.
inline std::map<std::string, std::string> damage_snapshot(const std::filesystem::path& root) {
    std::map<std::string, std::string> entries;
    auto iterator = std::filesystem::recursive_directory_iterator(root);
    for (; iterator != std::filesystem::recursive_directory_iterator(); ++iterator) {
        const std::filesystem::path& path = iterator->path();
        const std::filesystem::file_type type = iterator->symlink_status().type();
        if (path.filename() == ".tome") {
            iterator.disable_recursion_pending();
            continue;
        }
        std::string& entry = entries[path.lexically_relative(root).string()];
        if (type == std::filesystem::file_type::symlink) {
            entry = "link to " + std::filesystem::read_symlink(path).string();
        } else if (type == std::filesystem::file_type::regular) {
            const std::string bytes = read_file(path);
            entry = bytes.size() <= 64
                        ? bytes
                        : std::to_string(bytes.size()) + " bytes, " + tome::to_hex(tome::digest_of(bytes));
        } else {
            entry = type == std::filesystem::file_type::directory ? "folder" : "other";
        }
    }
    return entries;
}

/// A database that is opened to be damaged, or looked at: nothing of it need survive a power cut.
class DamageDatabase : public tome::Database {
  public:
    explicit DamageDatabase(const std::filesystem::path& path) : tome::Database(path, Mode::Open) {
        execute("PRAGMA synchronous=OFF");
    }
};

inline std::filesystem::path damage_content_file(const std::filesystem::path& store, const tome::Digest& digest) {
    const std::string name = tome::to_hex(digest);
    return store / "content" / name.substr(0, 2) / name.substr(2);
}

/// The object's bytes as they stand in the store, wherever that is.
inline std::string damage_object_bytes(const std::filesystem::path& store, const tome::Digest& digest) {
    DamageDatabase database(store / "store.db");
    tome::Statement query = database.prepare("SELECT bytes FROM object WHERE digest = ?");
    if (!query.bind_blob(1, digest.view()).step()) {
        throw std::runtime_error("no object " + tome::to_hex(digest) + " in " + store.string());
    }
    return query.is_null(0) ? read_file(damage_content_file(store, digest)) : std::string(query.bytes(0));
}

/// Puts other bytes in the object's place, under its old name.
inline void damage_replace_object(const std::filesystem::path& store, const tome::Digest& digest,
                                  const std::string& bytes) {
    if (std::filesystem::exists(damage_content_file(store, digest))) {
        write_file(damage_content_file(store, digest), bytes);
        return;
    }
    DamageDatabase database(store / "store.db");
    tome::Statement update = database.prepare("UPDATE object SET bytes = ? WHERE digest = ?");
    update.bind_blob(1, bytes).bind_blob(2, digest.view()).run();
    if (database.changes() != 1) {
        throw std::runtime_error("no object " + tome::to_hex(digest) + " in " + store.string());
    }
}

inline void damage_remove_object(const std::filesystem::path& store, const tome::Digest& digest) {
    DamageDatabase database(store / "store.db");
    database.prepare("DELETE FROM object WHERE digest = ?").bind_blob(1, digest.view()).run();
    if (database.changes() != 1) {
        throw std::runtime_error("no object " + tome::to_hex(digest) + " in " + store.string());
    }
}

/// Makes `head` the branch's head, whatever it names.
inline void damage_set_head(const std::filesystem::path& store, const std::string& branch, const tome::Digest& head) {
    DamageDatabase database(store / "store.db");
    const tome::BranchName name = tome::BranchName::parse(branch);
    tome::BranchRecord record = tome::read_branch(database, name).value_or(tome::BranchRecord{});
    record.name = branch;
    record.head = head;
    if (!tome::compare_and_set_branch(database, record)) {
        throw std::runtime_error("could not set the head of " + branch);
    }
}

/// Folds the write-ahead log into the database, so that the file alone holds everything.
inline void damage_fold_log(const std::filesystem::path& database) {
    DamageDatabase(database).execute("PRAGMA wal_checkpoint(TRUNCATE)");
}

/// Runs `work` in a process of its own; what it throws goes to standard error. Returns the process's ID.
inline pid_t damage_start_process(const std::function<void()>& work) {
    std::cout.flush();
    const pid_t child = fork();
    if (child < 0) {
        throw std::runtime_error("could not start a process");
    }
    if (child != 0) {
        return child;
    }
    int status = 0;
    try {
        work();
    } catch (const std::exception& error) {
        std::cerr << "process " + std::to_string(getpid()) + ": " + error.what() + "\n";
        status = 1;
    }
    _exit(status);
}

/// The exit status, or 128 + the signal's number.
inline int damage_wait_for(pid_t child) {
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

/// A remote with the repository "scenes" and the checkout that made it.
class DamagedRepository : public testing::Test {
  protected:
    DamagedRepository() { DamageCheckout::require(author_.create()); }

    DamageCheckout checkout(const std::string& name) const { return {folder_ / name, repository_}; }
    DamageCheckout clone(const std::string& name, const std::string& branch = "main") const {
        DamageCheckout made = checkout(name);
        DamageCheckout::require(made.clone(branch));
        return made;
    }

    /// Heads of the branches on the remote.
    std::map<std::string, std::string> remote_heads() const {
        DamageDatabase database(remote_store_ / "store.db");
        std::map<std::string, std::string> heads;
        for (const tome::BranchRecord& record : tome::list_branches(database)) {
            heads[record.name] = tome::to_hex(record.head);
        }
        return heads;
    }

    TemporaryFolder folder_;
    std::string repository_ = "file://" + (folder_ / "remote").string() + "/scenes";
    std::filesystem::path remote_store_ = folder_ / "remote/scenes";
    DamageCheckout author_ = checkout("author");
};

}  // namespace quill_test
