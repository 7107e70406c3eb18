#include "tome/checkout/file_state.h"

#include <algorithm>
#include <map>

#include "tome/base/error.h"
#include "tome/checkout/branch_state.h"
#include "tome/object/tree_diff.h"

namespace tome {
namespace {

class Inspection {
  public:
    Inspection(Checkout& checkout, const Digest& base, const Digest& there)
        : checkout_(checkout), base_(checkout.sources(), base), there_(checkout.sources(), there) {}

    void inspect(const std::string& text, const std::optional<WorkingEntry>& entry,
                 const std::optional<HeldFile>& held) {
        FileState state{text, base_.find_file(text), {}, there_.find_file(text), false};
        if (!entry || entry->kind == WorkingEntry::Kind::Folder) {
            state.here = held ? std::nullopt : state.base;
        } else if (entry->is_file()) {
            state.here = entry_here(state, entry->stamp, held);
        } else {
            state.is_other_kind = true;
        }
        if (state.is_other_kind || !same_state(state.base, state.here) || !same_state(state.base, state.there)) {
            states_.push_back(std::move(state));
        }
    }

    // Spares the next call the reading. Failing to write that down fails nothing.
    void remember_what_was_read() {
        try {
            Transaction transaction(checkout_.state().database());
            for (const auto& [path, digest, stamp, is_base] : read_) {
                is_base ? checkout_.state().hold_file(path, digest, stamp)
                        : checkout_.state().remember_seen(path, digest, stamp);
            }
            transaction.commit();
        } catch (const Error&) {
        }
    }

    std::vector<FileState> take() { return std::move(states_); }

  private:
    struct ReadFile {
        std::string path;
        Digest digest;
        FileStamp stamp;
        bool is_base;
    };

    std::optional<TreeEntry> entry_here(const FileState& state, const FileStamp& stamp,
                                        const std::optional<HeldFile>& held) {
        TreeEntry here{"", TreeEntry::Kind::File, stamp.executable, stamp.size, {}};
        const auto may_be = [&](const std::optional<TreeEntry>& entry) { return entry && entry->size == stamp.size; };
        if (held && held->is_unchanged(stamp)) {
            here.digest = held->digest;
        } else if (may_be(state.base) || may_be(state.there)) {
            here.digest = digest_of(state, stamp);
        }
        return here;
    }

    Digest digest_of(const FileState& state, const FileStamp& stamp) {
        if (const auto seen = checkout_.state().seen_file(state.path); seen && seen->is_unchanged(stamp)) {
            return seen->digest;
        }
        const auto [digest, read] = checkout_.files().hash(TreePath::parse(state.path));
        read_.push_back({state.path, digest, read, state.base && state.base->digest == digest});
        return digest;
    }

    Checkout& checkout_;
    TreeLookup base_;
    TreeLookup there_;
    std::vector<FileState> states_;
    std::vector<ReadFile> read_;
};

void inspect_all(Checkout& checkout, Inspection& inspection, const std::set<std::string>& skip, const Digest& base,
                 const Digest& there) {
    std::map<std::string, HeldFile> held = checkout.state().held_files("");
    std::set<std::string> elsewhere;  // differs between base and head, and was not met in the working folder
    for (const FileDifference& difference : diff_trees(checkout.sources(), base, there)) {
        elsewhere.insert(difference.path);
    }
    checkout.files().scan("", skip, [&](const std::string& path, const WorkingEntry& entry) {
        const auto known = held.extract(path);
        inspection.inspect(path, entry, known ? std::optional(known.mapped()) : std::nullopt);
        elsewhere.erase(path);
    });
    for (const auto& [path, file] : held) {
        inspection.inspect(path, std::nullopt, file);
        elsewhere.erase(path);
    }
    for (const std::string& path : elsewhere) {
        inspection.inspect(path, std::nullopt, std::nullopt);
    }
}

}  // namespace

FileStates file_states(Checkout& checkout, const FileStateRequest& request) {
    FileStates result;
    result.head = newest_head(checkout, checkout.state().branch()).head;
    const Digest base = checkout.base_tree();
    const Digest there = checkout.tree_of(result.head);
    Inspection inspection(checkout, base, there);
    if (request.paths.empty()) {
        inspect_all(checkout, inspection, request.skip, base, there);
    }
    for (const std::string& path : request.paths) {
        inspection.inspect(path, checkout.files().find(TreePath::parse(path)), checkout.state().held_file(path));
    }
    inspection.remember_what_was_read();
    result.files = inspection.take();
    std::sort(result.files.begin(), result.files.end(),
              [](const FileState& a, const FileState& b) { return a.path < b.path; });
    return result;
}

}  // namespace tome
