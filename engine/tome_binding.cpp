#include "engine/tome_binding.h"

#include <tome/tome.h>

#include <stdexcept>

#include "content/content_key.h"
#include "engine/tome_call.h"
#include "files/trace.h"

namespace quill {
namespace {

// Where a remote is known, the engine is told to ask it: the shared state of a project is there and nowhere else.
tome_globals_t globals_for_call(const CheckoutLocation& checkout) {
    tome_globals_t globals = tome_globals_for(checkout.root, checkout.remote_url);
    if (globals.remote_url.length != 0) {
        globals.offline = 0;
        globals.no_remote = 0;
        globals.use_remote = 1;
    }
    globals.working_folder = tome_string_of(checkout.working_folder.native());
    return globals;
}

template <typename Params>
using Operation = std::int32_t (*)(const tome_globals_t*, const Params*, std::uint64_t, tome_callback_t);

template <typename Params>
TomeWorkspaceState call(Operation<Params> operation, std::string_view name, const tome_globals_t& globals,
                        const Params& params) {
    TomeWorkspaceState state;
    const TraceStep step(name, {globals.checkout.data, globals.checkout.length});
    const std::int32_t result =
        operation(&globals, &params, reinterpret_cast<std::uintptr_t>(&state), tome_workspace_callback);
    require_tome_success(name, result, state);
    return state;
}

template <typename Params>
TomeWorkspaceState call(Operation<Params> operation, std::string_view name, const CheckoutLocation& checkout,
                        const Params& params) {
    return call(operation, name, globals_for_call(checkout), params);
}

// A list of texts in the form of a parameter record. Holds views only: the texts must outlive it.
class TextArray {
  public:
    explicit TextArray(const std::vector<std::string>& texts) : view_(tome_string_array_view(texts, storage_)) {}
    TextArray(const TextArray&) = delete;
    TextArray& operator=(const TextArray&) = delete;

    tome_string_array_t array() const { return {view_.items, view_.count}; }

  private:
    std::vector<tome_string> storage_;
    TomeStringArrayView view_;
};

// Refuses the zero hash too: the engine would take it for "no revision given" and work on another one.
tome_hash_t revision_hash(const std::string& revision) {
    tome_hash_t hash = {};
    if (!hex_to_bytes(revision, hash.bytes, sizeof hash.bytes) || tome_hash_hex(hash).empty()) {
        throw std::runtime_error("not a Tome revision: " + revision);
    }
    return hash;
}

}  // namespace

TomeWorkspaceState call_tome_repository_create(const CheckoutLocation& checkout, const std::string& name,
                                               const std::string& description, const std::string& branch_memory) {
    tome_repository_create_params_t params = {};
    params.name = tome_string_of(name);
    params.description = tome_string_of(description);
    params.branch_memory = tome_string_of(branch_memory);
    return call(tome_repository_create, "tome_repository_create", checkout, params);
}

TomeWorkspaceState call_tome_repository_status(const CheckoutLocation& checkout, bool report_changes) {
    tome_repository_status_params_t params = {};
    params.report_changes = report_changes;
    return call(tome_repository_status, "tome_repository_status", checkout, params);
}

TomeWorkspaceState call_tome_repository_clone(const CheckoutLocation& checkout, const TomeClone& clone) {
    const TextArray paths(clone.paths);
    tome_repository_clone_params_t params = {};
    params.repository_url = tome_string_of(clone.repository_url);
    params.branch = tome_string_of(clone.branch);
    params.metadata_only = clone.metadata_only;
    params.use_shared_store = clone.use_shared_store;
    if (clone.use_shared_store) {
        params.shared_store = tome_string_of(clone.shared_store);
    }
    params.paths = paths.array();
    params.sparse = 1;
    params.branch_memory = tome_string_of(clone.branch_memory);
    return call(tome_repository_clone, "tome_repository_clone", checkout, params);
}

void call_tome_repository_accept_remote(const CheckoutLocation& checkout, const std::string& repository_url,
                                        const std::string& branch_memory) {
    tome_repository_accept_remote_params_t params = {};
    params.repository_url = tome_string_of(repository_url);
    params.branch_memory = tome_string_of(branch_memory);
    call(tome_repository_accept_remote, "tome_repository_accept_remote", checkout, params);
}

TomeWorkspaceState call_tome_branch_create(const CheckoutLocation& checkout, const std::string& name,
                                           const std::string& from, const std::string& kind,
                                           const std::string& author) {
    tome_branch_create_params_t params = {};
    params.name = tome_string_of(name);
    params.from = tome_string_of(from);
    params.kind = tome_string_of(kind);
    params.author = tome_string_of(author);
    return call(tome_branch_create, "tome_branch_create", checkout, params);
}

TomeWorkspaceState call_tome_branch_switch(const CheckoutLocation& checkout, const std::string& branch) {
    tome_branch_switch_params_t params = {};
    params.name = tome_string_of(branch);
    params.fetch_newest = 1;
    return call(tome_branch_switch, "tome_branch_switch", checkout, params);
}

TomeWorkspaceState call_tome_branch_list(const CheckoutLocation& checkout) {
    return call(tome_branch_list, "tome_branch_list", checkout, tome_branch_list_params_t{});
}

void set_tome_branch_metadata(const CheckoutLocation& checkout, const std::string& branch,
                              const std::map<std::string, std::string>& values) {
    std::vector<tome_string> keys;
    std::vector<tome_string> texts;
    for (const auto& [key, value] : values) {
        keys.push_back(tome_string_of(key));
        texts.push_back(tome_string_of(value));
    }
    tome_branch_metadata_set_params_t params = {};
    params.branch = tome_string_of(branch);
    params.keys = {keys.data(), keys.size()};
    params.values = {texts.data(), texts.size()};
    call(tome_branch_metadata_set, "tome_branch_metadata_set", checkout, params);
}

TomeWorkspaceState call_tome_branch_metadata_get(const CheckoutLocation& checkout, const std::string& branch,
                                                 const std::vector<std::string>& keys) {
    const TextArray key_array(keys);
    tome_branch_metadata_get_params_t params = {};
    params.branch = tome_string_of(branch);
    params.keys = key_array.array();
    return call(tome_branch_metadata_get, "tome_branch_metadata_get", checkout, params);
}

void push_tome_branch(const std::filesystem::path& checkout, const std::string& branch, const std::string& remote_url,
                      bool force) {
    if (branch.empty() || remote_url.empty()) {
        return;
    }
    tome_globals_t globals = globals_for_call({checkout, remote_url});
    globals.force = force;
    tome_branch_push_params_t params = {};
    params.name = tome_string_of(branch);
    params.with_metadata = 1;
    call(tome_branch_push, "tome_branch_push", globals, params);
}

TomeWorkspaceState call_tome_branch_archive(const CheckoutLocation& checkout, const std::string& branch) {
    tome_branch_archive_params_t params = {};
    params.name = tome_string_of(branch);
    return call(tome_branch_archive, "tome_branch_archive", checkout, params);
}

TomeWorkspaceState call_tome_branch_diff(const CheckoutLocation& checkout, const std::string& from,
                                         const std::string& to) {
    tome_branch_diff_params_t params = {};
    params.from = tome_string_of(from);
    params.to = tome_string_of(to);
    return call(tome_branch_diff, "tome_branch_diff", checkout, params);
}

TomeWorkspaceState call_tome_branch_merge_into(const CheckoutLocation& checkout, const std::string& source,
                                               const std::string& message) {
    tome_branch_merge_into_params_t params = {};
    params.source = tome_string_of(source);
    params.message = tome_string_of(message);
    return call(tome_branch_merge_into, "tome_branch_merge_into", checkout, params);
}

TomeWorkspaceState call_tome_file_stage(const CheckoutLocation& checkout, const std::vector<std::string>& paths) {
    const TextArray path_array(paths);
    tome_file_stage_params_t params = {};
    params.paths = path_array.array();
    params.stage_deletions = 1;
    params.stage_additions = 1;
    return call(tome_file_stage, "tome_file_stage", checkout, params);
}

TomeWorkspaceState call_tome_file_info(const CheckoutLocation& checkout, const std::vector<std::string>& paths) {
    const TextArray path_array(paths);
    tome_file_info_params_t params = {};
    params.paths = path_array.array();
    return call(tome_file_info, "tome_file_info", checkout, params);
}

TomeWorkspaceState call_tome_file_state(const CheckoutLocation& checkout, const std::vector<std::string>& paths,
                                        const std::vector<std::string>& skip) {
    const TextArray path_array(paths);
    const TextArray skip_array(skip);
    tome_file_state_params_t params = {};
    params.paths = path_array.array();
    params.skip_paths = skip_array.array();
    return call(tome_file_state, "tome_file_state", checkout, params);
}

TomeWorkspaceState call_tome_file_base_set(const CheckoutLocation& checkout, const std::string& revision,
                                           const std::vector<std::string>& paths, bool is_base) {
    const TextArray path_array(paths);
    tome_file_base_set_params_t params = {};
    params.revision = revision_hash(revision);
    params.paths = path_array.array();
    params.is_base = is_base;
    return call(tome_file_base_set, "tome_file_base_set", checkout, params);
}

TomeWorkspaceState call_tome_file_base_find(const CheckoutLocation& checkout, const std::vector<std::string>& paths,
                                            std::uint64_t versions) {
    const TextArray path_array(paths);
    tome_file_base_set_params_t params = {};
    params.paths = path_array.array();
    params.versions = versions;
    return call(tome_file_base_set, "tome_file_base_set", checkout, params);
}

TomeWorkspaceState call_tome_file_update(const CheckoutLocation& checkout, const TomeUpdate& update) {
    const TextArray path_array(update.paths);
    tome_file_update_params_t params = {};
    params.paths = path_array.array();
    if (!update.revision.empty()) {
        params.revision = revision_hash(update.revision);
    }
    params.is_base = update.is_base;
    params.check_only = update.check_only;
    return call(tome_file_update, "tome_file_update", checkout, params);
}

TomeWorkspaceState call_tome_revision_commit(const CheckoutLocation& checkout, const std::string& message) {
    tome_revision_commit_params_t params = {};
    params.message = tome_string_of(message);
    return call(tome_revision_commit, "tome_revision_commit", checkout, params);
}

TomeWorkspaceState call_tome_revision_sync(const CheckoutLocation& checkout, const TomeSync& sync,
                                           std::string_view operation) {
    const TextArray path_array(sync.paths);
    tome_revision_sync_params_t params = {};
    params.paths = path_array.array();
    if (sync.revision.empty()) {
        params.fetch_newest = 1;
    } else {
        params.revision = revision_hash(sync.revision);
    }
    params.overwrite = sync.overwrite;
    params.scratch = sync.scratch;
    return call(tome_revision_sync, operation, checkout, params);
}

TomeWorkspaceState call_tome_revision_history(const CheckoutLocation& checkout, const std::string& branch,
                                              std::uint64_t limit) {
    tome_revision_history_params_t params = {};
    params.branch = tome_string_of(branch);
    params.limit = limit;
    return call(tome_revision_history, "tome_revision_history", checkout, params);
}

TomeWorkspaceState call_tome_revision_info(const CheckoutLocation& checkout, const std::string& revision) {
    tome_revision_info_params_t params = {};
    params.revision = revision_hash(revision);
    return call(tome_revision_info, "tome_revision_info", checkout, params);
}

TomeWorkspaceState call_tome_revision_diff(const CheckoutLocation& checkout, const std::string& from,
                                           const std::string& to) {
    tome_revision_diff_params_t params = {};
    params.from = revision_hash(from);
    params.to = revision_hash(to);
    return call(tome_revision_diff, "tome_revision_diff", checkout, params);
}

TomeWorkspaceState call_tome_revision_restore(const CheckoutLocation& checkout, const std::string& revision,
                                              const std::string& message) {
    tome_revision_restore_params_t params = {};
    params.revision = revision_hash(revision);
    params.message = tome_string_of(message);
    return call(tome_revision_restore, "tome_revision_restore", checkout, params);
}

void call_tome_shared_store_create(const CheckoutLocation& checkout, const std::filesystem::path& store) {
    const std::string path = store.string();
    tome_shared_store_create_params_t params = {};
    params.path = tome_string_of(path);
    call(tome_shared_store_create, "tome_shared_store_create", checkout, params);
}

}  // namespace quill
