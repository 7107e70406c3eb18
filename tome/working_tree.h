// The files of a checkout, reached from the descriptor of its root one component at a time: symbolic links are never
// followed, so nothing outside can be read or changed, whatever is swapped meanwhile.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <set>
#include <string>

#include "tome/digest.h"
#include "tome/file_io.h"
#include "tome/tree_path.h"

namespace tome {

/// What tells, without reading it, that a file is still the same.
struct FileStamp {
    std::uint64_t size = 0;
    std::int64_t modified = 0;  ///< ns since the Unix epoch
    std::int64_t changed = 0;   ///< ns since the Unix epoch
    std::uint64_t inode = 0;
    bool executable = false;
    bool operator==(const FileStamp&) const = default;
};

struct WorkingEntry {
    enum class Kind { File, Folder, Other };
    Kind kind = Kind::File;
    FileStamp stamp;  ///< files only
};

class WorkingTree {
  public:
    explicit WorkingTree(const std::filesystem::path& root);

    /// What stands at `path`; nothing when it, or a folder on the way, does not exist or is no folder. Throws
    /// Error(Io) "a symbolic link stands in the way: PATH" when one is on the way.
    std::optional<WorkingEntry> find(const TreePath& path) const;

    /// Opens the file for reading; throws Error(Io) "not a regular file: PATH" for anything else.
    FileDescriptor open(const TreePath& path) const;

    /// The file's digest and the stamp that it had before and after it was read. Throws Error(Io) "file keeps changing
    /// while it is read: PATH".
    std::pair<Digest, FileStamp> hash(const TreePath& path) const;

    /// Moves the file `temporary` (on the same volume) to `path`, making folders; returns the stamp it has there.
    FileStamp install(const std::filesystem::path& temporary, const TreePath& path) const;

    /// Removes the file and the folders that this empties. Fine when it does not exist.
    void remove(const TreePath& path) const;

    /// Removes a folder that holds nothing but folders.
    void remove_empty_folder(const TreePath& path) const;

    /// Makes the names in a folder ("": the root) survive a power cut. Fine when it does not exist.
    void sync_folder(const std::string& folder) const;

    /// Calls `visit` for everything at or below `folder` ("": all) that is not a folder, but for ".tome" folders, other
    /// checkouts and what lies within `skip`.
    void scan(const std::string& folder, const std::set<std::string>& skip,
              const std::function<void(const std::string& path, const WorkingEntry&)>& visit) const;

  private:
    FileDescriptor open_folder(const std::vector<std::string_view>& components, bool make,
                               const std::string& name) const;
    // The folder of `path`, borrowed until the next call; -1 when it does not exist. Paths come folder by folder, so
    // the last folder is kept open.
    int parent_of(const TreePath& path, bool make) const;
    void forget_parent() const;
    void scan_folder(const FileDescriptor& folder, const std::string& prefix, const std::set<std::string>& skip,
                     const std::function<void(const std::string&, const WorkingEntry&)>& visit) const;

    std::filesystem::path root_path_;
    FileDescriptor root_;
    mutable std::optional<std::string> parent_path_;
    mutable FileDescriptor parent_;
};

/// The stamp in a file's status.
FileStamp stamp_of(const struct stat& status);

}  // namespace tome
