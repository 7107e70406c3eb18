#include "tool/usage.h"

#include <iostream>

namespace quill_tool {

void print_usage() {
    std::cerr << "usage:\n"
                 "  quill_project_tool create <Project.quillproject> [--name <name>] [--template <scene.usda>]\n"
                 "  quill_project_tool scene <Project.quillproject|scene.usda>\n"
                 "  quill_project_tool id <Project.quillproject>\n"
                 "  quill_project_tool scene-ref <Project.quillproject>\n"
                 "  quill_project_tool initialize-history <Project.quillproject>\n"
                 "  quill_project_tool create-workspace <Project.quillproject> <parent-workspace> <name> [--author "
                 "<author>]\n"
                 "  quill_project_tool prepare-visual-restore-proof <Project.quillproject>\n"
                 "  quill_project_tool restore-proof <Project.quillproject>\n"
                 "  quill_project_tool commit-workspace <Project.quillproject> <workspace> <project-relative-path>...\n"
                 "  quill_project_tool sync-workspace <Project.quillproject> <workspace> <project-relative-path>...\n";
}

}  // namespace quill_tool
