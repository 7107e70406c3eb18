// The failures of engine calls that callers do something about. The engine's interface tells them apart by words in
// their texts (tome.h, "Error texts"), which an exception carries behind the operation's name. Here those words stand
// once. Pure functions.
#pragma once

#include <exception>

namespace quill {

/// A push was refused: another process published to the branch first.
bool says_that_branch_moved(const std::exception& error);

/// A commit was refused: nothing that was staged differs from the base.
bool says_that_nothing_is_staged(const std::exception& error);

/// A clone failed: the remote has no such repository, so the project's history was never started.
bool says_that_history_is_missing(const std::exception& error);

/// A branch was not made, because there is one of that name.
bool says_that_branch_exists(const std::exception& error);

/// A repository was not made, because the remote has one. Engines word it in four ways.
bool says_that_repository_exists(const std::exception& error);

/// What a checkout knows of itself cannot be read, or refers to something that no store has.
bool says_that_checkout_is_damaged(const std::exception& error);

/// Starting a history failed at something that another process made meanwhile.
bool says_that_history_was_started(const std::exception& error);

}  // namespace quill
