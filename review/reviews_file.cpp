#include "review/reviews_file.h"

#include <algorithm>
#include <stdexcept>

#include "project/workspace_id.h"
#include "project/workspace_paths.h"
#include "records/json_records.h"
#include "records/record_file.h"
#include "records/record_folder.h"
#include "records/unique_strings.h"
#include "review/comment_text.h"

namespace quill {
namespace {

std::string or_default(const std::string& text, const char* empty) {
    return text.empty() ? empty : text;
}

std::string reviewer_json(const ProjectReviewReviewer& reviewer) {
    return "{" + json_text_member("profileId", reviewer.profileId) + "," +
           json_text_member("state", or_default(reviewer.state, "pending")) + "," +
           json_text_member("updatedAt", reviewer.updatedAt) + "}";
}

std::string text_of(const ProjectReview& review) {
    return "{" + json_text_member("id", review.id) + "," + json_text_member("title", review.title) + "," +
           json_text_member("description", review.description) + "," +
           json_text_member("sourceWorkspace", review.sourceWorkspace) + "," +
           json_text_member("targetWorkspace", workspace_id_or_main(review.targetWorkspace)) + "," +
           json_text_member("baseHeadKey", review.baseHeadKey) + "," +
           json_text_member("sourceHeadKey", review.sourceHeadKey) + "," +
           json_text_member("status", or_default(review.status, "open")) + "," +
           json_text_member("author", review.author) + "," + json_text_member("createdAt", review.createdAt) + "," +
           json_text_member("updatedAt", review.updatedAt) + ",\"reviewerIds\":[" +
           json_joined(review.reviewerIds, ",", json_quoted) + "],\"reviewers\":[" +
           json_joined(review.reviewers, ",", reviewer_json) + "],\"comments\":[" +
           project_comments_json(review.comments) + "]}";
}

ProjectReviewReviewer reviewer_from(std::string_view object) {
    return {json_written_string(object, "profileId"), json_written_string(object, "state"),
            json_written_string(object, "updatedAt")};
}

ProjectReview review_from(std::string_view object) {
    ProjectReview review;
    review.id = json_written_string(object, "id");
    review.title = json_written_string(object, "title");
    review.description = json_written_string(object, "description");
    review.sourceWorkspace = json_written_string(object, "sourceWorkspace");
    review.targetWorkspace = json_written_string(object, "targetWorkspace");
    review.baseHeadKey = json_written_string(object, "baseHeadKey");
    review.sourceHeadKey = json_written_string(object, "sourceHeadKey");
    review.status = json_written_string(object, "status");
    review.author = json_written_string(object, "author");
    review.createdAt = json_written_string(object, "createdAt");
    review.updatedAt = json_written_string(object, "updatedAt");
    review.reviewerIds = unique_non_empty_strings(json_written_strings(json_written_array(object, "reviewerIds")));
    for (const std::string_view reviewer : json_written_objects(json_written_array(object, "reviewers"))) {
        review.reviewers.push_back(reviewer_from(reviewer));
    }
    review.comments = project_comments_from_json(json_written_array(object, "comments"));
    return review;
}

std::vector<ProjectReview> reviews_in(std::string_view text) {
    std::vector<ProjectReview> reviews;
    for (const std::string_view object : json_written_objects(json_written_array(text, "reviews"))) {
        reviews.push_back(review_from(object));
    }
    return reviews;
}

const RecordFileKind<ProjectReview>& file_kind() {
    static const RecordFileKind<ProjectReview> reviews{{1, {}, "reviews", ""}, reviews_in, text_of};
    return reviews;
}

}  // namespace

std::vector<ProjectReview> read_project_reviews(const std::filesystem::path& project) {
    return reviews_in(read_record_file(project_reviews_index_path(project)));
}

void update_project_reviews(const std::filesystem::path& project,
                            const std::function<bool(std::vector<ProjectReview>&)>& change) {
    update_record_file(project, project_reviews_index_path(project), file_kind(), change);
}

ProjectReview update_stored_review(const std::filesystem::path& project, const std::string& id,
                                   const std::function<bool(ProjectReview&)>& change) {
    // Where there are no reviews, the folder for the file is not made.
    if (read_record_file(project_reviews_index_path(project)).empty()) {
        throw std::runtime_error("review does not exist: " + id);
    }
    ProjectReview updated;
    update_project_reviews(project, [&](std::vector<ProjectReview>& reviews) {
        const auto found =
            std::find_if(reviews.begin(), reviews.end(), [&](const ProjectReview& review) { return review.id == id; });
        if (found == reviews.end()) {
            throw std::runtime_error("review does not exist: " + id);
        }
        const bool changed = change(*found);
        updated = *found;
        return changed;
    });
    return updated;
}

}  // namespace quill
