// Which lines of one text became which lines of another. It finds shortest edit scripts (E. W. Myers, "An O(ND)
// Difference Algorithm and Its Variations", 1986) and slides their changes together, so that there are few hunks.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace tome {

/// Lines of a text as numbers, of which equal lines have equal ones.
using LineNumbers = std::vector<std::uint32_t>;

/// Lines of the base from `base_begin` to `base_end` became those of the side from `side_begin` to `side_end`.
struct Hunk {
    std::size_t base_begin = 0;
    std::size_t base_end = 0;
    std::size_t side_begin = 0;
    std::size_t side_end = 0;

    bool inserts_only() const { return base_begin == base_end; }
    bool deletes_only() const { return side_begin == side_end; }
};

/// The end of the texts from which equal lines are matched as early as can be; of several shortest scripts it finds
/// one.
enum class ReadFrom { Start, End };

/// How `side` came from `base`, in order and with equal lines between any two hunks. Where lines repeat, what was added
/// or taken away may stand in several places: it stands where it is one hunk with other changes, else in the last of
/// them. Nothing when the two differ in so many lines that the search would take too long.
std::optional<std::vector<Hunk>> find_hunks(const LineNumbers& base, const LineNumbers& side, ReadFrom from);

}  // namespace tome
