#include "tool/project_commands.h"

#include "tests/fake_tome/fake_project.h"

namespace {

using fake_tome::Call;
using fake_tome::Events;
using quill_test::failure_of;

using ProjectCommands = quill_test::FakeProject;

TEST_F(ProjectCommands, HistoryThatHasNoRevisionAfterItsStartIsReported) {
    fake_tome::on("tome_repository_status", [](const Call&, const Events& events) {
        events.status({}, 0, {}, 0);
        return 0;
    });
    fake_tome::on("tome_revision_history", [](const Call&, const Events&) { return 0; });
    EXPECT_EQ(failure_of([&] {
                  quill_tool::run_initialize_history({"quill_project_tool", "initialize-history", project_.string()});
              }),
              "Tome repository has no initial revision");
    EXPECT_EQ(count_calls("tome_branch_push"), 1u);
}

}  // namespace
