#include "tool/usage.h"

#include <gtest/gtest.h>

#include "tests/tool/tool_project.h"

namespace quill_test {
namespace {

const std::string usage =
    "usage:\n"
    "  quill_project_tool create <Project.quillproject> [--name <name>] [--template <scene.usda>]\n"
    "  quill_project_tool scene <Project.quillproject|scene.usda>\n"
    "  quill_project_tool id <Project.quillproject>\n"
    "  quill_project_tool scene-ref <Project.quillproject>\n"
    "  quill_project_tool initialize-history <Project.quillproject>\n"
    "  quill_project_tool create-workspace <Project.quillproject> <parent-workspace> <name> [--author <author>]\n"
    "  quill_project_tool prepare-visual-restore-proof <Project.quillproject>\n"
    "  quill_project_tool restore-proof <Project.quillproject>\n"
    "  quill_project_tool commit-workspace <Project.quillproject> <workspace> <project-relative-path>...\n"
    "  quill_project_tool sync-workspace <Project.quillproject> <workspace> <project-relative-path>...\n";

void expect_usage(const ProcessResult& result) {
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, usage);
}

TEST(Usage, IsPrintedWithoutArguments) {
    expect_usage(ToolFolder().run_without_remote({}));
}

TEST(Usage, IsPrintedForACreateWithoutAProject) {
    expect_usage(ToolFolder().run_without_remote({"create"}));
}

TEST(Usage, IsPrintedForAnUnknownCommand) {
    expect_usage(ToolFolder().run_without_remote({"list", "P.quillproject"}));
    expect_usage(ToolFolder().run_without_remote({"Create", "P.quillproject"}));
}

TEST(Usage, IsPrintedForWorkspaceCommandsWithTooFewArguments) {
    const ToolFolder folder;
    expect_usage(folder.run_without_remote({"create-workspace", "P.quillproject", "main"}));
    expect_usage(folder.run_without_remote({"sync-workspace", "P.quillproject", "main"}));
    expect_usage(folder.run_without_remote({"commit-workspace", "P.quillproject", "main"}));
}

}  // namespace
}  // namespace quill_test
