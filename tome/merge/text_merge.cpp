#include "tome/merge/text_merge.h"

#include <algorithm>
#include <unordered_map>
#include <utility>
#include <vector>

#include "tome/merge/line_diff.h"

namespace tome {
namespace {

using Lines = std::vector<std::string_view>;

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
class Numbering {
  public:
    LineNumbers of(const Lines& lines) {
        LineNumbers numbers;
        numbers.reserve(lines.size());
        for (const std::string_view line : lines) {
            numbers.push_back(numbers_.emplace(line, static_cast<std::uint32_t>(numbers_.size())).first->second);
        }
        return numbers;
    }

  private:
    std::unordered_map<std::string_view, std::uint32_t> numbers_;
};

struct Side {
    Lines lines;
    LineNumbers numbers;
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

// Three texts, whose lines have numbers in common.
class Merge {
  public:
    Merge(std::string_view base, std::string_view ours, std::string_view theirs)
        : base_(lines_of(base)), ours_{lines_of(ours), {}, {}}, theirs_{lines_of(theirs), {}, {}} {
        Numbering numbering;
        base_numbers_ = numbering.of(base_);
        ours_.numbers = numbering.of(ours_.lines);
        theirs_.numbers = numbering.of(theirs_.lines);
    }

    std::optional<std::string> run() {
        const std::optional<std::string> merged = run_from(ReadFrom::Start);
        // A change that both sides made is taken once. Among rows that are alike nobody can say whether both sides
        // removed the same one, so the merge must come out the same from whichever end the texts are read.
        return merged && took_one_for_both_ && run_from(ReadFrom::End) != merged ? std::nullopt : merged;
    }

  private:
    std::optional<std::string> run_from(ReadFrom end) {
        took_one_for_both_ = false;
        return find_changes(ours_, end) && find_changes(theirs_, end) ? interleave() : std::nullopt;
    }

    bool find_changes(Side& side, ReadFrom end) const {
        std::optional<std::vector<Hunk>> hunks = find_hunks(base_numbers_, side.numbers, end);
        side.next = 0;
        side.hunks = hunks ? std::move(*hunks) : std::vector<Hunk>();
        return hunks.has_value();
    }

    std::optional<std::string> interleave() {
        std::string merged;
        std::size_t done = 0;  // lines of the base
        bool whole = true;
        const auto take = [&](Side& side) {
            const Hunk& hunk = *side.hunk();
            whole = whole && append(merged, base_, done, hunk.base_begin) &&
                    append(merged, side.lines, hunk.side_begin, hunk.side_end);
            done = hunk.base_end;
            ++side.next;
        };
        while (ours_.hunk() != nullptr || theirs_.hunk() != nullptr) {
            const Hunk* mine = ours_.hunk();
            const Hunk* other = theirs_.hunk();
            if (other == nullptr || (mine != nullptr && lies_before(*mine, *other))) {
                take(ours_);
            } else if (mine == nullptr || lies_before(*other, *mine)) {
                take(theirs_);
            } else if (same_change(ours_, theirs_)) {
                take(ours_);
                ++theirs_.next;
                took_one_for_both_ = true;
            } else {
                return std::nullopt;
            }
        }
        whole = whole && append(merged, base_, done, base_.size());
        return whole ? std::optional(std::move(merged)) : std::nullopt;
    }

    Lines base_;
    LineNumbers base_numbers_;
    Side ours_;
    Side theirs_;
    bool took_one_for_both_ = false;
};

}  // namespace

bool is_mergeable_text(std::string_view bytes) {
    return bytes.size() <= max_merged_text_bytes && bytes.find('\0') == std::string_view::npos;
}

std::optional<std::string> merge_texts(std::string_view base, std::string_view ours, std::string_view theirs) {
    return ours == theirs ? std::optional(std::string(ours)) : Merge(base, ours, theirs).run();
}

}  // namespace tome
