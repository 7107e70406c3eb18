// A remote that went back: to an older backup, or by damage. What was last seen of its branches is remembered beside
// the project's checkouts, and nothing is written on top of an older state unasked (docs/durability.md).
#pragma once

#include <filesystem>

namespace quill {

/// Accepts the history that the project's remote has now: commits that fail with "the remote went back: …" then build
/// on it. Files, edits and records stay as they are; what the package has beyond that history counts as edits from then
/// on. Throws std::runtime_error without a remote, or when what is remembered cannot be changed.
void accept_project_remote_state(const std::filesystem::path& project);

}  // namespace quill
