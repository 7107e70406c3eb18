#include "project/temporary_checkouts.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <vector>

namespace quill {
namespace {

constexpr const char* selected_tree = "-selected-tree";
constexpr const char* published_head = "-published-head";

// How the checkouts of a kind are named. A name is the prefix, a workspace where one is given, the token of the
// process, and a time where one is given.
struct Naming {
    TemporaryCheckout kind;
    const char* prefix;
    bool ends_in_time;
};

constexpr std::array<Naming, 6> namings{{
    {TemporaryCheckout::MainCommit, ".main-commit-", false},
    {TemporaryCheckout::WorkspaceCommit, ".workspace-commit-", false},
    {TemporaryCheckout::MainMaterialize, ".main-materialize-", false},
    {TemporaryCheckout::Metadata, "metadata-", false},
    {TemporaryCheckout::RemoteBootstrap, ".remote-bootstrap-", false},
    {TemporaryCheckout::Restore, ".workspace-restore-", true},
}};

std::vector<std::string_view> split_at_dashes(std::string_view text) {
    std::vector<std::string_view> fields;
    for (;;) {
        const std::size_t dash = text.find('-');
        fields.push_back(text.substr(0, dash));
        if (dash == std::string_view::npos) {
            return fields;
        }
        text.remove_prefix(dash + 1);
    }
}

std::optional<pid_t> process_in(std::string_view field) {
    pid_t process = 0;
    const auto [end, error] = std::from_chars(field.data(), field.data() + field.size(), process);
    return error == std::errc() && end == field.data() + field.size() && process > 0 ? std::optional(process)
                                                                                     : std::nullopt;
}

}  // namespace

std::string workspace_process_token() {
    // Never destroyed: background threads may outlive main.
    static const auto* token = new std::string(
        std::to_string(getpid()) + "-" + std::to_string(std::chrono::steady_clock::now().time_since_epoch().count()));
    return *token;
}

std::string temporary_checkout_name(TemporaryCheckout kind, const std::string& workspace, const std::string& time) {
    const auto naming =
        std::find_if(namings.begin(), namings.end(), [&](const Naming& candidate) { return candidate.kind == kind; });
    return naming->prefix + (workspace.empty() ? "" : workspace + "-") + workspace_process_token() +
           (time.empty() ? "" : "-" + time);
}

std::string selected_tree_name(const std::string& restore_checkout) {
    return restore_checkout + selected_tree;
}

std::string published_head_name(const std::string& restore_checkout) {
    return restore_checkout + published_head;
}

std::optional<pid_t> process_of_temporary_checkout(std::string_view name) {
    const auto naming = std::find_if(namings.begin(), namings.end(),
                                     [&](const Naming& candidate) { return name.starts_with(candidate.prefix); });
    if (naming == namings.end()) {
        return std::nullopt;
    }
    for (const std::string_view suffix : {selected_tree, published_head}) {
        if (name.ends_with(suffix)) {
            name.remove_suffix(suffix.size());
        }
    }
    // The name ends in process and count, and with some kinds the time. They are counted from the end, because a
    // workspace before them may hold dashes.
    const std::size_t from_end = naming->ends_in_time ? 3 : 2;
    const std::vector<std::string_view> fields = split_at_dashes(name);
    return fields.size() > from_end ? process_in(fields[fields.size() - from_end]) : std::nullopt;
}

std::string history_preview_marker_name(const std::string& preview) {
    return "." + preview + ".ready";
}

std::optional<pid_t> process_of_history_preview(std::string_view name) {
    return process_in(name.substr(0, name.find('-')));
}

}  // namespace quill
