// The files of a checkout (files/folder_tree.h), by the paths of trees. Failures are Error: NotFound for a file that
// does not exist, Io for everything else.
#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "files/folder_tree.h"
#include "tome/base/digest.h"
#include "tome/object/tree_path.h"

namespace tome {

using quill::FileDescriptor;
using quill::FileStamp;
using WorkingEntry = quill::FolderEntry;

class WorkingTree {
  public:
    explicit WorkingTree(const std::filesystem::path& root);

    const std::filesystem::path& root() const { return tree_.root(); }

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

    /// Makes the names of the files at `paths`, there or removed, survive a power cut.
    void sync_folders(const std::vector<std::string>& paths) const;

    /// Makes everything that was written to the volume survive a power cut.
    void sync_volume() const;

    /// Calls `visit` for everything at or below `folder` ("": all) that is not a folder, except what is in ".tome", in
    /// other checkouts and within `skip`. What vanishes meanwhile is left out. Whatever else cannot be read is an
    /// error, because a path that is not visited counts as deleted.
    void scan(const std::string& folder, const std::set<std::string>& skip,
              const std::function<void(const std::string& path, const WorkingEntry&)>& visit) const;

  private:
    quill::FolderTree tree_;
};

}  // namespace tome
