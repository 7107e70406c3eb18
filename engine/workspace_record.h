// The plain records that workspace operations return. Fields written to files carry the name of their JSON key.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace quill {

/// One workspace of a project: a branch of its history.
struct ProjectWorkspace {
    std::string id;         ///< workspace id, also the branch's name; "main" for the main workspace
    std::string name;       ///< display name
    std::string parentId;   ///< id of the workspace it was created from; "main" when not known
    std::string baseScene;  ///< scene file, relative to the project package
    std::string headKey;    ///< newest revision, 64 lower-case hex digits, or empty
    bool archived = false;  ///< hidden unless asked for
    std::string createdAt;  ///< ms since the Unix epoch, decimal
    std::string updatedAt;  ///< ms since the Unix epoch, decimal
    std::string author;     ///< who created or last changed it
};

/// One revision of a workspace.
struct ProjectWorkspaceRevision {
    std::string id;                      ///< 64 lower-case hex digits
    std::uint64_t order = 0;             ///< 1 for the first revision, growing along the history
    std::string linkedHash1;             ///< the first parent; empty: none
    std::string linkedHash2;             ///< the second parent, of a merge; empty: none
    std::string author;                  ///< display value
    std::string createdAt;               ///< display value, ms since the Unix epoch, decimal
    std::string summary;                 ///< display value
    std::uint64_t changedFileCount = 0;  ///< display value
    bool current = false;                ///< head of the listed history
};

/// A path in which two workspaces differ.
struct ProjectWorkspaceDiffEntry {
    std::string path;    ///< relative to the project
    std::string change;  ///< "add", "delete", "move", "copy" or "modify"
};

/// A version of one file.
struct ProjectFileVersion {
    std::string hash;        ///< SHA-256, 64 lower-case hex digits; empty for a working file that was not read, because
                             ///< its size alone tells that it is another version than those it was compared with
    std::uint64_t size = 0;  ///< bytes
    bool executable = false;  ///< the bit for its owner

    bool operator==(const ProjectFileVersion&) const = default;
};

/// One file in three states; nothing where there is no file.
struct ProjectFileState {
    std::string path;                         ///< relative to the project
    std::optional<ProjectFileVersion> base;   ///< what the file was last exchanged with: committed as, brought from
    std::optional<ProjectFileVersion> here;   ///< the file in the package, or in the workspace's checkout
    std::optional<ProjectFileVersion> there;  ///< the newest revision of the branch
    bool is_other_kind = false;               ///< a link, pipe or the like stands in the file's place

    bool changed_here() const { return is_other_kind || here != base; }
    bool changed_there() const { return there != base; }
    bool is_same() const { return !is_other_kind && here == there; }
};

/// A scene found in a workspace's checkout or in a preview of an earlier revision.
struct ProjectWorkspaceResolution {
    std::filesystem::path projectPath;    ///< the package, absolute
    std::string workspaceId;              ///< workspace id, or the id of a history preview
    std::filesystem::path scenePath;      ///< relative to `checkoutRoot`
    std::filesystem::path checkoutRoot;   ///< absolute
    std::filesystem::path absoluteScene;  ///< `checkoutRoot` joined with `scenePath`
};

/// One file that a commit or a sync changed.
struct ProjectWorkspaceFileMutation {
    std::string path;    ///< relative to the project
    std::string change;  ///< commit: "update", "delete" or, with the changes of both sides, "merge"; sync: "copy" or
                         ///< "delete"
};

/// What a commit or a sync did.
struct ProjectWorkspaceMutationResult {
    std::string headKey;                              ///< newest revision afterwards, 64 lower-case hex digits
    std::vector<ProjectWorkspaceFileMutation> files;  ///< empty when nothing was committed
};

/// What a restore did.
struct ProjectWorkspaceRestoreResult {
    std::string workspaceId;                  ///< as passed, "main" when that was empty
    std::string targetRevision;               ///< the revision that was brought back
    std::string previousHead;                 ///< head before the restore
    std::string restoredHead;                 ///< the new revision
    std::uint64_t restoredHeadInfo = 0;       ///< `order` of the new revision
    std::uint64_t verifiedLiveFileCount = 0;  ///< files written or removed in the live project
    bool liveVerified = false;                ///< true in every returned result
};

}  // namespace quill
