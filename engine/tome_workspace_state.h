// What the engine reports during one call, as plain values.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "engine/workspace_record.h"

namespace quill {

/// Everything that the engine reported during one call. Each operation fills the few fields that its description in
/// tome_binding.h names; the others stay empty. The names are fixed, and some say little, so each is explained here.
struct TomeWorkspaceState {
    /// Identity of one file, as the engine reports it.
    struct FileIdentity {
        std::string path;         ///< relative to the checkout
        std::string hash;         ///< SHA-256 of the bytes, 64 lower-case hex digits
        std::uint64_t value = 0;  ///< size in bytes
    };

    std::int32_t status = 0;                              ///< 0: no error
    std::string message;                                  ///< text of the error
    std::vector<ProjectWorkspace> workspaces;             ///< the listed branches
    std::map<std::string, std::string> branch_kinds;      ///< kind of each listed branch, by its name
    std::map<std::string, std::string> metadata;          ///< of a branch, value by key
    std::vector<ProjectWorkspaceDiffEntry> diff_entries;  ///< how two trees differ
    std::vector<std::string> changed_paths;               ///< merge: the paths in conflict
    std::vector<std::string> reported_paths;              ///< status: changed paths; sync: written or removed paths
    std::string identity;                                 ///< the revision it is about, 64 lower-case hex digits
    std::string second_identity;                          ///< status: head on the remote
    std::uint64_t identity_number = 0;                    ///< order of the revision `identity` in its history
    std::uint64_t identity_extra = 0;                     ///< status: order of the revision `second_identity`
    std::vector<ProjectWorkspaceRevision> revisions;      ///< of a history
    std::vector<std::string> revision_paths;              ///< paths in which two revisions differ
    std::vector<std::string> restored_paths;              ///< restore: paths that it wrote
    std::uint64_t event_count = 0;                        ///< revision info: number of changed files
    std::vector<FileIdentity> file_identities;            ///< of the files that were asked for or staged
    std::vector<ProjectFileState> file_states;            ///< files whose three states are not all the same
    std::vector<std::string> merged_paths;                ///< update: files that got the changes of both sides
};

}  // namespace quill
