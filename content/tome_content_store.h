// The blob store in the storage of a project's repository: blobs travel with the history, and a copy of each lies in
// the package's Content/tome_mirror, so that reading never waits for the engine.
#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "content/content_store.h"

struct tome_event;

namespace quill {

/// What the engine reports during one call of a storage operation.
struct TomeCallState {
    struct Item {
        std::array<std::uint8_t, 48> name{};  ///< digest and context, as the engine gives them
        std::uint32_t failed = 0;
    };

    std::uint32_t status = 0;      ///< 0: no error was reported
    std::string message;           ///< the error's text
    std::uint64_t handle = 0;      ///< of the opened storage; 0: none
    Item item;                     ///< what became of a blob that was put
    std::uint32_t item_flag = 0;   ///< not 0: why it was not stored
    std::vector<std::byte> bytes;  ///< the fetched blob
};

/// The callback of every storage call; `user` is the address of the call's TomeCallState. Passes over events that it
/// does not know. Never throws: what could not be recorded sets `status`.
void tome_callback(const tome_event* event, std::uint64_t user);

class TomeContentStore : public ContentStore {
  public:
    /// Opens the storage of the repository at `repository`, making folder and repository when there is none. Throws
    /// std::runtime_error "could not create Tome repository path: " + system message, "tome_storage_open did not return
    /// a store handle", the engine's text, or the operation's name + " failed" without one.
    TomeContentStore(const std::filesystem::path& repository, const std::filesystem::path& project,
                     const std::string& remote_url, const std::string& url_base);
    ~TomeContentStore() override;

    StoredContent put(std::span<const std::byte> bytes) override;

    /// Stores the blob in the repository, on the remote, too, when there is one, and in the mirror. Throws
    /// std::runtime_error like the constructor, "tome_storage_put item failed", and what write_binary_file_atomically
    /// throws.
    StoredContent put(std::span<const std::byte> bytes, std::string_view context) override;

    /// The mirror's copy. Without one the engine is asked, when QUILL_TOME_BLOCKING_GET_FALLBACK is set to anything but
    /// "", "0", "false" or "FALSE".
    std::optional<std::vector<std::byte>> get(std::string_view key) const override;

    // Answered from the mirror alone.
    std::optional<std::uint64_t> size(std::string_view key) const override;
    std::optional<std::vector<std::byte>> get_range(std::string_view key, std::uint64_t offset,
                                                    std::uint64_t length) const override;
    bool contains(std::string_view key) const override;

    std::string url_for(std::string_view key) const override;

  private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace quill
