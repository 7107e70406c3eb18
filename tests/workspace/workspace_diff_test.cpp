#include "workspace/operations/workspace_diff.h"

#include <gtest/gtest.h>

#include <quill/quill.h>

#include <string>
#include <vector>

#include "tests/support/failure.h"
#include "tests/workspace/history_project.h"

namespace quill {
namespace {

using quill_test::failure_of;
using quill_test::write_file;
using Lines = std::vector<std::string>;

class WorkspaceDiff : public testing::Test {
  protected:
    WorkspaceDiff() { create_project_workspace(package_, project_.scene(), "main", "Feature", "ben"); }

    void commit_to_feature(const std::string& path, const std::string& bytes) const {
        write_file(package_ / path, bytes);
        update_project_workspace_head(package_, "feature", package_, {path}, "ben", "edit");
    }
    Lines diff(const std::string& from, const std::string& to) const {
        Lines lines;
        for (const ProjectWorkspaceDiffEntry& entry : diff_project_workspaces(package_, from, to)) {
            lines.push_back(entry.change + " " + entry.path);
        }
        return lines;
    }

    const quill_test::HistoryProject project_;
    const std::filesystem::path package_ = project_.package();
};

TEST_F(WorkspaceDiff, OfAWorkspaceThatIsAsItWasMadeIsEmpty) {
    EXPECT_EQ(diff("main", "feature"), Lines());
}

TEST_F(WorkspaceDiff, TellsWhichWayTheFilesDiffer) {
    commit_to_feature("Assets/new.txt", "new");
    EXPECT_EQ(diff("main", "feature"), Lines{"add Assets/new.txt"});
    EXPECT_EQ(diff("feature", ""), Lines{"delete Assets/new.txt"});
}

TEST_F(WorkspaceDiff, GoesByTheNewestHeadsAndNotByUncommittedFiles) {
    write_file(project_.scene(), "uncommitted");
    EXPECT_EQ(diff("main", "feature"), Lines());
    project_.commit("committed");
    EXPECT_EQ(diff("main", "feature"), Lines{"modify Scenes/Main.usda"});
}

TEST_F(WorkspaceDiff, OfAnUnknownWorkspaceIsRefused) {
    EXPECT_EQ(failure_of([&] { diff("nobody", "main"); }), "workspace branch does not exist");
    EXPECT_EQ(failure_of([&] { diff("main", "nobody"); }), "workspace branch does not exist");
}

}  // namespace
}  // namespace quill
