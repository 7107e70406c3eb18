#include "identity/file_clone.h"

#if defined(__linux__)
#include <linux/fs.h>
#include <sys/ioctl.h>
#elif defined(__APPLE__)
#include <copyfile.h>
#include <unistd.h>
#endif

namespace quill {

bool clone_file(int from, int to) {
#if defined(__linux__)
    return ioctl(to, FICLONE, from) == 0;
#elif defined(__APPLE__)
    if (fcopyfile(from, to, nullptr, COPYFILE_DATA) == 0) {
        return true;
    }
    lseek(from, 0, SEEK_SET);  // It may have copied some.
    lseek(to, 0, SEEK_SET);
    ftruncate(to, 0);
    return false;
#else
    static_cast<void>(from);
    static_cast<void>(to);
    return false;
#endif
}

}  // namespace quill
