#include "workspace/checkout/branch_comparison.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <filesystem>

#include "digest/sha256.h"
#include "files/folder_tree.h"
#include "project/file_tree_materialization.h"
#include "project/visible_files.h"

namespace quill {
namespace {

std::vector<std::string> hidden_folders(const FolderTree& package) {
    std::vector<std::string> folders = package.names_in("");
    std::erase_if(folders, [](const std::string& name) { return !project_relative_path_is_hidden(name + "/file"); });
    return folders;
}

std::string hash_of(const FileDescriptor& file, const std::string& path) {
    Sha256 hash;
    std::array<char, 1U << 16U> block;
    for (;;) {
        const ssize_t size = read(file.get(), block.data(), block.size());
        if (size == 0) {
            return hash.finish_hex();
        }
        if (size < 0 && errno != EINTR) {
            throw FileError(FileError::Kind::System, "could not read " + path, errno);
        }
        hash.update(block.data(), size > 0 ? static_cast<std::size_t>(size) : 0);
    }
}

// A link to a file stands for that file. Nothing else that is no file belongs to the project.
void resolve_other_kind(const FolderTree& package, ProjectFileState& state) {
    const std::optional<FolderEntry> target = package.find_target(state.path);
    state.is_other_kind = false;
    if (target && target->is_file()) {
        state.here = ProjectFileVersion{hash_of(package.open_target(state.path), state.path), target->stamp.size,
                                        target->stamp.executable};
    }
}

bool is_of_the_project(const ProjectFileState& state) {
    return !project_relative_path_is_hidden(state.path) && !is_restore_staging_file(state.path);
}

}  // namespace

std::vector<std::string> BranchComparison::conflicts() const {
    std::vector<std::string> paths;
    for (const ProjectFileState& file : files) {
        if (file.changed_here() && file.changed_there() && !file.is_same()) {
            paths.push_back(file.path);
        }
    }
    return paths;
}

BranchComparison compare_with_branch(const CheckoutLocation& checkout, const std::vector<std::string>& paths) {
    const FolderTree folder(checkout.working_folder.empty() ? checkout.root : checkout.working_folder);
    TomeWorkspaceState state = call_tome_file_state(checkout, paths, hidden_folders(folder));
    BranchComparison comparison{state.identity, {}};
    for (ProjectFileState& file : state.file_states) {
        if (!is_of_the_project(file)) {
            continue;
        }
        if (file.is_other_kind) {
            resolve_other_kind(folder, file);
        }
        if (file.changed_here() || file.changed_there()) {
            comparison.files.push_back(std::move(file));
        }
    }
    return comparison;
}

}  // namespace quill
