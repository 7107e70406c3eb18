#include "review/comments.h"

#include <algorithm>
#include <array>
#include <functional>
#include <map>
#include <stdexcept>

#include "files/absolute_path.h"
#include "project/repository_configuration.h"
#include "project/workspace_id.h"
#include "project/workspace_paths.h"
#include "records/record_folder.h"
#include "records/wall_clock.h"
#include "review/comments_file.h"
#include "review/reviews_file.h"
#include "workspace/index/workspace_index.h"

namespace quill {
namespace {

using Comments = std::vector<ProjectReviewComment>;
using Buckets = std::vector<WorkspaceCommentBucket>;

bool holds(const Comments& comments, std::string ProjectReviewComment::*field, const std::string& value) {
    return std::any_of(comments.begin(), comments.end(),
                       [&](const ProjectReviewComment& comment) { return comment.*field == value; });
}

// False, and nothing is added, when the same comment was sent before.
bool add_comment(Comments& comments, ProjectReviewComment comment, const std::string& now) {
    if (!comment.clientMutationId.empty() &&
        holds(comments, &ProjectReviewComment::clientMutationId, comment.clientMutationId)) {
        return false;
    }
    const bool needs_id = comment.id.empty();
    // The number after the last may be taken: a deletion in the same millisecond makes the list shorter.
    for (std::size_t n = comments.size() + 1;
         needs_id && (comment.id.empty() || holds(comments, &ProjectReviewComment::id, comment.id)); ++n) {
        comment.id = "comment-" + now + "-" + std::to_string(n);
    }
    comment.anchorKind = comment.anchorKind.empty() ? "summary" : comment.anchorKind;
    comment.createdAt = comment.createdAt.empty() ? now : comment.createdAt;
    comments.push_back(std::move(comment));
    return true;
}

// `kind` is "review" or "workspace".
void resolve_comment(Comments& comments, const std::string& id, const std::string& resolved_by, bool resolved,
                     const std::string& now, const std::string& kind) {
    const auto found = std::find_if(comments.begin(), comments.end(),
                                    [&](const ProjectReviewComment& comment) { return comment.id == id; });
    if (found == comments.end()) {
        throw std::runtime_error(kind + " comment does not exist: " + id);
    }
    found->resolved = resolved;
    found->resolvedBy = resolved ? resolved_by : "";
    found->resolvedAt = resolved ? now : "";
}

void delete_comment(Comments& comments, const std::string& id, const std::string& kind) {
    if (std::erase_if(comments, [&](const ProjectReviewComment& comment) { return comment.id == id; }) == 0) {
        throw std::runtime_error(kind + " comment does not exist: " + id);
    }
}

// `change` gets the review and the time, and says whether there is anything to write.
ProjectReview update_review(const std::filesystem::path& project_path, const std::string& review_id,
                            const std::function<bool(ProjectReview&, const std::string&)>& change) {
    const std::filesystem::path project = absolute_normalized(project_path);
    const std::lock_guard lock(project_comment_index_mutex(project));
    return update_stored_review(project, review_id,
                                [&](ProjectReview& review) { return change(review, wall_clock_milliseconds()); });
}

// The workspace that an id means: the one that has it, else the one that has it normalised. The remote is asked only
// when neither is known.
std::string require_commented_workspace(const std::filesystem::path& project, const std::string& given) {
    const std::array<std::string, 2> ids{workspace_id_or_main(given),
                                         normalize_workspace_id(workspace_id_or_main(given))};
    for (const bool refreshed : {false, true}) {
        if (refreshed && project_has_tome_remote(project)) {
            refresh_project_workspaces(project, true);
        }
        for (const std::string& id : ids) {
            if (find_project_workspace(project, id, true)) {
                return id;
            }
        }
    }
    throw std::runtime_error("workspace not found: " + ids.back());
}

Buckets::iterator bucket_called(Buckets& buckets, const std::string& workspace) {
    return std::find_if(buckets.begin(), buckets.end(),
                        [&](const WorkspaceCommentBucket& bucket) { return bucket.workspace == workspace; });
}

// The comments of the workspace that an id means, whether the workspace still exists or not.
Buckets::iterator bucket_of(Buckets& buckets, const std::string& given) {
    const std::string id = workspace_id_or_main(given);
    const auto exact = bucket_called(buckets, id);
    return exact != buckets.end() ? exact : bucket_called(buckets, normalize_workspace_id(id));
}

// `change` gets the comments of the workspace, an empty list where it has none, and the time.
Comments change_workspace_comments(const std::filesystem::path& project_path, const std::string& workspace_id,
                                   const std::function<void(Comments&, const std::string&)>& change) {
    const std::filesystem::path project = absolute_normalized(project_path);
    const std::lock_guard lock(project_comment_index_mutex(project));
    Comments none;
    // Where nobody has commented yet, `change` finds no comment, and no folder is made for the file.
    if (read_record_file(project_comments_index_path(project)).empty()) {
        change(none, wall_clock_milliseconds());
        return none;
    }
    Comments result;
    update_workspace_comments(project, [&](Buckets& buckets) {
        const auto bucket = bucket_of(buckets, workspace_id);
        Comments& comments = bucket != buckets.end() ? bucket->comments : none;
        change(comments, wall_clock_milliseconds());
        result = comments;
        return true;
    });
    return result;
}

}  // namespace

ProjectReview add_project_review_comment(const std::filesystem::path& project, const std::string& review_id,
                                         const ProjectReviewComment& comment) {
    return update_review(project, review_id, [&](ProjectReview& review, const std::string& now) {
        const bool added = add_comment(review.comments, comment, now);
        review.updatedAt = added ? now : review.updatedAt;
        return added;
    });
}

ProjectReview resolve_project_review_comment(const std::filesystem::path& project, const std::string& review_id,
                                             const std::string& comment_id, const std::string& resolved_by,
                                             bool resolved) {
    return update_review(project, review_id, [&](ProjectReview& review, const std::string& now) {
        resolve_comment(review.comments, comment_id, resolved_by, resolved, now, "review");
        review.updatedAt = now;
        return true;
    });
}

ProjectReview delete_project_review_comment(const std::filesystem::path& project, const std::string& review_id,
                                            const std::string& comment_id) {
    return update_review(project, review_id, [&](ProjectReview& review, const std::string&) {
        delete_comment(review.comments, comment_id, "review");
        return true;
    });
}

std::vector<ProjectReviewComment> list_project_workspace_comments(const std::filesystem::path& project,
                                                                  const std::string& workspace_id) {
    Buckets buckets = read_workspace_comments(absolute_normalized(project));
    const auto bucket = bucket_of(buckets, workspace_id);
    return bucket != buckets.end() ? std::move(bucket->comments) : Comments();
}

std::vector<ProjectReviewComment> add_project_workspace_comment(const std::filesystem::path& project_path,
                                                                const std::string& workspace_id,
                                                                const ProjectReviewComment& comment) {
    const std::filesystem::path project = absolute_normalized(project_path);
    const std::lock_guard lock(project_comment_index_mutex(project));
    // Looked up before the folder is locked: the workspace index waits for the same lock.
    const std::string workspace = require_commented_workspace(project, workspace_id);
    Comments result;
    update_workspace_comments(project, [&](Buckets& buckets) {
        auto bucket = bucket_called(buckets, workspace);
        if (bucket == buckets.end()) {
            bucket = buckets.insert(buckets.end(), WorkspaceCommentBucket{workspace, {}});
        }
        const bool added = add_comment(bucket->comments, comment, wall_clock_milliseconds());
        result = bucket->comments;
        return added;
    });
    return result;
}

std::vector<ProjectReviewComment> resolve_project_workspace_comment(const std::filesystem::path& project,
                                                                    const std::string& workspace_id,
                                                                    const std::string& comment_id,
                                                                    const std::string& resolved_by, bool resolved) {
    return change_workspace_comments(project, workspace_id, [&](Comments& comments, const std::string& now) {
        resolve_comment(comments, comment_id, resolved_by, resolved, now, "workspace");
    });
}

std::vector<ProjectReviewComment> delete_project_workspace_comment(const std::filesystem::path& project,
                                                                   const std::string& workspace_id,
                                                                   const std::string& comment_id) {
    return change_workspace_comments(project, workspace_id, [&](Comments& comments, const std::string&) {
        delete_comment(comments, comment_id, "workspace");
    });
}

std::mutex& project_comment_index_mutex(const std::filesystem::path& project) {
    // Never destroyed: background threads may outlive main. A map's mutexes stay where they are.
    static auto* table_mutex = new std::mutex;
    static auto* mutexes = new std::map<std::string, std::mutex>;
    const std::lock_guard lock(*table_mutex);
    return (*mutexes)[absolute_normalized(project).string()];
}

}  // namespace quill
