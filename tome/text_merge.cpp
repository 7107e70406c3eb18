#include "tome/text_merge.h"

#include <algorithm>
#include <unordered_map>
#include <vector>

namespace tome {
namespace {

// The search takes memory in the square of the number of changed lines.
constexpr std::int64_t max_changed_lines = 2000;

using Lines = std::vector<std::string_view>;
using Numbers = std::vector<std::uint32_t>;

// Lines of the base from `base_begin` to `base_end` became those of the side from `side_begin` to `side_end`.
struct Hunk {
    std::size_t base_begin = 0;
    std::size_t base_end = 0;
    std::size_t side_begin = 0;
    std::size_t side_end = 0;

    bool inserts_only() const { return base_begin == base_end; }
};

// Each with its line feed.
Lines lines_of(std::string_view text) {
    Lines lines;
    while (!text.empty()) {
        const std::size_t end = text.find('\n');
        lines.push_back(text.substr(0, end == text.npos ? text.size() : end + 1));
        text.remove_prefix(lines.back().size());
    }
    return lines;
}

// Equal lines get equal numbers.
class LineNumbers {
  public:
    Numbers of(const Lines& lines) {
        Numbers numbers;
        numbers.reserve(lines.size());
        for (const std::string_view line : lines) {
            numbers.push_back(numbers_.emplace(line, static_cast<std::uint32_t>(numbers_.size())).first->second);
        }
        return numbers;
    }

  private:
    std::unordered_map<std::string_view, std::uint32_t> numbers_;
};

// A shortest edit script between two sequences: forward through the furthest points that each number of changes
// reaches, and back again along the way to the end.
class EditScript {
  public:
    EditScript(const Numbers& base, const Numbers& side) : base_(base), side_(side) {
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

    const Numbers& base_;
    const Numbers& side_;
    std::size_t prefix_ = 0;
    std::int64_t base_count_ = 0;
    std::int64_t side_count_ = 0;
    std::vector<std::vector<std::int64_t>> furthest_;  // by number of changes, then by diagonal from -d
};

struct Side {
    Lines lines;
    std::vector<Hunk> hunks;
    std::size_t next = 0;

    const Hunk* hunk() const { return next < hunks.size() ? &hunks[next] : nullptr; }
};

// Neighbouring lines may change on either side. Lines inserted beside changed ones may be the same insertion, or belong
// to what was changed, so these touch.
bool lies_before(const Hunk& a, const Hunk& b) {
    return a.base_end < b.base_begin || (a.base_end == b.base_begin && !a.inserts_only() && !b.inserts_only());
}

// False when a line would be glued to one that has no line feed.
bool append(std::string& text, const Lines& lines, std::size_t begin, std::size_t end) {
    for (std::size_t i = begin; i < end; ++i) {
        if (!text.empty() && text.back() != '\n') {
            return false;
        }
        text += lines[i];
    }
    return true;
}

bool same_change(const Side& a, const Side& b) {
    const Hunk& first = *a.hunk();
    const Hunk& second = *b.hunk();
    return first.base_begin == second.base_begin && first.base_end == second.base_end &&
           std::equal(a.lines.begin() + static_cast<std::ptrdiff_t>(first.side_begin),
                      a.lines.begin() + static_cast<std::ptrdiff_t>(first.side_end),
                      b.lines.begin() + static_cast<std::ptrdiff_t>(second.side_begin),
                      b.lines.begin() + static_cast<std::ptrdiff_t>(second.side_end));
}

std::optional<std::string> interleave(const Lines& base, Side& ours, Side& theirs) {
    std::string merged;
    std::size_t done = 0;  // lines of the base
    bool whole = true;
    const auto take = [&](Side& side) {
        const Hunk& hunk = *side.hunk();
        whole = whole && append(merged, base, done, hunk.base_begin) &&
                append(merged, side.lines, hunk.side_begin, hunk.side_end);
        done = hunk.base_end;
        ++side.next;
    };
    while (ours.hunk() != nullptr || theirs.hunk() != nullptr) {
        const Hunk* mine = ours.hunk();
        const Hunk* other = theirs.hunk();
        if (other == nullptr || (mine != nullptr && lies_before(*mine, *other))) {
            take(ours);
        } else if (mine == nullptr || lies_before(*other, *mine)) {
            take(theirs);
        } else if (same_change(ours, theirs)) {
            take(ours);
            ++theirs.next;
        } else {
            return std::nullopt;
        }
    }
    whole = whole && append(merged, base, done, base.size());
    return whole ? std::optional(std::move(merged)) : std::nullopt;
}

}  // namespace

bool is_mergeable_text(std::string_view bytes) {
    return bytes.size() <= max_merged_text_bytes && bytes.find('\0') == std::string_view::npos;
}

std::optional<std::string> merge_texts(std::string_view base, std::string_view ours, std::string_view theirs) {
    const Lines base_lines = lines_of(base);
    Side mine{lines_of(ours), {}, 0};
    Side other{lines_of(theirs), {}, 0};
    LineNumbers numbers;
    const Numbers base_numbers = numbers.of(base_lines);
    for (Side* side : {&mine, &other}) {
        const Numbers side_numbers = numbers.of(side->lines);
        auto hunks = EditScript(base_numbers, side_numbers).hunks();
        if (!hunks) {
            return std::nullopt;
        }
        side->hunks = std::move(*hunks);
    }
    return interleave(base_lines, mine, other);
}

}  // namespace tome
