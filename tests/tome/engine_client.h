// Calls the engine's C operations on one checkout and gives back what they reported, as plain values. Every call is
// also held to the rule for errors: text, then code, once each and last, and the code is what the call returns.
#pragma once

#include <gtest/gtest.h>
#include <tome/tome.h>

#include <filesystem>
#include <map>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/temporary_folder.h"

namespace quill_test {

struct EngineFile {
    std::string path;
    std::string hash;
    std::uint64_t size = 0;
    bool present = false;
    bool operator==(const EngineFile&) const = default;
};
void PrintTo(const EngineFile& file, std::ostream* out);

/// A file in three states: the hash, with " x" behind it for an executable file; empty where there is no file, "unread"
/// where the engine did not read it.
struct EngineFileState {
    std::string path;
    std::string base;
    std::string here;
    std::string there;
    bool operator==(const EngineFileState&) const = default;
};
void PrintTo(const EngineFileState& file, std::ostream* out);

struct EngineBranch {
    std::string kind;
    std::string author;
    std::string head;
    bool archived = false;
};

struct EngineRevision {
    std::string hash;
    std::string first_parent;
    std::string second_parent;
    std::uint64_t order = 0;
    std::uint64_t created_at = 0;
    std::string message;
};

struct EngineResult {
    std::int32_t code = 0;
    std::string error;
    std::vector<int> events;  ///< kinds, in the order in which they came

    std::string hash;  ///< of the last identity event; empty: none, or all zero
    std::uint64_t order = 0;
    std::string remote_hash;  ///< status
    std::uint64_t remote_order = 0;
    std::vector<std::string> paths;    ///< of all path events
    std::vector<std::string> changes;  ///< "add a", "move a -> b" and so on
    std::vector<EngineFile> files;
    std::vector<EngineFileState> states;
    std::vector<std::string> conflicts;  ///< also among `paths`
    std::vector<std::string> merged;
    std::vector<EngineRevision> revisions;
    std::vector<std::string> branch_names;
    std::map<std::string, EngineBranch> branches;
    std::vector<std::string> metadata;  ///< "key=value"

    bool ok() const { return code == 0; }
    std::size_t count(int kind) const;
};

struct EngineClone {
    std::string branch = "main";
    std::vector<std::string> paths = {};
    bool sparse = false;
    bool metadata_only = false;
    std::string shared_store = {};
    std::string branch_memory = {};
};

struct EngineBase {
    std::string revision = {};
    std::vector<std::string> paths = {};
    bool is_base = false;
    std::uint64_t versions = 500;
    bool check_only = false;
};

struct EngineSync {
    std::vector<std::string> paths = {};
    std::string revision = {};
    bool fetch_newest = true;
    bool overwrite = false;
};

class EngineClient {
  public:
    explicit EngineClient(std::filesystem::path checkout) : checkout_(std::move(checkout)) {}

    const std::filesystem::path& path() const { return checkout_; }
    std::filesystem::path operator/(const std::filesystem::path& relative) const { return checkout_ / relative; }
    void write(const std::string& file, std::string_view bytes) const { write_file(checkout_ / file, bytes); }
    std::string read(const std::string& file) const { return read_file(checkout_ / file); }
    bool has(const std::string& file) const { return std::filesystem::exists(checkout_ / file); }
    /// The working files with their contents.
    std::map<std::string, std::string> files() const;

    EngineResult create(const std::string& name, bool no_remote = false, const std::string& branch_memory = "") const;
    EngineResult clone(const std::string& url, const EngineClone& options = {}) const;
    EngineResult status(const std::vector<std::string>& skip = {}, bool report_changes = true) const;
    EngineResult create_branch(const std::string& name, const std::string& from = "main", const std::string& kind = "",
                               const std::string& author = "") const;
    EngineResult switch_to(const std::string& branch, bool fetch_newest = true) const;
    EngineResult list_branches() const;
    EngineResult set_metadata(const std::string& branch, const std::vector<std::string>& keys,
                              const std::vector<std::string>& values) const;
    EngineResult get_metadata(const std::string& branch, const std::vector<std::string>& keys = {}) const;
    EngineResult push(const std::string& branch = "main", bool force = false, bool with_metadata = true) const;
    EngineResult archive(const std::string& branch) const;
    EngineResult branch_diff(const std::string& from, const std::string& to) const;
    EngineResult merge(const std::string& source, const std::string& message = "merge") const;
    EngineResult stage(const std::vector<std::string>& paths, bool deletions = true, bool additions = true) const;
    EngineResult file_info(const std::vector<std::string>& paths) const;
    EngineResult file_state(const std::vector<std::string>& paths = {},
                            const std::vector<std::string>& skip = {}) const;
    EngineResult set_base(const EngineBase& base) const;
    EngineResult update(const EngineBase& to = {}) const;
    EngineResult commit(const std::string& message) const;
    EngineResult sync(const EngineSync& options = {}) const;
    EngineResult history(const std::string& branch = "main", std::uint64_t limit = 0) const;
    EngineResult info(const std::string& revision) const;
    EngineResult diff(const std::string& from, const std::string& to) const;
    EngineResult restore(const std::string& revision, const std::string& message = "restore") const;

    /// Without arguments: of the checkout's own remote.
    EngineResult accept_remote(const std::string& url = "", const std::string& branch_memory = "") const;

    EngineResult create_shared_store(const std::string& directory, const std::string& remote_url) const;

    /// Stages and commits `paths` and returns the new revision. Throws std::runtime_error when a call fails.
    std::string commit_paths(const std::vector<std::string>& paths, const std::string& message = "change") const;
    /// The same, and pushes the branch.
    std::string publish(const std::vector<std::string>& paths, const std::string& branch = "main") const;

    /// What the globals say in the calls that follow.
    bool offline = false;
    bool use_remote = false;
    std::string working_folder = {};

  private:
    template <typename Params>
    EngineResult call(std::int32_t (*operation)(const tome_globals_t*, const Params*, std::uint64_t, tome_callback_t),
                      const Params& params, tome_globals_t globals = {}) const;

    std::filesystem::path checkout_;
};

/// The result, which must be a success: throws std::runtime_error with the call's error text otherwise.
EngineResult must(EngineResult result);

/// The 64 digits of the SHA-256 of `bytes`.
std::string sha256_of(std::string_view bytes);

/// A remote with one repository in a folder of the test's own, and checkouts of it.
class EngineOperations : public testing::Test {
  protected:
    /// The checkout that made the repository, with the files published as its first revision (none: no revision).
    EngineClient new_repository(const std::map<std::string, std::string>& files = {}) const;

    /// A new checkout with all files of the branch.
    EngineClient new_clone(const EngineClone& options = {}) const;

    std::filesystem::path new_folder() const;

    /// The head of the branch on the remote, empty without a revision.
    std::string remote_head(const std::string& branch = "main") const;

    TemporaryFolder folder_;
    std::filesystem::path remote_ = folder_ / "remote";
    std::string url_ = "file://" + (remote_ / "project").string();

  private:
    mutable int folders_ = 0;
    mutable std::optional<EngineClient> observer_;
};

}  // namespace quill_test
