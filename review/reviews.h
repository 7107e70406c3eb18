// Reviews: requests to look at one workspace's changes before they go into another (file format: docs/formats.md).
// Failures are std::runtime_error with the texts given, or those of looking workspaces up and of replacing the file,
// which then stands as it was. Any thread, and several processes at once: none loses another's change.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "records/unique_strings.h"
#include "review/review_record.h"

namespace quill {

/// All reviews, most recently updated first (`updatedAt` compared as byte strings).
std::vector<ProjectReview> list_project_reviews(const std::filesystem::path& project);

/// The review with exactly this id.
std::optional<ProjectReview> find_project_review(const std::filesystem::path& project, const std::string& review_id);

/// Stores an open review of a workspace that is to go into its parent, with a pending entry for each reviewer; gives
/// back what was stored. The id is the normalised title, with "-2", "-3" and so on when that is taken; an empty title
/// becomes the source's name. Both heads are as the remote has them, when there is one. Throws "main workspace cannot
/// be reviewed", also for an empty source, "source workspace does not exist: " + id, "target workspace does not exist:
/// " + id, what the engine reports.
ProjectReview create_project_review(const std::filesystem::path& project, const std::string& source_workspace,
                                    const std::string& title, const std::string& description, const std::string& author,
                                    const std::vector<std::string>& reviewer_ids);

/// Sets the status; "merged" also stores the heads of the two workspaces, of each that exists, as the remote has them.
/// Gives back the changed review. Throws "invalid review status: " + status, "review does not exist: " + id, for
/// "merged" what the engine reports.
ProjectReview update_project_review_status(const std::filesystem::path& project, const std::string& review_id,
                                           const std::string& status);

/// Records a reviewer's verdict, who becomes one of the reviewers if need be, and unless the review is merged, rejected
/// or closed makes its status "changesRequested" when one reviewer wants that, else "approved" when all approved, else
/// "open". Gives back the changed review. Throws "missing reviewer id", "invalid reviewer state: " + state, "review
/// does not exist: " + id.
ProjectReview update_project_review_reviewer_state(const std::filesystem::path& project, const std::string& review_id,
                                                   const std::string& reviewer_id, const std::string& state);

}  // namespace quill
