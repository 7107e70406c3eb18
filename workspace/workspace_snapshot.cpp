#include "workspace/workspace_snapshot.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <stdexcept>

#include "identity/file_bytes.h"
#include "identity/file_tree_comparison.h"
#include "identity/visible_files.h"
#include "workspace/tome_binding.h"

namespace quill {
namespace {

namespace fs = std::filesystem;

constexpr int max_walks = 5;
constexpr std::string_view nothing_staged = "Nothing staged for commit";

bool same_file(const fs::path& a, const fs::path& b) {
    std::error_code error;
    const fs::file_status other = fs::symlink_status(b, error);
    if (error || !fs::is_regular_file(other)) {
        return false;
    }
    const auto size = fs::file_size(a, error);
    if (error || size != fs::file_size(b, error) || error) {
        return false;
    }
    constexpr fs::perms executable = fs::perms::owner_exec;
    return (fs::status(a, error).permissions() & executable) == (other.permissions() & executable) &&
           equal_file_bytes(a, b);
}

bool is_file(const fs::path& path) {
    std::error_code ignored;
    return fs::is_regular_file(fs::symlink_status(path, ignored));
}

// A file in the place of a folder above `relative` is stale.
void make_way(const fs::path& checkout, const fs::path& relative, std::error_code& error) {
    fs::path folder = checkout;
    for (const fs::path& component : relative.parent_path()) {
        folder /= component;
        if (is_file(folder)) {
            fs::remove(folder, error);
            return;
        }
    }
}

// Copies files into a checkout, without leaving it: a regular file for a link that points to one.
class Snapshot {
  public:
    Snapshot(const fs::path& source, const fs::path& checkout, const char* no_folder, const char* no_copy)
        : source_(source), checkout_(checkout), no_folder_(no_folder), no_copy_(no_copy) {}

    void copy(const fs::path& relative) {
        prepare_folder(relative);
        const fs::path target = checkout_ / relative;
        if (same_file(source_ / relative, target)) {
            return;
        }
        std::error_code error;
        std::error_code ignored;
        if (fs::is_directory(fs::symlink_status(target, ignored))) {
            fs::remove_all(target, error);
        }
        if (!error) {
            copy_file(source_ / relative, target, Durability::Scratch, error);
        }
        if (error) {
            throw std::runtime_error(no_copy_ + relative.string());
        }
    }

  private:
    // Files come folder by folder, so that most find theirs prepared.
    void prepare_folder(const fs::path& relative) {
        const fs::path folder = relative.parent_path();
        if (prepared_ == folder) {
            return;
        }
        std::error_code error;
        const bool leaves = passes_symbolic_link(checkout_, relative);
        if (!leaves) {
            make_way(checkout_, relative, error);
        }
        if (!leaves && !error) {
            fs::create_directories(checkout_ / folder, error);
        }
        if (error || leaves) {
            throw std::runtime_error(no_folder_ + relative.string());
        }
        prepared_ = folder;
    }

    const fs::path& source_;
    const fs::path& checkout_;
    const char* no_folder_;
    const char* no_copy_;
    std::optional<fs::path> prepared_;
};

// What the source has no file at goes from the checkout, too; a path that never named a file is refused.
void remove_selected(const fs::path& checkout, const fs::path& relative, const fs::file_status& in_source) {
    if (fs::exists(in_source) && !(fs::is_directory(in_source) && is_file(checkout / relative))) {
        throw std::runtime_error("could not snapshot changed workspace file: " + relative.string());
    }
    std::error_code error;
    fs::remove_all(checkout / relative, error);
    if (error && error != std::errc::not_a_directory) {
        throw std::runtime_error("could not remove changed workspace file: " + relative.string());
    }
}

// The walk of the source ends where a folder vanishes under it, so a file that it did not list is gone only when it is
// not there either.
std::vector<std::string> files_to_mirror(const fs::path& source, const std::vector<std::string>& present,
                                         std::vector<std::string>& stale) {
    for (int walk = 1;; ++walk) {
        std::vector<std::string> wanted = visible_project_files(source);
        std::erase_if(wanted, is_restore_staging_file);
        stale.clear();
        std::set_difference(present.begin(), present.end(), wanted.begin(), wanted.end(), std::back_inserter(stale));
        const auto missed = std::find_if(stale.begin(), stale.end(), [&](const std::string& file) {
            std::error_code error;
            const fs::file_type type = fs::status(source / file, error).type();
            return type == fs::file_type::regular || type == fs::file_type::none;
        });
        if (missed == stale.end()) {
            return wanted;
        }
        if (walk == max_walks) {
            throw std::runtime_error("could not snapshot main workspace file: " + *missed);
        }
    }
}

}  // namespace

std::vector<std::string> mirror_visible_project_files(const fs::path& source, const fs::path& checkout) {
    const std::vector<std::string> present = visible_project_files(checkout);
    std::vector<std::string> stale;
    const std::vector<std::string> wanted = files_to_mirror(source, present, stale);
    for (const std::string& file : stale) {
        std::error_code error;
        fs::remove(checkout / file, error);
        if (error) {
            throw std::runtime_error("could not remove stale main workspace file: " + file);
        }
    }
    Snapshot snapshot(source, checkout,
                      "could not create main workspace snapshot folder: ", "could not snapshot main workspace file: ");
    for (const std::string& file : wanted) {
        snapshot.copy(file);
    }
    return stale;
}

fs::path checked_changed_path(const fs::path& path) {
    const fs::path normal = path.lexically_normal();
    if (normal.empty() || normal.has_root_path() || *normal.begin() == "..") {
        throw std::runtime_error("invalid changed project path while persisting workspace: " + path.string());
    }
    return normal;
}

void mirror_selected_project_files(const fs::path& source, const fs::path& checkout,
                                   const std::vector<fs::path>& changed_paths) {
    std::vector<fs::path> copies;
    for (const fs::path& path : changed_paths) {
        const fs::path relative = checked_changed_path(path);
        if (project_relative_path_is_hidden(relative)) {
            continue;
        }
        std::error_code error;
        const fs::file_status status = fs::status(source / relative, error);
        if (error && status.type() != fs::file_type::not_found) {
            throw std::runtime_error("could not inspect changed workspace file: " + relative.string());
        }
        if (fs::is_regular_file(status)) {
            copies.push_back(relative);
        } else {
            remove_selected(checkout, relative, status);
        }
    }
    // After all removals, which make room where a file became a folder or a folder a file.
    Snapshot snapshot(source, checkout,
                      "could not create changed workspace folder: ", "could not snapshot changed workspace file: ");
    for (const fs::path& relative : copies) {
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
    const TomeCheckout opened{checkout, remote_url};
    const TomeWorkspaceState staged = call_tome_file_stage(opened, paths);
    try {
        const TomeWorkspaceState state =
            call_tome_revision_commit(opened, message.empty() ? "Quill workspace edit" : message);
        done = true;
        return state.identity;
    } catch (const std::runtime_error& error) {
        if (std::string_view(error.what()).find(nothing_staged) == std::string_view::npos) {
            throw;
        }
        return staged.identity;
    }
}

}  // namespace quill
