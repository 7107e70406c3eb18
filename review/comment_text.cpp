#include "review/comment_text.h"

#include <algorithm>
#include <cmath>

#include "records/json_records.h"

namespace quill {
namespace {

// The member with a comma before it; empty when there is no vector or JSON has no number for a part of it.
std::string vector_member(std::string_view key, const std::optional<ProjectCommentVector>& vector) {
    const auto finite = [](double component) { return std::isfinite(component); };
    if (!vector || !std::all_of(vector->begin(), vector->end(), finite)) {
        return {};
    }
    return ",\"" + std::string(key) + "\":[" + json_joined(*vector, ",", json_number) + "]";
}

std::string number_member(std::string_view key, std::uint64_t value) {
    return '"' + std::string(key) + "\":" + std::to_string(value);
}

std::string runtime_members(const ProjectCommentRuntimeContext& runtime) {
    return json_text_member("runtimeCapsuleKey", runtime.runtimeCapsuleKey) + "," +
           json_text_member("runtimeDeepLink", runtime.runtimeDeepLink) + "," +
           json_text_member("runtimeId", runtime.runtimeId) + "," +
           json_text_member("runtimeInstanceId", runtime.runtimeInstanceId) + "," +
           json_text_member("runtimeBuildId", runtime.runtimeBuildId) + "," +
           json_text_member("runtimePlatform", runtime.runtimePlatform) + "," +
           number_member("runtimeRevision", runtime.runtimeRevision) + "," +
           number_member("runtimeTick", runtime.runtimeTick) + "," +
           json_text_member("runtimeFrameKey", runtime.runtimeFrameKey);
}

std::uint64_t number_of(std::string_view object, std::string_view key, std::uint64_t missing) {
    return json_u64(json_written_member(object, key), key, missing);
}

std::optional<ProjectCommentVector> vector_of(std::string_view object, std::string_view key) {
    return json_vector3(json_written_member(object, key), key);
}

ProjectCommentRuntimeContext runtime_of(std::string_view object) {
    ProjectCommentRuntimeContext runtime;
    runtime.runtimeCapsuleKey = json_written_string(object, "runtimeCapsuleKey");
    runtime.runtimeDeepLink = json_written_string(object, "runtimeDeepLink");
    runtime.runtimeId = json_written_string(object, "runtimeId");
    runtime.runtimeInstanceId = json_written_string(object, "runtimeInstanceId");
    runtime.runtimeBuildId = json_written_string(object, "runtimeBuildId");
    runtime.runtimePlatform = json_written_string(object, "runtimePlatform");
    runtime.runtimeRevision = number_of(object, "runtimeRevision", 0);
    runtime.runtimeTick = number_of(object, "runtimeTick", 0);
    runtime.runtimeFrameKey = json_written_string(object, "runtimeFrameKey");
    return runtime;
}

}  // namespace

std::string project_comment_json(const ProjectReviewComment& comment) {
    return "{" + number_member("schemaVersion", comment.schemaVersion) + "," + json_text_member("id", comment.id) +
           "," + json_text_member("clientMutationId", comment.clientMutationId) + "," +
           json_text_member("parentId", comment.parentId) + "," + json_text_member("author", comment.author) + "," +
           json_text_member("body", comment.body) + "," +
           json_text_member("anchorKind", comment.anchorKind.empty() ? "summary" : comment.anchorKind) + "," +
           json_text_member("anchorPath", comment.anchorPath) + "," + json_text_member("sceneUri", comment.sceneUri) +
           "," + json_text_member("anchorEntityId", comment.anchorEntityId) +
           vector_member("anchorWorldPosition", comment.anchorWorldPosition) +
           vector_member("anchorLocalPosition", comment.anchorLocalPosition) +
           vector_member("anchorSurfaceNormal", comment.anchorSurfaceNormal) + "," +
           runtime_members(comment.runtimeContext) + "," + json_text_member("sourceHeadKey", comment.sourceHeadKey) +
           "," + json_text_member("createdAt", comment.createdAt) +
           ",\"resolved\":" + (comment.resolved ? "true" : "false") + "," +
           json_text_member("resolvedBy", comment.resolvedBy) + "," +
           json_text_member("resolvedAt", comment.resolvedAt) + "}";
}

ProjectReviewComment project_comment_from_json(std::string_view object) {
    ProjectReviewComment comment;
    comment.schemaVersion = number_of(object, "schemaVersion", 1);
    comment.id = json_written_string(object, "id");
    comment.clientMutationId = json_written_string(object, "clientMutationId");
    comment.parentId = json_written_string(object, "parentId");
    comment.author = json_written_string(object, "author");
    comment.body = json_written_string(object, "body");
    comment.anchorKind = json_written_string(object, "anchorKind");
    comment.anchorPath = json_written_string(object, "anchorPath");
    comment.sceneUri = json_written_string(object, "sceneUri");
    comment.anchorEntityId = json_written_string(object, "anchorEntityId");
    comment.anchorWorldPosition = vector_of(object, "anchorWorldPosition");
    comment.anchorLocalPosition = vector_of(object, "anchorLocalPosition");
    comment.anchorSurfaceNormal = vector_of(object, "anchorSurfaceNormal");
    comment.runtimeContext = runtime_of(object);
    comment.sourceHeadKey = json_written_string(object, "sourceHeadKey");
    comment.createdAt = json_written_string(object, "createdAt");
    comment.resolved = json_bool(json_written_member(object, "resolved"), "resolved", false);
    comment.resolvedBy = json_written_string(object, "resolvedBy");
    comment.resolvedAt = json_written_string(object, "resolvedAt");
    return comment;
}

std::string project_comments_json(const std::vector<ProjectReviewComment>& comments) {
    return json_joined(comments, ",", project_comment_json);
}

std::vector<ProjectReviewComment> project_comments_from_json(std::string_view array) {
    std::vector<ProjectReviewComment> comments;
    for (const std::string_view object : json_written_objects(array)) {
        comments.push_back(project_comment_from_json(object));
    }
    return comments;
}

}  // namespace quill
