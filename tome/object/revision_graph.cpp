#include "tome/object/revision_graph.h"

#include <algorithm>
#include <map>
#include <queue>
#include <set>

#include "tome/base/clock.h"
#include "tome/base/error.h"

namespace tome {
namespace {

[[noreturn]] void refuse_order(const Digest& digest) {
    throw Error(ErrorCode::Corrupt, "corrupt object: order of revision " + to_hex(digest));
}

// The order of a revision; 0 when it cannot be read, because the remote is away or the bytes are damaged. That shows
// when the revision itself is needed. Until then it must not hold up work on what came after it.
std::uint64_t readable_order(ObjectSource& source, const Digest& digest) {
    try {
        return digest.is_zero() ? 0 : read_revision(source, digest).order;
    } catch (const Error& error) {
        if (error.code() != ErrorCode::NotFound && error.code() != ErrorCode::Corrupt) {
            throw;
        }
        return 0;
    }
}

void check_order(ObjectSource& source, const Digest& digest, const Revision& revision) {
    for (const Digest& parent : {revision.first_parent, revision.second_parent}) {
        if (readable_order(source, parent) >= revision.order) {
            refuse_order(digest);
        }
    }
}

// Revisions not yet looked at, largest order first. A parent whose order is not below its child's would break every
// walk, so it is refused here.
class Frontier {
  public:
    explicit Frontier(ObjectSource& source) : source_(source) {}

    void add(const Digest& digest, std::uint64_t below = UINT64_MAX) {
        if (digest.is_zero() || !seen_.insert(digest).second) {
            return;
        }
        Revision revision = read_revision(source_, digest);
        const std::uint64_t order = revision.order;
        if (order >= below) {
            refuse_order(digest);
        }
        queue_.emplace(std::pair(order, digest), std::move(revision));
    }
    void add_parents(const NamedRevision& child) {
        add(child.revision.first_parent, child.revision.order);
        add(child.revision.second_parent, child.revision.order);
    }
    bool empty() const { return queue_.empty(); }
    NamedRevision take() {
        const auto last = std::prev(queue_.end());
        NamedRevision result{last->first.second, std::move(last->second)};
        queue_.erase(last);
        return result;
    }
    std::uint64_t largest_order() const { return queue_.rbegin()->first.first; }
    bool holds(const std::function<bool(const Digest&)>& wanted) const {
        return std::any_of(queue_.begin(), queue_.end(),
                           [&](const auto& queued) { return wanted(queued.first.second); });
    }

  private:
    ObjectSource& source_;
    std::set<Digest> seen_;
    std::map<std::pair<std::uint64_t, Digest>, Revision> queue_;
};

}  // namespace

Revision read_base(ObjectSource& source, const Digest& digest) {
    Revision revision = read_revision(source, digest);
    check_order(source, digest, revision);
    return revision;
}

std::uint64_t order_of(ObjectSource& source, const Digest& revision) {
    return revision.is_zero() ? 0 : read_base(source, revision).order;
}

std::uint64_t known_order(ObjectSource& source, const Digest& revision) {
    try {
        return revision.is_zero() ? 0 : read_revision(source, revision).order;
    } catch (const Error&) {
        return 0;
    }
}

Revision new_revision(ObjectSource& source, const Digest& tree, const Digest& first_parent, const Digest& second_parent,
                      const std::string& message) {
    Revision revision;
    revision.tree = tree;
    revision.first_parent = first_parent;
    revision.second_parent = second_parent;
    revision.order = 1 + std::max(order_of(source, first_parent), order_of(source, second_parent));
    revision.created_at = current_time();
    revision.message = message;
    return revision;
}

bool is_ancestor(ObjectSource& source, const Digest& ancestor, const Digest& head) {
    if (ancestor.is_zero() || ancestor == head) {
        return true;
    }
    if (head.is_zero()) {
        return false;
    }
    const std::uint64_t order = read_revision(source, ancestor).order;
    Frontier frontier(source);
    frontier.add(head);
    while (!frontier.empty() && frontier.largest_order() >= order) {
        const NamedRevision current = frontier.take();
        if (current.digest == ancestor) {
            return true;
        }
        frontier.add_parents(current);
    }
    return false;
}

std::vector<Digest> merge_bases(ObjectSource& source, const std::vector<Digest>& ours, const Digest& theirs) {
    // Bits: reached from ours, reached from theirs, below a common ancestor that was already found.
    enum : unsigned { from_ours = 1, from_theirs = 2, stale = 4 };
    std::map<Digest, unsigned> marks;
    Frontier frontier(source);
    for (const Digest& head : ours) {
        marks[head] |= from_ours;
        frontier.add(head);
    }
    marks[theirs] |= from_theirs;
    frontier.add(theirs);
    std::vector<Digest> bases;
    // What is left when all of it is stale lies below the common ancestors that were found.
    while (frontier.holds([&](const Digest& digest) { return (marks[digest] & stale) == 0; })) {
        const NamedRevision current = frontier.take();
        unsigned inherited = marks[current.digest];
        if ((inherited & (from_ours | from_theirs)) == (from_ours | from_theirs) && (inherited & stale) == 0) {
            bases.push_back(current.digest);
            inherited |= stale;
        }
        for (const Digest& parent : {current.revision.first_parent, current.revision.second_parent}) {
            marks[parent] |= inherited;
        }
        frontier.add_parents(current);
    }
    return bases;
}

std::vector<Digest> unknown_revisions(ObjectSource& source, const Digest& head,
                                      const std::function<bool(const Digest&)>& is_known) {
    Frontier frontier(source);
    std::vector<Digest> unknown;
    const auto add = [&](const Digest& digest) {
        if (!digest.is_zero() && !is_known(digest)) {
            frontier.add(digest);
        }
    };
    add(head);
    while (!frontier.empty()) {
        const NamedRevision current = frontier.take();
        check_order(source, current.digest, current.revision);
        unknown.push_back(current.digest);
        add(current.revision.first_parent);
        add(current.revision.second_parent);
    }
    std::reverse(unknown.begin(), unknown.end());
    return unknown;
}

void visit_history(ObjectSource& source, const Digest& head, const std::function<bool(const NamedRevision&)>& visit) {
    Frontier frontier(source);
    frontier.add(head);
    while (!frontier.empty()) {
        const NamedRevision current = frontier.take();
        if (!visit(current)) {
            return;
        }
        frontier.add_parents(current);
    }
}

}  // namespace tome
