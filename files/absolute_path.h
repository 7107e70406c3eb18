// A path in the one form in which paths are compared, kept and handed on. Any thread.
#pragma once

#include <filesystem>

namespace quill {

/// `path` made absolute against the current directory and lexically normalised, without a trailing separator. Links are
/// not resolved.
std::filesystem::path absolute_normalized(const std::filesystem::path& path);

}  // namespace quill
