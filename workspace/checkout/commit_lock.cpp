#include "workspace/checkout/commit_lock.h"

namespace quill {

std::unique_lock<std::mutex> lock_workspace_commits(const std::string& workspace_id) {
    static auto* main_workspace_commit_mutex = new std::mutex;
    static auto* branch_workspace_commit_mutex = new std::mutex;
    return std::unique_lock(workspace_id == "main" ? *main_workspace_commit_mutex : *branch_workspace_commit_mutex);
}

}  // namespace quill
