#include "files/folder_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>

#include "files/trace.h"

namespace quill {

FolderLock::FolderLock(const std::filesystem::path& folder)
    : descriptor_(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC)) {
    TraceStep step("lock", folder.native());
    int result = descriptor_ < 0 ? -1 : 0;
    while (descriptor_ >= 0 && (result = flock(descriptor_, LOCK_EX)) != 0 && errno == EINTR) {
    }
    if (result != 0) {
        step.fail(errno);
        if (descriptor_ >= 0) {
            close(descriptor_);
        }
        throw std::runtime_error("could not lock workspace folder: " + folder.string());
    }
}

FolderLock::~FolderLock() {
    close(descriptor_);
}

}  // namespace quill
