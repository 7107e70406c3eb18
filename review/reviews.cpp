#include "review/reviews.h"

#include <algorithm>
#include <array>
#include <stdexcept>
#include <string_view>

#include "files/absolute_path.h"
#include "project/repository_configuration.h"
#include "project/workspace_id.h"
#include "records/wall_clock.h"
#include "review/reviews_file.h"
#include "workspace/history/revision_history.h"
#include "workspace/index/workspace_index.h"

namespace quill {
namespace {

constexpr std::array<std::string_view, 7> review_statuses{"draft",  "open",     "approved", "changesRequested",
                                                          "merged", "rejected", "closed"};
constexpr std::array<std::string_view, 3> reviewer_states{"pending", "approved", "changesRequested"};

template <typename Set>
bool contains(const Set& set, std::string_view value) {
    return std::find(set.begin(), set.end(), value) != set.end();
}

template <typename Record>
auto find_by_id(std::vector<Record>& records, std::string_view id) {
    return std::find_if(records.begin(), records.end(), [&](const Record& record) { return record.id == id; });
}

const ProjectWorkspace& require_workspace(std::vector<ProjectWorkspace>& workspaces, const std::string& id,
                                          const char* role) {
    const auto found = find_by_id(workspaces, id);
    if (found == workspaces.end()) {
        throw std::runtime_error(std::string(role) + " workspace does not exist: " + id);
    }
    return *found;
}

// The workspaces with their heads on the remote. The branch list has no head for main, so main's newest revision is
// asked for.
std::vector<ProjectWorkspace> workspaces_on_remote(const std::filesystem::path& project) {
    std::vector<ProjectWorkspace> workspaces = refresh_project_workspaces(project, true);
    const auto main = find_by_id(workspaces, "main");
    if (main != workspaces.end() && project_has_tome_remote(project)) {
        const std::vector<ProjectWorkspaceRevision> newest = list_project_workspace_revisions(project, "main", 1);
        main->headKey = newest.empty() ? "" : newest.front().id;
    }
    return workspaces;
}

std::string free_review_id(std::vector<ProjectReview>& reviews, const std::string& base) {
    int number = 1;
    while (find_by_id(reviews, numbered_id(base, number)) != reviews.end()) {
        ++number;
    }
    return numbered_id(base, number);
}

void set_reviewer_state(ProjectReview& review, const std::string& reviewer_id, const std::string& state,
                        const std::string& now) {
    if (!contains(review.reviewerIds, reviewer_id)) {
        review.reviewerIds.push_back(reviewer_id);
    }
    const auto found = std::find_if(review.reviewers.begin(), review.reviewers.end(),
                                    [&](const auto& reviewer) { return reviewer.profileId == reviewer_id; });
    if (found == review.reviewers.end()) {
        review.reviewers.push_back({reviewer_id, state, now});
    } else {
        found->state = state;
        found->updatedAt = now;
    }
}

std::string status_by_verdicts(const ProjectReview& review) {
    std::vector<std::string_view> approving;
    for (const ProjectReviewReviewer& reviewer : review.reviewers) {
        if (reviewer.state == "changesRequested") {
            return "changesRequested";
        }
        if (reviewer.state == "approved") {
            approving.emplace_back(reviewer.profileId);
        }
    }
    const bool all = std::all_of(review.reviewerIds.begin(), review.reviewerIds.end(),
                                 [&](const std::string& id) { return contains(approving, id); });
    return all && !review.reviewerIds.empty() ? "approved" : "open";
}

template <typename Change>
ProjectReview update_review(const std::filesystem::path& project, const std::string& id, Change change) {
    return update_stored_review(project, id, [&](ProjectReview& review) {
        review.updatedAt = wall_clock_milliseconds();
        change(review);
        return true;
    });
}

}  // namespace

std::vector<ProjectReview> list_project_reviews(const std::filesystem::path& project) {
    std::vector<ProjectReview> reviews = read_project_reviews(absolute_normalized(project));
    std::stable_sort(reviews.begin(), reviews.end(),
                     [](const ProjectReview& a, const ProjectReview& b) { return a.updatedAt > b.updatedAt; });
    return reviews;
}

std::optional<ProjectReview> find_project_review(const std::filesystem::path& project, const std::string& review_id) {
    std::vector<ProjectReview> reviews = read_project_reviews(absolute_normalized(project));
    const auto found = find_by_id(reviews, review_id);
    return found != reviews.end() ? std::optional(std::move(*found)) : std::nullopt;
}

ProjectReview create_project_review(const std::filesystem::path& project_path, const std::string& source_workspace,
                                    const std::string& title, const std::string& description, const std::string& author,
                                    const std::vector<std::string>& reviewer_ids) {
    const std::filesystem::path project = absolute_normalized(project_path);
    if (workspace_id_or_main(source_workspace) == "main") {
        throw std::runtime_error("main workspace cannot be reviewed");
    }
    // The remote is asked before the folder is locked: the workspace index waits for the same lock.
    std::vector<ProjectWorkspace> workspaces = workspaces_on_remote(project);
    const ProjectWorkspace& source = require_workspace(workspaces, source_workspace, "source");
    const ProjectWorkspace& target = require_workspace(workspaces, workspace_id_or_main(source.parentId), "target");

    ProjectReview review;
    review.title = title.empty() ? source.name : title;
    review.description = description;
    review.sourceWorkspace = source.id;
    review.targetWorkspace = target.id;
    review.baseHeadKey = target.headKey;
    review.sourceHeadKey = source.headKey;
    review.status = "open";
    review.author = author;
    review.reviewerIds = unique_non_empty_strings(reviewer_ids);
    const std::string base = normalize_workspace_id(title.empty() ? source.name + " review" : title);
    update_project_reviews(project, [&](std::vector<ProjectReview>& reviews) {
        review.id = free_review_id(reviews, base);
        review.createdAt = review.updatedAt = wall_clock_milliseconds();
        for (const std::string& id : review.reviewerIds) {
            review.reviewers.push_back({id, "pending", review.createdAt});
        }
        reviews.push_back(review);
        return true;
    });
    return review;
}

ProjectReview update_project_review_status(const std::filesystem::path& project_path, const std::string& review_id,
                                           const std::string& status) {
    if (!contains(review_statuses, status)) {
        throw std::runtime_error("invalid review status: " + status);
    }
    const std::filesystem::path project = absolute_normalized(project_path);
    std::vector<ProjectWorkspace> workspaces;
    if (status == "merged") {
        if (!find_project_review(project, review_id)) {  // An unknown one is refused before the remote is asked.
            throw std::runtime_error("review does not exist: " + review_id);
        }
        workspaces = workspaces_on_remote(project);
    }
    return update_review(project, review_id, [&](ProjectReview& review) {
        review.status = status;
        const auto target = find_by_id(workspaces, workspace_id_or_main(review.targetWorkspace));
        const auto source = find_by_id(workspaces, review.sourceWorkspace);
        review.baseHeadKey = target != workspaces.end() ? target->headKey : review.baseHeadKey;
        review.sourceHeadKey = source != workspaces.end() ? source->headKey : review.sourceHeadKey;
    });
}

ProjectReview update_project_review_reviewer_state(const std::filesystem::path& project, const std::string& review_id,
                                                   const std::string& reviewer_id, const std::string& state) {
    if (reviewer_id.empty()) {
        throw std::runtime_error("missing reviewer id");
    }
    if (!contains(reviewer_states, state)) {
        throw std::runtime_error("invalid reviewer state: " + state);
    }
    return update_review(absolute_normalized(project), review_id, [&](ProjectReview& review) {
        set_reviewer_state(review, reviewer_id, state, review.updatedAt);
        if (review.status != "merged" && review.status != "rejected" && review.status != "closed") {
            review.status = status_by_verdicts(review);
        }
    });
}

}  // namespace quill
