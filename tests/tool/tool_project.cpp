#include "tests/tool/tool_project.h"

#include <stdexcept>

namespace quill_test {

ProcessResult ToolFolder::run_with(const std::map<std::string, std::string>& environment,
                                   const std::vector<std::string>& arguments) const {
    std::vector<std::string> command{QUILL_TOOL};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return run_process(command, environment, folder_.path());
}

std::string ToolFolder::must(const std::vector<std::string>& arguments) const {
    const ProcessResult result = run(arguments);
    if (result.status != 0 || !result.err.empty()) {
        throw std::runtime_error(arguments.front() + " failed: " + result.err);
    }
    return result.out;
}

}  // namespace quill_test
