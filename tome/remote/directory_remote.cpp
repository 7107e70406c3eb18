#include "tome/remote/directory_remote.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <optional>
#include <string_view>
#include <vector>

#include "tome/base/error.h"
#include "tome/base/file_io.h"
#include "tome/remote/directory_url.h"

namespace tome {
namespace {

// What a marker begins with. Lines "name = value" may follow: settings of the remote. None is known yet.
constexpr std::string_view marker_text = "tome remote 1\n";

std::filesystem::path marker_path(const std::filesystem::path& directory) {
    return directory / "tome-remote";
}

// The name in a line "name = value"; empty for any other line.
std::string_view setting_name(std::string_view line) {
    const std::size_t end = line.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789_");
    const bool is_setting = end != std::string_view::npos && line.substr(end).starts_with(" = ");
    return is_setting ? line.substr(0, end) : std::string_view();
}

// The names of the settings in what follows the marker's first line; nothing when it is anything else.
std::optional<std::vector<std::string>> setting_names(std::string_view text) {
    std::vector<std::string> names;
    while (!text.empty()) {
        const std::size_t end = text.find('\n');
        const std::string_view name = setting_name(text.substr(0, end));
        if (name.empty() || end == std::string_view::npos) {
            return std::nullopt;
        }
        names.emplace_back(name);
        text.remove_prefix(end + 1);
    }
    return names;
}

// Whether the marker is there. Throws Error(Invalid) for a setting that this program does not know.
bool is_remote(const std::filesystem::path& directory) {
    const std::string marker = marker_path(directory).string();
    const FileDescriptor file = open_file_at(AT_FDCWD, marker, marker);
    const std::string text = file.is_open() ? read_whole(file.get(), marker, 4096) : std::string();
    if (!text.starts_with(marker_text)) {
        return false;
    }
    const auto settings = setting_names(std::string_view(text).substr(marker_text.size()));
    if (settings && !settings->empty()) {
        throw Error(ErrorCode::Invalid, "the remote was written by a newer Tome (setting " + settings->front() +
                                            "); update to use it: " + directory.string());
    }
    return settings.has_value();
}

// An existing repository is opened even if the marker is missing or damaged. But a setting that is not known may say
// how to read the repository.
void refuse_unknown_settings(const std::filesystem::path& directory) {
    try {
        is_remote(directory);
    } catch (const Error& error) {
        if (error.code() != ErrorCode::Io) {
            throw;
        }
    }
}

[[noreturn]] void refuse_other_directory(const std::filesystem::path& directory) {
    throw Error(ErrorCode::Invalid, "the directory is not a Tome remote: " + directory.string());
}

// Whether nothing is in the directory but markers that other processes are writing or were killed over.
bool is_unused(const std::filesystem::path& directory) {
    std::error_code error;
    std::filesystem::directory_iterator entry(directory, error);
    for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
        if (!entry->path().filename().string().starts_with("tome-remote.tmp-")) {
            return false;
        }
    }
    return !error;
}

// Where the repository's store lies.
std::filesystem::path folder_of(const RepositoryLocation& location) {
    return directory_of_url(location.remote_url) / location.name;
}

// Makes the directory a remote when it is missing (its parent must exist) or empty.
void prepare_directory(const std::filesystem::path& directory) {
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::status(directory, error);
    if (status.type() == std::filesystem::file_type::not_found) {
        if (mkdir(directory.c_str(), 0777) != 0 && errno != EEXIST) {
            throw system_error("could not make remote " + directory.string(), errno);
        }
    } else if (error) {
        throw Error(ErrorCode::Io, "could not open remote " + directory.string() + ": " + error.message());
    } else if (status.type() != std::filesystem::file_type::directory) {
        throw Error(ErrorCode::Invalid, "the remote is not a directory: " + directory.string());
    }
    if (is_remote(directory)) {
        return;
    }
    if (!is_unused(directory)) {
        if (!is_remote(directory)) {  // Another process may have made it in between.
            refuse_other_directory(directory);
        }
        return;
    }
    write_file_durably(marker_path(directory), marker_text);
    sync_directory(directory.parent_path());
}

// Says why there is no such repository.
[[noreturn]] void refuse_missing(const RepositoryLocation& location) {
    const std::filesystem::path directory = directory_of_url(location.remote_url);
    std::error_code error;
    const bool exists = std::filesystem::exists(directory, error);
    if (exists && !std::filesystem::is_directory(directory, error)) {
        throw Error(ErrorCode::Invalid, "the remote is not a directory: " + directory.string());
    }
    if (exists && !is_unused(directory) && !is_remote(directory)) {
        refuse_other_directory(directory);
    }
    if (error && error != std::errc::no_such_file_or_directory) {
        throw Error(ErrorCode::Io, "could not open remote " + directory.string() + ": " + error.message());
    }
    throw Error(ErrorCode::NotFound, "Not found: " + repository_url(location));
}

}  // namespace

bool DirectoryRemote::is_there(const RepositoryLocation& location) {
    std::error_code ignored;
    return std::filesystem::exists(std::filesystem::symlink_status(folder_of(location), ignored));
}

std::string DirectoryRemote::place_of(const RepositoryLocation& location) {
    return folder_of(location).string();
}

void DirectoryRemote::create_repository(const RepositoryLocation& location) {
    prepare_directory(directory_of_url(location.remote_url));
    if (is_there(location) || !create_repository_store(folder_of(location))) {
        throw Error(ErrorCode::AlreadyExists, "Already exists: " + repository_url(location));
    }
}

std::unique_ptr<Remote> DirectoryRemote::open(const RepositoryLocation& location) {
    if (!is_there(location)) {
        refuse_missing(location);
    }
    refuse_unknown_settings(directory_of_url(location.remote_url));
    return std::make_unique<DirectoryRemote>(location);
}

DirectoryRemote::DirectoryRemote(const RepositoryLocation& location) : StoreRemote(folder_of(location)) {}

}  // namespace tome
