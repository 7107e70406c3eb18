#include "project/package_state.h"

#include <stdexcept>
#include <string>

#include "files/absolute_path.h"
#include "files/folder_tree.h"

namespace quill {
namespace {

namespace fs = std::filesystem;

struct StatePath {
    fs::path root;         // the package, or the folder around a path that is not below it
    std::string relative;  // below the root
};

StatePath state_path_of(const fs::path& project, const fs::path& path) {
    const fs::path package = absolute_normalized(project);
    const fs::path relative = path.lexically_normal().lexically_relative(package);
    if (relative.empty() || *relative.begin() == "..") {
        return {path.parent_path(), path.filename().string()};
    }
    return {package, relative == "." ? std::string() : relative.string()};
}

// The error names the first link that is met on the way along the path, its last part included.
[[noreturn]] void refuse_link(const StatePath& state) {
    const FolderTree tree(state.root);
    for (std::size_t slash = state.relative.find('/');; slash = state.relative.find('/', slash + 1)) {
        const std::string part = state.relative.substr(0, slash);
        const auto entry = tree.find(part);
        if (slash == std::string::npos || (entry && entry->kind == FolderEntry::Kind::Link)) {
            throw std::runtime_error("a symbolic link stands in the way: " + (state.root / part).string());
        }
    }
}

template <typename Call>
void in_state_tree(const StatePath& state, Call call) {
    try {
        call(FolderTree(state.root));
    } catch (const FileError& error) {
        if (error.kind() != FileError::Kind::Link) {
            throw;
        }
        refuse_link(state);
    }
}

}  // namespace

fs::path unlinked_state_path(const fs::path& project, const fs::path& path) {
    const StatePath state = state_path_of(project, path);
    std::error_code ignored;
    if (fs::is_directory(state.root, ignored)) {
        in_state_tree(state, [&](const FolderTree& tree) {
            const auto entry = tree.find(state.relative);
            if (entry && entry->kind == FolderEntry::Kind::Link) {
                refuse_link(state);
            }
        });
    }
    return path;
}

void make_state_folder(const fs::path& project, const fs::path& path) {
    const StatePath state = state_path_of(project, path);
    in_state_tree(state, [&](const FolderTree& tree) { tree.make_folder(state.relative); });
}

void remove_state(const fs::path& project, const fs::path& path) {
    const StatePath state = state_path_of(project, path);
    std::error_code ignored;
    if (fs::is_directory(state.root, ignored)) {
        in_state_tree(state, [&](const FolderTree& tree) { tree.remove_all(state.relative); });
    }
}

void discard_state(const fs::path& project, const fs::path& path) noexcept {
    try {
        remove_state(project, path);
    } catch (const std::exception&) {
        // It stays until a later call removes it.
    }
}

}  // namespace quill
