#include "tests/fake_tome/fake_tome.h"

#include <algorithm>
#include <array>
#include <deque>
#include <filesystem>
#include <mutex>

#include "content/content_key.h"
#include "digest/sha256.h"
#include "engine/tome_call.h"
#include "tests/support/temporary_folder.h"

namespace fake_tome {
namespace {

struct Failure {
    std::int32_t code;
    std::string text;
};

struct Script {
    std::mutex mutex;
    std::vector<Call> calls;
    std::map<std::string, Handler> handlers;
    std::map<std::string, std::deque<Handler>> queues;
    std::map<std::size_t, Failure> failures;
    std::uint8_t revisions = 0;
};

// Never destroyed: background threads of the library may call the engine while the program ends.
Script& script() {
    static Script& instance = *new Script;
    return instance;
}

tome_string_t view(std::string_view text) {
    return {text.data(), text.size()};
}

tome_event_t event_of(std::int32_t kind) {
    tome_event_t event = {};
    event.kind = kind;
    return event;
}

tome_hash_t next_revision(std::uint64_t& order) {
    const std::lock_guard lock(script().mutex);
    order = ++script().revisions;
    return make_hash(script().revisions);
}

void write_configuration(const Call& call) {
    std::string text = "remote_url = \"" + call.remote_url + "\"\n";
    if (call.values.count("use_shared_store") != 0 && call.value("use_shared_store") == "1") {
        text += "\n[shared_store_to_use]\nuse_shared_store = true\npath = \"" + call.value("shared_store") + "\"\n";
    }
    quill_test::write_file(std::filesystem::path(call.checkout) / ".tome" / "config.toml", text);
}

void report_files(const Call& call, const Events& events) {
    for (const std::string& relative : call.list("paths")) {
        const std::filesystem::path file = std::filesystem::path(call.checkout) / relative;
        if (!std::filesystem::is_regular_file(file)) {
            events.file(TOME_EVENT_FILE_INFO, relative, {}, 0, false);
            continue;
        }
        const std::string bytes = quill_test::read_file(file);
        quill::Sha256 digest;
        digest.update(bytes.data(), bytes.size());
        const std::array<std::uint8_t, 32> sum = digest.finish();
        tome_hash_t hash;
        std::copy(sum.begin(), sum.end(), std::begin(hash.bytes));
        events.file(TOME_EVENT_FILE_INFO, relative, hash, bytes.size());
    }
}

// As of a package that was never exchanged with anybody: each file is new. A given path without a file was deleted.
void report_everything_as_new(const Call& call, const Events& events) {
    namespace fs = std::filesystem;
    std::vector<std::string> paths = call.list("paths");
    const fs::path root = call.working_folder.empty() ? call.checkout : call.working_folder;
    if (paths.empty() && fs::is_directory(root)) {
        for (auto entry = fs::recursive_directory_iterator(root); entry != fs::recursive_directory_iterator();
             ++entry) {
            if (entry->path().filename().string().starts_with('.')) {
                entry.disable_recursion_pending();
            } else if (entry->is_regular_file()) {
                paths.push_back(entry->path().lexically_relative(root).string());
            }
        }
    }
    for (const std::string& path : paths) {
        const tome_file_version_t version{make_hash(1), 1, 1, 0};
        tome_event_t event = event_of(TOME_EVENT_FILE_STATE);
        event.as.file_state.path = {path.data(), path.size()};
        if (fs::is_regular_file(root / path)) {
            event.as.file_state.here = version;
        } else {
            event.as.file_state.base = event.as.file_state.there = version;
        }
        events.send(event);
    }
}

Handler next_handler(Call& call, Failure& failure) {
    Script& state = script();
    const std::lock_guard lock(state.mutex);
    call.number = state.calls.size() + 1;
    state.calls.push_back(call);
    if (const auto found = state.failures.find(call.number); found != state.failures.end()) {
        failure = found->second;
        return {};
    }
    if (auto& queue = state.queues[call.operation]; !queue.empty()) {
        Handler handler = std::move(queue.front());
        queue.pop_front();
        return handler;
    }
    const auto found = state.handlers.find(call.operation);
    return found == state.handlers.end() ? Handler(do_default) : found->second;
}

}  // namespace

void Events::text(std::int32_t kind, std::string_view text) const {
    tome_event_t event = event_of(kind);
    event.as.text = view(text);
    send(event);
}

void Events::code(std::int32_t code) const {
    tome_event_t event = event_of(TOME_EVENT_ERROR_CODE);
    event.as.code = code;
    send(event);
}

void Events::identity(std::int32_t kind, const tome_hash_t& hash, std::uint64_t number) const {
    tome_event_t event = event_of(kind);
    event.as.identity = {hash, number};
    send(event);
}

void Events::file(std::int32_t kind, std::string_view path, const tome_hash_t& hash, std::uint64_t size,
                  bool present) const {
    tome_event_t event = event_of(kind);
    event.as.file = {view(path), hash, size, present};
    send(event);
}

void Events::status(const tome_hash_t& local, std::uint64_t local_order, const tome_hash_t& remote,
                    std::uint64_t remote_order) const {
    tome_event_t event = event_of(TOME_EVENT_STATUS);
    event.as.status = {local, remote, local_order, remote_order};
    send(event);
}

void Events::branch(std::string_view name, std::string_view kind, const tome_hash_t& head) const {
    tome_event_t event = event_of(TOME_EVENT_BRANCH);
    event.as.branch.name = view(name);
    event.as.branch.kind = view(kind);
    event.as.branch.head = head;
    send(event);
}

void Events::metadata(std::string_view key, std::string_view value) const {
    tome_event_t event = event_of(TOME_EVENT_METADATA);
    event.as.metadata.key = view(key);
    event.as.metadata.type = TOME_VALUE_TEXT;
    event.as.metadata.text = view(value);
    send(event);
}

void Events::storage_opened(std::uint64_t handle) const {
    tome_event_t event = event_of(TOME_EVENT_STORAGE_OPENED);
    event.as.handle = handle;
    send(event);
}

void Events::size(std::uint64_t bytes) const {
    tome_event_t event = event_of(TOME_EVENT_STORAGE_SIZE);
    event.as.size = bytes;
    send(event);
}

void Events::chunk(std::uint64_t offset, std::string_view bytes) const {
    tome_event_t event = event_of(TOME_EVENT_STORAGE_CHUNK);
    event.as.chunk = {offset, bytes.size(), bytes.data()};
    send(event);
}

std::int32_t Events::fail(std::int32_t error, std::string_view message) const {
    text(TOME_EVENT_ERROR_TEXT, message);
    code(error);
    return error;
}

void reset() {
    Script& state = script();
    const std::lock_guard lock(state.mutex);
    state.calls.clear();
    state.handlers.clear();
    state.queues.clear();
    state.failures.clear();
    state.revisions = 0;
}

void on(const std::string& operation, Handler handler) {
    const std::lock_guard lock(script().mutex);
    script().handlers[operation] = std::move(handler);
}

void once(const std::string& operation, Handler handler) {
    const std::lock_guard lock(script().mutex);
    script().queues[operation].push_back(std::move(handler));
}

std::int32_t do_default(const Call& call, const Events& events) {
    std::uint64_t order = 0;
    if (call.operation == "tome_repository_create" || call.operation == "tome_repository_clone") {
        write_configuration(call);
    } else if (call.operation == "tome_repository_status") {
        events.status({}, 0, {}, 0);
    } else if (call.operation == "tome_file_info") {
        report_files(call, events);
    } else if (call.operation == "tome_file_state") {
        report_everything_as_new(call, events);
    } else if (call.operation == "tome_storage_open") {
        events.storage_opened(7);
    } else if (call.operation == "tome_revision_commit") {
        const tome_hash_t revision = next_revision(order);
        events.identity(TOME_EVENT_COMMITTED, revision, order);
    } else if (call.operation == "tome_revision_restore") {
        const tome_hash_t revision = next_revision(order);
        events.identity(TOME_EVENT_RESTORED, revision, order);
    }
    return 0;
}

void fail_call(std::size_t n, std::int32_t code, std::string text) {
    const std::lock_guard lock(script().mutex);
    script().failures[n] = {code, std::move(text)};
}

std::vector<Call> calls() {
    const std::lock_guard lock(script().mutex);
    return script().calls;
}

std::vector<Call> calls(const std::string& operation) {
    std::vector<Call> found = calls();
    std::erase_if(found, [&](const Call& call) { return call.operation != operation; });
    return found;
}

std::vector<std::string> operations() {
    std::vector<std::string> names;
    for (const Call& call : calls()) {
        names.push_back(call.operation);
    }
    return names;
}

tome_hash_t make_hash(std::uint8_t last) {
    tome_hash_t hash;
    std::fill(std::begin(hash.bytes), std::end(hash.bytes), std::uint8_t{0xab});
    hash.bytes[31] = last;
    return hash;
}

std::string make_hash_hex(std::uint8_t last) {
    return quill::tome_hash_hex(make_hash(last));
}

}  // namespace fake_tome

// ---- The functions of tome.h: each copies its parameters into a Call and runs the handler.

namespace {

using fake_tome::Call;

std::string text_of(const tome_string_t& text) {
    return quill::tome_string_to_std(text);
}

std::string text_of(const tome_blob_key_t& key) {
    return quill::bytes_to_hex(key.partition, sizeof key.partition) + ":" + quill::tome_hash_hex(key.digest) + ":" +
           quill::bytes_to_hex(key.context, sizeof key.context);
}

std::vector<std::string> texts_of(const tome_string_array_t& array) {
    std::vector<std::string> texts;
    for (std::uint64_t index = 0; index < array.count; ++index) {
        texts.push_back(text_of(array.items[index]));
    }
    return texts;
}

std::string text_of(const tome_storage_options_t& options) {
    return std::to_string(options.verify) + " " + std::to_string(options.wait_seconds) + " " +
           std::to_string(options.chunk_kibibytes);
}

std::string flag(std::uint32_t value) {
    return value == 0 ? "0" : "1";
}

Call call_of(const char* operation, const tome_globals_t& globals) {
    Call call;
    call.operation = operation;
    call.checkout = text_of(globals.checkout);
    call.checkout_given = globals.checkout.data != nullptr;
    call.remote_url = text_of(globals.remote_url);
    call.working_folder = text_of(globals.working_folder);
    call.globals_size = globals.size;
    call.offline = globals.offline != 0;
    call.no_remote = globals.no_remote != 0;
    call.use_remote = globals.use_remote != 0;
    call.non_interactive = globals.non_interactive != 0;
    call.force = globals.force != 0;
    return call;
}

std::int32_t run(Call& call, std::uint64_t user, tome_callback_t callback) {
    const fake_tome::Events events(user, callback);
    fake_tome::Failure failure{};
    const fake_tome::Handler handler = fake_tome::next_handler(call, failure);
    return handler ? handler(call, events) : events.fail(failure.code, failure.text);
}

}  // namespace

// Defines one operation; the arguments after its name are statements that copy `params` into `call`.
#define FAKE_OPERATION(name, ...)                                                                    \
    std::int32_t name(const tome_globals_t* globals, [[maybe_unused]] const name##_params_t* params, \
                      std::uint64_t user, tome_callback_t callback) {                                \
        Call call = call_of(#name, *globals);                                                        \
        __VA_ARGS__;                                                                                 \
        return run(call, user, callback);                                                            \
    }
#define TEXT(field) call.values[#field] = text_of(params->field)
#define FLAG(field) call.values[#field] = flag(params->field)
#define HASH(field) call.values[#field] = quill::tome_hash_hex(params->field)
#define NUMBER(field) call.values[#field] = std::to_string(params->field)
#define LIST(field) call.lists[#field] = texts_of(params->field)

extern "C" {
FAKE_OPERATION(tome_repository_create, TEXT(name); TEXT(description); TEXT(branch_memory))
FAKE_OPERATION(tome_repository_accept_remote, TEXT(repository_url); TEXT(branch_memory))
FAKE_OPERATION(tome_repository_status, FLAG(report_changes); LIST(skip_paths))
FAKE_OPERATION(tome_repository_clone, TEXT(repository_url); TEXT(branch); FLAG(metadata_only); FLAG(use_shared_store);
               TEXT(shared_store); LIST(paths); FLAG(sparse); TEXT(branch_memory))
FAKE_OPERATION(tome_branch_create, TEXT(name); TEXT(from); TEXT(kind); TEXT(author))
FAKE_OPERATION(tome_branch_switch, TEXT(name); FLAG(fetch_newest))
FAKE_OPERATION(tome_branch_list)
FAKE_OPERATION(tome_branch_metadata_set, TEXT(branch); LIST(keys); LIST(values))
FAKE_OPERATION(tome_branch_metadata_get, TEXT(branch); LIST(keys))
FAKE_OPERATION(tome_branch_push, TEXT(name); FLAG(with_metadata))
FAKE_OPERATION(tome_branch_archive, TEXT(name))
FAKE_OPERATION(tome_branch_diff, TEXT(from); TEXT(to))
FAKE_OPERATION(tome_branch_merge_into, TEXT(source); TEXT(message))
FAKE_OPERATION(tome_file_stage, LIST(paths); FLAG(stage_deletions); FLAG(stage_additions))
FAKE_OPERATION(tome_file_info, LIST(paths))
FAKE_OPERATION(tome_file_state, LIST(paths); LIST(skip_paths))
FAKE_OPERATION(tome_file_base_set, HASH(revision); LIST(paths); FLAG(is_base); NUMBER(versions))
FAKE_OPERATION(tome_file_update, HASH(revision); LIST(paths); FLAG(is_base); FLAG(check_only))
FAKE_OPERATION(tome_revision_commit, TEXT(message))
FAKE_OPERATION(tome_revision_sync, LIST(paths); HASH(revision); FLAG(fetch_newest); FLAG(overwrite); FLAG(scratch))
FAKE_OPERATION(tome_revision_history, TEXT(branch); call.values["limit"] = std::to_string(params->limit))
FAKE_OPERATION(tome_revision_info, HASH(revision))
FAKE_OPERATION(tome_revision_diff, HASH(from); HASH(to))
FAKE_OPERATION(tome_revision_restore, HASH(revision); TEXT(message))
FAKE_OPERATION(tome_shared_store_create, TEXT(path))
FAKE_OPERATION(tome_storage_open, TEXT(locator); TEXT(options))
FAKE_OPERATION(tome_storage_put, NUMBER(handle); TEXT(key); FLAG(local_only); TEXT(options);
               call.values["data"] = text_of({static_cast<const char*>(params->data), params->length}))
FAKE_OPERATION(tome_storage_get, NUMBER(handle); TEXT(key); TEXT(options))
FAKE_OPERATION(tome_storage_flush, NUMBER(handle))
FAKE_OPERATION(tome_storage_close, NUMBER(handle))
}
