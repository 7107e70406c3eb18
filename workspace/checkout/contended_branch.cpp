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

// Whoever loses an attempt loses to a commit that was published, so many processes at once still all get through.
constexpr int max_attempts = 40;

constexpr int shortest_pause = 4;
constexpr int longest_pause = 64;

void pause_after(int attempt) {
    thread_local std::minstd_rand random{std::random_device{}()};
    const int longest = std::min(longest_pause, shortest_pause << std::min(attempt, 8));
    std::this_thread::sleep_for(std::chrono::milliseconds(std::uniform_int_distribution<>(1, longest)(random)));
}

// A process that begins waits for those that lost, so that they do not lose again and again.
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
