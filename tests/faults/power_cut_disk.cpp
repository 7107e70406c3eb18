#include "tests/faults/power_cut_disk.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <functional>
#include <random>
#include <stdexcept>

#include "tests/support/temporary_folder.h"

namespace quill_test {
namespace {

namespace fs = std::filesystem;

bool is_shared_memory(const std::string& name) {
    return name.ends_with("-shm");
}

struct stat status_of(const fs::path& path) {
    struct stat status {};
    if (lstat(path.c_str(), &status) != 0) {
        throw std::runtime_error("could not look at " + path.string());
    }
    return status;
}

// A file gets the same under each of its names.
std::minstd_rand random_for(const Loss& loss, std::uint64_t id) {
    std::minstd_rand random(static_cast<unsigned>(loss.seed * 7919U + id * 104729U + 1U));
    random.discard(3);
    return random;
}

unsigned below(std::minstd_rand& random, std::size_t count) {
    return static_cast<unsigned>(random() / 7 % count);
}

}  // namespace

std::string DiskTree::fingerprint() const {
    std::string text;
    for (const auto& [path, entry] : entries) {
        text += path + '\0' + std::to_string(entry.mode) + ' ' + std::to_string(entry.bytes.size()) + ' ' +
                std::to_string(std::hash<std::string>()(entry.bytes)) + '\n';
    }
    return text;
}

void DiskTree::write_to(const fs::path& folder) const {
    fs::remove_all(folder);
    fs::create_directories(folder);
    std::map<std::uint64_t, fs::path> written;
    for (const auto& [relative, entry] : entries) {
        const fs::path path = folder / relative;
        if (entry.folder) {
            fs::create_directory(path);
        } else if (const auto [other, first] = written.emplace(entry.identity, path); first) {
            write_file(path, entry.bytes);
        } else {
            fs::create_hard_link(other->second, path);
        }
        chmod(path.c_str(), entry.mode);
    }
}

PowerCutDisk::PowerCutDisk(const fs::path& folder) : root_(add_tree(folder)) {}

PowerCutDisk::Id PowerCutDisk::add_tree(const fs::path& path) {
    const struct stat status = status_of(path);
    if (const auto known = by_inode_.find(status.st_ino); known != by_inode_.end()) {
        return known->second;
    }
    const Id id = add(status.st_ino, S_ISDIR(status.st_mode), status.st_mode);
    if (S_ISREG(status.st_mode)) {
        nodes_[id].safe_bytes = nodes_[id].bytes = read_file(path);
    } else if (!S_ISDIR(status.st_mode)) {
        throw std::runtime_error("neither a file nor a folder: " + path.string());
    } else {
        for (const auto& entry : fs::directory_iterator(path)) {
            const std::string name = entry.path().filename().string();
            if (!is_shared_memory(name)) {
                const Id child = add_tree(entry.path());
                nodes_[id].safe_names[name] = child;
            }
        }
    }
    return id;
}

PowerCutDisk::Id PowerCutDisk::add(std::uint64_t inode, bool folder, unsigned mode) {
    const Id id = nodes_.size() + 1;
    nodes_[id].folder = folder;
    nodes_[id].mode = mode;
    by_inode_[inode] = id;
    return id;
}

PowerCutDisk::Node* PowerCutDisk::find(std::uint64_t inode) {
    const auto found = by_inode_.find(inode);
    return found == by_inode_.end() ? nullptr : &nodes_.at(found->second);
}

PowerCutDisk::Id PowerCutDisk::name_in(const Node& folder, const std::string& name) const {
    if (const auto since = folder.names_since.find(name); since != folder.names_since.end()) {
        return since->second.back();
    }
    const auto safe = folder.safe_names.find(name);
    return safe == folder.safe_names.end() ? 0 : safe->second;
}

void PowerCutDisk::set_name(Node& folder, const std::string& name, Id id) {
    folder.names_since[name].push_back(id);
}

void PowerCutDisk::forget_sync_of_name(const std::string& path) {
    Id folder = root_;
    for (const fs::path& component : fs::path(path).parent_path()) {
        folder = name_in(nodes_.at(folder), component.string());
    }
    Node& parent = nodes_.at(folder);
    const std::string name = fs::path(path).filename().string();
    const Id id = parent.safe_names.at(name);
    parent.safe_names.erase(name);
    set_name(parent, name, id);
}

void PowerCutDisk::apply(const RecordEntry& entry) {
    switch (entry.kind) {
        case 'c':
        case 'd':
            return make(entry);
        case 'l':
            if (Node* folder = find(entry.folder); folder != nullptr && find(entry.file) != nullptr) {
                set_name(*folder, entry.name, by_inode_.at(entry.file));
            }
            return;
        case 'u':
            if (Node* folder = find(entry.folder); folder != nullptr && name_in(*folder, entry.name) != 0) {
                set_name(*folder, entry.name, 0);
            }
            return;
        case 'r':
            return rename(entry);
        case 'w':
            return write_and_note(entry.file, {entry.number, false, entry.bytes});
        case 't':
            return write_and_note(entry.file, {entry.number, true, {}});
        case 'm':
            if (Node* file = find(entry.file)) {
                file->mode = static_cast<unsigned>(entry.number);
            }
            return;
        case 's':
            if (Node* node = find(entry.file)) {
                sync(*node);
            }
            return;
        case 'S':
            for (auto& [id, node] : nodes_) {
                sync(node);
            }
            return;
        default:
            throw std::runtime_error("unknown entry in the record of what was written");
    }
}

void PowerCutDisk::make(const RecordEntry& entry) {
    Node* folder = find(entry.folder);
    by_inode_.erase(entry.file);  // The number may have been that of a file which is gone.
    if (folder != nullptr) {
        const Id id = add(entry.file, entry.kind == 'd', static_cast<unsigned>(entry.number));
        set_name(*folder, entry.name, id);
    }
}

void PowerCutDisk::rename(const RecordEntry& entry) {
    Node* from = find(entry.folder);
    Node* to = find(entry.number);
    const Id id = from != nullptr ? name_in(*from, entry.name) : 0;
    if (id == 0 || to == nullptr) {
        return;
    }
    set_name(*from, entry.name, 0);
    set_name(*to, entry.bytes, id);
    if (from == to) {
        from->renames_since.emplace_back(entry.name, entry.bytes);
    }
}

void PowerCutDisk::write_and_note(std::uint64_t inode, Write write) {
    if (Node* file = find(inode)) {
        PowerCutDisk::write(file->bytes, write, write.bytes.size());
        file->unsynced.push_back(std::move(write));
    }
}

// The first `size` bytes of a write, or a truncation.
void PowerCutDisk::write(std::string& bytes, const Write& write, std::size_t size) {
    if (write.truncation) {
        bytes.resize(write.offset);
        return;
    }
    bytes.resize(std::max<std::size_t>(bytes.size(), write.offset + size));
    bytes.replace(write.offset, size, write.bytes, 0, size);
}

void PowerCutDisk::sync(Node& node) {
    node.safe_bytes = node.bytes;
    node.unsynced.clear();
    for (const auto& [name, values] : node.names_since) {
        if (values.back() != 0) {
            node.safe_names[name] = values.back();
        } else {
            node.safe_names.erase(name);
        }
    }
    node.names_since.clear();
    node.renames_since.clear();
}

bool PowerCutDisk::changes_by(const RecordEntry& sync) const {
    const auto synced = by_inode_.find(sync.file);
    return sync.kind == 'S' || (synced != by_inode_.end() && (!nodes_.at(synced->second).unsynced.empty() ||
                                                              !nodes_.at(synced->second).names_since.empty()));
}

std::uint64_t PowerCutDisk::identity_of(const RecordEntry& entry) const {
    const auto found = by_inode_.find(entry.file);
    return found == by_inode_.end() ? 0 : found->second;
}

std::string PowerCutDisk::path_of(const RecordEntry& entry) const {
    const auto sought = by_inode_.find(entry.file);
    std::function<std::string(Id)> search = [&](Id id) -> std::string {
        const Node& node = nodes_.at(id);
        std::map<std::string, Id> names = node.safe_names;
        for (const auto& [name, values] : node.names_since) {
            names[name] = values.back();
        }
        for (const auto& [name, child] : names) {
            if (child != 0 && child == sought->second) {
                return name;
            }
            if (std::string below = child != 0 ? search(child) : std::string(); !below.empty()) {
                return name + "/" + below;
            }
        }
        return {};
    };
    return sought == by_inode_.end() ? std::string() : sought->second == root_ ? "." : search(root_);
}

std::string PowerCutDisk::bytes_after(Id id, const Loss& loss) const {
    const Node& node = nodes_.at(id);
    if (loss.kind == Loss::Kind::One) {
        return id == loss.one ? node.safe_bytes : node.bytes;
    }
    if (node.unsynced.empty() || loss.kind == Loss::Kind::Nothing || loss.kind == Loss::Kind::Names) {
        return node.bytes;
    }
    std::string bytes = node.safe_bytes;
    if (loss.kind == Loss::Kind::Everything || loss.kind == Loss::Kind::Data) {
        return bytes;
    }
    std::minstd_rand random = random_for(loss, id);
    const bool tail = loss.kind == Loss::Kind::Tails;
    const unsigned choice = tail ? 2 : below(random, 4);  // none, all, all up to one that is cut, any
    const std::size_t count = node.unsynced.size();
    const std::size_t cut = tail ? count - 1 : choice == 2 ? below(random, count) : count;
    for (std::size_t i = 0; choice != 0 && i < count && i <= cut; ++i) {
        const Write& one = node.unsynced[i];
        if (choice != 3 || below(random, 2) == 0) {
            write(bytes, one, i == cut ? one.bytes.size() / 2 : one.bytes.size());
        }
    }
    return bytes;
}

std::map<std::string, PowerCutDisk::Id> PowerCutDisk::names_after(Id id, const Loss& loss) const {
    const Node& node = nodes_.at(id);
    std::map<std::string, Id> names = node.safe_names;
    if (loss.kind == Loss::Kind::Everything || loss.kind == Loss::Kind::Names ||
        (loss.kind == Loss::Kind::One && id == loss.one)) {
        return names;
    }
    std::minstd_rand random = random_for(loss, id);
    for (const auto& [name, values] : node.names_since) {
        const unsigned choice = loss.kind == Loss::Kind::Some ? below(random, values.size() + 1) : 0;
        if (choice == 0) {
            names[name] = values.back();
        } else if (choice > 1) {
            names[name] = values[choice - 2];
        }
    }
    for (const auto& [from, to] : node.renames_since) {
        const Id renamed = name_in(node, to);
        if (renamed != 0 && names[to] != renamed) {
            names[from] = renamed;
        }
    }
    std::erase_if(names, [](const auto& name) { return name.second == 0; });
    return names;
}

void PowerCutDisk::add_to(DiskTree& tree, std::map<Id, std::string>& folders, Id id, const std::string& path,
                          const Loss& loss) const {
    const Node& node = nodes_.at(id);
    if (id != root_) {
        if (node.folder && !folders.emplace(id, path).second) {
            return;
        }
        tree.entries[path] = {node.folder, id, node.mode & 07777U, node.folder ? "" : bytes_after(id, loss)};
    }
    if (node.folder) {
        for (const auto& [name, child] : names_after(id, loss)) {
            add_to(tree, folders, child, path.empty() ? name : path + "/" + name, loss);
        }
    }
}

DiskTree PowerCutDisk::after_power_cut(const Loss& loss) const {
    DiskTree tree;
    std::map<Id, std::string> folders;
    add_to(tree, folders, root_, "", loss);
    return tree;
}

}  // namespace quill_test
