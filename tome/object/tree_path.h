// Names and paths inside a tree: "/" between components, relative, never able to leave the tree or to name the folder
// that holds a checkout's own state, on whatever file system the tree is written to.
#pragma once

#include <compare>
#include <string>
#include <string_view>
#include <vector>

namespace tome {

/// The longest path and the deepest nesting that a tree may hold; both within what common file systems take.
inline constexpr std::size_t max_path_bytes = 3000;
inline constexpr std::size_t max_path_depth = 255;

/// Whether a file of this name belongs to the checkout itself: ".tome", or ".tome-" and 16 hexadecimal digits, which is
/// a ".tome" that is being made.
bool is_state_folder(std::string_view name);

/// Throws Error(Invalid) "invalid name in a tree: NAME" unless `name` may stand in a tree. Refused are "", ".", "..",
/// names over 255 bytes, names with "/", NUL or "\", and every name that a file system which folds case, drops
/// ignorable code points, trailing dots or spaces, or knows short names and streams, would take for that of a state
/// folder.
void check_entry_name(std::string_view name);

/// The names in a checked path; views into it.
std::vector<std::string_view> components_of(std::string_view path);

/// A path that passed the check, in the form "a/b/c".
class TreePath {
  public:
    /// Takes a relative path; "." components and doubled or trailing slashes are folded away. Throws Error(Invalid)
    /// "invalid path: TEXT" for one that is empty, absolute, has "..", is too long or has a refused name.
    static TreePath parse(std::string_view text);

    const std::string& text() const { return text_; }
    std::vector<std::string_view> components() const { return components_of(text_); }
    auto operator<=>(const TreePath&) const = default;

  private:
    explicit TreePath(std::string text) : text_(std::move(text)) {}
    std::string text_;
};

/// Whether `path` is `folder` or lies below it; an empty folder holds everything.
bool is_within(std::string_view path, std::string_view folder);

}  // namespace tome
