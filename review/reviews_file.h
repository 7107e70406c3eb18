// The reviews file, Workspaces/reviews.json (format: docs/formats.md). For the review and comment operations.
// Failures are std::runtime_error.
#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "review/review_record.h"

namespace quill {

/// The reviews in file order; none when the file is missing or empty. Throws "Could not open " + path.
std::vector<ProjectReview> read_project_reviews(const std::filesystem::path& project);

/// Reads the file, and writes it when `change` returns true, under the lock on its folder (RecordFolderLock): neither
/// another thread nor another process loses a change. `change` must not call workspace operations; what it throws
/// leaves the file as it is. Members that this version does not know stay. Also throws what reading, locking and
/// writing throw, and what `RecordFile` throws for a file that must not be written; `change` is not called then.
void update_project_reviews(const std::filesystem::path& project,
                            const std::function<bool(std::vector<ProjectReview>&)>& change);

/// Changes one review under the same conditions, and returns it as `change` left it. Also throws "review does not
/// exist: " + id.
ProjectReview update_stored_review(const std::filesystem::path& project, const std::string& id,
                                   const std::function<bool(ProjectReview&)>& change);

}  // namespace quill
