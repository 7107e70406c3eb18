#include "workspace/checkout/kept_files.h"

#include <algorithm>
#include <optional>
#include <stdexcept>

#include "files/absolute_path.h"
#include "files/file_bytes.h"
#include "files/folder_tree.h"
#include "project/visible_files.h"
#include "workspace/checkout/commit_lock.h"
#include "workspace/checkout/file_keeper.h"

namespace quill {
namespace {

namespace fs = std::filesystem;

// The regular files of a set; none where its name leads to no folder.
std::vector<KeptFile> files_in(const FolderTree& package, const std::string& folder) {
    std::vector<KeptFile> files;
    const std::optional<FolderEntry> entry = package.find(folder);
    if (!entry || !entry->is_folder()) {
        return files;
    }
    FolderTree::WalkRules rules;
    rules.stamps = true;
    package.walk(folder, rules, [&](const std::string& path, const FolderEntry& file) {
        const std::string relative = path.substr(folder.size() + 1);
        if (file.is_file() && !project_relative_path_is_hidden(relative)) {
            files.push_back({relative, file.stamp.size});
        }
    });
    std::sort(files.begin(), files.end(), [](const KeptFile& a, const KeptFile& b) { return a.path < b.path; });
    return files;
}

std::optional<KeptFileSet> set_named(const FolderTree& package, const std::string& sets_folder, const std::string& id) {
    const std::optional<KeptSetName> name = parse_kept_set_name(id);
    if (!name) {
        return std::nullopt;
    }
    KeptFileSet set{
        id, name->time, name->operation, name->workspace, name->complete, files_in(package, sets_folder + "/" + id)};
    return set.files.empty() ? std::nullopt : std::optional(std::move(set));
}

[[noreturn]] void refuse(const std::string& text) {
    throw std::runtime_error("could not bring kept file back: " + text);
}

// Brings files of a set back.
class KeptFilesRestore {
  public:
    KeptFilesRestore(const fs::path& project, const KeptFileSet& set, const std::vector<fs::path>& paths)
        : package_(project),
          set_(kept_sets_folder(project) + "/" + set.id + "/"),
          files_(files_of_the_workspace(project, set.workspace)),
          keeper_(project, "restore-kept", set.workspace) {
        for (const KeptFile& file : set.files) {
            paths_.push_back(file.path);
        }
        if (!paths.empty()) {
            choose(paths);
        }
    }

    KeptFilesRestoreResult run() {
        KeptFilesRestoreResult result;
        std::vector<std::string> same;
        for (const std::string& path : paths_) {
            (is_to_be_written(path) ? result.files : same).push_back(path);
        }
        keeper_.make_way(result.files);
        for (const std::string& path : result.files) {
            keeper_.keep(path);
        }
        keeper_.make_durable();
        for (const std::string& path : result.files) {
            put_back(path);
        }
        for (const std::string& path : same) {
            put_executable_bit_back(path);
        }
        make_durable();
        keeper_.complete();
        result.keptSet = keeper_.set();
        return result;
    }

  private:
    static FolderTree files_of_the_workspace(const fs::path& project, const std::string& workspace) {
        try {
            return FolderTree(working_files_of(project, workspace));
        } catch (const FileError&) {
            throw std::runtime_error("workspace has no checkout: " + workspace);
        }
    }

    void choose(const std::vector<fs::path>& paths) {
        std::vector<std::string> chosen;
        for (const fs::path& path : paths) {
            chosen.push_back(path.lexically_normal().string());
            if (!std::binary_search(paths_.begin(), paths_.end(), chosen.back())) {
                throw std::runtime_error("not among the kept files: " + path.string());
            }
        }
        std::sort(chosen.begin(), chosen.end());
        chosen.erase(std::unique(chosen.begin(), chosen.end()), chosen.end());
        paths_ = std::move(chosen);
    }

    // Refuses what could not be carried out; writes nothing.
    bool is_to_be_written(const std::string& path) const {
        try {
            const FileDescriptor kept = package_.open_file(set_ + path);
            if (!can_give_way(files_, path)) {
                refuse("what stands in its place is none of the project's files: " + path);
            }
            return !holds_bytes_of(kept, files_, path);
        } catch (const FileError& error) {
            if (error.kind() == FileError::Kind::Link) {
                refuse("a symbolic link stands in the way of " + path);
            }
            refuse(path);
        }
    }

    void put_back(const std::string& path) const {
        try {
            files_.make_folder(folder_of(path));
            replace_file_by_copy(package_.open_file(set_ + path), files_, path);
        } catch (const FileError&) {
            refuse(path);
        }
    }

    void put_executable_bit_back(const std::string& path) const {
        try {
            match_executable_bit(package_.open_file(set_ + path), files_, path);
        } catch (const FileError&) {
            refuse(path);
        }
    }

    void make_durable() const {
        try {
            sync_folders(files_, paths_);
        } catch (const FileError&) {
            refuse(paths_.front());
        }
    }

    FolderTree package_;
    std::string set_;   // how paths of the set's files begin
    FolderTree files_;  // the workspace's files
    FileKeeper keeper_;
    std::vector<std::string> paths_;
};

}  // namespace

std::vector<KeptFileSet> list_kept_files(const fs::path& project) {
    const fs::path package_path = absolute_normalized(project);
    const std::string sets_folder = kept_sets_folder(package_path);
    std::vector<KeptFileSet> sets;
    try {
        const FolderTree package(package_path);
        for (const std::string& id : kept_set_names(package, sets_folder)) {
            if (std::optional<KeptFileSet> set = set_named(package, sets_folder, id)) {
                sets.push_back(std::move(*set));
            }
        }
    } catch (const FileError& error) {
        throw std::runtime_error(std::string("could not list kept files: ") + error.what());
    }
    return sets;
}

KeptFilesRestoreResult restore_kept_files(const fs::path& project, const std::string& id,
                                          const std::vector<fs::path>& paths) {
    const fs::path package = absolute_normalized(project);
    const std::optional<KeptFileSet> set = set_named(FolderTree(package), kept_sets_folder(package), id);
    if (!set) {
        throw std::runtime_error("there are no kept files of this name: " + id);
    }
    const auto lock = lock_workspace_commits(set->workspace);
    return KeptFilesRestore(package, *set, paths).run();
}

}  // namespace quill
