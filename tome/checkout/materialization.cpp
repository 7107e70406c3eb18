#include "tome/checkout/materialization.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <functional>
#include <set>

#include "files/file_bytes.h"
#include "tome/base/error.h"
#include "tome/object/tree_diff.h"

namespace tome {
namespace {

class Planner {
  public:
    Planner(Checkout& checkout, const MaterializationRequest& request)
        : checkout_(checkout),
          request_(request),
          old_(checkout.sources(), request.old_tree),
          new_(checkout.sources(), request.new_tree),
          target_(checkout.sources(), request.target) {}

    MaterializationPlan plan() {
        protect_changes();
        follow_base();
        for (const std::string& path : request_.paths) {
            want_folder(path);
        }
        if (request_.whole_tree) {
            want_folder("");
        }
        for (const auto& [path, entry] : request_.versions) {
            wanted_[path] = entry;
        }
        for (const auto& [path, entry] : wanted_) {
            plan_file(path, entry);
        }
        for (const auto& [path, merged] : request_.merged) {
            plan_.uncommitted.emplace(path, merged.second);
        }
        remove_files_in_the_way();
        const std::set<std::string> removed(plan_.removals.begin(), plan_.removals.end());
        for (const std::string& folder : folders_in_the_way_) {
            check_folder(folder, removed);
        }
        refuse_blocked();
        plan_.scratch = request_.scratch;
        return std::move(plan_);
    }

  private:
    // Protects files that hold changes although the checkout itself wrote or read them: they are no part of the base.
    void protect_changes() {
        for (const auto& [path, entry] : checkout_.state().staged_changes()) {
            protected_.insert(path);
        }
        if (!request_.overtaken_tree.is_zero()) {
            for (const FileDifference& difference :
                 diff_trees(checkout_.sources(), request_.old_tree, request_.overtaken_tree)) {
                protected_.insert(difference.path);
                if (!difference.after && !checkout_.files().find(TreePath::parse(difference.path))) {
                    plan_.uncommitted.emplace(difference.path, difference.before->digest);
                }
            }
        }
    }

    // Plans the removal of files that stand where a written file needs a folder.
    void remove_files_in_the_way() {
        std::set<std::string> seen;
        for (const auto& [path, entry] : plan_.writes) {
            for (std::size_t slash = path.find('/'); slash != std::string::npos; slash = path.find('/', slash + 1)) {
                const std::string folder = path.substr(0, slash);
                if (!seen.insert(folder).second || wanted_.contains(folder)) {
                    continue;
                }
                const std::optional<WorkingEntry> existing = checkout_.files().find(TreePath::parse(folder));
                if (existing && existing->kind != WorkingEntry::Kind::Folder) {
                    plan_file(folder, std::nullopt);
                }
            }
        }
    }

    // Wants held files to become what the new base has, where the old base and the new one differ.
    void follow_base() {
        for (const FileDifference& difference : diff_trees(checkout_.sources(), request_.old_tree, request_.new_tree)) {
            if (checkout_.state().held_file(difference.path)) {
                wanted_[difference.path] = difference.after;
            }
        }
    }

    void want_folder(const std::string& folder) {
        for (const auto& [path, held] : checkout_.state().held_files(folder)) {
            wanted_[path] = std::nullopt;
        }
        if (!folder.empty()) {
            wanted_[folder] = std::nullopt;
        }
        bool found = false;
        target_.visit_files(folder, [&](const std::string& path, const TreeEntry& entry) {
            wanted_[path] = entry;
            found = found || path != folder;
        });
        if (found && !folder.empty()) {
            wanted_.erase(folder);  // The target has a folder here, whose files are listed one by one.
        }
    }

    // Plans what happens at one path: an entry is to be written, nothing means that the file goes.
    void plan_file(const std::string& text, const std::optional<TreeEntry>& entry) {
        const TreePath path = TreePath::parse(text);
        const std::optional<WorkingEntry> existing = checkout_.files().find(path);
        if (!existing) {
            entry ? void(plan_.writes.emplace(text, *entry)) : plan_.dropped.push_back(text);
            return;
        }
        if (existing->kind == WorkingEntry::Kind::Folder) {
            if (entry) {
                folders_in_the_way_.push_back(text);
                plan_.writes.emplace(text, *entry);
            } else {
                plan_.dropped.push_back(text);
            }
            return;
        }
        if (!existing->is_file()) {
            blocked_.insert(text);
            return;
        }
        const auto [digest, known] = current_content(path, existing->stamp);
        const bool same_content = entry && entry->digest == digest;
        if (same_content) {
            check_size(*entry, existing->stamp.size, text);
        }
        if (same_content && entry->executable == existing->stamp.executable) {
            plan_.already_there.emplace(text, std::pair(digest, existing->stamp));
            return;
        }
        if (!known && !same_content && !request_.overwrite && !is_in_a_base(text, digest) && !is_merged(text, digest)) {
            blocked_.insert(text);
            return;
        }
        entry ? void(plan_.writes.emplace(text, *entry)) : plan_.removals.push_back(text);
    }

    // The working file's digest, and whether it is what the checkout itself put there.
    std::pair<Digest, bool> current_content(const TreePath& path, const FileStamp& stamp) {
        const std::optional<HeldFile> held = checkout_.state().held_file(path.text());
        const bool committed = !protected_.contains(path.text());
        if (held && held->is_unchanged(stamp)) {
            return {held->digest, committed};
        }
        const Digest digest = checkout_.files().hash(path).first;
        return {digest, committed && held && held->digest == digest &&
                            checkout_.sources().contains(ObjectKind::Content, digest)};
    }

    bool is_in_a_base(const std::string& path, const Digest& digest) {
        const auto before = old_.find_file(path);
        const auto after = new_.find_file(path);
        return (before && before->digest == digest) || (after && after->digest == digest);
    }

    // Whether these bytes are part of what is to be written.
    bool is_merged(const std::string& path, const Digest& digest) const {
        const auto merged = request_.merged.find(path);
        return merged != request_.merged.end() && merged->second.first == digest;
    }

    // A folder may give way to a file when every file in it, another checkout's among them, goes, too.
    void check_folder(const std::string& folder, const std::set<std::string>& removed) {
        const std::filesystem::path& root = checkout_.files().root();
        std::error_code error;
        std::filesystem::recursive_directory_iterator entry(root / folder, error);
        for (; !error && entry != std::filesystem::recursive_directory_iterator(); entry.increment(error)) {
            const std::string path = entry->path().lexically_relative(root).string();
            if (!std::filesystem::is_directory(entry->symlink_status(error)) && !removed.contains(path)) {
                blocked_.insert(path);
            }
        }
        if (error) {
            throw Error(ErrorCode::Io, "could not read directory " + folder + ": " + error.message());
        }
    }

    void refuse_blocked() const {
        if (blocked_.empty()) {
            return;
        }
        std::string text = "uncommitted changes would be overwritten: " + *blocked_.begin();
        if (blocked_.size() > 1) {
            text += " and " + std::to_string(blocked_.size() - 1) + " more";
        }
        throw Error(ErrorCode::WouldOverwrite, text);
    }

    Checkout& checkout_;
    const MaterializationRequest& request_;
    TreeLookup old_;
    TreeLookup new_;
    TreeLookup target_;
    TreeChanges wanted_;
    MaterializationPlan plan_;
    std::vector<std::string> folders_in_the_way_;
    std::set<std::string> blocked_;
    std::set<std::string> protected_;
};

// Files in ".tome/tmp" by the path they are for; those not moved there are removed.
class PreparedFiles {
  public:
    PreparedFiles() = default;
    ~PreparedFiles() {
        for (const auto& [path, temporary] : files_) {
            unlink(temporary.c_str());
        }
    }
    PreparedFiles(PreparedFiles&&) = default;
    PreparedFiles(const PreparedFiles&) = delete;
    PreparedFiles& operator=(const PreparedFiles&) = delete;

    void add(const std::string& path, const std::filesystem::path& temporary) { files_.emplace(path, temporary); }
    const std::map<std::string, std::filesystem::path>& files() const { return files_; }
    void all_moved() { files_.clear(); }

  private:
    std::map<std::string, std::filesystem::path> files_;
};

// Complete copies of the files to write, beside the working tree.
PreparedFiles prepare_files(Checkout& checkout, const MaterializationPlan& plan) {
    PreparedFiles prepared;
    const bool one_by_one = plan.writes.size() <= quill::max_single_syncs;
    for (const auto& [path, entry] : plan.writes) {
        const std::filesystem::path temporary = checkout.temporary_path();
        prepared.add(path, temporary);
        const FileDescriptor file = create_file_at(AT_FDCWD, temporary.string(), path);
        checkout.sources().copy_content(entry, file.get(), path);
        if (entry.executable && fchmod(file.get(), 0755) != 0) {
            throw system_error("could not write " + path, errno);
        }
        if (one_by_one && !plan.scratch) {
            sync_descriptor(file.get(), path);
        }
    }
    if (!one_by_one && !plan.scratch) {
        checkout.files().sync_volume();
    }
    return prepared;
}

}  // namespace

MaterializationRequest request_to_follow(Checkout& checkout, const NewestHead& newest) {
    const Digest base = checkout.base_tree();
    MaterializationRequest request;
    request.old_tree = newest.overtaken ? checkout.tree_of(newest.common_base) : base;
    request.overtaken_tree = newest.overtaken ? base : Digest{};
    request.new_tree = request.target = checkout.tree_of(newest.head);
    return request;
}

MaterializationPlan plan_materialization(Checkout& checkout, const MaterializationRequest& request) {
    return Planner(checkout, request).plan();
}

std::vector<std::string> materialize(Checkout& checkout, const MaterializationPlan& plan,
                                     const std::function<void()>& finish) {
    PreparedFiles prepared = prepare_files(checkout, plan);
    std::vector<std::string> changed = plan.removals;
    for (const std::string& path : plan.removals) {
        checkout.files().remove(TreePath::parse(path));
    }
    std::map<std::string, FileStamp> installed;
    for (const auto& [path, temporary] : prepared.files()) {
        const TreePath target = TreePath::parse(path);
        const std::optional<WorkingEntry> existing = checkout.files().find(target);
        if (existing && existing->kind == WorkingEntry::Kind::Folder) {
            checkout.files().remove_empty_folder(target);
        }
        installed.emplace(path, checkout.files().install(temporary, target));
        changed.push_back(path);
    }
    prepared.all_moved();
    if (!plan.scratch) {
        // The index must not know of files that a power cut takes back: they would look like edits made since.
        checkout.files().sync_folders(changed);
    }
    Transaction transaction(checkout.state().database());
    for (const auto& [path, stamp] : installed) {
        checkout.state().hold_file(path, plan.writes.at(path).digest, stamp);
    }
    for (const auto& [path, content] : plan.already_there) {
        checkout.state().hold_file(path, content.first, content.second);
    }
    for (const auto& [path, digest] : plan.uncommitted) {
        checkout.state().hold_file(path, digest, {});
    }
    for (const std::vector<std::string>* gone : {&plan.removals, &plan.dropped}) {
        for (const std::string& path : *gone) {
            checkout.state().drop_file(path);
        }
    }
    finish();
    transaction.commit();
    std::sort(changed.begin(), changed.end());
    return changed;
}

}  // namespace tome
