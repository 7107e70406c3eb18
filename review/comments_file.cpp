#include "review/comments_file.h"

#include "project/workspace_id.h"
#include "project/workspace_paths.h"
#include "records/json_records.h"
#include "records/record_file.h"
#include "records/record_folder.h"
#include "review/comment_text.h"

namespace quill {
namespace {

std::string text_of(const WorkspaceCommentBucket& bucket) {
    return "{" + json_text_member("workspace", workspace_id_or_main(bucket.workspace)) + ",\"comments\":[" +
           project_comments_json(bucket.comments) + "]}";
}

WorkspaceCommentBucket bucket_from(std::string_view object) {
    return {workspace_id_or_main(json_written_string(object, "workspace")),
            project_comments_from_json(json_written_array(object, "comments"))};
}

std::vector<WorkspaceCommentBucket> buckets_in(std::string_view text) {
    std::vector<WorkspaceCommentBucket> buckets;
    for (const std::string_view object : json_written_objects(json_written_array(text, "workspaces"))) {
        buckets.push_back(bucket_from(object));
    }
    return buckets;
}

const RecordFileKind<WorkspaceCommentBucket>& file_kind() {
    static const RecordFileKind<WorkspaceCommentBucket> comments{{2, {}, "workspaces", ""}, buckets_in, text_of};
    return comments;
}

}  // namespace

std::vector<WorkspaceCommentBucket> read_workspace_comments(const std::filesystem::path& project) {
    return buckets_in(read_record_file(project_comments_index_path(project)));
}

void update_workspace_comments(const std::filesystem::path& project,
                               const std::function<bool(std::vector<WorkspaceCommentBucket>&)>& change) {
    update_record_file(project, project_comments_index_path(project), file_kind(), change);
}

}  // namespace quill
