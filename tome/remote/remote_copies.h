// Which objects a push must send: those that the remote lacks, and those that are damaged there.
// The remote is asked for a level of folders at a time, not for each file.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "tome/object/object_source.h"

namespace tome {

/// The objects to send before `head` may be published: what the remote lacks, each object after what it refers to, and
/// what is damaged there among the files that the new revisions changed and their folders. These are read on the
/// remote, completely. Throws Error(Corrupt) "corrupt object HEX (content of PATH); no sound copy is known: …" if an
/// object is damaged both there and in `local`.
ObjectNames objects_to_push(ObjectSource& local, ObjectSource& remote, const Digest& head);

/// The same for the files `paths` of a published `tree`. If a content is damaged on both sides, `store_again` is called
/// to store it once more from the working file.
ObjectNames objects_to_mend(ObjectSource& local, ObjectSource& remote, const Digest& tree,
                            const std::vector<std::string>& paths,
                            const std::function<void(const std::string& path)>& store_again);

}  // namespace tome
