// The folder ".tome", in which the engine keeps the state of a checkout, and its file config.toml, as far as the
// library reads it. That file is written last: where it stands, the checkout is whole. Any thread.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace quill {

inline constexpr const char* tome_state_folder_name = ".tome";

/// The folder of the engine's state in a checkout.
std::filesystem::path tome_state_folder(const std::filesystem::path& checkout);

/// The configuration in that folder.
std::filesystem::path tome_configuration_file(const std::filesystem::path& checkout);

// Two ways to find a value, which agree on every file that the engine writes. They differ on files that somebody
// edited, and each caller's way is fixed: what a project's remote is goes by assignment, what one call of the engine
// gets goes by the first line that holds the key. A file that cannot be read holds nothing.

/// The value that the first line `key = value` assigns, without the quotes around it; a "#" begins a comment.
std::optional<std::string> assigned_tome_configuration(const std::filesystem::path& checkout, std::string_view key);

/// The text between the two quotes that follow `key` in the first line that holds it, wherever it stands there. Empty
/// text when that line lacks a quote.
std::optional<std::string> quoted_tome_configuration(const std::filesystem::path& checkout, std::string_view key);

}  // namespace quill
