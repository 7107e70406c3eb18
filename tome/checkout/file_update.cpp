#include "tome/checkout/file_update.h"

#include <map>
#include <optional>
#include <set>

#include "tome/checkout/branch_state.h"
#include "tome/checkout/file_base.h"
#include "tome/checkout/materialization.h"
#include "tome/merge/file_merge.h"
#include "tome/merge/text_merge.h"
#include "tome/object/tree_diff.h"

namespace tome {
namespace {

class Update {
  public:
    Update(Checkout& checkout, const Digest& base, const Digest& there)
        : checkout_(checkout), base_(checkout.sources(), base), there_(checkout.sources(), there) {
        request_.old_tree = request_.new_tree = request_.target = base;
    }

    void add(const std::string& text, bool brings_what_is_not_held) {
        const std::optional<TreeEntry> base = base_.find_file(text);
        const std::optional<TreeEntry> there = there_.find_file(text);
        const TreePath path = TreePath::parse(text);
        const std::optional<WorkingEntry> entry = checkout_.files().find(path);
        const bool is_held = checkout_.state().held_file(text).has_value();
        const bool is_absent = !entry || entry->kind == WorkingEntry::Kind::Folder;
        if (same_state(base, there) && !(is_absent && !is_held && brings_what_is_not_held)) {
            return;  // Whatever was done here stays.
        }
        bases_[text] = there;
        if (is_absent && (!is_held || !base)) {
            request_.versions[text] = there;
        } else if (is_absent) {
            there ? void(conflicts_.insert(text)) : void(request_.versions[text] = std::nullopt);
        } else if (!entry->is_file()) {
            conflicts_.insert(text);
        } else {
            add_file(path, base, there);
        }
    }

    std::vector<std::string> conflicts() const { return {conflicts_.begin(), conflicts_.end()}; }

    UpdatedFiles carry_out(const Digest& revision, bool is_base) {
        UpdatedFiles result{revision, {}, {}, conflicts()};
        if (!conflicts_.empty()) {
            return result;
        }
        const Digest tree = tree_with_bases(checkout_, bases_);
        const Digest base = is_base ? revision : checkout_.state().base();
        const MaterializationPlan plan = plan_materialization(checkout_, request_);
        result.changed = materialize(checkout_, plan, [&] { stand_on(checkout_, base, tree); });
        for (const auto& [path, merged] : request_.merged) {
            result.merged.push_back(path);
        }
        return result;
    }

  private:
    void add_file(const TreePath& path, const std::optional<TreeEntry>& base, const std::optional<TreeEntry>& there) {
        const std::string& text = path.text();
        const auto content = checkout_.working_content(path);
        if (!content) {  // It went since it was looked at.
            conflicts_.insert(text);
            return;
        }
        const auto& [digest, stamp] = *content;
        const TreeEntry here{"", TreeEntry::Kind::File, stamp.executable, stamp.size, digest};
        if (same_state(here, there) || same_state(here, base)) {
            request_.versions[text] = there;
            return;
        }
        const std::optional<TreeEntry> merged = merge(text, base, here, there);
        if (!merged) {
            conflicts_.insert(text);
            return;
        }
        request_.versions[text] = merged;
        request_.merged[text] = {digest, there->digest};
    }

    // The working file's bytes go to the store first: whoever looks for them later finds them there.
    std::optional<TreeEntry> merge(const std::string& text, const std::optional<TreeEntry>& base, const TreeEntry& here,
                                   const std::optional<TreeEntry>& there) {
        if (!base || !there || here.size > max_merged_text_bytes) {
            return std::nullopt;
        }
        checkout_.writable_store().add_file(checkout_.files().open(TreePath::parse(text)).get(), text);
        return merge_files(checkout_.sources(), checkout_.writable_store(), {base, here, there}, text);
    }

    Checkout& checkout_;
    TreeLookup base_;
    TreeLookup there_;
    TreeChanges bases_;
    MaterializationRequest request_;
    std::set<std::string> conflicts_;
};

}  // namespace

UpdatedFiles update_files(Checkout& checkout, const UpdateRequest& wanted) {
    const Digest revision =
        wanted.revision.is_zero() ? newest_head(checkout, checkout.state().branch()).head : wanted.revision;
    const Digest base = checkout.base_tree();
    const Digest there = checkout.tree_of(revision);
    Update update(checkout, base, there);
    std::set<std::string> paths(wanted.paths.begin(), wanted.paths.end());
    if (wanted.paths.empty()) {
        for (const FileDifference& difference : diff_trees(checkout.sources(), base, there)) {
            paths.insert(difference.path);
        }
        TreeLookup(checkout.sources(), there).visit_files("", [&](const std::string& path, const TreeEntry&) {
            paths.insert(path);
        });
    }
    for (const std::string& path : paths) {
        update.add(path, wanted.paths.empty());
    }
    return wanted.check_only ? UpdatedFiles{revision, {}, {}, update.conflicts()}
                             : update.carry_out(revision, wanted.is_base);
}

}  // namespace tome
