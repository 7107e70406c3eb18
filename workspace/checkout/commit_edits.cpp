#include "workspace/checkout/commit_edits.h"

#include <algorithm>
#include <functional>
#include <iterator>
#include <set>

#include "files/folder_tree.h"
#include "project/visible_files.h"
#include "workspace/checkout/file_keeper.h"

namespace quill {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t max_named_conflicts = 10;

std::string conflict_text(const std::vector<std::string>& paths, const std::string& branch) {
    std::string text = "changed here and, otherwise, on " + branch + ": ";
    for (std::size_t i = 0; i < std::min(paths.size(), max_named_conflicts); ++i) {
        text += (i == 0 ? "" : ", ") + paths[i];
    }
    if (paths.size() > max_named_conflicts) {
        text += " and " + std::to_string(paths.size() - max_named_conflicts) + " more";
    }
    return text + "; sync these files from " + branch +
           ", which keeps a copy of what is here, put your changes in again and commit then";
}

bool is_file(const FolderTree& source, const fs::path& path) {
    const std::optional<FolderEntry> entry = find_in_source(source, path.string());
    return entry && entry->is_file();
}

// A folder without any file is the wrong one, not a package that its user emptied.
void require_some_file(const FolderTree& source, const CommitEdits& edits) {
    const std::vector<std::string> names = source.names_in("");
    if (!edits.is_sparse && std::all_of(names.begin(), names.end(), [](const std::string& name) {
            return project_relative_path_is_hidden(name);
        })) {
        throw no_file_in_source(source.root());
    }
}

// Sorts what differs into edits and files that are behind.
void add_differing(const BranchComparison& comparison, const std::function<bool(const std::string&)>& is_unknown,
                   CommitEdits& edits) {
    std::vector<std::string> conflicts;
    for (const ProjectFileState& file : comparison.files) {
        if (file.is_same()) {
            edits.exchanged.push_back(file.path);
        } else if (!file.changed_here()) {
            edits.is_whole = false;
        } else if (!file.changed_there() || is_unknown(file.path)) {
            edits.taken.emplace_back(file.path);
            edits.exchanged.push_back(file.path);
        } else {
            conflicts.push_back(file.path);
        }
    }
    if (!conflicts.empty()) {
        throw ConflictingEditsError(conflicts, edits.branch);
    }
}

void add_the_same(const std::vector<fs::path>& paths, const BranchComparison& comparison, CommitEdits& edits) {
    std::set<std::string> differing;
    for (const ProjectFileState& file : comparison.files) {
        differing.insert(file.path);
    }
    std::copy_if(paths.begin(), paths.end(), std::back_inserter(edits.taken),
                 [&](const fs::path& path) { return !differing.contains(path.string()); });
}

bool never(const std::string&) {
    return false;
}

}  // namespace

ConflictingEditsError::ConflictingEditsError(std::vector<std::string> paths, const std::string& branch)
    : std::runtime_error(conflict_text(paths, branch)), paths_(std::move(paths)) {}

CommitEdits find_package_edits(PackageBase& base) {
    const BranchComparison comparison = base.compare_and_settle();
    CommitEdits edits{CommitScope::Everything, "main", comparison.head, {}, {}, true, false};
    add_differing(comparison, never, edits);
    return edits;
}

CommitEdits find_package_edits(PackageBase& base, const std::vector<fs::path>& paths) {
    CommitEdits edits{CommitScope::GivenPaths, "main", {}, {}, {}, false, false};
    if (!paths.empty()) {
        const BranchComparison comparison = base.compare_and_settle({paths.begin(), paths.end()});
        edits.head = comparison.head;
        add_the_same(paths, comparison, edits);
        add_differing(
            comparison, [&](const std::string& path) { return base.is_of_unknown_origin(path); }, edits);
    }
    return edits;
}

CommitEdits find_workspace_edits(const CheckoutLocation& checkout, const std::string& workspace,
                                 const std::vector<fs::path>& paths) {
    const BranchComparison comparison = compare_with_branch(checkout, {paths.begin(), paths.end()});
    CommitEdits edits{CommitScope::GivenPaths, workspace, comparison.head, {}, {}, false, true};
    const FolderTree source = open_source_folder(checkout.root);
    std::vector<fs::path> present;  // A checkout may lack a file without having deleted it.
    std::copy_if(paths.begin(), paths.end(), std::back_inserter(present),
                 [&](const fs::path& path) { return find_in_source(source, path.string()).has_value(); });
    add_the_same(present, comparison, edits);
    add_differing(comparison, never, edits);
    return edits;
}

void merge_conflicting_edits(const fs::path& project, const CheckoutLocation& checkout, const std::string& branch,
                             const std::vector<std::string>& paths) {
    TomeUpdate update;
    update.paths = paths;
    FileKeeper kept(project, "commit", branch);
    for (const bool check_only : {true, false}) {
        update.check_only = check_only;
        const TomeWorkspaceState state = call_tome_file_update(checkout, update);
        if (!state.changed_paths.empty()) {
            throw ConflictingEditsError(state.changed_paths, branch);
        }
        if (check_only) {
            for (const std::string& path : paths) {
                kept.keep(path);
            }
            kept.make_durable();
        }
    }
    kept.complete();
}

void mirror_edits(const fs::path& source_root, const CheckoutLocation& checkout, const CommitEdits& edits) {
    const FolderTree source = open_source_folder(source_root);
    TomeSync gone;
    gone.scratch = true;
    for (const fs::path& path : edits.taken) {
        if (!is_file(source, path)) {
            gone.paths.push_back(path.string());
        }
    }
    if (!gone.paths.empty()) {  // The engine sees that a file is deleted only where the checkout holds it.
        require_some_file(source, edits);
        call_tome_revision_sync(checkout, gone);
    }
    mirror_selected_project_files(source, checkout.root, edits.taken, edits.scope);
}

void require_edits_of_base(const CommitEdits& edits, const std::string& base) {
    if (!edits.head.empty() && edits.head != base) {
        throw std::runtime_error("tome_repository_status: branch has moved on the remote: " + edits.branch);
    }
}

void record_published_edits(PackageBase& base, const CommitEdits& edits, const std::string& revision) {
    try {
        if (!revision.empty()) {
            base.record(revision, edits.exchanged, edits.is_whole);
        }
    } catch (const std::runtime_error&) {
    }
}

}  // namespace quill
