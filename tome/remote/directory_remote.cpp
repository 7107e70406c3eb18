#include "tome/remote/directory_remote.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "tome/base/clock.h"
#include "tome/base/error.h"

namespace tome {
namespace {

constexpr std::string_view marker_text = "tome remote 1\n";

std::filesystem::path marker_path(const std::filesystem::path& directory) {
    return directory / "tome-remote";
}

bool is_remote(const std::filesystem::path& directory) {
    const std::string marker = marker_path(directory).string();
    const FileDescriptor file = open_file_at(AT_FDCWD, marker, marker);
    return file.is_open() && read_whole(file.get(), marker, 4096) == marker_text;
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

Content content_in(ObjectSource& source, const Digest& digest) {
    std::optional<Content> content = source.find_content(digest);
    if (!content) {
        throw Error(ErrorCode::NotFound, "missing object: " + to_hex(digest));
    }
    return std::move(*content);
}

std::string repository_url(const RepositoryLocation& location) {
    return canonical_url(location.remote) + "/" + location.name;
}

}  // namespace

void prepare_directory_remote(const std::filesystem::path& directory) {
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
            throw Error(ErrorCode::Invalid, "the directory is not a Tome remote: " + directory.string());
        }
        return;
    }
    write_file_durably(marker_path(directory), marker_text);
    sync_directory(directory.parent_path());
}

bool create_repository_store(const std::filesystem::path& directory) {
    const std::filesystem::path aside = directory.string() + ".new-" + random_text();
    if (!Store::create(aside)) {
        throw Error(ErrorCode::Io, "could not make repository " + directory.string());
    }
    std::error_code ignored;
    try {
        Store store(aside);
        store.database().fold_log_when_closed();
        BranchRecord main;
        main.name = "main";
        main.created_at = main.updated_at = current_time();
        compare_and_set_branch(store.database(), main);
    } catch (...) {
        std::filesystem::remove_all(aside, ignored);
        throw;
    }
    if (rename(aside.c_str(), directory.c_str()) != 0) {
        const int number = errno;
        std::filesystem::remove_all(aside, ignored);
        if (number == EEXIST || number == ENOTEMPTY || number == ENOTDIR) {
            return false;
        }
        throw system_error("could not make repository " + directory.string(), number);
    }
    sync_directory(directory.parent_path());
    return true;
}

bool DirectoryRemote::is_there(const RepositoryLocation& location) {
    std::error_code ignored;
    return std::filesystem::exists(std::filesystem::symlink_status(location.remote / location.name, ignored));
}

void DirectoryRemote::create_repository(const RepositoryLocation& location) {
    prepare_directory_remote(location.remote);
    const std::filesystem::path directory = location.remote / location.name;
    if (is_there(location) || !create_repository_store(directory)) {
        throw Error(ErrorCode::AlreadyExists, "Already exists: " + repository_url(location));
    }
}

std::unique_ptr<DirectoryRemote> DirectoryRemote::open(const RepositoryLocation& location) {
    const std::filesystem::path directory = location.remote / location.name;
    std::error_code error;
    if (!is_there(location)) {
        const bool exists = std::filesystem::exists(location.remote, error);
        if (exists && !std::filesystem::is_directory(location.remote, error)) {
            throw Error(ErrorCode::Invalid, "the remote is not a directory: " + location.remote.string());
        }
        if (exists && !is_unused(location.remote) && !is_remote(location.remote)) {
            throw Error(ErrorCode::Invalid, "the directory is not a Tome remote: " + location.remote.string());
        }
        if (error && error != std::errc::no_such_file_or_directory) {
            throw Error(ErrorCode::Io, "could not open remote " + location.remote.string() + ": " + error.message());
        }
        throw Error(ErrorCode::NotFound, "Not found: " + repository_url(location));
    }
    return std::make_unique<DirectoryRemote>(std::make_shared<Store>(directory));
}

// Between writes the history stands in the database's file, where damage shows.
DirectoryRemote::DirectoryRemote(std::shared_ptr<Store> store) : store_(std::move(store)) {
    store_->database().fold_log_when_closed();
}

bool DirectoryRemote::has_blob(const BlobKey& key) {
    return tome::has_blob(store_->database(), key);
}

void DirectoryRemote::add_blobs(ObjectSource& source, const std::vector<BlobKey>& keys) {
    for (const BlobKey& key : keys) {
        if (content_in(source, key.digest).in_file() && !store_->is_sound(ObjectKind::Content, key.digest)) {
            store_->prepare_content(key.digest, source);
        }
    }
    Transaction transaction(store_->database());
    for (const BlobKey& key : keys) {
        store_->add_content(key.digest, content_in(source, key.digest));
        add_blob(store_->database(), key, BlobState::Flushed);
    }
    transaction.commit();
}

void DirectoryRemote::add_objects(ObjectSource& source, const std::vector<std::pair<ObjectKind, Digest>>& wanted,
                                  const std::vector<NewObject>& made) {
    for (const auto& [kind, digest] : wanted) {
        if (kind == ObjectKind::Content && content_in(source, digest).in_file()) {
            store_->prepare_content(digest, source);
        }
    }
    Transaction transaction(store_->database());
    for (const auto& [kind, digest] : wanted) {
        if (kind == ObjectKind::Content) {
            store_->add_content(digest, content_in(source, digest));
        } else if (const auto bytes = source.find_object(digest)) {
            store_->add_object(kind, *bytes);
        } else {
            throw Error(ErrorCode::NotFound, "missing object: " + to_hex(digest));
        }
    }
    for (const NewObject& object : made) {
        store_->add_object(object.kind, object.bytes);
    }
    transaction.commit();
}

std::optional<BranchRecord> DirectoryRemote::find_branch(const BranchName& name) {
    return read_branch(store_->database(), name);
}

std::vector<BranchRecord> DirectoryRemote::branches() {
    return list_branches(store_->database());
}

bool DirectoryRemote::compare_and_set(const BranchRecord& record, std::int64_t above) {
    Transaction transaction(store_->database());
    const bool written = compare_and_set_branch(store_->database(), record, above);
    if (written) {
        transaction.commit();
    }
    return written;
}

}  // namespace tome
