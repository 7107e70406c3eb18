// Keeping what a call is about to replace or remove among the files that somebody works on, because its bytes may be in
// no revision. Each call that keeps anything has a folder of its own, a set, in .derived/tome-workspaces/.kept-files,
// and in it the files at their relative paths. A file is kept by a second name, which costs no copy. The newest ten
// complete sets stay. What a call that failed or was cut off had kept stays until somebody removes it, because it may
// be nowhere else.
//
// Applications see the sets through kept_files.h. Any thread; one at a time for each FileKeeper.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "files/folder_tree.h"

namespace quill {

/// How many complete sets stay.
inline constexpr std::size_t max_complete_kept_sets = 10;

/// What the name of a set's folder says: "<time>.<operation>.<workspace>.<process>-<count of the steady clock>", and
/// ".unfinished" behind it until the call is complete.
struct KeptSetName {
    std::int64_t time = 0;  ///< ms since the Unix epoch
    std::string operation;
    std::string workspace;
    bool complete = false;
};

/// Nothing for a name that is not that of a set.
std::optional<KeptSetName> parse_kept_set_name(std::string_view name);

/// The folder of all sets, relative to the package, whose path is absolute and normalised. Throws std::runtime_error "a
/// symbolic link stands in the way: " + path.
std::string kept_sets_folder(const std::filesystem::path& package);

/// The names of the sets in that folder, the newest first. Throws FileError.
std::vector<std::string> kept_set_names(const FolderTree& package, const std::string& sets_folder);

/// The folder that somebody works on the workspace's files in: the package for "main", else the workspace's checkout.
std::filesystem::path working_files_of(const std::filesystem::path& project, const std::string& workspace);

/// Whether a file may come to be at the path, with what stands there moved away: nothing, a file or a link to one, or a
/// folder that holds visible files of the project alone. Throws FileError, Kind::Link for a link on the way.
bool can_give_way(const FolderTree& working_files, const std::string& path);

class FileKeeper {
  public:
    /// Begins a set for the files of the workspace, for what `operation` (letters and "-") is about to drop. Writes
    /// nothing yet. Throws std::runtime_error "a symbolic link stands in the way: " + path.
    FileKeeper(const std::filesystem::path& project, const std::string& operation, const std::string& workspace);

    /// Moves away what stands in the way of the files: folders in their places, files in those of their folders. Throws
    /// std::runtime_error "could not keep replaced workspace file: " + path, as the following ones do.
    void make_way(const std::vector<std::string>& files);

    /// Keeps the file, or the link itself, at the path; without either nothing happens.
    void keep(const std::string& path);

    /// To be called before anything that was kept is replaced. It writes the files' bytes to the disk as well as their
    /// names: an edit made a moment ago may not be there yet.
    void make_durable();

    /// To be called when all is done: the set counts as complete, and those beyond the newest ten are removed. A
    /// failure changes nothing about what the call did and is passed over.
    void complete();

    /// The name of the set's folder; "" while nothing was kept.
    std::string set() const { return kept_.empty() ? std::string() : name_; }

  private:
    void move_away(const std::string& path);
    void remove_old_sets() const;
    std::string place_of(const std::string& path) const { return sets_ + "/" + name_ + "/" + path; }

    FolderTree package_;
    std::string sets_;   // the folder of all sets, relative to the package
    std::string files_;  // how paths of the workspace's files begin, relative to the package
    std::string name_;   // of the set's folder
    std::vector<std::string> kept_;
};

}  // namespace quill
