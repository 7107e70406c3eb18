#include "tome/merge/line_diff.h"

#include <algorithm>

namespace tome {
namespace {

// The search takes memory in the square of the number of changed lines.
constexpr std::int64_t max_changed_lines = 2000;

// A shortest edit script between two sequences: forward through the furthest points that each number of changes
// reaches, and back again along the way to the end.
class EditScript {
  public:
    EditScript(const LineNumbers& base, const LineNumbers& side) : base_(base), side_(side) {
        while (prefix_ < std::min(base.size(), side.size()) && base[prefix_] == side[prefix_]) {
            ++prefix_;
        }
        std::size_t suffix = 0;
        while (suffix < std::min(base.size(), side.size()) - prefix_ &&
               base[base.size() - 1 - suffix] == side[side.size() - 1 - suffix]) {
            ++suffix;
        }
        base_count_ = static_cast<std::int64_t>(base.size() - prefix_ - suffix);
        side_count_ = static_cast<std::int64_t>(side.size() - prefix_ - suffix);
    }

    /// The hunks, in order; nothing when there are too many changes.
    std::optional<std::vector<Hunk>> hunks() { return search() ? std::optional(trace_back()) : std::nullopt; }

  private:
    // The furthest point on diagonal k with d changes starts from the further one of its two neighbours with d - 1.
    bool comes_from_above(std::int64_t d, std::int64_t k) const {
        return k == -d || (k != d && reach(d - 1, k - 1) < reach(d - 1, k + 1));
    }

    std::int64_t reach(std::int64_t d, std::int64_t k) const {
        return furthest_[static_cast<std::size_t>(d)][static_cast<std::size_t>(k + d)];
    }

    bool search() {
        const std::int64_t limit = std::min(base_count_ + side_count_, max_changed_lines);
        for (std::int64_t d = 0; d <= limit; ++d) {
            furthest_.emplace_back(static_cast<std::size_t>(2 * d + 1));
            for (std::int64_t k = -d; k <= d; k += 2) {
                std::int64_t x = 0;
                if (d > 0) {
                    x = comes_from_above(d, k) ? reach(d - 1, k + 1) : reach(d - 1, k - 1) + 1;
                }
                while (x < base_count_ && x - k >= 0 && x - k < side_count_ && same(x, x - k)) {
                    ++x;
                }
                furthest_.back()[static_cast<std::size_t>(k + d)] = x;
                if (x >= base_count_ && x - k >= side_count_) {
                    return true;
                }
            }
        }
        return false;
    }

    bool same(std::int64_t x, std::int64_t y) const {
        return base_[prefix_ + static_cast<std::size_t>(x)] == side_[prefix_ + static_cast<std::size_t>(y)];
    }

    std::vector<Hunk> trace_back() const {
        std::vector<Hunk> hunks;
        std::int64_t x = base_count_;
        std::int64_t y = side_count_;
        for (auto d = static_cast<std::int64_t>(furthest_.size()) - 1; d > 0; --d) {
            const std::int64_t k = x - y;
            const bool inserted = comes_from_above(d, k);
            const std::int64_t from_k = inserted ? k + 1 : k - 1;
            const std::int64_t from_x = reach(d - 1, from_k);
            add_change(hunks, from_x, from_x - from_k, inserted);
            x = from_x;
            y = from_x - from_k;
        }
        std::reverse(hunks.begin(), hunks.end());
        return hunks;
    }

    // Changes come from the last to the first; those without a line between them are one hunk.
    void add_change(std::vector<Hunk>& hunks, std::int64_t x, std::int64_t y, bool inserted) const {
        const std::size_t base = prefix_ + static_cast<std::size_t>(x);
        const std::size_t side = prefix_ + static_cast<std::size_t>(y);
        const Hunk change{base, base + (inserted ? 0 : 1), side, side + (inserted ? 1 : 0)};
        if (!hunks.empty() && hunks.back().base_begin == change.base_end &&
            hunks.back().side_begin == change.side_end) {
            hunks.back().base_begin = change.base_begin;
            hunks.back().side_begin = change.side_begin;
        } else {
            hunks.push_back(change);
        }
    }

    const LineNumbers& base_;
    const LineNumbers& side_;
    std::size_t prefix_ = 0;
    std::int64_t base_count_ = 0;
    std::int64_t side_count_ = 0;
    std::vector<std::vector<std::int64_t>> furthest_;  // by number of changes, then by diagonal from -d
};

std::optional<std::vector<Hunk>> hunks_from_end(const LineNumbers& base, const LineNumbers& side) {
    const LineNumbers reversed_base(base.rbegin(), base.rend());
    const LineNumbers reversed_side(side.rbegin(), side.rend());
    std::optional<std::vector<Hunk>> hunks = EditScript(reversed_base, reversed_side).hunks();
    if (hunks) {
        std::reverse(hunks->begin(), hunks->end());
        for (Hunk& hunk : *hunks) {
            hunk = {base.size() - hunk.base_end, base.size() - hunk.base_begin, side.size() - hunk.side_end,
                    side.size() - hunk.side_begin};
        }
    }
    return hunks;
}

// Moves hunks among lines that repeat: of several rows alike, no one can say which was taken away.
class Slides {
  public:
    Slides(const LineNumbers& base, const LineNumbers& side) : base_(base), side_(side) {}

    std::vector<Hunk> settle(const std::vector<Hunk>& hunks) const {
        std::vector<Hunk> settled;
        for (const Hunk& hunk : hunks) {
            settled.push_back(hunk);
            while (settled.size() > 1 && join(settled[settled.size() - 2], settled.back())) {
                settled.pop_back();
            }
        }
        for (std::size_t i = 0; i < settled.size(); ++i) {
            const std::size_t end = i + 1 < settled.size() ? settled[i + 1].base_begin : base_.size();
            move_down(settled[i], room_below(settled[i], end - settled[i].base_end));
        }
        return settled;
    }

  private:
    // Makes `first` both of them, when they can slide to one another.
    bool join(Hunk& first, Hunk second) const {
        const std::size_t gap = second.base_begin - first.base_end;
        const std::size_t up = room_above(second, gap);
        if (up < gap && up + room_below(first, gap - up) < gap) {
            return false;
        }
        move_down(first, gap - up);
        first.base_end = second.base_end - up;
        first.side_end = second.side_end - up;
        return true;
    }

    // By how many of the `limit` equal lines above it a hunk can move up.
    std::size_t room_above(const Hunk& hunk, std::size_t limit) const {
        std::size_t room = 0;
        while (room < limit &&
               (hunk.inserts_only()
                    ? side_[hunk.side_begin - room - 1] == side_[hunk.side_end - room - 1]
                    : hunk.deletes_only() && base_[hunk.base_begin - room - 1] == base_[hunk.base_end - room - 1])) {
            ++room;
        }
        return room;
    }

    std::size_t room_below(const Hunk& hunk, std::size_t limit) const {
        std::size_t room = 0;
        while (room < limit && (hunk.inserts_only() ? side_[hunk.side_begin + room] == side_[hunk.side_end + room]
                                                    : hunk.deletes_only() && base_[hunk.base_begin + room] ==
                                                                                 base_[hunk.base_end + room])) {
            ++room;
        }
        return room;
    }

    static void move_down(Hunk& hunk, std::size_t lines) {
        for (std::size_t* at : {&hunk.base_begin, &hunk.base_end, &hunk.side_begin, &hunk.side_end}) {
            *at += lines;
        }
    }

    const LineNumbers& base_;
    const LineNumbers& side_;
};

}  // namespace

std::optional<std::vector<Hunk>> find_hunks(const LineNumbers& base, const LineNumbers& side, ReadFrom from) {
    std::optional<std::vector<Hunk>> hunks =
        from == ReadFrom::Start ? EditScript(base, side).hunks() : hunks_from_end(base, side);
    return hunks ? std::optional(Slides(base, side).settle(*hunks)) : std::nullopt;
}

}  // namespace tome
