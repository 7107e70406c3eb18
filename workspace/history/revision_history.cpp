#include "workspace/history/revision_history.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>
#include <stdexcept>

#include "engine/engine_errors.h"
#include "engine/history_metadata.h"
#include "engine/tome_binding.h"
#include "files/absolute_path.h"
#include "project/workspace_id.h"
#include "workspace/checkout/package_base.h"
#include "workspace/checkout/workspace_checkout.h"
#include "workspace/index/workspace_lookup.h"

namespace quill {
namespace {

constexpr std::uint64_t default_limit = 50;
constexpr std::array<const char*, 4> display_names{revision_display_name::author, revision_display_name::created_at,
                                                   revision_display_name::summary,
                                                   revision_display_name::changed_file_count};

// The checkout to ask; nothing when the remote does not hold the project's repository yet.
std::optional<std::filesystem::path> history_checkout(const std::filesystem::path& project,
                                                      const std::string& workspace) {
    try {
        return ensure_tome_metadata_checkout(project);
    } catch (const std::runtime_error& error) {
        if (workspace != "main" || !says_that_history_is_missing(error)) {
            throw;
        }
        return std::nullopt;
    }
}

BranchMetadata display_metadata(const CheckoutLocation& checkout, const std::string& workspace,
                                const std::vector<ProjectWorkspaceRevision>& revisions) {
    std::vector<std::string> keys;
    for (const ProjectWorkspaceRevision& revision : revisions) {
        for (const char* name : display_names) {
            keys.push_back(revision_display_metadata_key(revision.id, name));
        }
    }
    try {
        return keys.empty() ? BranchMetadata() : call_tome_branch_metadata_get(checkout, workspace, keys).metadata;
    } catch (const std::runtime_error&) {
        return {};  // The history is worth showing without display values.
    }
}

// Replaces the revision's author, time, summary and count by those of the metadata. A revision without any entry there,
// such as a merge, keeps what the engine said.
void set_display_values(ProjectWorkspaceRevision& revision, const BranchMetadata& metadata) {
    std::array<const std::string*, display_names.size()> values{};
    std::transform(display_names.begin(), display_names.end(), values.begin(), [&](const char* name) {
        const auto entry = metadata.find(revision_display_metadata_key(revision.id, name));
        return entry != metadata.end() ? &entry->second : nullptr;
    });
    if (std::all_of(values.begin(), values.end(), [](const std::string* value) { return value == nullptr; })) {
        revision.createdAt = revision.createdAt == "0" ? "" : revision.createdAt;
        return;
    }
    const auto text = [&](std::size_t i) { return values[i] != nullptr ? *values[i] : std::string(); };
    revision.author = text(0);
    revision.createdAt = text(1);
    revision.summary = text(2);
    const std::string count = text(3);
    std::from_chars(count.data(), count.data() + count.size(), revision.changedFileCount);
}

}  // namespace

std::string displayed_revision_summary(const std::string& summary, std::uint64_t changed_files) {
    if (!summary.empty() && summary != "Quill workspace edit" && summary != "Workspace revision") {
        return summary;
    }
    return changed_files < 2 ? "Scene updated" : "Updated " + std::to_string(changed_files) + " project files";
}

std::vector<ProjectWorkspaceRevision> list_project_workspace_revisions(const std::filesystem::path& project_path,
                                                                       const std::string& workspace_id,
                                                                       std::uint64_t limit) {
    const std::filesystem::path project = absolute_normalized(project_path);
    const std::string id = workspace_id_or_main(workspace_id);
    PackageBase::note_announced(project);
    const ProjectWorkspace workspace = require_workspace_branch(project, id);
    const std::string remote = require_project_tome_remote(project);
    const std::optional<std::filesystem::path> root = history_checkout(project, id);
    if (!root) {
        return {};
    }
    const CheckoutLocation checkout{*root, remote};
    std::vector<ProjectWorkspaceRevision> revisions =
        call_tome_revision_history(checkout, id, limit == 0 ? default_limit : limit).revisions;
    const BranchMetadata metadata = display_metadata(checkout, id, revisions);
    std::stable_sort(revisions.begin(), revisions.end(),
                     [](const auto& a, const auto& b) { return a.order > b.order; });
    for (ProjectWorkspaceRevision& revision : revisions) {
        set_display_values(revision, metadata);
        revision.current = revision.id == revisions.front().id;
        if (revision.current) {
            revision.author = revision.author.empty() ? workspace.author : revision.author;
            revision.createdAt = revision.createdAt.empty() ? workspace.updatedAt : revision.createdAt;
        }
        if (revision.author == "<unknown>" || revision.author == "unknown") {
            revision.author.clear();
        }
        revision.summary = displayed_revision_summary(revision.summary, revision.changedFileCount);
    }
    return revisions;
}

}  // namespace quill
