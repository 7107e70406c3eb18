// What Linux and macOS do in ways of their own, each with a fallback that any POSIX system has.
#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <string>

namespace quill {

/// Waits until what was written to the descriptor survives a power cut. False with errno set on failure.
bool sync_to_disk(int descriptor);

/// Makes everything written to the file system that holds `descriptor` survive a power cut: one wait for many files.
bool sync_file_system(int descriptor);

/// Copies all of `from` to the empty file `to` the way the platform does it best, sharing blocks or inside the kernel.
/// `from` then stands at its start. False, with nothing copied and both at their start, where that cannot be done.
bool clone_file(int from, int to);

/// Whether `path` lies on a network file system, where locks and shared memory of several hosts do not meet.
bool is_on_network_file_system(const char* path);

/// A short path of an open directory, good while it is open, for calls that take no long ones; empty where there is
/// none.
std::string short_path_of(int directory);

/// Nanoseconds since the Unix epoch.
std::int64_t modification_time(const struct stat& status);
std::int64_t change_time(const struct stat& status);

}  // namespace quill
