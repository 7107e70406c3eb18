#include "workspace/checkout/abandoned_checkouts.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>

#include <algorithm>
#include <cerrno>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "files/absolute_path.h"
#include "files/file_descriptor.h"
#include "files/folder_tree.h"
#include "project/checkout_configuration.h"
#include "project/temporary_checkouts.h"
#include "project/workspace_id.h"
#include "project/workspace_paths.h"

namespace quill {
namespace {

struct ProcessCheckouts {
    std::mutex mutex;
    std::map<std::string, FileDescriptor> held;  // guarded by mutex
    std::set<std::string> swept;                 // guarded by mutex
};

// Never destroyed: background threads may outlive main.
ProcessCheckouts& process_checkouts() {
    static auto* checkouts = new ProcessCheckouts;
    return *checkouts;
}

// A workspace may be called "metadata-1-2", too, so the name alone does not tell its checkout from one for queries. The
// latter holds the project's ID or, when its clone was cut off, nothing but the engine's state.
bool may_be_workspace(const FolderTree& package, const std::string& checkout) {
    const bool is_id = is_valid_workspace_id(checkout.substr(checkout.rfind('/') + 1));
    if (!is_id || package.find(checkout + "/.keel-project-id")) {
        return false;
    }
    const std::vector<std::string> names = package.names_in(checkout);
    return std::any_of(names.begin(), names.end(),
                       [](const std::string& name) { return !name.starts_with(tome_state_folder_name); });
}

bool is_dead(pid_t process) {
    return kill(process, 0) != 0 && errno == ESRCH;
}

void remove_unless_held(const FolderTree& package, const std::string& checkout) {
    const FileDescriptor folder = package.open_folder(checkout);
    if (folder.is_open() && lock_descriptor(folder.get(), LOCK_EX | LOCK_NB)) {
        package.remove_all(checkout);
    }
}

void remove_previews_of_revision(const FolderTree& package, const std::string& revision) {
    for (const std::string& name : package.names_in(revision)) {
        const std::optional<pid_t> owner = process_of_history_preview(name);
        if (owner && is_dead(*owner)) {
            package.remove_file(revision + "/" + history_preview_marker_name(name));
            remove_unless_held(package, revision + "/" + name);
        }
    }
    package.remove_if_empty(revision);
}

// A preview is named by its process, below its workspace and revision; its ready marker stands beside it.
void remove_abandoned_previews(const FolderTree& package, const std::string& previews) {
    for (const std::string& workspace : package.names_in(previews)) {
        for (const std::string& revision : package.names_in(previews + "/" + workspace)) {
            remove_previews_of_revision(package, previews + "/" + workspace + "/" + revision);
        }
        package.remove_if_empty(previews + "/" + workspace);
    }
}

void remove_abandoned(const FolderTree& package, const std::string& base, const std::string& previews) {
    for (const std::string& name : package.names_in(base)) {
        const std::string checkout = base + "/" + name;
        const std::optional<pid_t> owner = process_of_temporary_checkout(name);
        if (owner && is_dead(*owner) && !may_be_workspace(package, checkout)) {
            remove_unless_held(package, checkout);
        }
    }
    remove_abandoned_previews(package, previews);
}

}  // namespace

void hold_checkout(const std::filesystem::path& checkout) {
    ProcessCheckouts& checkouts = process_checkouts();
    const std::lock_guard lock(checkouts.mutex);
    FileDescriptor folder = open_at(AT_FDCWD, checkout.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW);
    if (folder.is_open()) {
        lock_descriptor(folder.get(), LOCK_SH | LOCK_NB);
        checkouts.held.insert_or_assign(checkout.string(), std::move(folder));
    }
}

void release_checkout(const std::filesystem::path& checkout) {
    ProcessCheckouts& checkouts = process_checkouts();
    const std::lock_guard lock(checkouts.mutex);
    checkouts.held.erase(checkout.string());
}

void remove_abandoned_checkouts(const std::filesystem::path& project) {
    ProcessCheckouts& checkouts = process_checkouts();
    const std::filesystem::path package = absolute_normalized(project);
    {
        const std::lock_guard lock(checkouts.mutex);
        if (!checkouts.swept.insert(package.string()).second) {
            return;
        }
    }
    try {
        const auto in_package = [&](const std::filesystem::path& folder) {
            return folder.lexically_relative(package).string();
        };
        remove_abandoned(FolderTree(package), in_package(workspace_checkout_base(package)),
                         in_package(workspace_history_previews(package)));
    } catch (const std::runtime_error&) {
        // The next process tries again.
    }
}

}  // namespace quill
