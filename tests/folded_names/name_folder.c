/* A library to preload (Linux): below QUILL_FOLDED_ROOT names that differ by ASCII case alone are one, as on volumes
   that fold case. A name that is looked up in another case than it has is replaced by the one that the folder holds;
   listings show names as they are. Threads may call in at any time. */
#define _GNU_SOURCE
#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

enum { path_size = 8192 };

static int exists(const char* path) {
    return syscall(SYS_faccessat, AT_FDCWD, path, F_OK) == 0 ||
           syscall(SYS_readlinkat, AT_FDCWD, path, (char[1]){0}, 1) >= 0;
}

/* The spelling that `folder` holds of `name`, into `name`. */
static void spell(const char* folder, char* name) {
    DIR* stream = opendir(folder);
    for (const struct dirent* entry = stream != NULL ? readdir(stream) : NULL; entry != NULL; entry = readdir(stream)) {
        if (strcasecmp(entry->d_name, name) == 0) {
            memcpy(name, entry->d_name, strlen(name));
            break;
        }
    }
    if (stream != NULL) {
        closedir(stream);
    }
}

/* The path with each component that is not there spelled as its folder has it. */
static void fold(char* path, size_t start) {
    for (char* name = path + start; *name != '\0';) {
        while (*name == '/') {
            ++name;
        }
        char* end = name + strcspn(name, "/");
        const char separator = *end;
        *end = '\0';
        if (*name != '\0' && !exists(path)) {
            char folder[path_size];
            snprintf(folder, sizeof folder, "%.*s", (int)(name - path), path);
            spell(folder, name);
        }
        *end = separator;
        name = end;
    }
}

/* `path` as it is to be looked up: itself, or an absolute path in `buffer`. */
static const char* folded(int folder, const char* path, char* buffer) {
    const char* root = getenv("QUILL_FOLDED_ROOT");
    const int saved = errno;
    if (root == NULL || path == NULL || *path == '\0') {
        return path;
    }
    char base[path_size] = "";
    if (*path != '/' && folder != AT_FDCWD) {
        char link[64];
        snprintf(link, sizeof link, "/proc/self/fd/%d", folder);
        const ssize_t length = readlink(link, base, sizeof base - 1);
        base[length > 0 ? length : 0] = '\0';
    } else if (*path != '/' && getcwd(base, sizeof base) == NULL) {
        base[0] = '\0';
    }
    const int length = snprintf(buffer, path_size, "%s%s%s", base, *path == '/' ? "" : "/", path);
    const int below = length < path_size && strncmp(buffer, root, strlen(root)) == 0;
    if (below) {
        fold(buffer, strlen(root));
    }
    errno = saved;
    return below && !exists(path) ? buffer : path;
}

#define OPEN_AT(name)                                                                       \
    int name(int folder, const char* path, int flags, ...) {                                \
        char buffer[path_size];                                                             \
        va_list arguments;                                                                  \
        va_start(arguments, flags);                                                         \
        const mode_t mode = va_arg(arguments, mode_t);                                      \
        va_end(arguments);                                                                  \
        return (int)syscall(SYS_openat, folder, folded(folder, path, buffer), flags, mode); \
    }
#define OPEN(name)                                                                              \
    int name(const char* path, int flags, ...) {                                                \
        char buffer[path_size];                                                                 \
        va_list arguments;                                                                      \
        va_start(arguments, flags);                                                             \
        const mode_t mode = va_arg(arguments, mode_t);                                          \
        va_end(arguments);                                                                      \
        return (int)syscall(SYS_openat, AT_FDCWD, folded(AT_FDCWD, path, buffer), flags, mode); \
    }
OPEN_AT(openat)
OPEN_AT(openat64)
OPEN(open)
OPEN(open64)

#define STAT_AT(name, type)                                                                       \
    int name(int folder, const char* path, struct type* status, int flags) {                      \
        char buffer[path_size];                                                                   \
        return (int)syscall(SYS_newfstatat, folder, folded(folder, path, buffer), status, flags); \
    }
#define STAT(name, type, flags)                                                                       \
    int name(const char* path, struct type* status) {                                                 \
        char buffer[path_size];                                                                       \
        return (int)syscall(SYS_newfstatat, AT_FDCWD, folded(AT_FDCWD, path, buffer), status, flags); \
    }
STAT_AT(fstatat, stat)
STAT_AT(fstatat64, stat64)
STAT(stat, stat, 0)
STAT(stat64, stat64, 0)
STAT(lstat, stat, AT_SYMLINK_NOFOLLOW)
STAT(lstat64, stat64, AT_SYMLINK_NOFOLLOW)

int mkdirat(int folder, const char* path, mode_t mode) {
    char buffer[path_size];
    return (int)syscall(SYS_mkdirat, folder, folded(folder, path, buffer), mode);
}

int unlinkat(int folder, const char* path, int flags) {
    char buffer[path_size];
    return (int)syscall(SYS_unlinkat, folder, folded(folder, path, buffer), flags);
}

int renameat(int from_folder, const char* from, int to_folder, const char* to) {
    char from_buffer[path_size];
    char to_buffer[path_size];
    return (int)syscall(SYS_renameat2, from_folder, folded(from_folder, from, from_buffer), to_folder,
                        folded(to_folder, to, to_buffer), 0);
}
