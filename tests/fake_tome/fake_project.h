// A project whose history is on a remote that the scripted engine plays: enough of a healthy engine for the workspace
// operations to run through, so that a test need only script the one thing that goes wrong.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "tests/fake_tome/fake_tome.h"
#include "tests/support/failure.h"
#include "tests/support/temporary_folder.h"

namespace quill_test {

inline const std::string fake_remote = "file:///remote";
inline const std::string fake_project_id = "abcdefghijklmnop";
inline const std::string fake_repository_url = fake_remote + "/" + fake_project_id;
inline const std::string scene = "Scenes/Main.usda";

class FakeProject : public testing::Test {
  protected:
    /// A package with a manifest and one scene; the remote's head holds an older text of the scene.
    FakeProject();
    ~FakeProject() override { fake_tome::reset(); }

    static std::size_t count_calls(const std::string& operation) { return fake_tome::calls(operation).size(); }

    /// Makes these the remote's branches, by name and kind.
    static void list_branches(const std::vector<std::pair<std::string, std::string>>& branches);

    std::filesystem::path index_path() const { return project_ / "Workspaces/workspaces.json"; }

    /// The index file's text, or "absent".
    std::string index_text() const;

    /// Adds a brace to the index file, whose records can still be read; what changing it is refused with then.
    std::string damage_index() const;

    TemporaryFolder folder_;
    std::filesystem::path project_ = folder_ / "P.quillproject";
    std::map<std::string, std::string> remote_files_;  ///< the remote head's tree: bytes by path

  private:
    void script_healthy_engine();
};

}  // namespace quill_test
