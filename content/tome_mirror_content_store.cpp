#include "content/tome_mirror_content_store.h"

#include <system_error>
#include <utility>

#include "content/content_key.h"
#include "content/content_store_blob_file.h"
#include "content/local_content_store.h"
#include "content/tome_content_key.h"
#include "digest/sha256.h"
#include "project/project_location.h"

namespace quill {
namespace {

namespace fs = std::filesystem;

fs::path mirror_of(const fs::path& folder) {
    return folder / "Content" / "tome_mirror";
}

}  // namespace

fs::path find_tome_mirror_blob(const fs::path& project, std::string_view key) {
    const fs::path relative = tome_mirror_relative_path_for_key(key);
    if (relative.empty()) {
        return {};
    }
    const fs::path owner = canonical_project_content_root(project);
    for (const fs::path& folder : {project, owner}) {
        if (const fs::path blob = mirror_of(folder) / relative; blob_file_exists(blob)) {
            return blob;
        }
    }
    std::error_code error;
    fs::directory_iterator entry(owner / ".derived" / "tome-workspaces", fs::directory_options::skip_permission_denied,
                                 error);
    for (; !error && entry != fs::directory_iterator(); entry.increment(error)) {
        std::error_code ignored;
        if (const fs::path blob = mirror_of(entry->path()) / relative;
            entry->is_directory(ignored) && blob_file_exists(blob)) {
            return blob;
        }
    }
    return {};
}

StoredContent put_tome_mirror_content(const fs::path& project, std::span<const std::byte> bytes,
                                      std::string_view context, const std::string& url_base) {
    const fs::path owner = canonical_project_content_root(project);
    Sha256 hash;
    hash.update(bytes.data(), bytes.size());
    const TomeContentKey name{tome_content_partition(owner), hash.finish(), tome_content_context(context)};
    const std::string key = tome_content_key_text(name);
    write_binary_file_atomically(tome_mirror_path_for_key(mirror_of(owner), key), bytes);
    return {key, tome_content_url(url_base, key), bytes.size(), bytes_to_hex(name.digest.data(), name.digest.size())};
}

std::optional<std::vector<std::byte>> get_tome_mirror_content(const fs::path& project, std::string_view key) {
    return read_blob_file(find_tome_mirror_blob(project, key));
}

bool project_content_exists(const fs::path& project, std::string_view key) {
    return digest_from_key(key) ? LocalContentStore(project / "Content", "").contains(key)
                                : !find_tome_mirror_blob(project, key).empty();
}

TomeMirrorContentStore::TomeMirrorContentStore(fs::path project, std::string url_base)
    : project_(std::move(project)), url_base_(std::move(url_base)) {}

StoredContent TomeMirrorContentStore::put(std::span<const std::byte> bytes) {
    return put(bytes, "");
}

StoredContent TomeMirrorContentStore::put(std::span<const std::byte> bytes, std::string_view context) {
    return put_tome_mirror_content(project_, bytes, context, url_base_);
}

std::optional<std::vector<std::byte>> TomeMirrorContentStore::get(std::string_view key) const {
    return get_tome_mirror_content(project_, key);
}

std::optional<std::uint64_t> TomeMirrorContentStore::size(std::string_view key) const {
    return blob_file_size(find_tome_mirror_blob(project_, key));
}

std::optional<std::vector<std::byte>> TomeMirrorContentStore::get_range(std::string_view key, std::uint64_t offset,
                                                                        std::uint64_t length) const {
    return read_blob_file_range(find_tome_mirror_blob(project_, key), offset, length);
}

bool TomeMirrorContentStore::contains(std::string_view key) const {
    return project_content_exists(project_, key);
}

std::string TomeMirrorContentStore::url_for(std::string_view key) const {
    return tome_content_url(url_base_, key);
}

}  // namespace quill
