// What a remote is to be sent: objects that it lacks, and objects that are damaged there.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "tome/object/object_source.h"

namespace tome {

/// Both ask the remote for a level of folders at a time, not for each file.

/// What `remote` is to be sent before `head` may be published: what it lacks, each after what it refers to, and what is
/// damaged there of the files that the new revisions changed and of the folders on the way to them. The latter is read
/// there, whole. All of it is sound in `local`: throws Error(Corrupt) "corrupt object HEX (content of PATH); no sound
/// copy is known: …" when something is sound nowhere.
ObjectNames objects_to_push(ObjectSource& local, ObjectSource& remote, const Digest& head);

/// The same for the files `paths` of a published `tree`. Calls `store_again` for a file whose content is sound in
/// neither, to have it stored from where its bytes still are.
ObjectNames objects_to_mend(ObjectSource& local, ObjectSource& remote, const Digest& tree,
                            const std::vector<std::string>& paths,
                            const std::function<void(const std::string& path)>& store_again);

}  // namespace tome
