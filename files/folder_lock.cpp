#include "files/folder_lock.h"

#include <fcntl.h>
#include <sys/file.h>

#include <cerrno>
#include <stdexcept>

#include "files/trace.h"

namespace quill {

FolderLock::FolderLock(const std::filesystem::path& folder)
    : folder_(open_at(AT_FDCWD, folder.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW)) {
    TraceStep step("lock", folder.native());
    if (!folder_.is_open() || !lock_descriptor(folder_.get(), LOCK_EX)) {
        step.fail(errno);
        throw std::runtime_error("could not lock workspace folder: " + folder.string());
    }
}

}  // namespace quill
