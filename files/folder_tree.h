// The files below a folder, reached from the folder's descriptor one component at a time: no symbolic link on the way
// is ever followed, so nothing outside can be read or changed, whatever is swapped meanwhile. The engine walks its
// checkouts and the project library its packages this way.
//
// Paths are relative to the folder, "/" between components, none of them "." or ".."; "" is the folder itself. Where
// the volume folds case or normalises names, a name counts as being there only in its own spelling. Threads: one at a
// time for each FolderTree. Failures are FileError.
#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "files/file_descriptor.h"

namespace quill {

/// The folder that a path lies in; empty for one without "/".
std::string folder_of(const std::string& path);

/// What failed, in one line with the path it failed for.
class FileError : public std::runtime_error {
  public:
    enum class Kind {
        System,   ///< the system refused; the text ends in ": " and what it says
        Missing,  ///< "file does not exist: PATH"
        Link,     ///< "a symbolic link stands in the way: PATH"
        NotAFile  ///< "not a regular file: PATH"
    };
    FileError(Kind kind, const std::string& text, int number);

    Kind kind() const { return kind_; }
    /// The system's error number.
    int number() const { return number_; }
    /// What the system says of that number.
    std::string reason() const;

  private:
    Kind kind_;
    int number_;
};

/// What tells, without reading it, that a file is still the same.
struct FileStamp {
    std::uint64_t size = 0;
    std::int64_t modified = 0;  ///< ns since the Unix epoch
    std::int64_t changed = 0;   ///< ns since the Unix epoch
    std::uint64_t inode = 0;
    bool executable = false;
    bool operator==(const FileStamp&) const = default;
};

/// The stamp in a file's status.
FileStamp stamp_of(const struct stat& status);

struct FolderEntry {
    enum class Kind { File, Folder, Link, Other };
    Kind kind = Kind::File;
    FileStamp stamp;  ///< files only
    mode_t mode = 0;  ///< permission bits of a file

    bool is_file() const { return kind == Kind::File; }
    bool is_folder() const { return kind == Kind::Folder; }
};

class FolderTree {
  public:
    /// A symbolic link to the folder is followed: whoever names a folder may name it by one.
    explicit FolderTree(const std::filesystem::path& root);

    const std::filesystem::path& root() const { return root_path_; }

    /// Whether names that differ by case alone are one here.
    bool folds_names() const;

    /// What stands at `path`; nothing when it, or a folder on the way, does not exist or is no folder. Throws
    /// FileError(Link) when a link is on the way.
    std::optional<FolderEntry> find(const std::string& path) const;

    /// The same, but for a link what it leads to, wherever that is; nothing for one that leads nowhere. Links in a
    /// circle are an error.
    std::optional<FolderEntry> find_target(const std::string& path) const;

    /// Opens the file for reading, never waiting on a FIFO. Throws FileError(NotAFile) for anything else, a link among
    /// it, and FileError(Missing).
    FileDescriptor open_file(const std::string& path) const;

    /// The same; where `path` itself is a link, the file that it leads to is opened.
    FileDescriptor open_target(const std::string& path) const;

    /// Opens a folder; not open when it does not exist or is no folder.
    FileDescriptor open_folder(const std::string& path) const;

    /// Opens a folder, made with its parents where they are missing.
    FileDescriptor make_folder(const std::string& path) const;

    /// Makes a new file that nobody else can have open, in a folder that is there.
    FileDescriptor create_file(const std::string& path, mode_t mode = 0666) const;

    /// Gives what stands at `from` the name `to`, in a folder that is there; a file there is replaced.
    void rename(const std::string& from, const std::string& to) const;

    /// Moves the file `temporary`, any path on the same volume, to `path`, making folders; returns the stamp it has
    /// there.
    FileStamp install(const std::filesystem::path& temporary, const std::string& path) const;

    /// Gives the file at `from` a second name. False where the volume cannot.
    bool link(const std::string& from, const std::string& to) const;

    /// Removes a file, or a link, not what it leads to. Fine when it does not exist.
    void remove_file(const std::string& path) const;

    /// Removes the folder when nothing is in it.
    void remove_if_empty(const std::string& folder) const;

    /// Removes the folders above `path` that are empty, the nearest first.
    void remove_empty_parents(const std::string& path) const;

    /// Removes a folder that holds nothing but folders. Fine when it does not exist.
    void remove_empty_folder(const std::string& path) const;

    /// Removes what stands at `path` with everything in it, following no link. Fine when it does not exist.
    void remove_all(const std::string& path) const;

    /// Makes the names in a folder survive a power cut. Fine when it does not exist.
    void sync_folder(const std::string& folder) const;

    struct WalkRules {
        /// Asked for each path before it is looked at: those it is true of are left out, with all that they hold.
        std::function<bool(const std::string& path)> leaves_out;
        /// Folders that hold an entry of this name are not entered, but for the one where the walk begins; "": all are.
        std::string border;
        /// Whether `visit` needs stamps and modes, which cost a look at each file.
        bool stamps = false;
        /// Whether folders that may not be read are passed over.
        bool skips_denied = false;
    };

    /// Calls `visit` for everything at or below `folder` that is no folder, in the order of names; those of a
    /// folder before those of its folders.
    /// What vanishes meanwhile is passed over; whatever else cannot be read is an error.
    void walk(const std::string& folder, const WalkRules& rules,
              const std::function<void(const std::string& path, const FolderEntry&)>& visit) const;

    /// The names in a folder, in byte order; none when it does not exist.
    std::vector<std::string> names_in(const std::string& folder) const;

  private:
    void trace_path(const char* kind, const std::string& path) const;
    FileDescriptor open_path(const std::string& folder, bool make, const std::string& name) const;
    // The folder of `path`, borrowed until the next call; -1 when it does not exist. Paths come folder by folder, so
    // the last folder is kept open.
    int parent_of(const std::string& path, bool make) const;
    int existing_parent_of(const std::string& path) const;
    void forget_parent() const;
    bool is_spelled_so(const std::string& name) const;
    std::optional<FolderEntry> look_at(const std::string& path, int flags) const;
    FileDescriptor open_leaf(const std::string& path, int flags) const;
    void walk_folder(int folder, const std::string& prefix, const WalkRules& rules,
                     const std::function<void(const std::string&, const FolderEntry&)>& visit) const;

    std::filesystem::path root_path_;
    FileDescriptor root_;
    mutable std::optional<bool> folded_;
    mutable std::optional<std::string> parent_path_;
    mutable FileDescriptor parent_;
    mutable std::optional<std::set<std::string>> parent_names_;  // where names are folded
};

}  // namespace quill
