// What tests of files share: contents, names, and failures of the system that also root meets.
#pragma once

#include <sys/resource.h>

#include <csignal>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "tests/support/failure.h"

namespace quill_test {

/// A file name with a quote, a backslash, a line feed, a tab, spaces and letters beyond ASCII.
inline const std::string odd_name = "a \"quoted\"\nname\t\\ \xC3\xA9\xE2\x82\xAC";

/// `size` bytes of which no two blocks are alike.
std::string bytes_of_size(std::size_t size);

/// The names in `folder`, in byte order.
std::vector<std::string> names_in(const std::filesystem::path& folder);

/// What the system says of the errno `number`.
std::string system_message(int number);

/// As long as it lives, this process may not go beyond `soft` of the `resource`. With RLIMIT_FSIZE a write that would
/// is refused as on a full disk.
class ResourceLimit {
  public:
    ResourceLimit(int resource, rlim_t soft);
    ~ResourceLimit();
    ResourceLimit(const ResourceLimit&) = delete;
    ResourceLimit& operator=(const ResourceLimit&) = delete;

  private:
    int resource_;
    rlimit old_{};
    void (*handler_)(int);
};

/// Runs `action` in a child in which the system calls of the numbers `calls` do nothing and report the errno `error`,
/// or success when it is 0. Returns what `action` returns, or nothing where the system cannot do that.
std::optional<std::string> with_idle_calls(const std::vector<int>& calls, int error,
                                           const std::function<std::string()>& action);

std::vector<int> removing_calls();
std::vector<int> renaming_calls();
std::vector<int> linking_calls();
std::vector<int> syncing_calls();
/// None under the thread sanitizer, which starts no thread in a child of a process that had several.
std::vector<int> thread_starting_calls();

/// Runs `action` in a child that has no right to files of others. Returns what `action` returns, or nothing where this
/// process can neither become such a child nor is one.
std::optional<std::string> without_privileges(const std::function<std::string()>& action);

/// Watches a folder as long as it lives, where the platform can.
class FolderWatch {
  public:
    explicit FolderWatch(const std::filesystem::path& folder);
    ~FolderWatch();
    FolderWatch(const FolderWatch&) = delete;
    FolderWatch& operator=(const FolderWatch&) = delete;

    bool works() const { return queue_ >= 0; }

    /// What happened since the last call, in order: "made ", "removed ", "moved from " or "moved to " and the name.
    std::vector<std::string> changes();

  private:
    int queue_ = -1;
};

}  // namespace quill_test
