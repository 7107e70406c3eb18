#include "workspace/checkout/contended_branch.h"

#include <algorithm>
#include <chrono>
#include <optional>
#include <random>
#include <stdexcept>
#include <thread>

#include "engine/engine_errors.h"
#include "files/folder_lock.h"
#include "project/workspace_paths.h"

namespace quill {
namespace {

// An attempt is lost only to a process that has published its commit, so many that work at once all get through.
constexpr int max_attempts = 40;

constexpr int shortest_pause = 4;
constexpr int longest_pause = 64;

void pause_after(int attempt) {
    thread_local std::minstd_rand random{std::random_device{}()};
    const int longest = std::min(longest_pause, shortest_pause << std::min(attempt, 8));
    std::this_thread::sleep_for(std::chrono::milliseconds(std::uniform_int_distribution<>(1, longest)(random)));
}

// A process that lost an attempt holds the lock on the folder while it tries again. One that begins waits for it here,
// so that nobody loses again and again.
void let_losers_go_first(const std::filesystem::path& folder) {
    std::error_code ignored;
    if (std::filesystem::is_directory(folder, ignored)) {
        const FolderLock turn(folder);
    }
}

}  // namespace

void repeat_while_branch_moves(const std::filesystem::path& project, const std::function<void()>& attempt) {
    const std::filesystem::path folder = workspace_checkout_base(project);
    let_losers_go_first(folder);
    std::optional<FolderLock> turn;
    for (int number = 1;; ++number) {
        try {
            return attempt();
        } catch (const std::runtime_error& error) {
            if (number == max_attempts || !says_that_branch_moved(error)) {
                throw;
            }
        }
        if (!turn) {
            turn.emplace(folder);
        } else {
            pause_after(number);
        }
    }
}

}  // namespace quill
