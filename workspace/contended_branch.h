// Working on a branch on which other processes work as well.
#pragma once

#include <filesystem>
#include <functional>

namespace quill {

/// Calls `attempt`, and again while it throws that the branch has moved on the remote: another process was faster.
/// After a pause that grows and is random, so that those who lost do not meet again; who lost several times waits for a
/// lock on the project's checkouts, so that they come one by one. Gives up, with what `attempt` threw, after 40
/// attempts. What else it throws passes. Throws std::runtime_error "could not lock workspace folder: " + folder, too.
void repeat_while_branch_moves(const std::filesystem::path& project, const std::function<void()>& attempt);

}  // namespace quill
