// A comment's JSON (format: docs/formats.md), both ways. Free of shared state, the same in every locale.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "review/review_record.h"

namespace quill {

/// The object, on one line. A vector with a component that is not finite is left out, for JSON has no such numbers.
std::string project_comment_json(const ProjectReviewComment& comment);

/// The comment that an object's text holds; missing members keep the defaults of the record.
ProjectReviewComment project_comment_from_json(std::string_view object);

/// What stands between the brackets of an array of comments.
std::string project_comments_json(const std::vector<ProjectReviewComment>& comments);

/// The comments in such a text.
std::vector<ProjectReviewComment> project_comments_from_json(std::string_view array);

}  // namespace quill
