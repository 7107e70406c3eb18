#include "workspace/checkout/package_base.h"

#include <algorithm>
#include <stdexcept>

#include "engine/engine_errors.h"
#include "files/absolute_path.h"
#include "files/text_file.h"
#include "project/package_state.h"
#include "project/repository_configuration.h"
#include "project/workspace_paths.h"
#include "workspace/checkout/workspace_checkout.h"

namespace quill {
namespace {

namespace fs = std::filesystem;

// How far back a file's origin is looked for.
constexpr std::uint64_t searched_versions = 500;

// Holds a revision that was about to be published and the paths of its commit, a NUL behind each; nothing where files
// were about to be replaced.
fs::path announcement_file(const fs::path& checkout) {
    return checkout / ".announced-commit";
}

std::string text_of(const std::vector<std::string>& texts) {
    std::string joined;
    for (const std::string& text : texts) {
        joined += text;
        joined += '\0';
    }
    return joined;
}

std::vector<std::string> texts_in(const std::string& joined) {
    std::vector<std::string> texts;
    for (std::size_t begin = 0, end = 0; (end = joined.find('\0', begin)) != std::string::npos; begin = end + 1) {
        texts.push_back(joined.substr(begin, end - begin));
    }
    return texts;
}

// Holds the paths of unknown origin, a NUL behind each. Its presence says that origins were looked for.
fs::path origins_file(const fs::path& checkout) {
    return checkout / ".unknown-origins";
}

}  // namespace

PackageBase::PackageBase(const fs::path& project)
    : checkout_{workspace_package_base(project), project_tome_remote_url(project), absolute_normalized(project)} {}

std::optional<PackageBase> PackageBase::open(const fs::path& project) {
    PackageBase base(project);
    try {
        clone_detached_checkout_if_needed(project, base.checkout_.root);
    } catch (const std::runtime_error& error) {
        if (says_that_history_is_missing(error)) {
            return std::nullopt;
        }
        throw;
    }
    base.has_origins() ? base.read_unknown() : base.find_origins();
    base.record_announced();
    return base;
}

PackageBase PackageBase::require(const fs::path& project) {
    std::optional<PackageBase> base = open(project);
    if (!base) {
        throw std::runtime_error("the project's history is gone from its remote: " + project_tome_remote_url(project));
    }
    return std::move(*base);
}

// The record can be made again where it is damaged; then the history tells what the files stand on.
template <typename Call>
auto PackageBase::repaired(Call call) {
    for (int attempt = 0; attempt < 2; ++attempt) {  // A read that failed may look like damage once, but not twice.
        try {
            return call();
        } catch (const std::runtime_error& error) {
            if (!says_that_checkout_is_damaged(error)) {
                throw;
            }
        }
    }
    discard_state(checkout_.working_folder, checkout_.root);
    clone_detached_checkout_if_needed(checkout_.working_folder, checkout_.root);
    unknown_.clear();
    find_origins();
    return call();
}

void PackageBase::start(const fs::path& project, const std::string& revision) {
    try {
        PackageBase base(project);
        clone_detached_checkout_if_needed(project, base.checkout_.root);
        base.record_all(revision);
    } catch (const std::runtime_error&) {
    }
}

bool PackageBase::has_origins() const {
    std::error_code ignored;
    return fs::exists(origins_file(checkout_.root), ignored);
}

void PackageBase::read_unknown() {
    const std::vector<std::string> paths = texts_in(read_text_file(origins_file(checkout_.root)));
    unknown_.insert(paths.begin(), paths.end());
}

BranchComparison PackageBase::compare(const std::vector<std::string>& paths) const {
    return compare_with_branch(checkout_, paths);
}

BranchComparison PackageBase::compare_and_settle(const std::vector<std::string>& paths) {
    BranchComparison comparison = repaired([&] { return compare(paths); });
    std::vector<std::string> suspects = comparison.conflicts();
    std::erase_if(suspects, [&](const std::string& path) { return is_of_unknown_origin(path); });
    if (suspects.empty()) {
        return comparison;
    }
    settle(suspects);
    return compare(paths);
}

std::vector<std::string> PackageBase::settle(const std::vector<std::string>& paths) {
    std::vector<std::string> edits;
    if (!paths.empty()) {
        call_tome_file_base_find(checkout_, paths, searched_versions);
        for (const ProjectFileState& file : compare(paths).files) {
            if (file.changed_here()) {
                edits.push_back(file.path);
            }
        }
    }
    return edits;
}

void PackageBase::announce(const std::string& revision, const std::vector<std::string>& paths) const {
    std::vector<std::string> texts{revision};
    texts.insert(texts.end(), paths.begin(), paths.end());
    write_text_file_atomically(announcement_file(checkout_.root), text_of(texts));
}

// The package had the files of a commit when it was made, so what has happened to them since are edits of it.
void PackageBase::record_announced() {
    std::error_code ignored;
    if (!fs::exists(announcement_file(checkout_.root), ignored)) {
        return;
    }
    std::vector<std::string> texts = texts_in(read_text_file(announcement_file(checkout_.root)));
    if (texts.empty()) {
        const BranchComparison comparison = compare();
        for (const ProjectFileState& file : comparison.files) {
            if (file.is_same()) {
                texts.push_back(file.path);
            }
        }
        record(comparison.head, texts, false);
    } else if (texts.size() > 1) {
        const std::string revision = texts.front();
        const auto history = call_tome_revision_history(checkout_, "main", searched_versions).revisions;
        if (std::any_of(history.begin(), history.end(),
                        [&](const ProjectWorkspaceRevision& published) { return published.id == revision; })) {
            texts.erase(texts.begin());
            record(revision, texts, false);
        }
    }
    forget_announcement();
}

void PackageBase::forget_announcement() const {
    std::error_code ignored;
    fs::remove(announcement_file(checkout_.root), ignored);
}

void PackageBase::record(const std::string& revision, const std::vector<std::string>& paths, bool whole) {
    if (!paths.empty()) {
        call_tome_file_base_set(checkout_, revision, paths, whole);
        forget_unknown(paths);
    }
    forget_announcement();
}

void PackageBase::announce_replacement(const fs::path& project) {
    const fs::path root = workspace_package_base(project);
    if (is_tome_checkout(root)) {
        write_text_file_atomically(announcement_file(root), "");
    }
}

void PackageBase::note_announced(const fs::path& project) {
    std::error_code ignored;
    try {
        if (fs::exists(announcement_file(workspace_package_base(project)), ignored)) {
            open(project);
        }
    } catch (const std::runtime_error&) {
    }
}

void PackageBase::record_all(const std::string& revision) {
    call_tome_file_base_set(checkout_, revision, {}, true);
    forget_announcement();
    unknown_.clear();
    write_unknown();
}

void PackageBase::find_origins() {
    std::vector<std::string> candidates;
    for (const ProjectFileState& file : compare().files) {
        if (file.here && !file.base) {
            candidates.push_back(file.path);
        }
    }
    if (!candidates.empty()) {
        call_tome_file_base_find(checkout_, candidates, searched_versions);
    }
    for (const ProjectFileState& file : compare().files) {
        if (file.here && file.there && !file.base) {
            unknown_.insert(file.path);
        }
    }
    write_unknown();
}

void PackageBase::forget_unknown(const std::vector<std::string>& paths) {
    const auto erased =
        std::count_if(paths.begin(), paths.end(), [&](const std::string& path) { return unknown_.erase(path) != 0; });
    if (erased != 0) {
        write_unknown();
    }
}

void PackageBase::write_unknown() const {
    write_text_file_atomically(origins_file(checkout_.root), text_of({unknown_.begin(), unknown_.end()}));
}

}  // namespace quill
