// Where applications find the files of a workspace.
#pragma once

#include <filesystem>
#include <string>

namespace quill {

/// The checkout's root of a workspace, whether it exists yet or not; an empty id means "main", whose checkout is the
/// project's Tome repository path. Throws what reading the project throws.
std::filesystem::path project_workspace_checkout_root(const std::filesystem::path& project, const std::string& id);

}  // namespace quill
