// Workspaces of which only the remote knows: a second machine's view.
#include <gtest/gtest.h>

#include <quill/quill.h>

#include <thread>

#include "tests/support/failure.h"
#include "tests/workspace/history_project.h"

namespace quill {
namespace {

class WorkspacesOfTheRemote : public testing::Test {
  protected:
    WorkspacesOfTheRemote() {
        create_project_workspace(package_, project_.scene(), "main", "Evening \"light\"", "ana");
        create_project_workspace(package_, project_.scene(), "evening-light", "Softer", "ben");
        forget();
    }

    void forget() const {
        std::filesystem::remove_all(package_ / "Workspaces");
        invalidate_tome_branch_index_cache(package_);
    }

    const quill_test::HistoryProject project_;
    const std::filesystem::path package_ = project_.package();
};

TEST_F(WorkspacesOfTheRemote, HaveTheNamesThatTheyWereGiven) {
    refresh_project_workspaces(package_, true);
    const ProjectWorkspace light = find_project_workspace(package_, "evening-light", true).value();
    EXPECT_EQ(light.name, "Evening \"light\"");
    EXPECT_EQ(light.baseScene, "Scenes/Main.usda");
    EXPECT_EQ(light.author, "ana");
    EXPECT_LE(light.createdAt, light.updatedAt);
    const ProjectWorkspace softer = find_project_workspace(package_, "softer", true).value();
    EXPECT_EQ(softer.name, "Softer");
    EXPECT_EQ(softer.parentId, "evening-light");
}

TEST_F(WorkspacesOfTheRemote, HaveTheNamesOfTheIndexFileAlsoWhereItCallsThemArchived) {
    ProjectWorkspace renamed;
    renamed.id = "softer";
    renamed.name = "Much softer";
    renamed.archived = true;
    write_workspaces_without_main(package_, {renamed});
    refresh_project_workspaces(package_, true);
    const ProjectWorkspace softer = find_project_workspace(package_, "softer", false).value();
    EXPECT_EQ(softer.name, "Much softer");
    EXPECT_FALSE(softer.archived);
}

TEST_F(WorkspacesOfTheRemote, CanBeParents) {
    const ProjectWorkspace child = create_project_workspace(package_, project_.scene(), "softer", "Softest", "cleo");
    EXPECT_EQ(child.parentId, "softer");
    EXPECT_EQ(quill_test::failure_of(
                  [&] { create_project_workspace(package_, project_.scene(), "nowhere", "Other", "cleo"); }),
              "parent workspace does not exist: nowhere");
}

TEST_F(WorkspacesOfTheRemote, CanBeArchivedUnderTheirNames) {
    archive_project_workspace(package_, "softer");
    EXPECT_EQ(quill_test::failure_of([&] { archive_project_workspace(package_, "nowhere"); }),
              "workspace does not exist: nowhere");
    const ProjectWorkspace archived = read_workspaces_without_main(package_).at(0);
    EXPECT_TRUE(archived.archived);
    EXPECT_EQ(archived.name, "Softer");
    EXPECT_EQ(archived.parentId, "evening-light");
    const auto on_remote = [&] {
        for (const ProjectWorkspace& branch : query_tome_branch_index_workspaces(package_)) {
            if (branch.id == "softer") {
                return branch.archived;
            }
        }
        return false;
    };
    while (!on_remote()) {  // The background thread, which must not outlive the package.
        std::this_thread::yield();
    }
}

}  // namespace
}  // namespace quill
