// A project with a history on a directory remote, in a folder of its own, for tests on the real engine.
#pragma once

#include <string>

#include "tests/support/temporary_folder.h"

namespace quill_test {

class HistoryProject {
  public:
    /// Creates the package with the remote in the environment while the object lives.
    HistoryProject();
    ~HistoryProject();
    HistoryProject(const HistoryProject&) = delete;
    HistoryProject& operator=(const HistoryProject&) = delete;

    std::filesystem::path package() const { return folder_ / "P.quillproject"; }
    std::filesystem::path scene() const { return package() / "Scenes" / "Main.usda"; }
    std::filesystem::path remote() const { return folder_ / "remote"; }

    /// Writes the scene, or another file, and commits it to main; returns the new head.
    std::string commit(const std::string& bytes, const std::string& path = "Scenes/Main.usda",
                       const std::string& message = "edit") const;
    std::string id() const;

  private:
    TemporaryFolder folder_;
};

}  // namespace quill_test
