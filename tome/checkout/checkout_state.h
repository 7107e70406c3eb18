// What a checkout knows of itself, in the database .tome/index.db: its branch and base, the files that it holds, the
// staged changes, the heads of branches that were not published yet and the metadata noted for them.
#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tome/base/database.h"
#include "tome/checkout/working_tree.h"
#include "tome/object/branch_name.h"
#include "tome/object/tree_edit.h"

namespace tome {

/// A held file: one that the checkout wrote or staged. Files of the tree that it does not hold count as unchanged,
/// whether or not they are in the working folder.
struct HeldFile {
    Digest digest;                 ///< content when it was written or staged
    FileStamp stamp;               ///< stamp of the working file at that moment
    std::int64_t recorded_at = 0;  ///< ns since the Unix epoch

    /// Whether a working file with the stamp `now` surely still has this content. Not if the file was written just
    /// before it was recorded: a later write could then leave the same times.
    bool is_unchanged(const FileStamp& now) const;
};

class CheckoutState {
  public:
    /// Makes a new index at `path`.
    static void create(const std::filesystem::path& path, const BranchName& branch, const Digest& base);

    /// Throws Error(Corrupt) "corrupt index: PATH", as every function does for what it cannot read, or Error(Invalid)
    /// for an index of a newer format, which is left untouched.
    explicit CheckoutState(const std::filesystem::path& path);

    Database& database() { return database_; }

    BranchName branch();
    /// The base revision: the files stand on its tree, unless base_tree() tells of another.
    Digest base();
    void set_base(const BranchName& branch, const Digest& base);

    /// The tree that the files stand on where they do not all stand on one revision; nothing where they do. set_base()
    /// ends that.
    std::optional<Digest> base_tree();
    void set_base_tree(const Digest& tree);

    std::optional<HeldFile> held_file(const std::string& path);
    /// All held files at or below `folder` ("": all), by path.
    std::map<std::string, HeldFile> held_files(const std::string& folder);
    void hold_file(const std::string& path, const Digest& digest, const FileStamp& stamp);
    void drop_file(const std::string& path);

    /// The content of a working file that was read and is not held, so that it need not be read again. It says nothing
    /// about where else the content is.
    std::optional<HeldFile> seen_file(const std::string& path);
    void remember_seen(const std::string& path, const Digest& digest, const FileStamp& stamp);

    TreeChanges staged_changes();
    void stage(const std::string& path, const std::optional<TreeEntry>& entry);
    void unstage(const std::string& path);
    void unstage_below(const std::string& folder);
    void unstage_all();

    /// The head of a branch with revisions that may not be published yet.
    std::optional<Digest> local_head(const BranchName& branch);
    void set_local_head(const BranchName& branch, const Digest& head);
    void drop_local_head(const BranchName& branch);

    std::map<std::string, std::string> noted_metadata(const BranchName& branch);
    void note_metadata(const BranchName& branch, const std::string& key, const std::string& value);
    void drop_noted_metadata(const BranchName& branch, const std::map<std::string, std::string>& published);

  private:
    Digest digest_in(const Statement& row, int column) const;
    std::optional<HeldFile> file_in(Statement query, const std::string& path) const;

    Database database_;
};

}  // namespace tome
