// Content keys of files that are known without reading them, because the engine reported them or a commit made them.
// Keyed by path; kept for the life of the process, and on purpose never destroyed (see internal::leaked).
//
// Threads: every function may be called from any thread; one mutex guards the cache.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace quill {

/// What was learned about one file.
struct CachedProjectFileIdentity {
    std::filesystem::path path;  ///< absolute, lexically normalised
    std::string content_key;     ///< "sha256:" + 64 lower-case hex digits
};

/// The content key known for `path` (absolute, normalised), or nothing.
std::optional<std::string> find_file_identity(const std::filesystem::path& path);

/// Stores each key under the path and under its workspace-independent form, replacing earlier values.
void store_file_identities(const std::vector<CachedProjectFileIdentity>& identities);

namespace internal {

/// The one object of its type, made on first use. Detached threads may still use it while the process ends, so it is
/// never destroyed: the operating system takes the memory back.
template <typename State>
State& leaked() {
    static State& state = *new State;
    return state;
}

}  // namespace internal

}  // namespace quill
