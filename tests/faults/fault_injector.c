/* A library to preload (Linux): counts the calls of a process that change something below QUILL_FAULT_ROOT, and at the
   QUILL_FAULT_AT-th of them kills the process or lets the disk be full. QUILL_FAULT_KIND is one of
     kill        SIGKILL before the call          kill-torn   SIGKILL after half of a write
     full-once   one call fails with ENOSPC       full        so does every later one; a write at first is cut short
     error       one call fails with the number QUILL_FAULT_ERROR
   Only calls that take up space count for the two of full disks; for errors also those count that change nothing, such
   as opening, reading, closing and syncing. QUILL_FAULT_COUNT_FILE receives the number of counted calls when the
   process ends by itself, QUILL_FAULT_REPORT_FILE the call that was struck. Syncing is never done: it changes nothing
   that a kill would show. Threads may call in at any time. */
#define _GNU_SOURCE
#include <dirent.h>
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stdarg.h>
#include <stdatomic.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

enum { path_size = 4096 };

enum verdict { PROCEED, FAIL, HALVE, HALVE_AND_DIE }; /* what becomes of a call */
enum step { NEEDS_SPACE, NEEDS_NO_SPACE, CHANGES_NOTHING };
enum kind { NONE, KILL, KILL_TORN, FULL_ONCE, FULL, ERROR };

static char root[path_size];
static size_t root_length;
static unsigned long fault_at;
static enum kind fault_kind;
static int fault_error = ENOSPC;
static atomic_ulong counted;

static enum kind kind_named(const char* name) {
    static const char* const names[] = {"", "kill", "kill-torn", "full-once", "full", "error"};
    for (int i = KILL; name != NULL && i <= ERROR; ++i) {
        if (strcmp(name, names[i]) == 0) {
            return (enum kind)i;
        }
    }
    return NONE;
}

static void write_text(const char* variable, const char* text) {
    const char* path = getenv(variable);
    const int file =
        path != NULL ? (int)syscall(SYS_openat, AT_FDCWD, path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666) : -1;
    if (file >= 0) {
        syscall(SYS_write, file, text, strlen(text));
        syscall(SYS_close, file);
    }
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
    const char* number = getenv("QUILL_FAULT_ERROR");
    fault_error = number != NULL ? atoi(number) : ENOSPC;
}

__attribute__((destructor)) static void finish(void) {
    char text[32];
    snprintf(text, sizeof text, "%lu\n", atomic_load(&counted));
    write_text("QUILL_FAULT_COUNT_FILE", text);
}

static void path_of_descriptor(int descriptor, char* path) {
    char link[64];
    snprintf(link, sizeof link, "/proc/self/fd/%d", descriptor);
    const ssize_t length = readlink(link, path, path_size - 1);
    path[length > 0 ? length : 0] = '\0';
}

static void path_of_entry(int folder, const char* entry, char* path) {
    path[0] = '\0';
    if (entry[0] != '/' && folder != AT_FDCWD) {
        path_of_descriptor(folder, path);
    } else if (entry[0] != '/' && getcwd(path, path_size) == NULL) {
        return;
    }
    const size_t length = strlen(path);
    snprintf(path + length, path_size - length, "%s%s", length > 0 ? "/" : "", entry);
}

static int is_below_root(const char* path) {
    return root_length > 0 && strncmp(path, root, root_length) == 0 && path[root_length] == '/';
}

/* The shared-memory file of a database is rebuilt by whoever opens it next. It is grown by a byte for each page: for a
   full disk one such write stands for all, and for a kill none matters. */
static int stands_for_others(const char* call, const char* path, off64_t offset) {
    const size_t length = strlen(path);
    if (length < 4 || strcmp(path + length - 4, "-shm") != 0) {
        return 1;
    }
    const int full = fault_kind == FULL || fault_kind == FULL_ONCE;
    return full && strcmp(call, "pwrite") == 0 && offset < 4096;
}

static void report(const char* call, const char* path, unsigned long number) {
    char text[path_size + 64];
    snprintf(text, sizeof text, "call %lu: %s %s", number, call, path);
    write_text("QUILL_FAULT_REPORT_FILE", text);
}

static void die(void) {
    kill(getpid(), SIGKILL);
    for (;;) {
        pause();
    }
}

static enum verdict strike(void) {
    switch (fault_kind) {
        case KILL:
            die();
            return FAIL;
        case KILL_TORN:
            return HALVE_AND_DIE;
        case FULL_ONCE:
        case ERROR:
            return FAIL;
        case FULL:
            return HALVE;
        case NONE:
            break;
    }
    return PROCEED;
}

static enum verdict judge(const char* call, const char* path, enum step step, off64_t offset) {
    const int full = fault_kind == FULL || fault_kind == FULL_ONCE;
    if (!is_below_root(path) || (full && step == NEEDS_NO_SPACE) || (fault_kind != ERROR && step == CHANGES_NOTHING)) {
        return PROCEED;
    }
    if (fault_kind == FULL && fault_at != 0 && atomic_load(&counted) >= fault_at) {
        return FAIL;
    }
    if (!stands_for_others(call, path, offset)) {
        return PROCEED;
    }
    const unsigned long number = atomic_fetch_add(&counted, 1) + 1;
    if (number != fault_at) {
        return PROCEED;
    }
    report(call, path, number);
    return strike();
}

static int fail(void) {
    errno = fault_error;
    return -1;
}

/* For what is done wholly or not at all: 0 when it may go on. */
static int judge_whole(const char* call, const char* path, enum step step) {
    switch (judge(call, path, step, 0)) {
        case PROCEED:
            return 0;
        case HALVE_AND_DIE:
            die();
            return -1;
        default:
            return fail();
    }
}

static int judge_descriptor(const char* call, int descriptor, enum step step) {
    char path[path_size];
    path_of_descriptor(descriptor, path);
    return judge_whole(call, path, step);
}

static int judge_entry(const char* call, int folder, const char* entry, enum step step) {
    char path[path_size];
    path_of_entry(folder, entry, path);
    return judge_whole(call, path, step);
}

/* How many of `size` bytes to write; -1 when none can be. Afterwards the caller dies when `*torn` is set. */
static ssize_t judge_write(const char* call, int descriptor, size_t size, off64_t offset, int* torn) {
    char path[path_size];
    path_of_descriptor(descriptor, path);
    const enum verdict verdict = judge(call, path, NEEDS_SPACE, offset);
    *torn = verdict == HALVE_AND_DIE;
    if (verdict == FAIL || (verdict == HALVE && size < 2)) {
        return fail();
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
    const ssize_t allowed = judge_write("write", descriptor, size, 0, &torn);
    return allowed < 0 ? -1 : written(syscall(SYS_write, descriptor, bytes, (size_t)allowed), torn);
}

ssize_t pwrite64(int descriptor, const void* bytes, size_t size, off64_t offset) {
    int torn = 0;
    const ssize_t allowed = judge_write("pwrite", descriptor, size, offset, &torn);
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
    const ssize_t allowed = judge_write("writev", descriptor, size, 0, &torn);
    if (allowed < 0) {
        return -1;
    }
    /* A cut vector ends behind its first part. */
    const int whole = (size_t)allowed == size;
    return written(syscall(SYS_writev, descriptor, parts, whole ? count : 1), torn);
}

int ftruncate64(int descriptor, off64_t size) {
    return judge_descriptor("ftruncate", descriptor, NEEDS_SPACE) != 0 ? -1
                                                                       : (int)syscall(SYS_ftruncate, descriptor, size);
}

int ftruncate(int descriptor, off_t size) {
    return ftruncate64(descriptor, size);
}

int fsync(int descriptor) {
    return judge_descriptor("fsync", descriptor, CHANGES_NOTHING);
}

int fdatasync(int descriptor) {
    return fsync(descriptor);
}

int syncfs(int descriptor) {
    return fsync(descriptor);
}

ssize_t read(int descriptor, void* bytes, size_t size) {
    return judge_descriptor("read", descriptor, CHANGES_NOTHING) != 0 ? -1 : syscall(SYS_read, descriptor, bytes, size);
}

ssize_t pread64(int descriptor, void* bytes, size_t size, off64_t offset) {
    return judge_descriptor("pread", descriptor, CHANGES_NOTHING) != 0
               ? -1
               : syscall(SYS_pread64, descriptor, bytes, size, offset);
}

ssize_t pread(int descriptor, void* bytes, size_t size, off_t offset) {
    return pread64(descriptor, bytes, size, offset);
}

/* Also one that fails closes. */
int close(int descriptor) {
    const int failed = judge_descriptor("close", descriptor, CHANGES_NOTHING);
    const int result = (int)syscall(SYS_close, descriptor);
    return failed != 0 ? fail() : result;
}

/* What makes a file is not counted for the other kinds: the writes into it are. */
static int open_and_judge(int folder, const char* path, int flags, mode_t mode) {
    return judge_entry("open", folder, path, CHANGES_NOTHING) != 0
               ? -1
               : (int)syscall(SYS_openat, folder, path, flags, mode);
}

#define OPEN_WITH_MODE(folder)                  \
    mode_t mode = 0;                            \
    if ((flags & (O_CREAT | O_TMPFILE)) != 0) { \
        va_list arguments;                      \
        va_start(arguments, flags);             \
        mode = va_arg(arguments, mode_t);       \
        va_end(arguments);                      \
    }                                           \
    return open_and_judge(folder, path, flags, mode)

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

DIR* opendir(const char* path) {
    DIR* (*real)(const char*) = NULL;
    *(void**)&real = dlsym(RTLD_NEXT, "opendir");
    return judge_entry("opendir", AT_FDCWD, path, CHANGES_NOTHING) != 0 ? NULL : real(path);
}

struct dirent* readdir(DIR* folder) {
    struct dirent* (*real)(DIR*) = NULL;
    *(void**)&real = dlsym(RTLD_NEXT, "readdir");
    return judge_descriptor("readdir", dirfd(folder), CHANGES_NOTHING) != 0 ? NULL : real(folder);
}

struct dirent64* readdir64(DIR* folder) {
    struct dirent64* (*real)(DIR*) = NULL;
    *(void**)&real = dlsym(RTLD_NEXT, "readdir64");
    return judge_descriptor("readdir", dirfd(folder), CHANGES_NOTHING) != 0 ? NULL : real(folder);
}

int renameat2(int from_folder, const char* from, int to_folder, const char* to, unsigned flags) {
    return judge_entry("rename", to_folder, to, NEEDS_SPACE) != 0
               ? -1
               : (int)syscall(SYS_renameat2, from_folder, from, to_folder, to, flags);
}

int renameat(int from_folder, const char* from, int to_folder, const char* to) {
    return renameat2(from_folder, from, to_folder, to, 0);
}

int rename(const char* from, const char* to) {
    return renameat2(AT_FDCWD, from, AT_FDCWD, to, 0);
}

int unlinkat(int folder, const char* path, int flags) {
    return judge_entry("unlink", folder, path, NEEDS_NO_SPACE) != 0 ? -1
                                                                    : (int)syscall(SYS_unlinkat, folder, path, flags);
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
    return judge_entry("mkdir", folder, path, NEEDS_SPACE) != 0 ? -1 : (int)syscall(SYS_mkdirat, folder, path, mode);
}

int mkdir(const char* path, mode_t mode) {
    return mkdirat(AT_FDCWD, path, mode);
}

int linkat(int from_folder, const char* from, int to_folder, const char* to, int flags) {
    return judge_entry("link", to_folder, to, NEEDS_SPACE) != 0
               ? -1
               : (int)syscall(SYS_linkat, from_folder, from, to_folder, to, flags);
}

int link(const char* from, const char* to) {
    return linkat(AT_FDCWD, from, AT_FDCWD, to, 0);
}
