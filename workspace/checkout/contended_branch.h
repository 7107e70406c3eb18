// Working on a branch on which other processes work as well.
#pragma once

#include <filesystem>
#include <functional>

namespace quill {

/// Calls `attempt`, and again while it throws that the branch has moved on the remote: another process was faster. Who
/// lost waits for a lock on the project's checkouts and keeps it, so that losers come one by one; who comes later waits
/// for them. Who still loses, to other copies of the package, pauses each time, longer and at random, so that the same
/// do not meet again. Gives up, with what `attempt` threw, after 40 attempts. What else it throws passes. Throws
/// std::runtime_error "could not lock workspace folder: " + folder, too.
void repeat_while_branch_moves(const std::filesystem::path& project, const std::function<void()>& attempt);

}  // namespace quill
