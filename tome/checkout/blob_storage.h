// Blobs of a repository: put into the checkout's own store, flushed to the remote, got from either.
// Threads: any; calls on one object wait for each other. Processes: any number.
#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tome/base/error.h"
#include "tome/remote/remote.h"
#include "tome/remote/remote_url.h"
#include "tome/store/store.h"

namespace tome {

class BlobStorage {
  public:
    /// The storage of the checkout in `directory`, whose store is made when it has none. Throws Error(NotFound)
    /// "not a checkout: DIRECTORY".
    BlobStorage(const std::filesystem::path& directory, std::optional<RepositoryLocation> remote);

    /// Stores the bytes, of which no copy is made. False, and nothing is stored, when they do not hash to the key's
    /// digest.
    bool put(const BlobKey& key, std::string_view bytes, bool local_only);

    /// Hands on first the size and then all bytes, from the start on; what was handed on counts when this returns, for
    /// the bytes are checked on the way. After damage in one place `begin` is called again and all bytes come from
    /// another. Throws Error(NotFound) "Not found: blob HEX", Error(Corrupt).
    void get(const BlobKey& key, const std::function<void(std::uint64_t size)>& begin,
             const std::function<void(std::uint64_t offset, std::string_view bytes)>& deliver);

    /// Brings what the remote lacks there, making the repository when there is none. Throws Error(Corrupt) for a
    /// damaged blob, when all others are there; it is passed over from then on, until it is stored again.
    void flush();

  private:
    std::unique_ptr<Remote> find_remote() const;  ///< opened anew each time: it may be replaced meanwhile
    std::optional<Error> flush_to(Remote& remote, const std::vector<BlobKey>& keys);  ///< returns damage
    /// `source_name` says in errors where the source is.
    static void deliver_from(ObjectSource& source, const std::string& source_name, const BlobKey& key,
                             const std::function<void(std::uint64_t)>& begin,
                             const std::function<void(std::uint64_t, std::string_view)>& deliver);

    std::mutex mutex_;
    Store store_;
    std::optional<RepositoryLocation> location_;
};

}  // namespace tome
