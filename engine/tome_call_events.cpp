// The callback: what becomes of each event of the engine.
#include <tome/tome.h>

#include <exception>

#include "engine/tome_call.h"

namespace quill {
namespace {

constexpr std::int32_t last_kind = TOME_EVENT_BASE_REVISION;

void append_path(std::vector<std::string>& paths, const tome_string_t& path) {
    std::string text = tome_string_to_std(path);
    if (!text.empty()) {
        paths.push_back(std::move(text));
    }
}

std::string metadata_value(const tome_metadata_event_t& event) {
    switch (event.type) {
        case TOME_VALUE_BOOLEAN:
            return event.boolean != 0 ? "true" : "false";
        case TOME_VALUE_INTEGER:
            return std::to_string(event.integer);
        case TOME_VALUE_TEXT:
            return tome_string_to_std(event.text);
        default:
            return {};
    }
}

const char* change_name(std::int32_t change) {
    switch (change) {
        case TOME_CHANGE_ADD:
            return "add";
        case TOME_CHANGE_DELETE:
            return "delete";
        case TOME_CHANGE_MOVE:
            return "move";
        case TOME_CHANGE_COPY:
            return "copy";
        default:
            return "modify";
    }
}

void record_branch(TomeWorkspaceState& state, const tome_branch_event_t& event) {
    ProjectWorkspace workspace;
    workspace.id = tome_string_to_std(event.name);
    workspace.name = workspace.id;
    workspace.headKey = tome_hash_hex(event.head);
    workspace.archived = event.archived != 0;
    // The engine tells one time of a branch, that of its last change. Both fields get it: that rule is fixed.
    workspace.createdAt = std::to_string(event.updated_at);
    workspace.updatedAt = workspace.createdAt;
    workspace.author = tome_string_to_std(event.author);
    state.branch_kinds[workspace.id] = tome_string_to_std(event.kind);
    state.workspaces.push_back(std::move(workspace));
}

void record_file(TomeWorkspaceState& state, const tome_file_event_t& event) {
    std::string hash = tome_hash_hex(event.hash);
    if (event.present != 0 && !hash.empty()) {
        state.file_identities.push_back({tome_string_to_std(event.path), std::move(hash), event.number});
    }
}

std::optional<ProjectFileVersion> version_of(const tome_file_version_t& version) {
    return version.present == 0
               ? std::nullopt
               : std::optional(ProjectFileVersion{tome_hash_hex(version.hash), version.size, version.executable != 0});
}

void record_file_state(TomeWorkspaceState& state, const tome_file_state_event_t& event) {
    state.file_states.push_back({tome_string_to_std(event.path), version_of(event.base), version_of(event.here),
                                 version_of(event.there), event.is_other_kind != 0});
}

void record_status(TomeWorkspaceState& state, const tome_status_event_t& event) {
    state.identity = tome_hash_hex(event.local_head);
    state.second_identity = tome_hash_hex(event.remote_head);
    state.identity_number = event.local_order;
    state.identity_extra = event.remote_order;
}

void record_revision(TomeWorkspaceState& state, const tome_revision_event_t& event) {
    ProjectWorkspaceRevision revision;
    revision.id = tome_hash_hex(event.hash);
    revision.order = event.order;
    revision.linkedHash1 = tome_hash_hex(event.first_parent);
    revision.linkedHash2 = tome_hash_hex(event.second_parent);
    revision.createdAt = std::to_string(event.created_at);
    revision.summary = tome_string_to_std(event.message);
    state.revisions.push_back(std::move(revision));
}

void record_event(TomeWorkspaceState& state, const tome_event_t& event) {
    switch (event.kind) {
        case TOME_EVENT_ERROR_TEXT:
            state.message = tome_string_to_std(event.as.text);
            break;
        case TOME_EVENT_ERROR_CODE:
            state.status = event.as.code;
            break;
        case TOME_EVENT_METADATA:
            state.metadata[tome_string_to_std(event.as.metadata.key)] = metadata_value(event.as.metadata);
            break;
        case TOME_EVENT_BRANCH:
            record_branch(state, event.as.branch);
            break;
        case TOME_EVENT_BRANCH_DIFF:
        case TOME_EVENT_MERGE_CHANGE:
        case TOME_EVENT_REVISION_DIFF:
            state.diff_entries.push_back(
                {tome_string_to_std(event.as.change.path), change_name(event.as.change.status)});
            break;
        case TOME_EVENT_MERGE_CONFLICT:
            append_path(state.changed_paths, event.as.path);
            break;
        case TOME_EVENT_FILE_INFO:
        case TOME_EVENT_FILE_STAGED:
            record_file(state, event.as.file);
            break;
        case TOME_EVENT_FILE_STATE:
            record_file_state(state, event.as.file_state);
            break;
        case TOME_EVENT_MERGED_PATH:
            append_path(state.merged_paths, event.as.path);
            break;
        case TOME_EVENT_SYNCED_PATH:
        case TOME_EVENT_STATUS_PATH:
            append_path(state.reported_paths, event.as.path);
            break;
        case TOME_EVENT_STATUS:
            record_status(state, event.as.status);
            break;
        case TOME_EVENT_COMMITTED:
        case TOME_EVENT_REVISION_INFO:
            state.identity_number = event.as.identity.number;
            [[fallthrough]];
        case TOME_EVENT_BRANCH_HEAD:
        case TOME_EVENT_SYNCED:
        case TOME_EVENT_RESTORED:
        case TOME_EVENT_BASE_REVISION:
            state.identity = tome_hash_hex(event.as.identity.hash);
            break;
        case TOME_EVENT_REVISION_FILE:
            ++state.event_count;
            break;
        case TOME_EVENT_RESTORED_PATH:
            append_path(state.restored_paths, event.as.path);
            break;
        case TOME_EVENT_REVISION:
            record_revision(state, event.as.revision);
            break;
        case TOME_EVENT_REVISION_PATH:
            append_path(state.revision_paths, event.as.path);
            break;
        default:
            break;
    }
}

}  // namespace

void tome_workspace_callback(const tome_event* event, std::uint64_t user) {
    auto* state = reinterpret_cast<TomeWorkspaceState*>(static_cast<std::uintptr_t>(user));
    if (event == nullptr || state == nullptr || event->kind < 1 || event->kind > last_kind) {
        return;
    }
    // The engine above is C: an exception must not unwind through it. An event that was lost is a failed call.
    try {
        record_event(*state, *event);
    } catch (const std::exception& error) {
        state->status = -1;
        try {
            state->message = error.what();
        } catch (const std::exception&) {
            // No memory for the text either; the status alone makes the call fail.
        }
    }
}

}  // namespace quill
