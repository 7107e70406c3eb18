#include "tome/remote/store_remote.h"

#include <cerrno>

#include "tome/base/clock.h"
#include "tome/base/error.h"
#include "tome/store/blob_table.h"
#include "tome/store/branch_table.h"

namespace tome {
namespace {

Content content_in(ObjectSource& source, const Digest& digest) {
    std::optional<Content> content = source.find_content(digest);
    if (!content) {
        throw missing_object(digest);
    }
    return std::move(*content);
}

}  // namespace

StoreRemote::StoreRemote(const std::filesystem::path& directory) : store_(std::make_shared<Store>(directory)) {
    store_->database().fold_log_when_closed();
}

bool StoreRemote::has_blob(const BlobKey& key) {
    return tome::has_blob(store_->database(), key);
}

void StoreRemote::add_blobs(ObjectSource& source, const std::vector<BlobKey>& keys) {
    for (const BlobKey& key : keys) {
        if (content_in(source, key.digest).size > max_inline_bytes &&
            !store_->is_sound(ObjectKind::Content, key.digest)) {
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

void StoreRemote::add_objects(ObjectSource& source, const ObjectNames& wanted,
                              const std::vector<NewObject>& new_objects) {
    for (const auto& [kind, digest] : wanted) {
        if (kind == ObjectKind::Content && content_in(source, digest).size > max_inline_bytes) {
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
            throw missing_object(digest);
        }
    }
    store_->add_objects(new_objects);
    transaction.commit();
}

std::optional<BranchRecord> StoreRemote::find_branch(const BranchName& name) {
    return read_branch(store_->database(), name);
}

std::vector<BranchRecord> StoreRemote::branches() {
    return list_branches(store_->database());
}

bool StoreRemote::compare_and_set(const BranchRecord& record, std::int64_t above) {
    Transaction transaction(store_->database());
    const bool written = compare_and_set_branch(store_->database(), record, above);
    if (written) {
        transaction.commit();
    }
    return written;
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

}  // namespace tome
