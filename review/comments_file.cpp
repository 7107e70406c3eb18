#include "review/comments_file.h"

#include <algorithm>
#include <iterator>

#include "files/text_file.h"
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

std::vector<std::string> texts_of(const std::vector<WorkspaceCommentBucket>& buckets) {
    std::vector<std::string> texts;
    std::transform(buckets.begin(), buckets.end(), std::back_inserter(texts), text_of);
    return texts;
}

const RecordFileFormat& format() {
    static const RecordFileFormat comments{2, {}, "workspaces", ""};
    return comments;
}

}  // namespace

std::vector<WorkspaceCommentBucket> read_workspace_comments(const std::filesystem::path& project) {
    return buckets_in(read_record_file(project_comments_index_path(project)));
}

void write_workspace_comments(const std::filesystem::path& project,
                              const std::vector<WorkspaceCommentBucket>& buckets) {
    write_text_file_atomically(project_comments_index_path(project), record_file_text(format(), texts_of(buckets)));
}

void update_workspace_comments(const std::filesystem::path& project,
                               const std::function<bool(std::vector<WorkspaceCommentBucket>&)>& change) {
    const RecordFolderLock lock(project);
    RecordFile file(project_comments_index_path(project), format());
    std::vector<WorkspaceCommentBucket> buckets = buckets_in(file.text());
    file.require_read_whole(texts_of(buckets));
    if (change(buckets)) {
        write_text_file_atomically(project_comments_index_path(project), file.text_with(texts_of(buckets)));
    }
}

}  // namespace quill
