#include "content/content_store_selection.h"

#include <cstdlib>
#include <mutex>
#include <stdexcept>
#include <string_view>
#include <unordered_map>

#include "content/local_content_store.h"
#include "content/tome_content_store.h"
#include "content/tome_mirror_content_store.h"
#include "files/absolute_path.h"
#include "files/text_file.h"
#include "project/manifest.h"
#include "project/manifest_text.h"
#include "project/repository_configuration.h"

namespace quill {
namespace {

namespace fs = std::filesystem;

struct Stores {
    std::mutex stores_mutex;
    std::unordered_map<std::string, std::weak_ptr<ContentStore>> by_key;  // guarded by stores_mutex
};

// Never destroyed: threads may outlive main.
Stores& shared_stores() {
    static auto* stores = new Stores;
    return *stores;
}

// Asks the manifest's text, not its record: for a manifest that names no store the record says "tome", but its contents
// are in the local store.
bool keeps_content_in_repository(const fs::path& project) {
    try {
        read_project(project);
        return manifest_string(read_text_file(project_manifest_path(project)), "contentStore", "") == "tome";
    } catch (const std::runtime_error&) {
        std::error_code error;
        const fs::file_type type = fs::status(project_manifest_path(project), error).type();
        if (type == fs::file_type::not_found || type == fs::file_type::none) {
            return false;
        }
        throw;
    }
}

std::shared_ptr<ContentStore> local_store(const fs::path& project, const std::string& url_base) {
    return std::make_shared<LocalContentStore>(project / "Content", url_base);
}

std::shared_ptr<ContentStore> repository_store(const fs::path& repository, const fs::path& project,
                                               const std::string& url_base) {
    return std::make_shared<TomeContentStore>(repository, project, project_tome_remote_url(project), url_base);
}

}  // namespace

std::shared_ptr<ContentStore> make_project_content_store(const fs::path& project_path, const std::string& url_base) {
    const fs::path project = absolute_normalized(project_path);
    if (!keeps_content_in_repository(project)) {
        return local_store(project, url_base);
    }
    Stores& stores = shared_stores();
    const std::lock_guard lock(stores.stores_mutex);
    const fs::path repository = project_tome_repository_path(project);
    std::weak_ptr<ContentStore>& shared = stores.by_key[repository.string() + "\n" + url_base];
    if (std::shared_ptr<ContentStore> store = shared.lock()) {
        return store;
    }
    std::shared_ptr<ContentStore> store = repository_store(repository, project, url_base);
    shared = store;
    return store;
}

std::shared_ptr<ContentStore> make_project_worker_content_store(const fs::path& project_path,
                                                                const std::string& url_base) {
    const fs::path project = absolute_normalized(project_path);
    return keeps_content_in_repository(project) ? std::make_shared<TomeMirrorContentStore>(project, url_base)
                                                : local_store(project, url_base);
}

std::shared_ptr<ContentStore> make_project_content_store_for_repository(const fs::path& project_path,
                                                                        const fs::path& repository,
                                                                        const std::string& url_base) {
    const fs::path project = absolute_normalized(project_path);
    return keeps_content_in_repository(project) ? repository_store(repository, project, url_base)
                                                : local_store(project, url_base);
}

std::shared_ptr<ContentStore> make_content_store_from_environment(const fs::path& project_path,
                                                                  const std::string& url_base) {
    const fs::path project = absolute_normalized(project_path);
    const char* backend = std::getenv("QUILL_CONTENT_STORE_BACKEND");
    const std::string_view chosen = backend != nullptr ? backend : "";
    if (chosen == "tome") {
        const char* workspace = std::getenv("QUILL_TOME_WORKSPACE");
        const bool named = workspace != nullptr && *workspace != '\0';
        return repository_store(named ? fs::path(workspace) : project, project, url_base);
    }
    if (chosen == "local") {
        return local_store(project, url_base);
    }
    return make_project_content_store(project, url_base);
}

}  // namespace quill
