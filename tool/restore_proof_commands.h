// Two commands that show, on a real project, that restoring an earlier revision brings back its exact bytes.
#pragma once

#include <string>
#include <vector>

namespace quill_tool {

/// Adds a visible change to the main scene, commits it and prints the two revisions.
void run_prepare_visual_restore_proof(const std::vector<std::string>& arguments);

/// Does the same, restores the first state and prints a pass record when every check holds.
void run_restore_proof(const std::vector<std::string>& arguments);

}  // namespace quill_tool
