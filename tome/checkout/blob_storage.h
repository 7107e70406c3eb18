// Blobs of a repository. They are put into the checkout's own store, flushed to the remote, and read from either.
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

    /// Stores the bytes, without copying them in memory. Returns false, and stores nothing, if they do not match the
    /// digest of the key.
    bool put(const BlobKey& key, std::string_view bytes, bool local_only);

    /// Passes the size to `begin` and then all bytes to `deliver`, from the first one on. Treat delivered bytes as
    /// valid only after get() returns, because they are checked meanwhile. If one copy is damaged, `begin` is called
    /// again and all bytes come from the other. Throws Error(NotFound) "Not found: blob HEX" or Error(Corrupt).
    void get(const BlobKey& key, const std::function<void(std::uint64_t size)>& begin,
             const std::function<void(std::uint64_t offset, std::string_view bytes)>& deliver);

    /// Sends the remote all unflushed blobs, and makes the repository there if it is missing. A damaged blob does not
    /// block the others: it is marked as local until it is stored again, and Error(Corrupt) is thrown at the end.
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
