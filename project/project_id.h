// The stable ID of a project: 12 to 64 ASCII letters, digits, "_" or "-". It names the project's history.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace quill {

/// A new ID: 16 letters and digits, uniformly drawn from "/dev/urandom".
std::string generate_project_id();

bool is_valid_project_id(std::string_view id);

/// The manifest's ID; a missing or invalid one is first replaced by a new one, which is written to the manifest.
/// Throws std::runtime_error "Could not open " + path, "Invalid project manifest: " + path, or what the atomic write
/// throws. Callers of one process exclude each other.
std::string ensure_project_id(const std::filesystem::path& project_path);

}  // namespace quill
