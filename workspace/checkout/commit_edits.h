// What a commit takes from the package, or from a workspace's own checkout: the files that were changed here since they
// were last exchanged with the branch. A file that only others changed is behind, which is no edit. Failures are
// std::runtime_error.
#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "workspace/checkout/package_base.h"
#include "workspace/checkout/workspace_snapshot.h"

namespace quill {

/// Files that were changed here and, otherwise, on the branch: "changed here and, otherwise, on " + branch + ": " and
/// their paths (ten, then how many more) with what to do.
class ConflictingEditsError : public std::runtime_error {
  public:
    ConflictingEditsError(std::vector<std::string> paths, const std::string& branch);

    const std::vector<std::string>& paths() const { return paths_; }

  private:
    std::vector<std::string> paths_;
};

struct CommitEdits {
    CommitScope scope = CommitScope::GivenPaths;
    std::string branch;
    std::string head;                          ///< of the branch, which the files were compared with
    std::vector<std::filesystem::path> taken;  ///< to be copied into the commit, or removed by it
    std::vector<std::string> exchanged;        ///< the same here and on the branch once the commit is published
    bool is_whole = false;                     ///< so are all other files then
    bool is_sparse = false;                    ///< the source may lack files without having deleted them
};

/// The edits of the whole package. Throws ConflictingEditsError.
CommitEdits find_package_edits(PackageBase& base);

/// The edits among the files at `paths`, which are checked and visible. A file of unknown origin counts as an edit.
/// Files that are the same everywhere are taken, too: the commit then looks at their copies on the remote. Throws
/// ConflictingEditsError.
CommitEdits find_package_edits(PackageBase& base, const std::vector<std::filesystem::path>& paths);

/// The same for the own checkout of a workspace: all its edits without `paths`.
CommitEdits find_workspace_edits(const CheckoutLocation& checkout, const std::string& workspace,
                                 const std::vector<std::filesystem::path>& paths);

/// Gives the files at `paths`, which both sides changed, the changes of both, as edits on the branch's newest head.
/// What they held before is kept. Throws ConflictingEditsError, and has done nothing, where that cannot be told for a
/// file.
void merge_conflicting_edits(const std::filesystem::path& project, const CheckoutLocation& checkout,
                             const std::string& branch, const std::vector<std::string>& paths);

/// Makes the files of `checkout`, a private checkout of the branch at the edits' head, those of the source where these
/// are edits. Throws what mirror_selected_project_files() throws, and no_file_in_source() where a package has no file.
void mirror_edits(const std::filesystem::path& source, const CheckoutLocation& checkout, const CommitEdits& edits);

/// Throws "tome_repository_status: branch has moved on the remote: " + branch unless the checkout's base is the edits'
/// head: the files must be compared anew then.
void require_edits_of_base(const CommitEdits& edits, const std::string& base);

/// Notes that the edits were published as `revision`. Failing to note it fails nothing: the next comparison finds the
/// files the same on both sides.
void record_published_edits(PackageBase& base, const CommitEdits& edits, const std::string& revision);

}  // namespace quill
