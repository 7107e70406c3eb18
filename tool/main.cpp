// quill_project_tool: one subcommand a run. Exit status 0 on success, 1 after a failure, which is one line on standard
// error, 2 after the usage text.
#include <array>
#include <exception>
#include <iostream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "project/manifest.h"
#include "tool/project_commands.h"
#include "tool/restore_proof_commands.h"
#include "tool/usage.h"

namespace {

struct Command {
    std::string_view name;
    std::size_t min_arguments;  // with the program's name
    void (*run)(const std::vector<std::string>&);
};

constexpr std::array<Command, 10> commands{{
    {"create", 3, quill_tool::run_create},
    {"scene", 3, quill_tool::run_scene},
    {"id", 3, quill_tool::run_id},
    {"scene-ref", 3, quill_tool::run_scene_ref},
    {"initialize-history", 3, quill_tool::run_initialize_history},
    {"create-workspace", 5, quill_tool::run_create_workspace},
    {"prepare-visual-restore-proof", 3, quill_tool::run_prepare_visual_restore_proof},
    {"restore-proof", 3, quill_tool::run_restore_proof},
    {"sync-workspace", 5, quill_tool::run_sync_workspace},
    {"commit-workspace", 5, quill_tool::run_commit_workspace},
}};

// One line, and nothing that a terminal obeys, whatever a path in it holds.
std::string one_line(std::string text) {
    for (char& c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x20 || byte == 0x7f) {
            c = ' ';
        }
    }
    return text;
}

// A shell completes a folder's name with a slash; the package is the same.
std::string without_completed_slash(const std::string& argument) {
    const std::string name = argument.substr(0, argument.find_last_not_of('/') + 1);
    return quill::is_project_package_path(name) ? name : argument;
}

int run(std::vector<std::string> arguments) {
    if (arguments.size() >= 3) {
        for (const Command& command : commands) {
            if (command.name == arguments[1] && arguments.size() >= command.min_arguments) {
                arguments[2] = without_completed_slash(arguments[2]);
                command.run(arguments);
                return 0;
            }
        }
    }
    quill_tool::print_usage();
    return 2;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        const int status = run({argv, argv + argc});
        if (!std::cout.flush()) {
            throw std::runtime_error("could not write to standard output");
        }
        return status;
    } catch (const std::exception& error) {
        std::cerr << "quill_project_tool: " << one_line(error.what()) << '\n';
        return 1;
    }
}
