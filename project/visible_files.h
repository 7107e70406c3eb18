// Which files of a project are versioned: the visible ones. Commit, sync, comparison, restore and merge all go by this
// one rule. Nothing here has shared state.
#pragma once

#include <filesystem>
#include <set>
#include <string>
#include <vector>

namespace quill {

class FolderTree;

/// Whether a lexically normalised project-relative path is hidden: temporary and backup manifests, everything below
/// the build and bookkeeping folders, and every path with a component that begins with a dot.
bool project_relative_path_is_hidden(const std::filesystem::path& relative);

/// The visible regular files below `root`, links to files included, links to folders not followed: project-relative, in
/// byte order. For display: returns what could be read, and never throws.
std::vector<std::string> visible_project_files(const std::filesystem::path& root);

/// All visible regular files of the tree, listed in the same way: for deciding what is committed, removed or verified.
/// Throws FileError with the path that could not be read.
std::vector<std::string> all_visible_project_files(const FolderTree& tree);

/// The visible links that lead to one of the given files of the same tree, in byte order. Throws FileError.
std::vector<std::string> visible_links_to(const FolderTree& tree, const std::set<std::string>& files);

}  // namespace quill
