// The plain records of reviews and comments. Fields carry the name of their JSON key. Times are milliseconds since the
// Unix epoch, decimal.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace quill {

/// Three coordinates. One that is not finite is not stored.
using ProjectCommentVector = std::array<double, 3>;

/// The running instance of a scene in which a comment was made.
struct ProjectCommentRuntimeContext {
    std::string runtimeCapsuleKey;
    std::string runtimeDeepLink;
    std::string runtimeId;
    std::string runtimeInstanceId;
    std::string runtimeBuildId;
    std::string runtimePlatform;
    std::uint64_t runtimeRevision = 0;
    std::uint64_t runtimeTick = 0;
    std::string runtimeFrameKey;
};

/// A note on a review or a workspace, which may point at a place in a scene.
struct ProjectReviewComment {
    std::uint64_t schemaVersion = 1;
    std::string id;                ///< unique within the review or workspace
    std::string clientMutationId;  ///< a comment with the same one is the same, sent again; empty: always a new one
    std::string parentId;          ///< the comment it replies to, which may be gone; or empty
    std::string author;
    std::string body;
    std::string anchorKind;  ///< what it points at; stored as "summary" when empty
    std::string anchorPath;
    std::string sceneUri;
    std::string anchorEntityId;
    std::optional<ProjectCommentVector> anchorWorldPosition;
    std::optional<ProjectCommentVector> anchorLocalPosition;
    std::optional<ProjectCommentVector> anchorSurfaceNormal;
    ProjectCommentRuntimeContext runtimeContext;
    std::string sourceHeadKey;  ///< head of the commented workspace, 64 lower-case hex digits, or empty
    std::string createdAt;
    bool resolved = false;
    std::string resolvedBy;  ///< empty unless resolved
    std::string resolvedAt;  ///< empty unless resolved
};

/// One reviewer's verdict.
struct ProjectReviewReviewer {
    std::string profileId;
    std::string state;  ///< "pending", "approved" or "changesRequested"; stored as "pending" when empty
    std::string updatedAt;
};

/// A request to look at one workspace's changes before they go into another.
struct ProjectReview {
    std::string id;  ///< unique within the project
    std::string title;
    std::string description;
    std::string sourceWorkspace;  ///< id of the workspace under review
    std::string targetWorkspace;  ///< id of the workspace it is to go into; "main" when empty
    std::string baseHeadKey;      ///< head of the target when the review was created or last merged
    std::string sourceHeadKey;    ///< head of the source at the same moment
    /// "draft", "open", "approved", "changesRequested", "merged", "rejected" or "closed"; stored as "open" when empty
    std::string status;
    std::string author;
    std::string createdAt;
    std::string updatedAt;
    std::vector<std::string> reviewerIds;  ///< distinct, none empty, in first-seen order
    std::vector<ProjectReviewReviewer> reviewers;
    std::vector<ProjectReviewComment> comments;  ///< in the order in which they were added
};

/// The comments on one workspace.
struct WorkspaceCommentBucket {
    std::string workspace;  ///< workspace id; stored as "main" when empty
    std::vector<ProjectReviewComment> comments;
};

}  // namespace quill
