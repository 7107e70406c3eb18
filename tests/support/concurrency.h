// Doing one thing several times at once, on threads or in processes.
#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <exception>
#include <functional>
#include <iostream>
#include <thread>
#include <vector>

namespace quill_test {

/// Runs `action` with 0 to `count` - 1, each on a thread of its own.
inline void on_threads(int count, const std::function<void(int)>& action) {
    std::vector<std::thread> threads;
    for (int i = 0; i < count; ++i) {
        threads.emplace_back(action, i);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

/// Runs `action` with 0 to `count` - 1, each in a process of its own that starts working when all are there. The test
/// fails when one of them throws.
inline void in_processes(int count, const std::function<void(int)>& action) {
    int gate[2];
    ASSERT_EQ(pipe(gate), 0);
    std::vector<pid_t> children;
    for (int i = 0; i < count; ++i) {
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            char none = 0;
            close(gate[1]);
            bool done = read(gate[0], &none, 1) == 0;
            try {
                action(i);
            } catch (const std::exception& error) {
                std::cerr << error.what() << std::endl;
                done = false;
            }
            _exit(done ? 0 : 1);
        }
        children.push_back(child);
    }
    close(gate[0]);
    close(gate[1]);
    for (const pid_t child : children) {
        int status = -1;
        waitpid(child, &status, 0);
        EXPECT_EQ(status, 0);
    }
}

}  // namespace quill_test
