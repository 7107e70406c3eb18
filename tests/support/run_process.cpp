#include "tests/support/run_process.h"

#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>

#include "tests/support/temporary_folder.h"

namespace quill_test {
namespace {

[[noreturn]] void become(const std::vector<std::string>& arguments,
                         const std::map<std::string, std::string>& environment, const std::filesystem::path& folder,
                         const std::filesystem::path& out, const std::filesystem::path& err) {
    std::vector<char*> argv;
    for (const std::string& argument : arguments) {
        argv.push_back(const_cast<char*>(argument.c_str()));
    }
    argv.push_back(nullptr);
    unsetenv("KEEL_TOME_REMOTE_URL");
    unsetenv("QUILL_TOME_REMOTE_URL");
    for (const auto& [name, value] : environment) {
        setenv(name.c_str(), value.c_str(), 1);
    }
    const bool ready = freopen(out.c_str(), "w", stdout) != nullptr && freopen(err.c_str(), "w", stderr) != nullptr &&
                       chdir(folder.c_str()) == 0;
    if (ready) {
        execv(argv.front(), argv.data());
    }
    _exit(127);
}

}  // namespace

ProcessResult run_process(const std::vector<std::string>& arguments,
                          const std::map<std::string, std::string>& environment, const std::filesystem::path& folder) {
    const TemporaryFolder outputs;
    const std::filesystem::path out = outputs / "out";
    const std::filesystem::path err = outputs / "err";
    const pid_t child = fork();
    if (child < 0) {
        throw std::runtime_error("could not start " + arguments.front());
    }
    if (child == 0) {
        become(arguments, environment, folder, out, err);
    }
    int status = 0;
    waitpid(child, &status, 0);
    ProcessResult result;
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    result.out = read_file(out);
    result.err = read_file(err);
    return result;
}

}  // namespace quill_test
