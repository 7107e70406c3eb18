// Which blob store a project gets: its manifest decides, the environment may overrule it. Stores in a repository are
// shared within the process, so that one repository's storage is opened once. `url_base` is what the store's URLs begin
// with. Any thread. All throw std::runtime_error when a manifest that is there cannot be read, and what the store's
// constructor throws; a package without a manifest gets the local store.
#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "content/content_store.h"

namespace quill {

/// The project's store: in its repository, shared with everyone who holds it, when the manifest's "contentStore" is
/// "tome"; else blobs in the package's "Content" folder.
std::shared_ptr<ContentStore> make_project_content_store(const std::filesystem::path& project,
                                                         const std::string& url_base);

/// For work that must not open the engine: the mirror instead of the repository.
std::shared_ptr<ContentStore> make_project_worker_content_store(const std::filesystem::path& project,
                                                                const std::string& url_base);

/// Over the repository at `repository`, such as a workspace's own checkout. Not shared.
std::shared_ptr<ContentStore> make_project_content_store_for_repository(const std::filesystem::path& project,
                                                                        const std::filesystem::path& repository,
                                                                        const std::string& url_base);

/// QUILL_CONTENT_STORE_BACKEND "tome" (over the repository at QUILL_TOME_WORKSPACE, else the package) or "local"; any
/// other value: make_project_content_store.
std::shared_ptr<ContentStore> make_content_store_from_environment(const std::filesystem::path& project,
                                                                  const std::string& url_base);

}  // namespace quill
