#include "tome/checkout/staging.h"

#include <map>
#include <optional>

#include "tome/base/error.h"
#include "tome/remote/remote_copies.h"

namespace tome {
namespace {

constexpr int read_attempts = 3;

// A transaction on the store covers this many small files and no large one, because others who write to the same store
// wait for it.
constexpr int files_in_a_transaction = 500;

class Stager {
  public:
    Stager(Checkout& checkout, const StagingRequest& request)
        : checkout_(checkout),
          request_(request),
          base_root_(checkout.base_tree()),
          base_(checkout.sources(), base_root_) {}

    void stage(const std::string& path) {
        const std::optional<WorkingEntry> existing = checkout_.files().find(TreePath::parse(path));
        if (existing && existing->kind == WorkingEntry::Kind::Folder) {
            ask_for_held_contents(path);
            checkout_.files().scan(path, {}, [&](const std::string& file, const WorkingEntry&) { stage_file(file); });
            stage_missing(path, true);
        } else if (existing) {  // A folder that the base has here goes, with its files.
            if (!stage_file(path)) {
                unchanged_.push_back(path);
            }
        } else {
            stage_missing(path, false);
        }
    }

    std::vector<StagedFile> take() {
        end_transaction();
        return std::move(staged_);
    }

    // Sends what the remote has lost or damaged of the unchanged files that were named: to name one repairs it there.
    void mend_unchanged() {
        if (unchanged_.empty() || !checkout_.reaches_remote()) {
            return;
        }
        ObjectSource& remote = *checkout_.remote().objects();
        if (!remote.contains(ObjectKind::Revision, checkout_.state().base())) {
            return;  // The base is not on the remote yet. The push that brings it looks at its files.
        }
        const ObjectNames damaged =
            objects_to_mend(checkout_.sources(), remote, base_root_, unchanged_, [&](const std::string& path) {
                checkout_.writable_store().add_file(checkout_.files().open(TreePath::parse(path)).get(), path);
            });
        if (!damaged.empty()) {
            checkout_.remote().add_objects(checkout_.sources(), damaged, {});
        }
    }

  private:
    // Files of the base at or below `path` that the working tree does not have. Below an existing folder only those
    // that the checkout held can have been deleted; the others it never had.
    void stage_missing(const std::string& path, bool held_only) {
        if (!request_.deletions) {
            return;
        }
        std::vector<std::string> gone;
        base_.visit_files(path, [&](const std::string& file, const TreeEntry&) {
            const std::optional<WorkingEntry> existing = checkout_.files().find(TreePath::parse(file));
            const bool stands = existing && existing->kind != WorkingEntry::Kind::Folder;
            if (!stands && (!held_only || checkout_.state().held_file(file))) {
                gone.push_back(file);
            }
        });
        for (const std::string& file : gone) {
            record(file, std::nullopt);
            checkout_.state().drop_file(file);
        }
        if (gone.empty() && !base_.find_file(path)) {
            checkout_.state().unstage(path);
        }
    }

    // False when the file is as it was in the base.
    bool stage_file(const std::string& text) {
        const TreePath path = TreePath::parse(text);
        const std::optional<TreeEntry> before = base_.find_file(text);
        if (!before && !request_.additions) {
            return true;
        }
        const auto [entry, stamp] = store(path);
        checkout_.state().unstage_below(text);  // What was staged when it was a folder.
        checkout_.state().hold_file(text, entry.digest, stamp);
        if (before && before->same_state(entry)) {
            check_size(*before, entry.size, text);  // The commit would keep a wrong size.
            checkout_.state().unstage(text);
            return false;
        }
        record(text, entry);
        return true;
    }

    // Asks the index and the remote once for a whole folder instead of for each file.
    void ask_for_held_contents(const std::string& folder) {
        ObjectNames names;
        held_ = checkout_.state().held_files(folder);
        for (const auto& [path, held] : held_) {
            names.emplace_back(ObjectKind::Content, held.digest);
            is_stored_[held.digest] = true;
        }
        for (const auto& [kind, digest] : checkout_.sources().missing(names)) {
            is_stored_[digest] = false;
        }
    }

    std::optional<HeldFile> held_file(const std::string& path) {
        const auto known = held_.find(path);
        return known != held_.end() ? std::optional(known->second) : checkout_.state().held_file(path);
    }

    bool is_stored(const Digest& content) {
        const auto known = is_stored_.find(content);
        return known != is_stored_.end() ? known->second : checkout_.sources().contains(ObjectKind::Content, content);
    }

    // The content goes to the store, unless the index knows that the base has it.
    std::pair<TreeEntry, FileStamp> store(const TreePath& path) {
        for (int attempt = 0; attempt < read_attempts; ++attempt) {
            const FileDescriptor file = checkout_.files().open(path);
            struct stat before {};
            struct stat after {};
            fstat(file.get(), &before);
            const std::optional<HeldFile> held = held_file(path.text());
            const FileStamp stamp = quill::stamp_of(before);
            TreeEntry entry{"", TreeEntry::Kind::File, stamp.executable, stamp.size, {}};
            if (held && held->is_unchanged(stamp) && is_stored(held->digest)) {
                entry.digest = held->digest;
                return {entry, stamp};
            }
            const StoredFile stored = add_to_store(file, stamp.size, path.text());
            if (fstat(file.get(), &after) == 0 && quill::stamp_of(after) == stamp && stored.size == stamp.size) {
                entry.digest = stored.digest;
                return {entry, stamp};
            }
        }
        throw Error(ErrorCode::Io, "file keeps changing while it is read: " + path.text());
    }

    StoredFile add_to_store(const FileDescriptor& file, std::uint64_t size, const std::string& name) {
        if (size > max_inline_bytes || files_stored_ == files_in_a_transaction) {
            end_transaction();
        }
        if (size <= max_inline_bytes) {
            ++files_stored_;
            if (!transaction_) {
                transaction_.emplace(checkout_.writable_store().database());
            }
        }
        return checkout_.writable_store().add_file(file.get(), name);
    }

    void end_transaction() {
        if (transaction_) {
            transaction_->commit();
            transaction_.reset();
        }
        files_stored_ = 0;
    }

    void record(const std::string& path, const std::optional<TreeEntry>& entry) {
        checkout_.state().stage(path, entry);
        staged_.push_back({path, entry});
    }

    Checkout& checkout_;
    const StagingRequest& request_;
    Digest base_root_;
    TreeLookup base_;
    std::map<std::string, HeldFile> held_;  // in the folder that is being staged, before it is
    std::map<Digest, bool> is_stored_;      // contents that were asked for
    std::vector<StagedFile> staged_;
    std::vector<std::string> unchanged_;      // of the files that were named themselves
    std::optional<Transaction> transaction_;  // on the store
    int files_stored_ = 0;                    // in it
};

}  // namespace

std::vector<StagedFile> stage_files(Checkout& checkout, const StagingRequest& request) {
    Transaction indexed(checkout.state().database());
    Stager stager(checkout, request);
    for (const std::string& path : request.paths) {
        stager.stage(path);
    }
    std::vector<StagedFile> staged = stager.take();  // Content is durable before the index refers to it.
    indexed.commit();
    stager.mend_unchanged();
    return staged;
}

}  // namespace tome
