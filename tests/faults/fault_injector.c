/* A library to preload (Linux): counts the calls of a process that make durable steps below QUILL_FAULT_ROOT, and at
   the QUILL_FAULT_AT-th of them kills the process or lets the disk be full. QUILL_FAULT_KIND is one of kill SIGKILL
   before the call          kill-torn   SIGKILL after half of a write full-once   one call fails with ENOSPC       full
   so does every later one; a write before that is cut short Only calls that take up space count for the last two.
   QUILL_FAULT_COUNT_FILE receives the number of counted calls when the process ends by itself. Syncing is counted, not
   done. Threads may call in at any time. */
#define _GNU_SOURCE
#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stdatomic.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

/* What becomes of a call. */
enum verdict { PROCEED, FAIL, HALVE, HALVE_AND_DIE };
enum step { NEEDS_SPACE, NEEDS_NO_SPACE };
enum kind { NONE, KILL, KILL_TORN, FULL_ONCE, FULL };

static char root[4096];
static size_t root_length;
static unsigned long fault_at;
static enum kind fault_kind;
static atomic_ulong counted;

static enum kind kind_named(const char* name) {
    static const char* const names[] = {"", "kill", "kill-torn", "full-once", "full"};
    for (int i = KILL; name != NULL && i <= FULL; ++i) {
        if (strcmp(name, names[i]) == 0) {
            return (enum kind)i;
        }
    }
    return NONE;
}

__attribute__((constructor)) static void start(void) {
    const char* folder = getenv("QUILL_FAULT_ROOT");
    const char* at = getenv("QUILL_FAULT_AT");
    if (folder != NULL && strlen(folder) < sizeof root) {
        root_length = strlen(folder);
        memcpy(root, folder, root_length);
    }
    fault_at = at != NULL ? strtoul(at, NULL, 10) : 0;
    fault_kind = kind_named(getenv("QUILL_FAULT_KIND"));
}

__attribute__((destructor)) static void finish(void) {
    const char* path = getenv("QUILL_FAULT_COUNT_FILE");
    if (path == NULL) {
        return;
    }
    char text[32];
    const int length = snprintf(text, sizeof text, "%lu\n", atomic_load(&counted));
    const int file = open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (file >= 0) {
        syscall(SYS_write, file, text, (size_t)length);
        close(file);
    }
}

static int path_counts(const char* path) {
    return root_length > 0 && strncmp(path, root, root_length) == 0 &&
           (path[root_length] == '/' || path[root_length] == '\0');
}

static int descriptor_counts(int descriptor) {
    char link[64];
    char target[4096];
    snprintf(link, sizeof link, "/proc/self/fd/%d", descriptor);
    const ssize_t length = readlink(link, target, sizeof target - 1);
    if (length <= 0) {
        return 0;
    }
    target[length] = '\0';
    return path_counts(target);
}

static int entry_counts(int folder, const char* path) {
    if (path[0] == '/') {
        return path_counts(path);
    }
    if (folder == AT_FDCWD) {
        char current[4096];
        return getcwd(current, sizeof current) != NULL && path_counts(current);
    }
    return descriptor_counts(folder);
}

static void die(void) {
    kill(getpid(), SIGKILL);
    for (;;) {
        pause();
    }
}

static enum verdict judge(int counts, enum step step) {
    const int full = fault_kind == FULL || fault_kind == FULL_ONCE;
    if (!counts || (full && step == NEEDS_NO_SPACE)) {
        return PROCEED;
    }
    const unsigned long number = atomic_fetch_add(&counted, 1) + 1;
    if (fault_at == 0 || number < fault_at || (number > fault_at && fault_kind != FULL)) {
        return PROCEED;
    }
    switch (fault_kind) {
        case KILL:
            die();
            return FAIL;
        case KILL_TORN:
            return HALVE_AND_DIE;
        case FULL_ONCE:
            return FAIL;
        case FULL:
            return number == fault_at ? HALVE : FAIL;
        case NONE:
            break;
    }
    return PROCEED;
}

static long disk_full(void) {
    errno = ENOSPC;
    return -1;
}

/* For what is done wholly or not at all: 0 when it may go on. */
static long judge_whole(int counts, enum step step) {
    switch (judge(counts, step)) {
        case PROCEED:
            return 0;
        case HALVE_AND_DIE:
            die();
            return -1;
        default:
            return disk_full();
    }
}

/* How many of `size` bytes to write; -1 when none can be. Afterwards the caller dies when `*torn` is set. */
static ssize_t judge_write(int descriptor, size_t size, int* torn) {
    const enum verdict verdict = judge(descriptor_counts(descriptor), NEEDS_SPACE);
    *torn = verdict == HALVE_AND_DIE;
    if (verdict == FAIL || (verdict == HALVE && size < 2)) {
        return disk_full();
    }
    return (ssize_t)(verdict == PROCEED ? size : size / 2);
}

static ssize_t written(ssize_t result, int torn) {
    if (torn) {
        die();
    }
    return result;
}

ssize_t write(int descriptor, const void* bytes, size_t size) {
    int torn = 0;
    const ssize_t allowed = judge_write(descriptor, size, &torn);
    return allowed < 0 ? -1 : written(syscall(SYS_write, descriptor, bytes, (size_t)allowed), torn);
}

ssize_t pwrite64(int descriptor, const void* bytes, size_t size, off64_t offset) {
    int torn = 0;
    const ssize_t allowed = judge_write(descriptor, size, &torn);
    return allowed < 0 ? -1 : written(syscall(SYS_pwrite64, descriptor, bytes, (size_t)allowed, offset), torn);
}

ssize_t pwrite(int descriptor, const void* bytes, size_t size, off_t offset) {
    return pwrite64(descriptor, bytes, size, offset);
}

ssize_t writev(int descriptor, const struct iovec* parts, int count) {
    size_t size = 0;
    for (int i = 0; i < count; ++i) {
        size += parts[i].iov_len;
    }
    int torn = 0;
    const ssize_t allowed = judge_write(descriptor, size, &torn);
    if (allowed < 0) {
        return -1;
    }
    /* A cut vector ends behind its first part. */
    const int whole = (size_t)allowed == size;
    return written(syscall(SYS_writev, descriptor, parts, whole ? count : 1), torn);
}

int ftruncate64(int descriptor, off64_t size) {
    const long refused = judge_whole(descriptor_counts(descriptor), NEEDS_SPACE);
    return refused != 0 ? -1 : (int)syscall(SYS_ftruncate, descriptor, size);
}

int ftruncate(int descriptor, off_t size) {
    return ftruncate64(descriptor, size);
}

static int sync_instead(int descriptor) {
    return (int)judge_whole(descriptor_counts(descriptor), NEEDS_NO_SPACE);
}

int fsync(int descriptor) {
    return sync_instead(descriptor);
}

int fdatasync(int descriptor) {
    return sync_instead(descriptor);
}

int syncfs(int descriptor) {
    return sync_instead(descriptor);
}

int renameat2(int from_folder, const char* from, int to_folder, const char* to, unsigned flags) {
    const long refused = judge_whole(entry_counts(to_folder, to), NEEDS_SPACE);
    return refused != 0 ? -1 : (int)syscall(SYS_renameat2, from_folder, from, to_folder, to, flags);
}

int renameat(int from_folder, const char* from, int to_folder, const char* to) {
    return renameat2(from_folder, from, to_folder, to, 0);
}

int rename(const char* from, const char* to) {
    return renameat2(AT_FDCWD, from, AT_FDCWD, to, 0);
}

int unlinkat(int folder, const char* path, int flags) {
    const long refused = judge_whole(entry_counts(folder, path), NEEDS_NO_SPACE);
    return refused != 0 ? -1 : (int)syscall(SYS_unlinkat, folder, path, flags);
}

int unlink(const char* path) {
    return unlinkat(AT_FDCWD, path, 0);
}

int rmdir(const char* path) {
    return unlinkat(AT_FDCWD, path, AT_REMOVEDIR);
}

int remove(const char* path) {
    const int result = unlinkat(AT_FDCWD, path, 0);
    return result != 0 && errno == EISDIR ? unlinkat(AT_FDCWD, path, AT_REMOVEDIR) : result;
}

int mkdirat(int folder, const char* path, mode_t mode) {
    const long refused = judge_whole(entry_counts(folder, path), NEEDS_SPACE);
    return refused != 0 ? -1 : (int)syscall(SYS_mkdirat, folder, path, mode);
}

int mkdir(const char* path, mode_t mode) {
    return mkdirat(AT_FDCWD, path, mode);
}

int linkat(int from_folder, const char* from, int to_folder, const char* to, int flags) {
    const long refused = judge_whole(entry_counts(to_folder, to), NEEDS_SPACE);
    return refused != 0 ? -1 : (int)syscall(SYS_linkat, from_folder, from, to_folder, to, flags);
}

int link(const char* from, const char* to) {
    return linkat(AT_FDCWD, from, AT_FDCWD, to, 0);
}
