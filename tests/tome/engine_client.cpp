#include "tests/tome/engine_client.h"

#include <algorithm>
#include <stdexcept>

#include "digest/sha256.h"

namespace quill_test {
namespace {

std::string text_of(const tome_string_t& text) {
    return text.length == 0 ? "" : std::string(text.data, text.length);
}

std::string hex_of(const std::uint8_t* bytes) {
    static constexpr char digits[] = "0123456789abcdef";
    std::string text;
    for (int i = 0; i < 32; ++i) {
        text += digits[bytes[i] >> 4];
        text += digits[bytes[i] & 15];
    }
    return text;
}

std::string hash_text(const tome_hash_t& hash) {
    const std::string text = hex_of(hash.bytes);
    return text == std::string(64, '0') ? "" : text;
}

tome_hash_t hash_from(const std::string& text) {
    tome_hash_t hash{};
    for (std::size_t i = 0; i + 1 < std::min<std::size_t>(text.size(), 64); i += 2) {
        hash.bytes[i / 2] = static_cast<std::uint8_t>(std::stoi(text.substr(i, 2), nullptr, 16));
    }
    return hash;
}

tome_string_t view(const std::string& text) {
    return {text.data(), text.size()};
}

// Views of texts, for as long as both the texts and this live.
class TextArray {
  public:
    explicit TextArray(const std::vector<std::string>& texts) {
        for (const std::string& text : texts) {
            views_.push_back(view(text));
        }
    }
    tome_string_array_t get() const { return {views_.data(), views_.size()}; }

  private:
    std::vector<tome_string_t> views_;
};

std::string change_text(const tome_change_event_t& change) {
    static constexpr const char* names[] = {"?", "add", "delete", "move", "copy", "modify"};
    const bool known = change.status >= TOME_CHANGE_ADD && change.status <= TOME_CHANGE_MODIFY;
    const std::string previous = text_of(change.previous_path);
    return std::string(names[known ? change.status : 0]) + " " + (previous.empty() ? "" : previous + " -> ") +
           text_of(change.path);
}

std::string version_text(const tome_file_version_t& version) {
    const std::string hash = hash_text(version.hash);
    return version.present == 0 ? "" : (hash.empty() ? "unread" : hash) + (version.executable != 0 ? " x" : "");
}

void collect(const tome_event_t* event, std::uint64_t user) {
    EngineResult& result = *reinterpret_cast<EngineResult*>(user);
    result.events.push_back(event->kind);
    switch (event->kind) {
        case TOME_EVENT_ERROR_TEXT:
            result.error = text_of(event->as.text);
            break;
        case TOME_EVENT_ERROR_CODE:
            result.code = event->as.code;
            break;
        case TOME_EVENT_METADATA:
            EXPECT_EQ(event->as.metadata.type, TOME_VALUE_TEXT);
            result.metadata.push_back(text_of(event->as.metadata.key) + "=" + text_of(event->as.metadata.text));
            break;
        case TOME_EVENT_BRANCH: {
            const tome_branch_event_t& branch = event->as.branch;
            result.branch_names.push_back(text_of(branch.name));
            result.branches[text_of(branch.name)] = {text_of(branch.kind), text_of(branch.author),
                                                     hash_text(branch.head), branch.archived != 0};
            break;
        }
        case TOME_EVENT_BRANCH_DIFF:
        case TOME_EVENT_MERGE_CHANGE:
        case TOME_EVENT_REVISION_DIFF:
            result.changes.push_back(change_text(event->as.change));
            break;
        case TOME_EVENT_FILE_INFO:
        case TOME_EVENT_FILE_STAGED: {
            const tome_file_event_t& file = event->as.file;
            result.files.push_back({text_of(file.path), hash_text(file.hash), file.number, file.present != 0});
            break;
        }
        case TOME_EVENT_FILE_STATE: {
            const tome_file_state_event_t& file = event->as.file_state;
            result.states.push_back(
                {text_of(file.path), version_text(file.base), version_text(file.here), version_text(file.there)});
            break;
        }
        case TOME_EVENT_STATUS:
            result.hash = hash_text(event->as.status.local_head);
            result.order = event->as.status.local_order;
            result.remote_hash = hash_text(event->as.status.remote_head);
            result.remote_order = event->as.status.remote_order;
            break;
        case TOME_EVENT_REVISION: {
            const tome_revision_event_t& revision = event->as.revision;
            result.revisions.push_back({hash_text(revision.hash), hash_text(revision.first_parent),
                                        hash_text(revision.second_parent), revision.order, revision.created_at,
                                        text_of(revision.message)});
            break;
        }
        case TOME_EVENT_MERGED_PATH:
            result.merged.push_back(text_of(event->as.path));
            break;
        case TOME_EVENT_MERGE_CONFLICT:
            result.conflicts.push_back(text_of(event->as.path));
            [[fallthrough]];
        case TOME_EVENT_SYNCED_PATH:
        case TOME_EVENT_STATUS_PATH:
        case TOME_EVENT_REVISION_FILE:
        case TOME_EVENT_RESTORED_PATH:
        case TOME_EVENT_REVISION_PATH:
            result.paths.push_back(text_of(event->as.path));
            break;
        default:
            result.hash = hash_text(event->as.identity.hash);
            result.order = event->as.identity.number;
    }
}

void check_error_events(const EngineResult& result, std::int32_t returned) {
    EXPECT_EQ(result.code, returned);
    EXPECT_EQ(result.count(TOME_EVENT_ERROR_TEXT), returned == 0 ? 0U : 1U);
    EXPECT_EQ(result.count(TOME_EVENT_ERROR_CODE), returned == 0 ? 0U : 1U);
    if (returned != 0 && result.events.size() >= 2) {
        EXPECT_EQ(result.events[result.events.size() - 2], TOME_EVENT_ERROR_TEXT);
        EXPECT_EQ(result.events.back(), TOME_EVENT_ERROR_CODE);
        EXPECT_NE(result.error, "");
        EXPECT_EQ(result.error.find('\n'), std::string::npos) << result.error;
    }
}

}  // namespace

void PrintTo(const EngineFileState& file, std::ostream* out) {
    *out << file.path << " base " << file.base << " here " << file.here << " there " << file.there;
}

void PrintTo(const EngineFile& file, std::ostream* out) {
    *out << (file.present ? "+" : "-") << file.path << " " << file.size << " " << file.hash;
}

std::size_t EngineResult::count(int kind) const {
    return static_cast<std::size_t>(std::count(events.begin(), events.end(), kind));
}

template <typename Params>
EngineResult EngineClient::call(std::int32_t (*operation)(const tome_globals_t*, const Params*, std::uint64_t,
                                                          tome_callback_t),
                                const Params& params, tome_globals_t globals) const {
    const std::string checkout = checkout_.string();
    globals.size = sizeof globals;
    globals.checkout = view(checkout);
    globals.offline = offline ? 1 : 0;
    globals.use_remote = use_remote ? 1 : 0;
    globals.non_interactive = 1;
    globals.working_folder = view(working_folder);
    EngineResult result;
    const std::int32_t returned = operation(&globals, &params, reinterpret_cast<std::uint64_t>(&result), collect);
    check_error_events(result, returned);
    return result;
}

std::map<std::string, std::string> EngineClient::files() const {
    std::map<std::string, std::string> result;
    for (auto entry = std::filesystem::recursive_directory_iterator(checkout_);
         entry != std::filesystem::recursive_directory_iterator(); ++entry) {
        if (entry->path().filename() == ".tome") {
            entry.disable_recursion_pending();
        } else if (entry->is_regular_file()) {
            result[entry->path().lexically_relative(checkout_).string()] = read_file(entry->path());
        }
    }
    return result;
}

EngineResult EngineClient::create(const std::string& name, bool no_remote, const std::string& branch_memory) const {
    tome_repository_create_params_t params{};
    params.branch_memory = view(branch_memory);
    params.name = view(name);
    tome_globals_t globals{};
    globals.no_remote = no_remote ? 1 : 0;
    return call(tome_repository_create, params, globals);
}

EngineResult EngineClient::clone(const std::string& url, const EngineClone& options) const {
    const TextArray paths(options.paths);
    tome_repository_clone_params_t params{};
    params.repository_url = view(url);
    params.branch = view(options.branch);
    params.paths = paths.get();
    params.sparse = options.sparse ? 1 : 0;
    params.metadata_only = options.metadata_only ? 1 : 0;
    params.use_shared_store = options.shared_store.empty() ? 0 : 1;
    params.shared_store = view(options.shared_store);
    params.branch_memory = view(options.branch_memory);
    return call(tome_repository_clone, params);
}

EngineResult EngineClient::status(const std::vector<std::string>& skip, bool report_changes) const {
    const TextArray paths(skip);
    tome_repository_status_params_t params{};
    params.report_changes = report_changes ? 1 : 0;
    params.skip_paths = paths.get();
    return call(tome_repository_status, params);
}

EngineResult EngineClient::create_branch(const std::string& name, const std::string& from, const std::string& kind,
                                         const std::string& author) const {
    return call(tome_branch_create, tome_branch_create_params_t{view(name), view(from), view(kind), view(author)});
}

EngineResult EngineClient::switch_to(const std::string& branch, bool fetch_newest) const {
    return call(tome_branch_switch, tome_branch_switch_params_t{view(branch), fetch_newest ? 1U : 0U});
}

EngineResult EngineClient::list_branches() const {
    return call(tome_branch_list, tome_branch_list_params_t{});
}

EngineResult EngineClient::set_metadata(const std::string& branch, const std::vector<std::string>& keys,
                                        const std::vector<std::string>& values) const {
    const TextArray key_array(keys);
    const TextArray value_array(values);
    return call(tome_branch_metadata_set,
                tome_branch_metadata_set_params_t{view(branch), key_array.get(), value_array.get()});
}

EngineResult EngineClient::get_metadata(const std::string& branch, const std::vector<std::string>& keys) const {
    const TextArray array(keys);
    return call(tome_branch_metadata_get, tome_branch_metadata_get_params_t{view(branch), array.get()});
}

EngineResult EngineClient::push(const std::string& branch, bool force, bool with_metadata) const {
    tome_globals_t globals{};
    globals.force = force ? 1 : 0;
    return call(tome_branch_push, tome_branch_push_params_t{view(branch), with_metadata ? 1U : 0U}, globals);
}

EngineResult EngineClient::archive(const std::string& branch) const {
    return call(tome_branch_archive, tome_branch_archive_params_t{view(branch)});
}

EngineResult EngineClient::branch_diff(const std::string& from, const std::string& to) const {
    return call(tome_branch_diff, tome_branch_diff_params_t{view(from), view(to)});
}

EngineResult EngineClient::merge(const std::string& source, const std::string& message) const {
    return call(tome_branch_merge_into, tome_branch_merge_into_params_t{view(source), view(message)});
}

EngineResult EngineClient::stage(const std::vector<std::string>& paths, bool deletions, bool additions) const {
    const TextArray array(paths);
    return call(tome_file_stage, tome_file_stage_params_t{array.get(), deletions ? 1U : 0U, additions ? 1U : 0U});
}

EngineResult EngineClient::file_info(const std::vector<std::string>& paths) const {
    const TextArray array(paths);
    return call(tome_file_info, tome_file_info_params_t{array.get()});
}

EngineResult EngineClient::commit(const std::string& message) const {
    return call(tome_revision_commit, tome_revision_commit_params_t{view(message)});
}

EngineResult EngineClient::sync(const EngineSync& options) const {
    const TextArray paths(options.paths);
    tome_revision_sync_params_t params{};
    params.paths = paths.get();
    params.revision = hash_from(options.revision);
    params.fetch_newest = options.fetch_newest ? 1 : 0;
    params.overwrite = options.overwrite ? 1 : 0;
    return call(tome_revision_sync, params);
}

EngineResult EngineClient::file_state(const std::vector<std::string>& paths,
                                      const std::vector<std::string>& skip) const {
    const TextArray asked(paths);
    const TextArray skipped(skip);
    return call(tome_file_state, tome_file_state_params_t{asked.get(), skipped.get()});
}

EngineResult EngineClient::set_base(const EngineBase& base) const {
    const TextArray paths(base.paths);
    return call(tome_file_base_set, tome_file_base_set_params_t{hash_from(base.revision), paths.get(),
                                                                base.is_base ? 1U : 0U, base.versions});
}

EngineResult EngineClient::update(const EngineBase& to) const {
    const TextArray paths(to.paths);
    return call(tome_file_update, tome_file_update_params_t{paths.get(), hash_from(to.revision), to.is_base ? 1U : 0U,
                                                            to.check_only ? 1U : 0U});
}

EngineResult EngineClient::history(const std::string& branch, std::uint64_t limit) const {
    return call(tome_revision_history, tome_revision_history_params_t{view(branch), limit});
}

EngineResult EngineClient::info(const std::string& revision) const {
    return call(tome_revision_info, tome_revision_info_params_t{hash_from(revision)});
}

EngineResult EngineClient::diff(const std::string& from, const std::string& to) const {
    return call(tome_revision_diff, tome_revision_diff_params_t{hash_from(from), hash_from(to)});
}

EngineResult EngineClient::restore(const std::string& revision, const std::string& message) const {
    return call(tome_revision_restore, tome_revision_restore_params_t{hash_from(revision), view(message)});
}

EngineResult EngineClient::accept_remote(const std::string& url, const std::string& branch_memory) const {
    return call(tome_repository_accept_remote, tome_repository_accept_remote_params_t{view(url), view(branch_memory)});
}

EngineResult EngineClient::create_shared_store(const std::string& directory, const std::string& remote_url) const {
    tome_globals_t globals{};
    globals.remote_url = view(remote_url);
    return call(tome_shared_store_create, tome_shared_store_create_params_t{view(directory)}, globals);
}

std::string EngineClient::commit_paths(const std::vector<std::string>& paths, const std::string& message) const {
    must(stage(paths));
    return must(commit(message)).hash;
}

std::string EngineClient::publish(const std::vector<std::string>& paths, const std::string& branch) const {
    const std::string revision = commit_paths(paths);
    must(push(branch));
    return revision;
}

EngineResult must(EngineResult result) {
    if (!result.ok()) {
        throw std::runtime_error("the call failed: " + result.error);
    }
    return result;
}

std::string sha256_of(std::string_view bytes) {
    quill::Sha256 hash;
    hash.update(bytes);
    return hash.finish_hex();
}

EngineClient EngineOperations::new_repository(const std::map<std::string, std::string>& files) const {
    const EngineClient client(new_folder());
    must(client.create(url_));
    std::vector<std::string> paths;
    for (const auto& [path, bytes] : files) {
        client.write(path, bytes);
        paths.push_back(path);
    }
    if (!paths.empty()) {
        client.publish(paths);
    }
    return client;
}

EngineClient EngineOperations::new_clone(const EngineClone& options) const {
    const EngineClient client(new_folder());
    must(client.clone(url_, options));
    return client;
}

std::filesystem::path EngineOperations::new_folder() const {
    const std::filesystem::path folder = folder_ / ("checkout" + std::to_string(++folders_));
    std::filesystem::create_directory(folder);
    return folder;
}

std::string EngineOperations::remote_head(const std::string& branch) const {
    if (!observer_) {
        observer_ = new_clone({.sparse = true});
    }
    return must(observer_->list_branches()).branches.at(branch).head;
}

}  // namespace quill_test
