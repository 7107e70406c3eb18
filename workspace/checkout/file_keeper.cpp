#include "workspace/checkout/file_keeper.h"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <set>
#include <stdexcept>

#include "files/absolute_path.h"
#include "files/file_bytes.h"
#include "files/platform.h"
#include "project/visible_files.h"
#include "project/workspace_id.h"
#include "project/workspace_paths.h"

namespace quill {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view unfinished = ".unfinished";
constexpr std::size_t longest_time = 15;  // digits, so that it can be reckoned with

// Never the same twice in a process, so that the names of its sets differ and are in their order.
std::int64_t time_of_new_set() {
    static std::atomic<std::int64_t> last{0};
    const auto since_epoch = std::chrono::system_clock::now().time_since_epoch();
    const std::int64_t now = std::chrono::duration_cast<std::chrono::milliseconds>(since_epoch).count();
    std::int64_t before = last.load();
    while (!last.compare_exchange_weak(before, std::max(now, before + 1))) {
    }
    return std::max(now, before + 1);
}

std::string name_of_new_set(const std::string& operation, const std::string& workspace) {
    const std::string time = std::to_string(time_of_new_set());
    const std::string count = std::to_string(std::chrono::steady_clock::now().time_since_epoch().count());
    return time + "." + operation + "." + workspace + "." + std::to_string(getpid()) + "-" + count +
           std::string(unfinished);
}

std::string_view cut_field(std::string_view& text) {
    const std::size_t dot = std::min(text.find('.'), text.size());
    const std::string_view field = text.substr(0, dot);
    text.remove_prefix(std::min(dot + 1, text.size()));
    return field;
}

bool consists_of(std::string_view text, std::string_view characters) {
    return !text.empty() && text.find_first_not_of(characters) == std::string_view::npos;
}

bool holds_hidden_files(const FolderTree& working_files, const std::string& folder) {
    bool holds = false;
    try {
        working_files.walk(folder, {}, [&](const std::string& path, const FolderEntry&) {
            holds = holds || project_relative_path_is_hidden(path);
        });
    } catch (const FileError&) {
        return true;
    }
    return holds;
}

[[noreturn]] void refuse(const std::string& path) {
    throw std::runtime_error("could not keep replaced workspace file: " + path);
}

template <typename Call>
void keeping(const std::string& path, Call call) {
    try {
        call();
    } catch (const FileError&) {
        refuse(path);
    }
}

// How the paths in a folder of the package begin.
std::string prefix_in(const fs::path& package, const fs::path& folder) {
    const fs::path relative = folder.lexically_relative(package);
    return relative == "." ? std::string() : relative.string() + "/";
}

}  // namespace

std::optional<KeptSetName> parse_kept_set_name(std::string_view name) {
    KeptSetName parsed;
    parsed.complete = !name.ends_with(unfinished);
    if (!parsed.complete) {
        name.remove_suffix(unfinished.size());
    }
    const std::string_view time = cut_field(name);
    parsed.operation = cut_field(name);
    parsed.workspace = cut_field(name);
    if (!consists_of(time, "0123456789") || time.size() > longest_time ||
        !consists_of(parsed.operation, "abcdefghijklmnopqrstuvwxyz-") || !is_valid_workspace_id(parsed.workspace) ||
        !consists_of(name, "0123456789-")) {
        return std::nullopt;
    }
    std::from_chars(time.data(), time.data() + time.size(), parsed.time);
    return parsed;
}

std::string kept_sets_folder(const fs::path& package) {
    return workspace_kept_files(package).lexically_relative(package).string();
}

std::vector<std::string> kept_set_names(const FolderTree& package, const std::string& sets_folder) {
    std::vector<std::pair<std::int64_t, std::string>> sets;
    for (const std::string& name : package.names_in(sets_folder)) {
        if (const auto parsed = parse_kept_set_name(name)) {
            sets.emplace_back(parsed->time, name);
        }
    }
    std::sort(sets.rbegin(), sets.rend());
    std::vector<std::string> names;
    names.reserve(sets.size());
    for (auto& [time, name] : sets) {
        names.push_back(std::move(name));
    }
    return names;
}

fs::path working_files_of(const fs::path& project, const std::string& workspace) {
    return workspace == "main" ? absolute_normalized(project) : checkout_root_for_workspace_id(project, workspace);
}

bool can_give_way(const FolderTree& working_files, const std::string& path) {
    const std::optional<FolderEntry> existing = working_files.find(path);
    if (existing && existing->is_folder()) {
        return !holds_hidden_files(working_files, path);
    }
    const std::optional<FolderEntry> target = existing ? working_files.find_target(path) : std::nullopt;
    return !target || target->is_file();
}

FileKeeper::FileKeeper(const fs::path& project, const std::string& operation, const std::string& workspace)
    : package_(absolute_normalized(project)),
      sets_(kept_sets_folder(package_.root())),
      files_(prefix_in(package_.root(), working_files_of(project, workspace))),
      name_(name_of_new_set(operation, workspace)) {}

void FileKeeper::make_way(const std::vector<std::string>& files) {
    std::set<std::string> folders;  // those looked at
    for (const std::string& file : files) {
        keeping(file, [&] {
            const std::optional<FolderEntry> existing = package_.find(files_ + file);
            if (existing && existing->is_folder()) {
                move_away(file);
            }
            for (std::string folder = folder_of(file); !folder.empty() && folders.insert(folder).second;
                 folder = folder_of(folder)) {
                const std::optional<FolderEntry> above = package_.find(files_ + folder);
                if (above && !above->is_folder()) {
                    move_away(folder);
                }
            }
        });
    }
}

void FileKeeper::keep(const std::string& path) {
    keeping(path, [&] {
        if (!package_.find(files_ + path)) {
            return;
        }
        package_.make_folder(folder_of(place_of(path)));
        if (!package_.link(files_ + path, place_of(path))) {
            const FileDescriptor from = package_.open_target(files_ + path);
            copy_file(from, package_, place_of(path), mode_of_copy(from, std::nullopt), Durability::Synced);
        }
        kept_.push_back(path);
    });
}

void FileKeeper::make_durable() {
    std::vector<std::string> places;
    for (const std::string& path : kept_) {
        places.push_back(place_of(path));
    }
    if (kept_.size() > max_single_syncs) {
        return keeping(kept_.front(), [&] { sync_volume(package_); });
    }
    for (std::size_t i = 0; i < kept_.size(); ++i) {
        keeping(kept_[i], [&] {
            const std::optional<FolderEntry> entry = package_.find(places[i]);
            if (entry && entry->is_file() && !sync_to_disk(package_.open_file(places[i]).get())) {
                throw FileError(FileError::Kind::System, "could not write " + kept_[i], errno);
            }
        });
    }
    if (!kept_.empty()) {
        keeping(kept_.front(), [&] { sync_folders(package_, places); });
    }
}

void FileKeeper::complete() {
    if (kept_.empty()) {
        return;
    }
    const std::string name = name_.substr(0, name_.size() - unfinished.size());
    try {
        package_.rename(sets_ + "/" + name_, sets_ + "/" + name);
        name_ = name;
        remove_old_sets();
    } catch (const FileError&) {
        // The call is done. Only the folder's name still says that it is not, or sets are left for the next call.
    }
}

void FileKeeper::move_away(const std::string& path) {
    package_.make_folder(folder_of(place_of(path)));
    package_.rename(files_ + path, place_of(path));
    kept_.push_back(path);
}

// The set of this call stays, whatever the clock said when others were made.
void FileKeeper::remove_old_sets() const {
    std::size_t complete = 1;
    for (const std::string& set : kept_set_names(package_, sets_)) {
        if (set != name_ && parse_kept_set_name(set)->complete && ++complete > max_complete_kept_sets) {
            package_.remove_all(sets_ + "/" + set);
        }
    }
}

}  // namespace quill
