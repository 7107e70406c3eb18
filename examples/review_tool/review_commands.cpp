#include "review_commands.h"

#include <cstdlib>
#include <iostream>
#include <stdexcept>

#include <quill/quill.h>

namespace {

namespace fs = std::filesystem;

std::string current_user() {
    const char* user = std::getenv("USER");
    return user != nullptr && *user != '\0' ? user : "review_tool";
}

void print_status(const quill::ProjectReview& review) {
    std::cout << review.id << ": " << review.status << '\n';
}

void run_review(const fs::path& project, const Arguments& arguments) {
    const Arguments reviewers(arguments.begin() + 2, arguments.end());
    print_status(quill::create_project_review(project, arguments[0], arguments[1], "", current_user(), reviewers));
}

void run_comment(const fs::path& project, const Arguments& arguments) {
    quill::ProjectReviewComment comment;
    comment.author = current_user();
    comment.body = arguments[1];
    const quill::ProjectReview review = quill::add_project_review_comment(project, arguments[0], comment);
    std::cout << review.comments.back().id << '\n';
}

void run_approve(const fs::path& project, const Arguments& arguments) {
    print_status(quill::update_project_review_reviewer_state(project, arguments[0], arguments[1], "approved"));
}

// The library leaves it to applications what a review must have come to before it is merged. Here: everyone's approval.
void run_merge(const fs::path& project, const Arguments& arguments) {
    const auto review = quill::find_project_review(project, arguments[0]);
    if (!review) {
        throw std::runtime_error("review does not exist: " + arguments[0]);
    }
    if (review->status != "approved") {
        throw std::runtime_error("review is not approved: " + review->id);
    }
    quill::merge_project_workspace_into(project, review->sourceWorkspace, review->targetWorkspace, review->title);
    print_status(quill::update_project_review_status(project, review->id, "merged"));
}

}  // namespace

std::vector<Command> review_commands() {
    return {{"review", " <workspace> <title> <reviewer>...", 3, run_review},
            {"comment", " <review> <text>", 2, run_comment},
            {"approve", " <review> <reviewer>", 2, run_approve},
            {"merge", " <review>", 1, run_merge}};
}
