// Copying a file the way the platform does it best.
#pragma once

namespace quill {

/// Copies all of `from` to the empty file `to`, sharing blocks or inside the kernel. False, with nothing copied, where
/// that cannot be done; both then stand at their start.
bool clone_file(int from, int to);

}  // namespace quill
