// review_tool: lists a project's workspaces with their revisions, and takes a workspace through a review into the one
// that it came from. Exit status 0 on success, 1 after a failure, 2 after the usage text.
#include <algorithm>
#include <exception>
#include <iostream>

#include <quill/quill.h>

#include "command.h"
#ifdef REVIEW_TOOL_WITH_REVIEWS
#include "review_commands.h"
#endif

namespace {

namespace fs = std::filesystem;

constexpr std::uint64_t listed_revisions = 10;
constexpr std::size_t shown_digits = 12;

void print_revision(const quill::ProjectWorkspaceRevision& revision) {
    std::cout << "  " << revision.order << "  " << revision.id.substr(0, shown_digits) << "  " << revision.author
              << ": " << revision.summary << (revision.current ? "  (current)\n" : "\n");
}

void run_list(const fs::path& path, const Arguments&) {
    const quill::Project project = quill::read_project(path);
    std::cout << project.manifest.name << " (" << project.manifest.id << ")\n";
    const auto workspaces = quill::project_has_tome_remote(path) ? quill::refresh_project_workspaces(path, false)
                                                                 : quill::list_project_workspaces(path, false);
    const auto names = quill::project_workspace_display_names(workspaces);
    for (std::size_t i = 0; i < workspaces.size(); ++i) {
        std::cout << workspaces[i].id << ": " << names[i] << '\n';
        for (const auto& revision : quill::list_project_workspace_revisions(path, workspaces[i].id, listed_revisions)) {
            print_revision(revision);
        }
    }
}

std::vector<Command> all_commands() {
    std::vector<Command> commands{{"list", "", 0, run_list}};
#ifdef REVIEW_TOOL_WITH_REVIEWS
    const std::vector<Command> more = review_commands();
    commands.insert(commands.end(), more.begin(), more.end());
#endif
    return commands;
}

int print_usage(const std::vector<Command>& commands) {
    std::cerr << "usage:\n";
    for (const Command& command : commands) {
        std::cerr << "  review_tool <Project.quillproject> " << command.name << command.usage << '\n';
    }
    return 2;
}

int run(const Arguments& words) {
    const std::vector<Command> commands = all_commands();
    if (words.size() < 2) {
        return print_usage(commands);
    }
    const Arguments arguments(words.begin() + 2, words.end());
    const auto command = std::ranges::find(commands, words[1], &Command::name);
    if (command == commands.end() || arguments.size() < command->min_arguments) {
        return print_usage(commands);
    }
    command->run(words[0], arguments);
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        return run({argv + 1, argv + argc});
    } catch (const std::exception& error) {
        std::cerr << "review_tool: " << error.what() << '\n';
        return 1;
    }
}
