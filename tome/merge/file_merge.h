// Merging three versions of one file: its executable bit, and its lines where it is a text.
#pragma once

#include <optional>
#include <string>

#include "tome/object/object_source.h"
#include "tome/store/store.h"

namespace tome {

/// Versions of one file; nothing where there is none, or a folder.
struct FileVersions {
    std::optional<TreeEntry> base;
    std::optional<TreeEntry> ours;
    std::optional<TreeEntry> theirs;
};

/// `ours` with what changed from `base` to `theirs`; its content goes into `store`. Nothing when that cannot be told: a
/// version is missing, both changed the same lines, or the file is no text (text_merge.h). Throws Error(NotFound)
/// "missing object: HEX" for a content that `source` lacks. Errors call the file `path`.
std::optional<TreeEntry> merge_files(ObjectSource& source, Store& store, const FileVersions& versions,
                                     const std::string& path);

}  // namespace tome
