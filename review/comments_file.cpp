#include "review/comments_file.h"

#include "project/text_file.h"
#include "review/comment_text.h"
#include "review/json_records.h"
#include "review/record_folder.h"
#include "workspace/workspace_id.h"
#include "workspace/workspace_paths.h"

namespace quill {
namespace {

std::string line_of(const WorkspaceCommentBucket& bucket) {
    return "    {" + json_text_member("workspace", workspace_id_or_main(bucket.workspace)) + ",\"comments\":[" +
           project_comments_json(bucket.comments) + "]}";
}

WorkspaceCommentBucket bucket_from(std::string_view object) {
    return {workspace_id_or_main(json_written_string(object, "workspace")),
            project_comments_from_json(json_written_array(object, "comments"))};
}

}  // namespace

std::vector<WorkspaceCommentBucket> read_workspace_comments(const std::filesystem::path& project) {
    const std::string text = read_record_file(project_comments_index_path(project));
    std::vector<WorkspaceCommentBucket> buckets;
    for (const std::string_view object : json_written_objects(json_written_array(text, "workspaces"))) {
        buckets.push_back(bucket_from(object));
    }
    return buckets;
}

void write_workspace_comments(const std::filesystem::path& project,
                              const std::vector<WorkspaceCommentBucket>& buckets) {
    write_text_file_atomically(
        project_comments_index_path(project),
        "{\n  \"version\": 2,\n  \"workspaces\": [\n" + json_joined(buckets, ",\n", line_of) + "\n  ]\n}\n");
}

void update_workspace_comments(const std::filesystem::path& project,
                               const std::function<bool(std::vector<WorkspaceCommentBucket>&)>& change) {
    const RecordFolderLock lock(project);
    std::vector<WorkspaceCommentBucket> buckets = read_workspace_comments(project);
    if (buckets.empty()) {
        refuse_damaged_records(project_comments_index_path(project), "workspace");
    }
    if (change(buckets)) {
        write_workspace_comments(project, buckets);
    }
}

}  // namespace quill
