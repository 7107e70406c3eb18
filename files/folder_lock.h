// An advisory lock on a folder's own descriptor, which needs no file: around every read-change-write of the record
// files in it, so that neither another thread nor another process loses a change.
#pragma once

#include <filesystem>

#include "files/file_descriptor.h"

namespace quill {

/// Holds the lock from construction, which waits for it, to destruction; it ends with the process at the latest. Not
/// recursive: a thread that holds it and asks again waits forever.
class FolderLock {
  public:
    /// Throws std::runtime_error "could not lock workspace folder: " + folder when that cannot be opened.
    explicit FolderLock(const std::filesystem::path& folder);

  private:
    FileDescriptor folder_;
};

}  // namespace quill
