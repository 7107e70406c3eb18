// The name of a branch. It has a type of its own, so that the compiler refuses a path or any other text.
#pragma once

#include <compare>
#include <string>
#include <string_view>

#include "tome/base/error.h"

namespace tome {

class BranchName {
  public:
    /// Takes 1 to 255 ASCII letters, digits, "_", "-" and ".", the first no ".". Throws Error(Invalid)
    /// "invalid branch name: TEXT" otherwise.
    static BranchName parse(std::string_view text);

    const std::string& text() const { return text_; }
    auto operator<=>(const BranchName&) const = default;

  private:
    explicit BranchName(std::string text) : text_(std::move(text)) {}
    std::string text_;
};

/// Error(NotFound) "branch does not exist: NAME".
Error missing_branch(const BranchName& name);

}  // namespace tome
