// How working files, what they stand on and the newest head of the branch differ, file by file.
#pragma once

#include <optional>
#include <set>
#include <string>
#include <vector>

#include "tome/checkout/checkout.h"

namespace tome {

/// One path in three states; nothing where there is no file. The entries have no names.
struct FileState {
    std::string path;
    std::optional<TreeEntry> base;  ///< what the working file stands on
    std::optional<TreeEntry> here;  ///< the working file; with a zero digest when it surely differs from the others and
                                    ///< was not read for that
    std::optional<TreeEntry> there;  ///< the newest head
    bool is_other_kind = false;      ///< a link, pipe or the like stands in the file's place; `here` is empty then
};

struct FileStateRequest {
    std::vector<std::string> paths;  ///< files, checked; none: all
    std::set<std::string> skip;      ///< folders to pass over when all are asked for
};

struct FileStates {
    Digest head;                   ///< the newest of the branch
    std::vector<FileState> files;  ///< those whose three states are not all the same, by path in byte order
};

/// Working files that the checkout does not hold and that are not there count as untouched. Files that had to be read
/// are remembered, so that asking again costs a walk with stat. Throws as newest_head() does, or Error(Io).
FileStates file_states(Checkout& checkout, const FileStateRequest& request);

}  // namespace tome
