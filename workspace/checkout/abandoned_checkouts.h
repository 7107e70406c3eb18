// The temporary checkouts of processes. A process holds each of its own by an advisory lock on the folder's descriptor,
// which ends with the process; what dead processes left is removed by the next one that works on the project.
// Any thread.
#pragma once

#include <filesystem>

namespace quill {

/// Marks a temporary checkout as in use until the process ends or makes it anew. A failure is ignored, because
/// processes of the same machine see that this one lives; the mark is for those of other machines.
void hold_checkout(const std::filesystem::path& checkout);

/// Takes the mark back, for a temporary checkout that this process removed.
void release_checkout(const std::filesystem::path& checkout);

/// Removes the temporary checkouts and history previews of the project whose process is dead and which nobody holds.
/// Once per process and project; errors are ignored, the next process tries again.
void remove_abandoned_checkouts(const std::filesystem::path& project);

}  // namespace quill
