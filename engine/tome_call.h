// One call of the engine's C interface: the globals to pass, the callback that collects its events in a
// TomeWorkspaceState, the check of its outcome, and the conversions of its texts and hashes. tome_binding makes every
// call of this; programs use the operations there.
//
// Threads: calls on different threads are independent. Calls on one thread must not overlap, because the globals point
// into a text kept per thread.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "engine/tome_workspace_state.h"

extern "C" {
struct tome_event;
struct tome_globals;
struct tome_hash;
struct tome_string;
}

namespace quill {

/// Globals for `checkout_root`: absolute, normalised and kept in a text of the calling thread until its next call.
/// Without `remote_url` the one in the checkout's .tome/config.toml is taken; without either, the engine is told to
/// work without a remote.
tome_globals tome_globals_for(const std::filesystem::path& checkout_root, const std::string& remote_url);

/// Returns when both `result` and `state.status` are 0; otherwise throws std::runtime_error: `operation`, ": " and the
/// engine's message, or `operation` and " failed" without one.
void require_tome_success(std::string_view operation, std::int32_t result, const TomeWorkspaceState& state);

/// The callback of every call; `user` is the address of the call's TomeWorkspaceState. Passes over events that it does
/// not know. Never throws, because it is called from C: an event that could not be recorded sets `status` to -1.
void tome_workspace_callback(const tome_event* event, std::uint64_t user);

/// A library string that points into `text`, which must outlive it; a null pointer for empty text.
tome_string tome_string_of(const std::string& text);

/// The text of a library string; empty for a null pointer.
std::string tome_string_to_std(const tome_string& text);

/// 64 lower-case hex digits; empty for the zero hash, which means that there is none.
std::string tome_hash_hex(const tome_hash& hash);

struct TomeStringArrayView {
    const tome_string* items;
    std::uint64_t count;
};

/// Fills `storage` with one library string for each of `texts`, which must outlive the call.
TomeStringArrayView tome_string_array_view(const std::vector<std::string>& texts, std::vector<tome_string>& storage);

}  // namespace quill
