// Running a program as a person would, with everything it says.
#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace quill_test {

struct ProcessResult {
    int status = -1;  ///< exit status, or 128 + the signal's number
    std::string out;
    std::string err;
};

/// Runs `arguments` (the program first) in `folder` with `environment` added to this process's, in which the remotes'
/// variables are not set. Throws std::runtime_error when it cannot be started.
ProcessResult run_process(const std::vector<std::string>& arguments,
                          const std::map<std::string, std::string>& environment = {},
                          const std::filesystem::path& folder = ".");

}  // namespace quill_test
