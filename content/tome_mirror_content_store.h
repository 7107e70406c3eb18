// Blobs of a repository's storage, served from their copies in mirror folders alone, for work that must stay light: the
// engine is never opened. Any number of threads and processes may use one project at once.
#pragma once

#include <filesystem>
#include <string>

#include "content/content_store.h"

namespace quill {

/// Writes the bytes to the mirror of the project that owns `project`. Throws std::runtime_error with the texts of
/// write_binary_file_atomically.
StoredContent put_tome_mirror_content(const std::filesystem::path& project, std::span<const std::byte> bytes,
                                      std::string_view context, const std::string& url_base);

/// The blob's bytes from any mirror of the project; nothing when none has it.
std::optional<std::vector<std::byte>> get_tome_mirror_content(const std::filesystem::path& project,
                                                              std::string_view key);

/// Whether the package has the blob of a local key, or any mirror that of a repository's key.
bool project_content_exists(const std::filesystem::path& project, std::string_view key);

/// The blob's file in the first mirror that has it: the project's, that of the package that owns the project, then
/// those of its workspaces' checkouts. Empty when none has it.
std::filesystem::path find_tome_mirror_blob(const std::filesystem::path& project, std::string_view key);

class TomeMirrorContentStore : public ContentStore {
  public:
    TomeMirrorContentStore(std::filesystem::path project, std::string url_base);

    StoredContent put(std::span<const std::byte> bytes) override;
    StoredContent put(std::span<const std::byte> bytes, std::string_view context) override;
    std::optional<std::vector<std::byte>> get(std::string_view key) const override;
    std::optional<std::uint64_t> size(std::string_view key) const override;
    std::optional<std::vector<std::byte>> get_range(std::string_view key, std::uint64_t offset,
                                                    std::uint64_t length) const override;
    bool contains(std::string_view key) const override;
    std::string url_for(std::string_view key) const override;

  private:
    std::filesystem::path project_;
    std::string url_base_;
};

}  // namespace quill
