// What a call does in a process whose files may not grow: a full disk, for root, too.
#pragma once

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <string>

#include "tests/support/package_folder.h"

namespace quill_test {

/// Runs `action` in a child process that may not write files beyond `bytes` bytes; what it fails with there, or
/// "no failure".
inline std::string outcome_with_file_size_limit(rlim_t bytes, const std::function<void()>& action) {
    int ends[2];
    if (pipe(ends) != 0) {
        return "no pipe";
    }
    const pid_t child = fork();
    if (child == 0) {
        signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{bytes, bytes};
        const std::string outcome = setrlimit(RLIMIT_FSIZE, &limit) == 0 ? failure_of(action) : "no limit";
        const bool told = write(ends[1], outcome.data(), outcome.size()) == static_cast<ssize_t>(outcome.size());
        _exit(told ? 0 : 1);
    }
    close(ends[1]);
    std::string outcome;
    char part[512];
    for (ssize_t count = 0; (count = read(ends[0], part, sizeof part)) > 0;) {
        outcome.append(part, static_cast<std::size_t>(count));
    }
    close(ends[0]);
    int status = -1;
    if (child < 0 || waitpid(child, &status, 0) != child || status != 0) {
        return "the child ended with status " + std::to_string(status);
    }
    return outcome;
}

}  // namespace quill_test
