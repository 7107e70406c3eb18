// A folder with a directory remote beside the projects of one test, and the built tool to run on them.
#pragma once

#include <string>
#include <vector>

#include "tests/support/run_process.h"
#include "tests/support/temporary_folder.h"

namespace quill_test {

class ToolFolder {
  public:
    /// Runs the tool in the folder with the remote configured.
    ProcessResult run(const std::vector<std::string>& arguments) const {
        return run_with(remote_environment(), arguments);
    }
    /// Runs it without any remote in the environment.
    ProcessResult run_without_remote(const std::vector<std::string>& arguments) const {
        return run_with({}, arguments);
    }

    /// Runs the tool and throws when it does not succeed; returns its output.
    std::string must(const std::vector<std::string>& arguments) const;

    ProcessResult run_with(const std::map<std::string, std::string>& environment,
                           const std::vector<std::string>& arguments) const;

    std::map<std::string, std::string> remote_environment() const {
        return {{"QUILL_TOME_REMOTE_URL", "file://" + (folder_ / "remote").string()}};
    }
    std::filesystem::path operator/(const std::string& relative) const { return folder_ / relative; }
    std::string text(const std::string& relative) const { return read_file(folder_ / relative); }
    void write(const std::string& relative, const std::string& bytes) const { write_file(folder_ / relative, bytes); }

  private:
    TemporaryFolder folder_;
};

}  // namespace quill_test
