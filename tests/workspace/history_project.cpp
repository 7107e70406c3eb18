#include "tests/workspace/history_project.h"

#include <stdlib.h>

#include <quill/quill.h>

namespace quill_test {

HistoryProject::HistoryProject() {
    unsetenv("KEEL_TOME_REMOTE_URL");
    setenv("QUILL_TOME_REMOTE_URL", remote().c_str(), 1);
    quill::create_project_package(package(), "P", {});
}

HistoryProject::~HistoryProject() {
    unsetenv("QUILL_TOME_REMOTE_URL");
}

std::string HistoryProject::commit(const std::string& bytes, const std::string& path,
                                   const std::string& message) const {
    write_file(package() / path, bytes);
    return quill::update_project_workspace_head(package(), "main", package(), {path}, "ana", message).headKey;
}

std::string HistoryProject::id() const {
    return quill::read_project(package()).manifest.id;
}

}  // namespace quill_test
