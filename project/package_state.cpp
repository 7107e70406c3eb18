#include "project/package_state.h"

#include <stdexcept>
#include <string>

#include "files/absolute_path.h"
#include "files/folder_tree.h"

namespace quill {
namespace {

namespace fs = std::filesystem;

struct Place {
    fs::path root;
    std::string relative;
};

Place place_of(const fs::path& project, const fs::path& path) {
    const fs::path package = absolute_normalized(project);
    const fs::path relative = path.lexically_normal().lexically_relative(package);
    if (relative.empty() || *relative.begin() == "..") {
        return {path.parent_path(), path.filename().string()};
    }
    return {package, relative == "." ? std::string() : relative.string()};
}

// The first link on the way to the place, the place among it.
[[noreturn]] void refuse_link(const Place& place) {
    const FolderTree tree(place.root);
    for (std::size_t slash = place.relative.find('/');; slash = place.relative.find('/', slash + 1)) {
        const std::string part = place.relative.substr(0, slash);
        const auto entry = tree.find(part);
        if (slash == std::string::npos || (entry && entry->kind == FolderEntry::Kind::Link)) {
            throw std::runtime_error("a symbolic link stands in the way: " + (place.root / part).string());
        }
    }
}

template <typename Call>
void in_place(const Place& place, Call call) {
    try {
        call(FolderTree(place.root));
    } catch (const FileError& error) {
        if (error.kind() != FileError::Kind::Link) {
            throw;
        }
        refuse_link(place);
    }
}

}  // namespace

fs::path unlinked_state_path(const fs::path& project, const fs::path& path) {
    const Place place = place_of(project, path);
    std::error_code ignored;
    if (fs::is_directory(place.root, ignored)) {
        in_place(place, [&](const FolderTree& tree) {
            const auto entry = tree.find(place.relative);
            if (entry && entry->kind == FolderEntry::Kind::Link) {
                refuse_link(place);
            }
        });
    }
    return path;
}

void make_state_folder(const fs::path& project, const fs::path& path) {
    const Place place = place_of(project, path);
    in_place(place, [&](const FolderTree& tree) { tree.make_folder(place.relative); });
}

void remove_state(const fs::path& project, const fs::path& path) {
    const Place place = place_of(project, path);
    std::error_code ignored;
    if (fs::is_directory(place.root, ignored)) {
        in_place(place, [&](const FolderTree& tree) { tree.remove_all(place.relative); });
    }
}

void discard_state(const fs::path& project, const fs::path& path) noexcept {
    try {
        remove_state(project, path);
    } catch (const std::exception&) {
        // It may be removed another time.
    }
}

}  // namespace quill
