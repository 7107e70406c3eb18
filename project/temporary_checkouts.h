// The names of what one process keeps for itself in the folder of checkouts: temporary checkouts and previews of
// earlier revisions. Every name holds the process that it belongs to; this module makes the names and reads them, so
// that what dead processes left is found. Table of folders: docs/formats.md. Any thread.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <string_view>

namespace quill {

/// Process ID, "-" and the steady clock's count at the first call: the same for the life of the process. It keeps the
/// temporary checkouts of processes apart.
std::string workspace_process_token();

enum class TemporaryCheckout {
    MainCommit,       ///< for commits to "main"
    WorkspaceCommit,  ///< for commits to another workspace, which the name holds
    MainMaterialize,  ///< for syncs from "main"
    Metadata,         ///< for queries, without files
    RemoteBootstrap,  ///< for starting the history of a remote
    Restore,          ///< for one restore: the name holds the workspace and the time
};

/// This process's name for a checkout of the kind. `workspace` and `time` (milliseconds since the Unix epoch) are for
/// the kinds whose name holds them.
std::string temporary_checkout_name(TemporaryCheckout kind, const std::string& workspace = {},
                                    const std::string& time = {});

/// The names of the two folders beside the checkout of a restore: the selected files, and a checkout of what was
/// published.
std::string selected_tree_name(const std::string& restore_checkout);
std::string published_head_name(const std::string& restore_checkout);

/// The process that a name of the folder of checkouts belongs to; nothing for what is no temporary checkout.
std::optional<pid_t> process_of_temporary_checkout(std::string_view name);

/// The name of the marker beside this process's preview of a revision, whose own name is the process's token.
std::string history_preview_marker_name(const std::string& preview);

/// The process that a preview of a revision belongs to.
std::optional<pid_t> process_of_history_preview(std::string_view name);

}  // namespace quill
