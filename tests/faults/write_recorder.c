/* A library to preload (Linux): records what a process changes in files and folders and what of it it syncs, with the
   bytes, in the file QUILL_RECORD_FILE. Each call and its record are made under one lock, so that the record has the
   order in which the calls took effect. Files and folders are named by inode number; what lies elsewhere is recorded,
   too, and means nothing to the reader. The shared-memory files of databases, which whoever opens one next makes anew,
   are left out. Syncing is recorded and not done.

   An entry is a header of six 64-bit numbers, in the machine's order, and two texts:
     kind, folder, file, number, length of the name, length of the bytes, name, bytes
     'c' file made      folder, file, number = mode, name       'd' folder made     the same
     'l' name added     folder, file, name                      'u' name removed    folder, name
     'r' renamed        folder and name; bytes = name after, number = folder after
     'w' bytes written  file, number = offset, bytes            't' size set        file, number = size
     'm' mode set       file, number = mode                     's' synced          file (or folder)
     'S' everything synced */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <pthread.h>
#include <stdarg.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

enum { path_size = 4096, read_back_block = 1 << 16 };

/* A name in a folder. */
struct entry {
    uint64_t folder; /* 0: none such */
    char name[path_size];
};

static pthread_mutex_t lock = PTHREAD_MUTEX_INITIALIZER;
static int record_file = -1;

__attribute__((constructor)) static void start(void) {
    const char* path = getenv("QUILL_RECORD_FILE");
    if (path != NULL) {
        record_file = (int)syscall(SYS_openat, AT_FDCWD, path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
    }
}

static void begin(void) {
    pthread_mutex_lock(&lock);
}

static long end(long result) {
    const int number = errno;
    pthread_mutex_unlock(&lock);
    errno = number;
    return result;
}

static void record(char kind, uint64_t folder, uint64_t file, uint64_t number, const char* name, const void* bytes,
                   uint64_t size) {
    const int kept = errno;
    const uint64_t header[] = {(uint64_t)kind, folder, file, number, name != NULL ? strlen(name) : 0, size};
    const struct iovec parts[] = {
        {(void*)header, sizeof header}, {(void*)name, header[4]}, {(void*)bytes, (size_t)size}};
    if (record_file >= 0 && syscall(SYS_writev, record_file, parts, 3) < 0) {
        abort();
    }
    errno = kept;
}

static void record_about(char kind, uint64_t file, uint64_t number) {
    record(kind, 0, file, number, NULL, NULL, 0);
}

static uint64_t inode_of(int descriptor) {
    const int kept = errno;
    struct stat status;
    const int known = fstat(descriptor, &status) == 0;
    errno = kept;
    return known ? status.st_ino : 0;
}

static uint64_t inode_at(int folder, const char* path, mode_t* mode) {
    const int kept = errno;
    struct stat status;
    const int known = fstatat(folder, path, &status, AT_SYMLINK_NOFOLLOW) == 0;
    errno = kept;
    if (known && mode != NULL) {
        *mode = status.st_mode;
    }
    return known ? status.st_ino : 0;
}

static int is_shared_memory(const char* path) {
    const size_t length = strlen(path);
    return length >= 4 && strcmp(path + length - 4, "-shm") == 0;
}

static struct entry entry_at(int folder, const char* path) {
    char above[path_size];
    snprintf(above, sizeof above, "%s", path);
    size_t length = strlen(above);
    while (length > 1 && above[length - 1] == '/') {
        above[--length] = '\0';
    }
    char* slash = strrchr(above, '/');
    struct entry entry;
    snprintf(entry.name, sizeof entry.name, "%s", slash != NULL ? slash + 1 : above);
    if (slash != NULL) {
        slash[slash == above] = '\0';
    }
    struct stat status;
    entry.folder = fstatat(folder, slash != NULL ? above : ".", &status, 0) == 0 ? status.st_ino : 0;
    return entry;
}

static void record_made(char kind, const struct entry* entry, int folder, const char* path) {
    mode_t mode = 0;
    const uint64_t file = inode_at(folder, path, &mode);
    if (!is_shared_memory(path)) {
        record(kind, entry->folder, file, mode, entry->name, NULL, 0);
    }
}

static int open_and_record(int folder, const char* path, int flags, mode_t mode) {
    begin();
    const uint64_t before = inode_at(folder, path, NULL);
    const int file = (int)syscall(SYS_openat, folder, path, flags, mode);
    if (file >= 0 && (flags & O_CREAT) != 0 && before == 0) {
        const struct entry entry = entry_at(folder, path);
        record_made('c', &entry, folder, path);
    } else if (file >= 0 && (flags & O_TRUNC) != 0) {
        record_about('t', before, 0);
    }
    return (int)end(file);
}

#define OPEN_WITH_MODE(folder)                  \
    mode_t mode = 0;                            \
    if ((flags & (O_CREAT | O_TMPFILE)) != 0) { \
        va_list arguments;                      \
        va_start(arguments, flags);             \
        mode = va_arg(arguments, mode_t);       \
        va_end(arguments);                      \
    }                                           \
    return open_and_record(folder, path, flags, mode)

int open(const char* path, int flags, ...) {
    OPEN_WITH_MODE(AT_FDCWD);
}

int open64(const char* path, int flags, ...) {
    OPEN_WITH_MODE(AT_FDCWD);
}

int openat(int folder, const char* path, int flags, ...) {
    OPEN_WITH_MODE(folder);
}

int openat64(int folder, const char* path, int flags, ...) {
    OPEN_WITH_MODE(folder);
}

static FILE* open_stream(const char* function, const char* path, const char* mode) {
    FILE* (*real)(const char*, const char*) = NULL;
    *(void**)&real = dlsym(RTLD_NEXT, function);
    begin();
    const uint64_t before = inode_at(AT_FDCWD, path, NULL);
    FILE* stream = real(path, mode);
    if (stream != NULL && before == 0) {
        const struct entry entry = entry_at(AT_FDCWD, path);
        record_made('c', &entry, AT_FDCWD, path);
    } else if (stream != NULL && mode[0] == 'w') {
        record_about('t', before, 0);
    }
    end(0);
    return stream;
}

FILE* fopen(const char* path, const char* mode) {
    return open_stream("fopen", path, mode);
}

FILE* fopen64(const char* path, const char* mode) {
    return open_stream("fopen64", path, mode);
}

static ssize_t record_written(int descriptor, const void* bytes, ssize_t size, off64_t offset) {
    if (size > 0) {
        record('w', 0, inode_of(descriptor), (uint64_t)offset, NULL, bytes, (uint64_t)size);
    }
    return size;
}

/* The bytes that the kernel moved by itself, read back. */
static void record_read_back(int descriptor, off64_t from, off64_t to) {
    char path[64];
    snprintf(path, sizeof path, "/proc/self/fd/%d", descriptor);
    const int file = (int)syscall(SYS_openat, AT_FDCWD, path, O_RDONLY | O_CLOEXEC);
    char block[read_back_block];
    while (from < to) {
        const ssize_t count = syscall(SYS_pread64, file, block, sizeof block, from);
        if (count <= 0) {
            abort();
        }
        record_written(descriptor, block, count < to - from ? count : to - from, from);
        from += count;
    }
    close(file);
}

static off64_t position_of(int descriptor) {
    const int flags = fcntl(descriptor, F_GETFL);
    return lseek64(descriptor, 0, (flags & O_APPEND) != 0 ? SEEK_END : SEEK_CUR);
}

ssize_t write(int descriptor, const void* bytes, size_t size) {
    begin();
    const off64_t offset = position_of(descriptor);
    return end(record_written(descriptor, bytes, syscall(SYS_write, descriptor, bytes, size), offset));
}

ssize_t pwrite64(int descriptor, const void* bytes, size_t size, off64_t offset) {
    begin();
    return end(record_written(descriptor, bytes, syscall(SYS_pwrite64, descriptor, bytes, size, offset), offset));
}

ssize_t pwrite(int descriptor, const void* bytes, size_t size, off_t offset) {
    return pwrite64(descriptor, bytes, size, offset);
}

ssize_t writev(int descriptor, const struct iovec* parts, int count) {
    begin();
    off64_t offset = position_of(descriptor);
    const ssize_t written = syscall(SYS_writev, descriptor, parts, count);
    ssize_t left = written;
    for (int i = 0; i < count && left > 0; ++i) {
        const ssize_t size = (ssize_t)parts[i].iov_len < left ? (ssize_t)parts[i].iov_len : left;
        record_written(descriptor, parts[i].iov_base, size, offset);
        offset += size;
        left -= size;
    }
    return end(written);
}

ssize_t sendfile64(int to, int from, off64_t* offset, size_t size) {
    begin();
    const off64_t start = position_of(to);
    const ssize_t moved = syscall(SYS_sendfile, to, from, offset, size);
    if (moved > 0) {
        record_read_back(to, start, start + moved);
    }
    return end(moved);
}

ssize_t sendfile(int to, int from, off_t* offset, size_t size) {
    return sendfile64(to, from, offset, size);
}

ssize_t copy_file_range(int from, off64_t* from_offset, int to, off64_t* to_offset, size_t size, unsigned flags) {
    begin();
    const off64_t start = to_offset != NULL ? *to_offset : position_of(to);
    const ssize_t moved = syscall(SYS_copy_file_range, from, from_offset, to, to_offset, size, flags);
    if (moved > 0) {
        record_read_back(to, start, start + moved);
    }
    return end(moved);
}

int ioctl(int descriptor, unsigned long request, ...) {
    va_list arguments;
    va_start(arguments, request);
    const unsigned long argument = va_arg(arguments, unsigned long);
    va_end(arguments);
    begin();
    const long result = syscall(SYS_ioctl, descriptor, request, argument);
    struct stat status;
    if (result == 0 && request == _IOW(0x94, 9, int) && fstat(descriptor, &status) == 0) { /* blocks cloned */
        record_about('t', status.st_ino, 0);
        record_read_back(descriptor, 0, status.st_size);
    }
    return (int)end(result);
}

int ftruncate64(int descriptor, off64_t size) {
    begin();
    const long result = syscall(SYS_ftruncate, descriptor, size);
    if (result == 0) {
        record_about('t', inode_of(descriptor), (uint64_t)size);
    }
    return (int)end(result);
}

int ftruncate(int descriptor, off_t size) {
    return ftruncate64(descriptor, size);
}

int truncate64(const char* path, off64_t size) {
    begin();
    const long result = syscall(SYS_truncate, path, size);
    if (result == 0) {
        record_about('t', inode_at(AT_FDCWD, path, NULL), (uint64_t)size);
    }
    return (int)end(result);
}

int truncate(const char* path, off_t size) {
    return truncate64(path, size);
}

int fchmod(int descriptor, mode_t mode) {
    begin();
    const long result = syscall(SYS_fchmod, descriptor, mode);
    if (result == 0) {
        record_about('m', inode_of(descriptor), mode);
    }
    return (int)end(result);
}

static int fail_sync(int descriptor) {
    return fcntl(descriptor, F_GETFD) < 0 ? -1 : 0;
}

int fsync(int descriptor) {
    begin();
    const int result = fail_sync(descriptor);
    if (result == 0) {
        record_about('s', inode_of(descriptor), 0);
    }
    return (int)end(result);
}

int fdatasync(int descriptor) {
    return fsync(descriptor);
}

int syncfs(int descriptor) {
    begin();
    const int result = fail_sync(descriptor);
    if (result == 0) {
        record_about('S', 0, 0);
    }
    return (int)end(result);
}

int renameat2(int from_folder, const char* from, int to_folder, const char* to, unsigned flags) {
    begin();
    const struct entry source = entry_at(from_folder, from);
    const struct entry target = entry_at(to_folder, to);
    const long result = syscall(SYS_renameat2, from_folder, from, to_folder, to, flags);
    if (result == 0) {
        record('r', source.folder, 0, target.folder, source.name, target.name, strlen(target.name));
    }
    return (int)end(result);
}

int renameat(int from_folder, const char* from, int to_folder, const char* to) {
    return renameat2(from_folder, from, to_folder, to, 0);
}

int rename(const char* from, const char* to) {
    return renameat2(AT_FDCWD, from, AT_FDCWD, to, 0);
}

int unlinkat(int folder, const char* path, int flags) {
    begin();
    const struct entry entry = entry_at(folder, path);
    const long result = syscall(SYS_unlinkat, folder, path, flags);
    if (result == 0) {
        record('u', entry.folder, 0, 0, entry.name, NULL, 0);
    }
    return (int)end(result);
}

int unlink(const char* path) {
    return unlinkat(AT_FDCWD, path, 0);
}

int rmdir(const char* path) {
    return unlinkat(AT_FDCWD, path, AT_REMOVEDIR);
}

int remove(const char* path) {
    const int result = unlinkat(AT_FDCWD, path, 0);
    return result != 0 && errno == EISDIR ? rmdir(path) : result;
}

int mkdirat(int folder, const char* path, mode_t mode) {
    begin();
    const struct entry entry = entry_at(folder, path);
    const long result = syscall(SYS_mkdirat, folder, path, mode);
    if (result == 0) {
        record_made('d', &entry, folder, path);
    }
    return (int)end(result);
}

int mkdir(const char* path, mode_t mode) {
    return mkdirat(AT_FDCWD, path, mode);
}

int linkat(int from_folder, const char* from, int to_folder, const char* to, int flags) {
    begin();
    const struct entry entry = entry_at(to_folder, to);
    const long result = syscall(SYS_linkat, from_folder, from, to_folder, to, flags);
    if (result == 0) {
        record_made('l', &entry, to_folder, to);
    }
    return (int)end(result);
}

int link(const char* from, const char* to) {
    return linkat(AT_FDCWD, from, AT_FDCWD, to, 0);
}
