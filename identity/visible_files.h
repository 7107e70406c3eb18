// Which files of a project are versioned: the visible ones. Commit, sync, comparison, restore and merge all go by this
// one rule. Nothing here throws or has shared state.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace quill {

/// Whether a lexically normalised project-relative path is hidden: temporary and backup manifests, everything below
/// the build and bookkeeping folders, and every path with a component that begins with a dot.
bool project_relative_path_is_hidden(const std::filesystem::path& relative);

/// The visible regular files below `root`, links to files included, links to folders not followed: project-relative, in
/// byte order. A missing root gives none; a walk that meets an error ends there.
std::vector<std::string> visible_project_files(const std::filesystem::path& root);

}  // namespace quill
