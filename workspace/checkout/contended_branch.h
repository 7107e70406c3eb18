// Working on a branch on which other processes work as well.
#pragma once

#include <filesystem>
#include <functional>

namespace quill {

/// Calls `attempt`, and calls it again as long as it throws that the branch has moved on the remote: another process
/// published first. After the first loss it locks the project's checkouts and keeps the lock, so that processes that
/// lost come one by one; a process that begins waits for them. Against processes on other copies of the package, which
/// the lock does not reach, it pauses before each further attempt, longer each time and at random. After 40 attempts it
/// throws what `attempt` threw. Other exceptions of `attempt` pass at once. Also throws std::runtime_error "could not
/// lock workspace folder: " + folder.
void repeat_while_branch_moves(const std::filesystem::path& project, const std::function<void()>& attempt);

}  // namespace quill
