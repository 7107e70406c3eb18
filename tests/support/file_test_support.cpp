#include "tests/support/file_test_support.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <system_error>

#if defined(__linux__)
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/inotify.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#endif

namespace quill_test {
namespace {

constexpr int refused = 77;  // status of a child that could not be made as asked for

void write_all(int file, const std::string& text) {
    std::size_t done = 0;
    while (done < text.size()) {
        const ssize_t count = write(file, text.data() + done, text.size() - done);
        if (count <= 0) {
            _exit(1);
        }
        done += static_cast<std::size_t>(count);
    }
}

[[noreturn]] void act(int report, const std::function<bool()>& prepare, const std::function<std::string()>& action) {
    if (!prepare()) {
        _exit(refused);
    }
    try {
        write_all(report, action());
    } catch (const std::exception& error) {
        write_all(report, std::string("uncaught: ") + error.what());
    }
    _exit(0);
}

std::string read_all(int file) {
    std::string text;
    std::array<char, 4096> block{};
    for (ssize_t count = 0; (count = read(file, block.data(), block.size())) > 0;) {
        text.append(block.data(), static_cast<std::size_t>(count));
    }
    return text;
}

std::optional<std::string> in_child(const std::function<bool()>& prepare, const std::function<std::string()>& action) {
    std::array<int, 2> ends{};
    if (pipe(ends.data()) != 0) {
        throw std::runtime_error("could not make a pipe");
    }
    const pid_t child = fork();
    if (child < 0) {
        throw std::runtime_error("could not start a child");
    }
    if (child == 0) {
        close(ends[0]);
        act(ends[1], prepare, action);
    }
    close(ends[1]);
    std::string text = read_all(ends[0]);
    close(ends[0]);
    int status = 0;
    waitpid(child, &status, 0);
    if (WIFEXITED(status) && WEXITSTATUS(status) == refused) {
        return std::nullopt;
    }
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        throw std::runtime_error("the child failed: " + text);
    }
    return text;
}

#if defined(__linux__)
bool make_idle(const std::vector<int>& calls, int error) {
    std::vector<sock_filter> filter{BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr))};
    for (const int call : calls) {
        filter.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<unsigned>(call), 0, 1));
        filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | static_cast<unsigned>(error)));
    }
    filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
    const sock_fprog program{static_cast<unsigned short>(filter.size()), filter.data()};
    return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 && prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

std::string text_of(const inotify_event& event, const char* name) {
    const char* kind = (event.mask & IN_CREATE) != 0       ? "made "
                       : (event.mask & IN_DELETE) != 0     ? "removed "
                       : (event.mask & IN_MOVED_FROM) != 0 ? "moved from "
                                                           : "moved to ";
    return std::string(kind) + name;
}
#else
bool make_idle(const std::vector<int>&, int) {
    return false;
}
#endif

}  // namespace

std::string bytes_of_size(std::size_t size) {
    std::string bytes(size, '\0');
    for (std::size_t index = 0; index < size; ++index) {
        bytes[index] = static_cast<char>(index * 31 + index / 251);
    }
    return bytes;
}

std::vector<std::string> names_in(const std::filesystem::path& folder) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::string system_message(int number) {
    return std::generic_category().message(number);
}

ResourceLimit::ResourceLimit(int resource, rlim_t soft) : resource_(resource), handler_(std::signal(SIGXFSZ, SIG_IGN)) {
    getrlimit(static_cast<decltype(RLIMIT_FSIZE)>(resource_), &old_);
    const rlimit limit{soft, old_.rlim_max};
    setrlimit(static_cast<decltype(RLIMIT_FSIZE)>(resource_), &limit);
}

ResourceLimit::~ResourceLimit() {
    setrlimit(static_cast<decltype(RLIMIT_FSIZE)>(resource_), &old_);
    std::signal(SIGXFSZ, handler_);
}

std::optional<std::string> with_idle_calls(const std::vector<int>& calls, int error,
                                           const std::function<std::string()>& action) {
    return in_child([&] { return !calls.empty() && make_idle(calls, error); }, action);
}

std::vector<int> removing_calls() {
    return {
#if defined(SYS_unlink)
        SYS_unlink, SYS_rmdir,
#endif
#if defined(SYS_unlinkat)
            SYS_unlinkat,
#endif
    };
}

std::vector<int> renaming_calls() {
    return {
#if defined(SYS_rename)
        SYS_rename,
#endif
#if defined(SYS_renameat)
            SYS_renameat,
#endif
#if defined(SYS_renameat2)
            SYS_renameat2,
#endif
    };
}

std::vector<int> linking_calls() {
    return {
#if defined(SYS_link)
        SYS_link,
#endif
#if defined(SYS_linkat)
            SYS_linkat,
#endif
    };
}

std::vector<int> syncing_calls() {
    return {
#if defined(SYS_syncfs)
        SYS_fsync, SYS_fdatasync, SYS_syncfs,
#endif
    };
}

std::vector<int> thread_starting_calls() {
    return {
#if defined(SYS_clone) && !defined(QUILL_THREAD_SANITIZER)
        SYS_clone,
#if defined(SYS_clone3)
            SYS_clone3,
#endif
#endif
    };
}

std::optional<std::string> without_privileges(const std::function<std::string()>& action) {
    constexpr uid_t nobody = 65'534;
    return in_child([] { return geteuid() != 0 || seteuid(nobody) == 0; }, action);
}

#if defined(__linux__)

FolderWatch::FolderWatch(const std::filesystem::path& folder) : queue_(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
    if (queue_ >= 0 && inotify_add_watch(queue_, folder.c_str(), IN_CREATE | IN_DELETE | IN_MOVE) < 0) {
        close(queue_);
        queue_ = -1;
    }
}

std::vector<std::string> FolderWatch::changes() {
    std::vector<std::string> texts;
    std::array<char, 65'536> block{};
    for (ssize_t count = 0; (count = read(queue_, block.data(), block.size())) > 0;) {
        for (const char* at = block.data(); at < block.data() + count;) {
            inotify_event event{};
            std::memcpy(&event, at, sizeof(event));
            texts.push_back(text_of(event, at + sizeof(event)));
            at += sizeof(event) + event.len;
        }
    }
    return texts;
}

#else

FolderWatch::FolderWatch(const std::filesystem::path&) {}

std::vector<std::string> FolderWatch::changes() {
    return {};
}

#endif

FolderWatch::~FolderWatch() {
    if (queue_ >= 0) {
        close(queue_);
    }
}

}  // namespace quill_test
