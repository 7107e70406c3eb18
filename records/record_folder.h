// The package's "Workspaces" folder, which holds the record files: workspaces.json, reviews.json, comments.json.
#pragma once

#include <filesystem>
#include <string>

#include "files/folder_lock.h"

namespace quill {

/// A record file's bytes; empty when it is missing. Throws std::runtime_error "Could not open " + path, also for
/// anything that is not a file.
std::string read_record_file(const std::filesystem::path& path);

/// Makes the folder of the project's record files. Throws std::runtime_error "could not create workspace folder: " +
/// system text.
void make_record_folder(const std::filesystem::path& project, const std::filesystem::path& folder);

/// The folder of one project, made and locked (`FolderLock`) for as long as the object lives. No workspace operation
/// may be called meanwhile: those on the workspace index wait for the same lock.
class RecordFolderLock {
  public:
    /// Throws std::runtime_error "Project is not a directory: " + path, instead of making a package of that name, and
    /// what `make_record_folder` and FolderLock throw.
    explicit RecordFolderLock(const std::filesystem::path& project);

  private:
    FolderLock lock_;
};

}  // namespace quill
