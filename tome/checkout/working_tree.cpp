#include "tome/checkout/working_tree.h"

#include "digest/sha256.h"
#include "files/file_bytes.h"
#include "tome/base/error.h"
#include "tome/base/file_io.h"

namespace tome {
namespace {

constexpr int hash_attempts = 3;

template <typename Call>
auto translated(Call call) {
    try {
        return call();
    } catch (const quill::FileError& error) {
        const bool missing = error.kind() == quill::FileError::Kind::Missing;
        throw Error(missing ? ErrorCode::NotFound : ErrorCode::Io, error.what());
    }
}

}  // namespace

WorkingTree::WorkingTree(const std::filesystem::path& root)
    : tree_(translated([&] { return quill::FolderTree(root); })) {}

std::optional<WorkingEntry> WorkingTree::find(const TreePath& path) const {
    return translated([&] { return tree_.find(path.text()); });
}

FileDescriptor WorkingTree::open(const TreePath& path) const {
    return translated([&] { return tree_.open_file(path.text()); });
}

std::pair<Digest, FileStamp> WorkingTree::hash(const TreePath& path) const {
    for (int attempt = 0; attempt < hash_attempts; ++attempt) {
        const FileDescriptor file = open(path);
        struct stat before {};
        struct stat after {};
        quill::Sha256 hash;
        if (fstat(file.get(), &before) != 0) {
            throw system_error("could not read " + path.text(), errno);
        }
        read_blocks(file.get(), path.text(), [&](std::string_view block) { hash.update(block.data(), block.size()); });
        if (fstat(file.get(), &after) == 0 && quill::stamp_of(before) == quill::stamp_of(after)) {
            return {Digest{hash.finish()}, quill::stamp_of(after)};
        }
    }
    throw Error(ErrorCode::Io, "file keeps changing while it is read: " + path.text());
}

FileStamp WorkingTree::install(const std::filesystem::path& temporary, const TreePath& path) const {
    return translated([&] { return tree_.install(temporary, path.text()); });
}

void WorkingTree::remove(const TreePath& path) const {
    translated([&] {
        tree_.remove_file(path.text());
        tree_.remove_empty_parents(path.text());
    });
}

void WorkingTree::remove_empty_folder(const TreePath& path) const {
    translated([&] { tree_.remove_empty_folder(path.text()); });
}

void WorkingTree::sync_folders(const std::vector<std::string>& paths) const {
    translated([&] { quill::sync_folders(tree_, paths); });
}

void WorkingTree::sync_volume() const {
    translated([&] { quill::sync_volume(tree_); });
}

void WorkingTree::scan(const std::string& folder, const std::set<std::string>& skip,
                       const std::function<void(const std::string&, const WorkingEntry&)>& visit) const {
    quill::FolderTree::WalkRules rules;
    rules.leaves_out = [&](const std::string& path) {
        return skip.contains(path) || is_state_folder(std::string_view(path).substr(path.rfind('/') + 1));
    };
    rules.border = ".tome";
    rules.stamps = true;
    translated([&] { tree_.walk(folder, rules, visit); });
}

}  // namespace tome
