#include "files/platform.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "files/trace.h"

#if defined(__linux__)
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/vfs.h>
#elif defined(__APPLE__)
#include <copyfile.h>
#include <sys/mount.h>
#include <sys/param.h>
#endif

namespace quill {

bool sync_to_disk(int descriptor) {
#if defined(__APPLE__)
    // fsync on macOS leaves the bytes in the drive's cache.
    if (fcntl(descriptor, F_FULLFSYNC) == 0) {
        return true;
    }
#endif
    int result = fsync(descriptor);
    while (result != 0 && errno == EINTR) {
        result = fsync(descriptor);
    }
    return result == 0;
}

bool sync_file_system(int descriptor) {
#if defined(__linux__)
    return syncfs(descriptor) == 0;
#else
    sync();
    return sync_to_disk(descriptor);
#endif
}

bool clone_file(int from, int to) {
#if defined(__linux__)
    return ioctl(to, FICLONE, from) == 0;
#elif defined(__APPLE__)
    const bool copied = fcopyfile(from, to, nullptr, COPYFILE_DATA) == 0;
    lseek(from, 0, SEEK_SET);
    if (!copied) {  // A part may have been copied.
        lseek(to, 0, SEEK_SET);
        ftruncate(to, 0);
    }
    return copied;
#else
    static_cast<void>(from);
    static_cast<void>(to);
    return false;
#endif
}

bool is_on_network_file_system(const char* path) {
#if defined(__linux__)
    struct statfs status {};
    if (statfs(path, &status) != 0) {
        return false;
    }
    if (is_traced()) {
        char type[32];
        std::snprintf(type, sizeof type, "file-system 0x%x", static_cast<unsigned>(status.f_type));
        trace_line(type, path);
    }
    // Numbers of statfs(2): NFS, SMB, SMB2, CIFS, AFS, Coda, NCP, Ceph, 9P.
    switch (static_cast<std::uint32_t>(status.f_type)) {
        case 0x6969U:
        case 0x517BU:
        case 0xFE534D42U:
        case 0xFF534D42U:
        case 0x5346414FU:
        case 0x73757245U:
        case 0x564CU:
        case 0x00C36400U:
        case 0x01021997U:
            return true;
        default:
            return false;
    }
#elif defined(__APPLE__)
    struct statfs status {};
    return statfs(path, &status) == 0 && (status.f_flags & MNT_LOCAL) == 0;
#else
    static_cast<void>(path);
    return false;
#endif
}

std::string short_path_of(int directory) {
#if defined(__linux__)
    const std::string path = "/proc/self/fd/" + std::to_string(directory);
    return access(path.c_str(), X_OK) == 0 ? path : std::string();
#else
    static_cast<void>(directory);
    return {};
#endif
}

std::int64_t modification_time(const struct stat& status) {
#if defined(__APPLE__)
    return std::int64_t{status.st_mtimespec.tv_sec} * 1'000'000'000 + status.st_mtimespec.tv_nsec;
#else
    return std::int64_t{status.st_mtim.tv_sec} * 1'000'000'000 + status.st_mtim.tv_nsec;
#endif
}

std::int64_t change_time(const struct stat& status) {
#if defined(__APPLE__)
    return std::int64_t{status.st_ctimespec.tv_sec} * 1'000'000'000 + status.st_ctimespec.tv_nsec;
#else
    return std::int64_t{status.st_ctim.tv_sec} * 1'000'000'000 + status.st_ctim.tv_nsec;
#endif
}

}  // namespace quill
