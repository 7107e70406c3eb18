#include "identity/file_identity_cache.h"

#include <mutex>
#include <unordered_map>

#include "project/project_location.h"

namespace quill {
namespace {

struct IdentityCache {
    std::mutex mutex;
    std::unordered_map<std::string, std::string> keys;  // path to content key; an empty key counts as absent
};

IdentityCache& identity_cache() {
    return internal::leaked<IdentityCache>();
}

}  // namespace

std::optional<std::string> find_file_identity(const std::filesystem::path& path) {
    IdentityCache& cache = identity_cache();
    const std::lock_guard lock(cache.mutex);
    const auto found = cache.keys.find(path.string());
    if (found == cache.keys.end() || found->second.empty()) {
        return std::nullopt;
    }
    return found->second;
}

void store_file_identities(const std::vector<CachedProjectFileIdentity>& identities) {
    IdentityCache& cache = identity_cache();
    const std::lock_guard lock(cache.mutex);
    for (const CachedProjectFileIdentity& identity : identities) {
        cache.keys[identity.path.string()] = identity.content_key;
        cache.keys[workspace_independent_project_path(identity.path).lexically_normal().string()] =
            identity.content_key;
    }
}

}  // namespace quill
