// What the tests of reviews and comments share: a package without a remote and a few workspaces in its index, and
// records with something in every field.
#pragma once

#include <string>
#include <vector>

#include "records/wall_clock.h"
#include "review/comments_file.h"
#include "review/review_record.h"
#include "review/reviews_file.h"
#include "tests/support/concurrency.h"
#include "tests/support/package_folder.h"
#include "workspace/index/workspace_index_file.h"

namespace quill_test {

/// Everything that leads the scanners of record files astray: quotes, brackets, members, a backslash at the end.
inline const std::string awkward =
    "a \"b\"} ], \",\"id\":\"x\",\"comments\":[{\"version\": 1}\\\" \n\t\r\xc3\xa4 { [ \\";

/// A comment that has a text of its own, ending in `text`, in every field.
inline quill::ProjectReviewComment full_comment(const std::string& text) {
    quill::ProjectReviewComment comment;
    comment.schemaVersion = 3;
    comment.id = "id " + text;
    comment.clientMutationId = "mutation " + text;
    comment.parentId = "parent " + text;
    comment.author = "author " + text;
    comment.body = "body " + text;
    comment.anchorKind = "kind " + text;
    comment.anchorPath = "path " + text;
    comment.sceneUri = "scene " + text;
    comment.anchorEntityId = "entity " + text;
    comment.anchorWorldPosition = {1.5, -2, 3e20};
    comment.anchorLocalPosition = {0.1, 0, 1};
    comment.anchorSurfaceNormal = {0, 1.0 / 3, -0.0};
    comment.runtimeContext = {"capsule " + text,
                              "link " + text,
                              "runtime " + text,
                              "instance " + text,
                              "build " + text,
                              "platform " + text,
                              12,
                              18446744073709551615U,
                              "frame " + text};
    comment.sourceHeadKey = "head " + text;
    comment.createdAt = "created " + text;
    comment.resolved = true;
    comment.resolvedBy = "by " + text;
    comment.resolvedAt = "at " + text;
    return comment;
}

inline quill::ProjectReviewComment comment_saying(const std::string& body) {
    quill::ProjectReviewComment comment;
    comment.author = "ana";
    comment.body = body;
    return comment;
}

inline quill::ProjectWorkspace workspace_record(const std::string& id, const std::string& parent, char head) {
    quill::ProjectWorkspace workspace;
    workspace.id = id;
    workspace.name = "Name of " + id;
    workspace.parentId = parent;
    workspace.baseScene = "Scenes/Main.usda";
    workspace.headKey = std::string(64, head);
    return workspace;
}

/// The bodies, in order.
inline std::vector<std::string> bodies(const std::vector<quill::ProjectReviewComment>& comments) {
    std::vector<std::string> result;
    for (const quill::ProjectReviewComment& comment : comments) {
        result.push_back(comment.body);
    }
    return result;
}

/// Whether `time` is a count of milliseconds from `since` to now.
inline bool is_between(const std::string& since, const std::string& time) {
    return std::stoull(since) <= std::stoull(time) &&
           std::stoull(time) <= std::stoull(quill::wall_clock_milliseconds());
}

/// A package with the workspaces feature (of main), child (of feature), root (of nothing) and orphan (of one that is
/// gone).
class ReviewProject : public PackageFolder {
  protected:
    ReviewProject() {
        write_manifest("{\n}\n");
        quill::write_workspaces_without_main(
            project_, {workspace_record("feature", "main", 'f'), workspace_record("child", "feature", 'c'),
                       workspace_record("root", "", 'e'), workspace_record("orphan", "gone", 'd')});
    }

    /// Stores these alone, as if no file had been there.
    void store_reviews(const std::vector<quill::ProjectReview>& reviews) const {
        std::filesystem::remove(reviews_file_);
        quill::update_project_reviews(project_, [&](auto& all) { return all = reviews, true; });
    }

    void store_comments(const std::vector<quill::WorkspaceCommentBucket>& buckets) const {
        std::filesystem::remove(comments_file_);
        quill::update_workspace_comments(project_, [&](auto& all) { return all = buckets, true; });
    }

    std::filesystem::path reviews_file_ = project_ / "Workspaces/reviews.json";
    std::filesystem::path comments_file_ = project_ / "Workspaces/comments.json";
};

}  // namespace quill_test
