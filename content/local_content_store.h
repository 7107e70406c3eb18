// The blob store that keeps each blob as a plain file: root/sha256/<2 digits>/<2 digits>/<64 digits>.blob.
// Any number of threads and processes may use one root at once; a blob appears whole or not at all.
#pragma once

#include <filesystem>
#include <string>

#include "content/content_store.h"

namespace quill {

class LocalContentStore : public ContentStore {
  public:
    /// `root` is made absolute and normalised; it need not exist. `url_base` is what URLs begin with, taken as given.
    LocalContentStore(const std::filesystem::path& root, std::string url_base);

    /// Bytes that are there already are not written again. Throws std::runtime_error with the texts of
    /// `write_binary_file_atomically`.
    StoredContent put(std::span<const std::byte> bytes) override;

    /// Likewise: the context changes nothing.
    StoredContent put(std::span<const std::byte> bytes, std::string_view context) override;

    std::optional<std::vector<std::byte>> get(std::string_view key) const override;
    std::optional<std::uint64_t> size(std::string_view key) const override;
    std::optional<std::vector<std::byte>> get_range(std::string_view key, std::uint64_t offset,
                                                    std::uint64_t length) const override;

    /// True for a regular file alone.
    bool contains(std::string_view key) const override;

    /// The URL base + "/sha256/" + the digest; empty for a malformed key.
    std::string url_for(std::string_view key) const override;

    /// Where the blob lies or would lie; empty for a malformed key.
    std::filesystem::path path_for_key(std::string_view key) const;

  private:
    std::filesystem::path root_;
    std::string url_base_;
};

}  // namespace quill
