#include "tests/faults/power_cut_study.h"

#include <stdlib.h>

#include <algorithm>
#include <iterator>
#include <regex>
#include <set>
#include <sstream>
#include <stdexcept>

#include "content/content_key.h"
#include "content/content_store_selection.h"
#include "engine/tome_binding.h"
#include "project/repository_configuration.h"
#include "project/visible_files.h"
#include "workspace/checkout/workspace_checkout.h"
#include "workspace/history/history_preview.h"
#include "workspace/history/revision_history.h"
#include "workspace/index/workspace_index.h"

namespace quill_test {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t nothing = static_cast<std::size_t>(-1);
constexpr std::uint64_t compared_revisions = 2;
constexpr Loss::Kind kinds[] = {Loss::Kind::Everything, Loss::Kind::Data, Loss::Kind::Tails, Loss::Kind::Names};

std::string content_key(const fs::path& file) {
    const std::string bytes = read_file(file);
    return quill::sha256_content_key(std::as_bytes(std::span(bytes)));
}

std::string files_text(const fs::path& folder) {
    std::string text;
    for (const std::string& file : quill::visible_project_files(folder)) {
        text += " " + file + "=" + content_key(folder / file);
    }
    return text;
}

std::string revisions_text(const fs::path& project, const std::string& workspace, bool with_files) {
    std::string text;
    std::uint64_t compared = 0;
    for (const auto& revision : quill::list_project_workspace_revisions(project, workspace, 0)) {
        text += " revision " + std::to_string(revision.order);
        if (with_files && ++compared <= compared_revisions) {
            text += files_text(
                quill::resolve_project_workspace_revision_scene(project, {}, workspace, revision.id).checkoutRoot);
        }
    }
    return text;
}

// None when the history was never started.
std::vector<quill::ProjectWorkspace> workspaces_of(const fs::path& project) {
    const bool never_started = quill::project_tome_remote_url(project).empty() ||
                               quill::list_project_workspace_revisions(project, "main", 1).empty();
    return never_started ? std::vector<quill::ProjectWorkspace>() : quill::refresh_project_workspaces(project, true);
}

void add_shown(std::string& promises, const fs::path& project) {
    for (const quill::ProjectWorkspace& workspace : workspaces_of(project)) {
        promises += "shown " + workspace.id + "\t" + workspace.name + ", from " + workspace.parentId + ", of " +
                    workspace.baseScene + "\n";
    }
}

void add_metadata(std::string& promises, const fs::path& project, const std::string& workspace) {
    const quill::CheckoutLocation checkout{quill::ensure_tome_metadata_checkout(project),
                                           quill::project_tome_remote_url(project)};
    const auto state = quill::call_tome_branch_metadata_get(
        checkout, workspace, {"quill.workspace.name", "quill.workspace.parent", "quill.workspace.baseScene"});
    promises += "workspace " + workspace + " metadata\t";
    for (const auto& [key, value] : state.metadata) {
        promises += " " + key + "=" + value;
    }
    promises += "\n";
}

void add_files(std::string& promises, const fs::path& folder, const std::string& name) {
    for (const std::string& file : quill::visible_project_files(folder)) {
        if (file.find(".keel-restore-") != std::string::npos) {
            continue;  // Copies that a restore was making.
        }
        promises += name + " " + file + "\t" + content_key(folder / file) + "\n";
    }
}

// What was replaced in the live file's place, and in the sets of kept files.
std::string copies_of(const fs::path& project, const std::string& file) {
    std::set<std::string> copies{content_key(project / file)};
    const fs::path kept = project / ".derived/tome-workspaces/.kept-files";
    if (fs::exists(kept)) {
        for (const auto& set : fs::directory_iterator(kept)) {
            if (fs::exists(set.path() / file)) {
                copies.insert(content_key(set.path() / file));
            }
        }
    }
    std::string text;
    for (const std::string& copy : copies) {
        text += " " + copy;
    }
    return text;
}

void add_blobs(std::string& promises, const fs::path& project, const StudiedCommand& command, const std::string& name) {
    for (const std::string& key : command.blobs) {
        const auto bytes = quill::make_project_content_store(project, "")->get(key);
        promises += name + " " + key + "\t" + (bytes ? quill::sha256_content_key(*bytes) : "") + "\n";
    }
}

std::string promises_text(const fs::path& project, const StudiedCommand& command) {
    std::string promises;
    for (const quill::ProjectWorkspace& workspace : workspaces_of(project)) {
        const std::string& id = workspace.id;
        promises += "workspace " + id + "\t" + revisions_text(project, id, id == command.workspace) + "\n";
        add_metadata(promises, project, id);
        const fs::path checkout = project / ".derived/tome-workspaces" / id;
        if (fs::exists(checkout)) {
            add_files(promises, checkout, "checkout " + id);
        }
    }
    add_shown(promises, project);
    add_files(promises, project, "package");
    for (const std::string& file : command.replaced) {
        promises += "copies " + file + "\t" + copies_of(project, file) + "\n";
    }
    add_blobs(promises, project, command, "blob");
    // They are there for those, too, who have nothing of the project but its manifest.
    for (const char* own : {".tome", "Content"}) {
        fs::remove_all(project / own);
    }
    add_blobs(promises, project, command, "blob for others");
    return promises;
}

Promises parsed(const std::string& text) {
    Promises promises;
    std::istringstream lines(text);
    for (std::string name, value; std::getline(lines, name, '\t') && std::getline(lines, value);) {
        promises[name] = value;
    }
    return promises;
}

std::string value_of(const Promises& promises, const std::string& name) {
    const auto found = promises.find(name);
    return found == promises.end() ? "" : found->second;
}

std::set<std::string> names_of(const Promises& one, const Promises& other, const Promises& third) {
    std::set<std::string> names;
    for (const Promises* promises : {&one, &other, &third}) {
        for (const auto& [name, value] : *promises) {
            names.insert(name);
        }
    }
    return names;
}

const char* name_of(Loss::Kind kind) {
    switch (kind) {
        case Loss::Kind::Nothing:
            return "nothing";
        case Loss::Kind::Everything:
            return "everything";
        case Loss::Kind::Data:
            return "data";
        case Loss::Kind::Tails:
            return "tails";
        case Loss::Kind::Names:
            return "names";
        case Loss::Kind::Some:
            return "some";
        case Loss::Kind::One:
            return "one";
    }
    return "";
}

}  // namespace

PowerCutStudy::PowerCutStudy(const FaultProject& project, const StudiedCommand& command,
                             const std::vector<NeedlessSync>& needless)
    : project_(project), command_(command) {
    const DiskTree start = PowerCutDisk(project.folder()).after_power_cut({});
    before_ = look();
    put(start);
    start_ = std::make_unique<PowerCutDisk>(project.folder());
    if (!command.made_by_a_killed_writer.empty()) {
        start_->forget_sync_of_name(command.made_by_a_killed_writer);
    }
    record_ = project.record(command.command);
    left_ = PowerCutDisk(project.folder()).after_power_cut({});
    after_ = look();
    put(left_);
    project.must(command.next);
    after_next_ = look();
    follow(needless);
    find_published();
}

void PowerCutStudy::follow(const std::vector<NeedlessSync>& needless) {
    const std::regex log("remote/[^/]*/store\\.db-wal");
    PowerCutDisk disk = *start_;
    for (const RecordEntry& entry : record_) {
        const bool effective = entry.is_sync() && disk.changes_by(entry);
        identities_.push_back(entry.is_sync() ? disk.identity_of(entry) : 0);
        paths_.push_back(effective ? disk.path_of(entry) : "");
        disk.apply(entry);
        if (effective) {
            syncs_.push_back(paths_.size() - 1);
        }
        if (std::regex_match(paths_.back(), log)) {
            pushes_.push_back(paths_.size());
        }
    }
    std::copy_if(syncs_.begin(), syncs_.end(), std::back_inserter(needed_),
                 [&](std::size_t sync) { return !is_needless(sync, needless); });
}

bool PowerCutStudy::is_needless(std::size_t sync, const std::vector<NeedlessSync>& needless) const {
    const auto later = identities_.begin() + static_cast<std::ptrdiff_t>(sync) + 1;
    const bool last = std::find(later, identities_.end(), identities_[sync]) == identities_.end();
    return std::any_of(needless.begin(), needless.end(), [&](const NeedlessSync& one) {
        return !(one.but_the_last && last) && std::regex_match(paths_[sync], std::regex(one.path));
    });
}

// What others may have seen, and built on, is acknowledged, although the command has not ended.
void PowerCutStudy::find_published() {
    for (const std::size_t push : pushes_) {
        put(state({push, {Loss::Kind::Everything}}, nothing));
        for (const auto& [promise, value] : look()) {
            if (promise.starts_with("workspace ") && value == value_of(after_, promise)) {
                published_.emplace(promise, push);
            }
        }
    }
}

void PowerCutStudy::put(const DiskTree& tree) const {
    tree.write_to(project_.folder());
}

Promises PowerCutStudy::look() const {
    return parsed(project_.look([&] {
        setenv("QUILL_TOME_BLOCKING_GET_FALLBACK", "1", 1);
        unsetenv("QUILL_TOME_REMOTE_URL");  // The manifest is to know it.
        return promises_text(project_.path(package), command_);
    }));
}

std::string PowerCutStudy::unexplained() const {
    const DiskTree told = state({end(), {}}, nothing);
    std::string differences;
    for (const auto& [path, entry] : left_.entries) {
        const auto found = told.entries.find(path);
        if (found == told.entries.end() || found->second.bytes != entry.bytes || found->second.mode != entry.mode) {
            differences += path + "\n";
        }
    }
    for (const auto& [path, entry] : told.entries) {
        if (!left_.entries.contains(path)) {
            differences += path + " is gone\n";
        }
    }
    return differences;
}

// What is not synced only matters where something else was: right before each sync and right behind it.
std::vector<PowerCutStudy::Cut> PowerCutStudy::cuts() const {
    std::vector<Cut> cuts;
    unsigned seed = 0;
    const auto add_all = [&](std::size_t point) {
        for (const Loss::Kind kind : kinds) {
            cuts.push_back({point, {kind}});
        }
        cuts.push_back({point, {Loss::Kind::Some, ++seed}});
    };
    for (std::size_t i = 0; i < syncs_.size(); ++i) {
        if (std::binary_search(needed_.begin(), needed_.end(), syncs_[i])) {
            add_all(syncs_[i]);
            cuts.push_back({syncs_[i], {Loss::Kind::One, 0, identities_[syncs_[i]]}});
            cuts.push_back({syncs_[i] + 1, {Loss::Kind::Everything}});
        } else if (i % 8 == 0) {
            cuts.push_back({syncs_[i], {Loss::Kind::Some, ++seed}});
        }
    }
    for (int i = 0; i < 4; ++i) {
        add_all(end());
    }
    return cuts;
}

std::vector<PowerCutStudy::Cut> PowerCutStudy::cuts_behind(std::size_t sync) const {
    std::vector<Cut> cuts;
    const auto add_all = [&](std::size_t point) {
        for (const Loss::Kind kind : kinds) {
            cuts.push_back({point, {kind}});
        }
        cuts.push_back({point, {Loss::Kind::One, 0, identities_[sync]}});
    };
    add_all(end());
    for (const std::size_t later : syncs_) {
        if (later > sync) {
            add_all(later);
        }
    }
    return cuts;
}

DiskTree PowerCutStudy::state(const Cut& cut, std::size_t without) const {
    PowerCutDisk disk = *start_;
    for (std::size_t i = 0; i < cut.point; ++i) {
        if (i != without) {
            disk.apply(record_[i]);
        }
    }
    return disk.after_power_cut(cut.loss);
}

bool PowerCutStudy::is_settled(const std::string& promise, const Cut& cut) const {
    const auto published = published_.find(promise);
    return cut.point >= (published == published_.end() ? end() : published->second);
}

bool PowerCutStudy::is_made(const std::string& promise) const {
    return std::any_of(command_.made.begin(), command_.made.end(),
                       [&](const std::string& beginning) { return promise.starts_with(beginning); });
}

bool PowerCutStudy::is_kept(const std::string& promise, const Promises& found, const Cut& cut) const {
    const std::string value = value_of(found, promise);
    if (promise.starts_with("copies ")) {
        return value.find(value_of(before_, promise)) != std::string::npos;
    }
    return value == value_of(after_, promise) ||
           (!is_settled(promise, cut) && (is_made(promise) || value == value_of(before_, promise)));
}

std::string PowerCutStudy::broken(const Promises& found, const Cut& cut) const {
    for (const std::string& promise : names_of(before_, after_, found)) {
        if (!is_kept(promise, found, cut)) {
            return promise + " is " + value_of(found, promise);
        }
    }
    return {};
}

bool PowerCutStudy::is_kept_next(const std::string& promise, const Promises& found, const Cut& cut) const {
    const std::string value = value_of(found, promise);
    const bool as_before = command_.next != command_.command && value == value_of(before_, promise);
    return promise.starts_with("copies ") || value == value_of(after_next_, promise) ||
           (!is_settled(promise, cut) && (is_made(promise) || as_before));
}

std::string PowerCutStudy::broken_next(const Promises& found, const Cut& cut) const {
    for (const std::string& promise : names_of(after_next_, found, {})) {
        if (!is_kept_next(promise, found, cut)) {
            return "after the next command " + promise + " is " + value_of(found, promise);
        }
    }
    return {};
}

std::string PowerCutStudy::judge(const DiskTree& tree, const Cut& cut) {
    try {
        put(tree);
        if (const std::string wrong = broken(look(), cut); !wrong.empty()) {
            return wrong;
        }
        put(tree);
        const ProcessResult next = project_.run(command_.next);
        if (next.status != 0) {
            return "the next command: " + next.err;
        }
        return broken_next(look(), cut);
    } catch (const std::exception& error) {
        return error.what();
    }
}

std::string PowerCutStudy::verdict(const Cut& cut, std::size_t without) {
    const DiskTree tree = state(cut, without);
    const auto pushes = std::upper_bound(pushes_.begin(), pushes_.end(), cut.point) - pushes_.begin();
    const std::string key = (cut.point >= end() ? "ended " : "") + std::to_string(pushes) + "\n" + tree.fingerprint();
    const auto known = verdicts_.find(key);
    return known != verdicts_.end() ? known->second : verdicts_.emplace(key, judge(tree, cut)).first->second;
}

std::string PowerCutStudy::failures() {
    std::string failures;
    for (const Cut& cut : cuts()) {
        if (const std::string wrong = verdict(cut, nothing); !wrong.empty()) {
            failures += "cut at " + std::to_string(cut.point) + " of " + std::to_string(end()) + ", " +
                        name_of(cut.loss.kind) + " lost: " + wrong + "\n";
        }
    }
    return failures;
}

std::string PowerCutStudy::unnoticed() {
    std::string unnoticed;
    for (const std::size_t sync : needed_) {
        const std::vector<Cut> cuts = cuts_behind(sync);
        if (std::none_of(cuts.begin(), cuts.end(), [&](const Cut& cut) {
                return !verdict(cut, sync).empty() && verdict(cut, nothing).empty();
            })) {
            unnoticed += std::to_string(sync) + " " + paths_[sync] + "\n";
        }
    }
    return unnoticed;
}

}  // namespace quill_test
