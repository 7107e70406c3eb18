// Comments on reviews, kept in the review's record, and on workspaces, kept in comments.json (docs/formats.md).
// Failures are std::runtime_error with the texts given, or those of replacing the file, which then stands as it was.
// Any thread, and several processes at once: none loses another's change. Every change holds the project's
// `project_comment_index_mutex`; different projects do not wait for each other.
//
// Adding fills in what the comment leaves empty: `id` ("comment-" + now + "-" + its number in the list), `anchorKind`
// ("summary"), `createdAt` (now). A comment whose `clientMutationId` the list holds is stored already: nothing changes.
// Resolving sets `resolvedBy` and `resolvedAt`, taking it back empties them. Deleting keeps the replies as they are.
#pragma once

#include <filesystem>
#include <mutex>
#include <string>
#include <vector>

#include "review/review_record.h"

namespace quill {

/// These three return the review after the change. They throw "review does not exist: " + review id; resolving and
/// deleting also "review comment does not exist: " + comment id.
ProjectReview add_project_review_comment(const std::filesystem::path& project, const std::string& review_id,
                                         const ProjectReviewComment& comment);
ProjectReview resolve_project_review_comment(const std::filesystem::path& project, const std::string& review_id,
                                             const std::string& comment_id, const std::string& resolved_by,
                                             bool resolved);
ProjectReview delete_project_review_comment(const std::filesystem::path& project, const std::string& review_id,
                                            const std::string& comment_id);

/// The workspace's comments in the order in which they were added. In this and the functions below, an empty id means
/// "main", and an id that no workspace has means the workspace whose id is the normalised one.
std::vector<ProjectReviewComment> list_project_workspace_comments(const std::filesystem::path& project,
                                                                  const std::string& workspace_id);

/// These three return the workspace's comments after the change. Adding throws "workspace not found: " + id, and what
/// the engine reports when the remote is asked about a workspace that is not known; the others throw "workspace comment
/// does not exist: " + comment id.
std::vector<ProjectReviewComment> add_project_workspace_comment(const std::filesystem::path& project,
                                                                const std::string& workspace_id,
                                                                const ProjectReviewComment& comment);
std::vector<ProjectReviewComment> resolve_project_workspace_comment(const std::filesystem::path& project,
                                                                    const std::string& workspace_id,
                                                                    const std::string& comment_id,
                                                                    const std::string& resolved_by, bool resolved);
std::vector<ProjectReviewComment> delete_project_workspace_comment(const std::filesystem::path& project,
                                                                   const std::string& workspace_id,
                                                                   const std::string& comment_id);

/// The lock of all comment changes of one project in this process, by its absolute, normalised path; it lives as long
/// as the process. Not recursive: none of the functions above may be called by its holder but the list.
std::mutex& project_comment_index_mutex(const std::filesystem::path& project);

}  // namespace quill
