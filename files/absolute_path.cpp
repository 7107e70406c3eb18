#include "files/absolute_path.h"

namespace quill {

std::filesystem::path absolute_normalized(const std::filesystem::path& path) {
    const std::filesystem::path normal = std::filesystem::absolute(path).lexically_normal();
    return normal.has_filename() || !normal.has_relative_path() ? normal : normal.parent_path();
}

}  // namespace quill
