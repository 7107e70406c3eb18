#include "workspace/checkout/workspace_snapshot.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <iterator>
#include <optional>
#include <stdexcept>

#include "engine/engine_errors.h"
#include "engine/tome_binding.h"
#include "files/file_bytes.h"
#include "files/folder_tree.h"
#include "project/file_tree_materialization.h"
#include "project/visible_files.h"

namespace quill {
namespace {

namespace fs = std::filesystem;

constexpr int max_walks = 5;
constexpr int copy_attempts = 3;

struct stat status_of(const FileDescriptor& file) {
    struct stat status {};
    if (fstat(file.get(), &status) != 0) {
        throw FileError(FileError::Kind::System, "could not inspect the file", errno);
    }
    return status;
}

void rewind(const FileDescriptor& file) {
    if (lseek(file.get(), 0, SEEK_SET) != 0) {
        throw FileError(FileError::Kind::System, "could not read the file", errno);
    }
}

// Whether the file was changed so lately that another change might leave its times as they are: these are coarse.
bool may_hide_a_change(const FileStamp& stamp) {
    constexpr std::chrono::nanoseconds coarsest = std::chrono::seconds(2);
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::nanoseconds(stamp.modified) + coarsest > now;
}

// What is said of a file that could not be mirrored; the path follows.
struct MirrorTexts {
    const char* no_folder;
    const char* no_copy;
    const char* no_removal;
};

constexpr MirrorTexts texts_for_everything{
    "could not create main workspace snapshot folder: ", "could not snapshot main workspace file: ",
    "could not remove stale main workspace file: "};
constexpr MirrorTexts texts_for_given_paths{
    "could not create changed workspace folder: ", "could not snapshot changed workspace file: ",
    "could not remove changed workspace file: "};

// Copies files into a checkout. A link that points to a file becomes a file, and nothing outside the checkout is
// written.
class Snapshot {
  public:
    Snapshot(const FolderTree& source, const FolderTree& checkout, SourceWriters writers, const MirrorTexts& texts)
        : source_(source), checkout_(checkout), writers_(writers), texts_(texts) {}

    void copy(const std::string& relative) {
        prepare_folder(relative);
        try {
            if (!copy_unchanging(relative)) {
                throw std::runtime_error(texts_.no_copy + relative);
            }
        } catch (const FileError&) {
            throw std::runtime_error(texts_.no_copy + relative);
        }
    }

  private:
    // Copies the file as it was at one moment. False when another program kept writing to it: the copy would be half of
    // one state and half of another.
    bool copy_unchanging(const std::string& relative) {
        for (int attempt = 0; attempt < copy_attempts; ++attempt) {
            const FileDescriptor from = source_.open_target(relative);
            const FileStamp before = stamp_of(status_of(from));
            if (!is_there(from, before, relative)) {
                checkout_.remove_all(relative);
                copy_file(from, checkout_, relative, mode_of_copy(from, std::nullopt) | S_IRUSR | S_IWUSR,
                          Durability::Scratch);
            }
            if (stamp_of(status_of(from)) == before &&
                (writers_ == SourceWriters::None || !may_hide_a_change(before) || is_there(from, before, relative))) {
                return true;
            }
        }
        return false;
    }

    bool is_there(const FileDescriptor& from, const FileStamp& stamp, const std::string& relative) const {
        const std::optional<FolderEntry> existing = checkout_.find(relative);
        rewind(from);
        const bool same = existing && existing->is_file() && existing->stamp.size == stamp.size &&
                          existing->stamp.executable == stamp.executable &&
                          equal_file_bytes(from, checkout_.open_file(relative));
        rewind(from);
        return same;
    }

    // Makes the file's folder. The checkout may still have a file where a folder is needed; it goes. Files come folder
    // by folder, so most of them find theirs prepared.
    void prepare_folder(const std::string& relative) {
        const std::string folder = fs::path(relative).parent_path().string();
        if (prepared_ == folder) {
            return;
        }
        try {
            for (std::size_t slash = folder.find('/');; slash = folder.find('/', slash + 1)) {
                const std::string part = folder.substr(0, slash);
                const std::optional<FolderEntry> existing = checkout_.find(part);
                if (existing && existing->is_file()) {
                    checkout_.remove_file(part);
                }
                if (slash == std::string::npos) {
                    break;
                }
            }
            checkout_.make_folder(folder);
        } catch (const FileError&) {
            throw std::runtime_error(texts_.no_folder + relative);
        }
        prepared_ = folder;
    }

    const FolderTree& source_;
    const FolderTree& checkout_;
    SourceWriters writers_;
    const MirrorTexts& texts_;
    std::optional<std::string> prepared_;
};

template <typename Call>
auto inspected(const std::string& relative, Call call) {
    try {
        return call();
    } catch (const FileError&) {
        throw std::runtime_error("could not inspect changed workspace file: " + relative);
    }
}

// What the source has at the path; nothing when it was deleted. A link that leads nowhere is refused, as it is no
// deletion.
std::optional<FolderEntry> find_selected(const FolderTree& source, const std::string& relative,
                                         const MirrorTexts& texts) {
    const std::optional<FolderEntry> entry = find_in_source(source, relative);
    if (!entry && inspected(relative, [&] { return source.find(relative); })) {
        throw std::runtime_error(texts.no_copy + relative);
    }
    return entry;
}

// Removes from the checkout what is no file in the source. A path that never named a file is refused.
void remove_selected(const FolderTree& checkout, const std::string& relative,
                     const std::optional<FolderEntry>& in_source, const MirrorTexts& texts) {
    try {
        const std::optional<FolderEntry> existing = checkout.find(relative);
        const bool took_its_place = in_source && existing && existing->is_file();
        if (in_source && !took_its_place) {
            throw std::runtime_error(texts.no_copy + relative);
        }
        checkout.remove_all(relative);
        checkout.remove_empty_parents(relative);  // The source may spell them otherwise now.
    } catch (const FileError&) {
        throw std::runtime_error(texts.no_removal + relative);
    }
}

// A folder may vanish or come while it is walked, so a file that was not listed is gone only when it is not there
// either. A link that leads nowhere is no deletion: what it led to may have been moved.
bool is_gone(const FolderTree& source, const std::string& file) {
    try {
        const std::optional<FolderEntry> existing = source.find(file);
        if (!existing || existing->kind != FolderEntry::Kind::Link) {
            return !existing || !existing->is_file();
        }
        const std::optional<FolderEntry> target = source.find_target(file);
        return target && !target->is_file();
    } catch (const FileError& error) {
        return error.kind() == FileError::Kind::Link;
    }
}

std::vector<std::string> files_to_mirror(const FolderTree& source, const std::vector<std::string>& present,
                                         std::vector<std::string>& stale) {
    for (int walk = 1;; ++walk) {
        std::vector<std::string> source_files = all_visible_project_files(source);
        std::erase_if(source_files, is_restore_staging_file);
        if (source_files.empty() && !present.empty()) {
            throw no_file_in_source(source.root());
        }
        stale.clear();
        std::set_difference(present.begin(), present.end(), source_files.begin(), source_files.end(),
                            std::back_inserter(stale));
        const auto missed =
            std::find_if(stale.begin(), stale.end(), [&](const std::string& file) { return !is_gone(source, file); });
        if (missed == stale.end()) {
            return source_files;
        }
        if (walk == max_walks) {
            throw std::runtime_error(texts_for_everything.no_copy + *missed);
        }
    }
}

}  // namespace

FolderTree open_source_folder(const fs::path& source) {
    try {
        return FolderTree(source);
    } catch (const FileError& error) {
        throw std::runtime_error("could not read the source folder " + source.string() + ": " + error.reason());
    }
}

std::optional<FolderEntry> find_in_source(const FolderTree& source, const std::string& path) {
    return inspected(path, [&] { return source.find_target(path); });
}

void mirror_visible_project_files(const fs::path& source_root, const fs::path& checkout_root, SourceWriters writers) {
    const FolderTree source = open_source_folder(source_root);
    const FolderTree checkout(checkout_root);
    std::vector<std::string> stale;
    const std::vector<std::string> source_files = files_to_mirror(source, all_visible_project_files(checkout), stale);
    for (const std::string& file : stale) {
        try {
            checkout.remove_file(file);
            checkout.remove_empty_parents(file);  // The source may spell them otherwise now.
        } catch (const FileError&) {
            throw std::runtime_error(texts_for_everything.no_removal + file);
        }
    }
    Snapshot snapshot(source, checkout, writers, texts_for_everything);
    for (const std::string& file : source_files) {
        snapshot.copy(file);
    }
}

std::vector<fs::path> visible_changed_paths(const std::vector<fs::path>& paths) {
    std::vector<fs::path> visible;
    for (const fs::path& path : paths) {
        const fs::path normal = path.lexically_normal();
        if (normal.empty() || normal.has_root_path() || *normal.begin() == "..") {
            throw std::runtime_error("invalid changed project path while persisting workspace: " + path.string());
        }
        if (!project_relative_path_is_hidden(normal)) {
            visible.push_back(normal);
        }
    }
    return visible;
}

std::runtime_error no_file_in_source(const fs::path& source) {
    return std::runtime_error("nothing to commit from, the source folder holds no file: " + source.string());
}

void mirror_selected_project_files(const fs::path& source_root, const fs::path& checkout_root,
                                   const std::vector<fs::path>& changed_paths) {
    mirror_selected_project_files(open_source_folder(source_root), checkout_root, changed_paths);
}

void mirror_selected_project_files(const FolderTree& source, const fs::path& checkout_root,
                                   const std::vector<fs::path>& changed_paths, CommitScope scope) {
    const MirrorTexts& texts = scope == CommitScope::Everything ? texts_for_everything : texts_for_given_paths;
    const FolderTree checkout(checkout_root);
    std::vector<std::string> copies;
    for (const fs::path& path : visible_changed_paths(changed_paths)) {
        const std::string relative = path.string();
        const std::optional<FolderEntry> entry = find_selected(source, relative, texts);
        if (entry && entry->is_file()) {
            copies.push_back(relative);
        } else {
            remove_selected(checkout, relative, entry, texts);
        }
    }
    // Copies follow all removals, which make room where a file became a folder or a folder a file.
    Snapshot snapshot(source, checkout, SourceWriters::Any, texts);
    for (const std::string& relative : copies) {
        snapshot.copy(relative);
    }
}

std::string tome_stage_and_commit(const fs::path& checkout, const std::vector<std::string>& paths,
                                  const std::string& remote_url, const std::string& message, bool* committed) {
    bool ignored = false;
    bool& done = committed != nullptr ? *committed : ignored;
    done = false;
    if (paths.empty()) {
        return {};
    }
    const CheckoutLocation opened{checkout, remote_url};
    const TomeWorkspaceState staged = call_tome_file_stage(opened, paths);
    try {
        const TomeWorkspaceState state =
            call_tome_revision_commit(opened, message.empty() ? "Quill workspace edit" : message);
        done = true;
        return state.identity;
    } catch (const std::runtime_error& error) {
        if (!says_that_nothing_is_staged(error)) {
            throw;
        }
        return staged.identity;
    }
}

}  // namespace quill
