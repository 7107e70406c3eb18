#include "tome/object/revision_graph.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "tests/tome/engine_test_objects.h"
#include "tome/base/clock.h"

namespace quill_test {
namespace {

using Digests = std::vector<tome::Digest>;

class RevisionGraph : public testing::Test {
  protected:
    Digests history(const tome::Digest& head, std::size_t limit = 1000) {
        Digests result;
        tome::visit_history(objects_, head, [&](const tome::NamedRevision& named) {
            result.push_back(named.digest);
            return result.size() < limit;
        });
        return result;
    }
    bool is_ancestor(const tome::Digest& ancestor, const tome::Digest& head) {
        return tome::is_ancestor(objects_, ancestor, head);
    }
    Digests bases(const tome::Digest& a, const tome::Digest& b) { return tome::merge_bases(objects_, {a}, b); }

    EngineTestObjects objects_;
    // root - left - merge - top
    //      \ right /
    tome::Digest root_ = objects_.revision({}, 1);
    tome::Digest left_ = objects_.revision({root_}, 2);
    tome::Digest right_ = objects_.revision({root_}, 2);
    tome::Digest late_right_ = objects_.revision({right_}, 3);
    tome::Digest merge_ = objects_.revision({left_, right_}, 3);
    tome::Digest top_ = objects_.revision({merge_}, 4);
};

TEST_F(RevisionGraph, AncestorsAreReachedThroughBothParents) {
    for (const tome::Digest& ancestor : {root_, left_, right_, merge_, top_, tome::Digest{}}) {
        EXPECT_TRUE(is_ancestor(ancestor, top_));
    }
    EXPECT_FALSE(is_ancestor(top_, merge_));
    EXPECT_FALSE(is_ancestor(left_, right_));
    EXPECT_FALSE(is_ancestor(late_right_, top_));
    EXPECT_FALSE(is_ancestor(merge_, late_right_));
    EXPECT_FALSE(is_ancestor(root_, {}));
    EXPECT_TRUE(is_ancestor({}, {}));
}

TEST_F(RevisionGraph, NewRevisionComesAfterBothOfItsParents) {
    const tome::Digest tree = objects_.tree({{"a", "text"}});
    const std::uint64_t before = tome::current_time();
    const tome::Revision revision = tome::new_revision(objects_, tree, right_, top_, "Merge");
    EXPECT_EQ(revision.tree, tree);
    EXPECT_EQ(revision.first_parent, right_);
    EXPECT_EQ(revision.second_parent, top_);
    EXPECT_EQ(revision.message, "Merge");
    EXPECT_EQ(revision.order, 5U);
    EXPECT_EQ(tome::new_revision(objects_, tree, top_, right_, "").order, 5U);
    EXPECT_EQ(tome::new_revision(objects_, tree, top_, {}, "").order, 5U);
    EXPECT_EQ(tome::new_revision(objects_, tree, {}, {}, "").order, 1U);
    EXPECT_GE(revision.created_at, before);
}

TEST_F(RevisionGraph, SearchForAnAncestorStopsAtItsOrder) {
    objects_.forget(root_);
    EXPECT_TRUE(is_ancestor(merge_, top_));
    EXPECT_FALSE(is_ancestor(late_right_, top_));
}

TEST_F(RevisionGraph, HistoryIsByOrderAndNamesEachRevisionOnce) {
    const Digests all = history(top_);
    ASSERT_EQ(all.size(), 5U);
    EXPECT_EQ(all[0], top_);
    EXPECT_EQ(all[1], merge_);
    EXPECT_EQ(std::set(all.begin() + 2, all.begin() + 4), (std::set{left_, right_}));
    EXPECT_EQ(all[4], root_);
    EXPECT_EQ(history(top_), all) << "and always in the same order";
    EXPECT_EQ(history({}), Digests{});
    EXPECT_EQ(history(root_), Digests{root_});
}

TEST_F(RevisionGraph, UnknownRevisionsComeAfterTheirParentsAndNothingBehindTheKnownIsRead) {
    objects_.forget(root_);
    const auto known = [&](const tome::Digest& digest) { return digest == left_ || digest == right_; };
    EXPECT_EQ(tome::unknown_revisions(objects_, top_, known), (Digests{merge_, top_}));
    EXPECT_EQ(tome::unknown_revisions(objects_, left_, known), Digests{});
    EXPECT_EQ(tome::unknown_revisions(objects_, {}, known), Digests{});
    EXPECT_EQ(tome::unknown_revisions(objects_, late_right_, known), Digests{late_right_});
}

TEST_F(RevisionGraph, SearchForCommonAncestorsReadsNothingBelowThem) {
    const tome::Digest old = objects_.revision({root_}, 2);
    const tome::Digest base = objects_.revision({old}, 3);
    const tome::Digest ours = objects_.revision({base}, 4);
    const tome::Digest theirs = objects_.revision({base}, 4);
    objects_.forget(root_);
    EXPECT_EQ(bases(ours, theirs), Digests{base});
}

TEST_F(RevisionGraph, HistoryThatIsStoppedReadsNoFurther) {
    objects_.forget(left_);
    EXPECT_EQ(history(top_, 2), (Digests{top_, merge_}));
}

TEST_F(RevisionGraph, RevisionThatIsMissingIsNamed) {
    objects_.forget(root_);
    const std::string error = "missing object: " + tome::to_hex(root_);
    EXPECT_EQ(engine_failure_of([&] { history(top_); }), error);
    EXPECT_EQ(engine_failure_of([&] { bases(left_, right_); }), error);
    EXPECT_EQ(engine_failure_of([&] { is_ancestor(root_, top_); }), error);
}

TEST_F(RevisionGraph, KnownOrderOfARevisionThatIsNoneOrMissingIsZero) {
    EXPECT_EQ(tome::known_order(objects_, top_), tome::order_of(objects_, top_));
    EXPECT_EQ(tome::known_order(objects_, {}), 0U);
    objects_.forget(top_);
    EXPECT_EQ(tome::known_order(objects_, top_), 0U);
}

TEST_F(RevisionGraph, ParentWhoseOrderIsNotBelowItsChildsIsDamage) {
    const tome::Digest equal = objects_.revision({top_}, 4);
    const tome::Digest below = objects_.revision({root_, top_}, 2);
    const std::string error = "corrupt object: order of revision " + tome::to_hex(top_);
    for (const tome::Digest& head : {equal, below}) {
        EXPECT_EQ(engine_failure_of([&] { history(head); }), error);
        EXPECT_EQ(engine_failure_of([&] { is_ancestor(left_, head); }), error);
        EXPECT_EQ(engine_failure_of([&] { bases(left_, head); }), error);
    }
}

TEST_F(RevisionGraph, MergeBaseIsTheNearestCommonAncestor) {
    EXPECT_EQ(bases(left_, right_), Digests{root_});
    EXPECT_EQ(bases(top_, late_right_), Digests{right_});
    EXPECT_EQ(bases(late_right_, top_), Digests{right_});
    EXPECT_EQ(bases(top_, left_), Digests{left_});
    EXPECT_EQ(bases(top_, top_), Digests{top_});
    EXPECT_EQ(bases(top_, objects_.revision({}, 1)), Digests{});
}

TEST_F(RevisionGraph, CrissCrossHasBothBasesTheLaterFirst) {
    const tome::Digest ours = objects_.revision({left_, late_right_}, 4);
    const tome::Digest theirs = objects_.revision({late_right_, left_}, 4);
    EXPECT_EQ(bases(ours, theirs), (Digests{late_right_, left_}));
    EXPECT_EQ(bases(theirs, ours), (Digests{late_right_, left_}));
}

TEST_F(RevisionGraph, BasesOfOneOrderStandInOneSequence) {
    const tome::Digest ours = objects_.revision({left_, right_}, 3);
    const tome::Digest theirs = objects_.revision({right_, left_}, 3);
    const Digests found = bases(ours, theirs);
    EXPECT_EQ(std::set(found.begin(), found.end()), (std::set{left_, right_}));
    EXPECT_EQ(bases(theirs, ours), found);
}

TEST_F(RevisionGraph, AgreesWithTheDefinitionOnRandomHistories) {
    std::mt19937 random(1);
    for (int round = 0; round < 30; ++round) {
        SCOPED_TRACE(round);
        Digests revisions;
        std::vector<std::uint64_t> orders;
        std::vector<std::set<std::size_t>> reached;  // of each revision, itself included
        for (std::size_t i = 0; i < 14; ++i) {
            Digests parents;
            std::uint64_t order = 0;
            std::set<std::size_t> below{i};
            for (std::size_t count = i == 0 ? 0 : random() % 3; count > 0; --count) {
                const std::size_t parent = i - 1 - random() % std::min<std::size_t>(i, 5);
                parents.push_back(revisions[parent]);
                order = std::max(order, orders[parent]);
                below.insert(reached[parent].begin(), reached[parent].end());
            }
            revisions.push_back(objects_.revision(parents, order + 1));
            orders.push_back(order + 1);
            reached.push_back(below);
        }
        for (std::size_t a = 0; a < revisions.size(); ++a) {
            EXPECT_EQ(history(revisions[a]).size(), reached[a].size());
            for (std::size_t b = 0; b < revisions.size(); ++b) {
                EXPECT_EQ(is_ancestor(revisions[a], revisions[b]), reached[b].contains(a));
                std::set<tome::Digest> expected;
                for (const std::size_t one : reached[a]) {
                    const bool nearest = std::none_of(reached[a].begin(), reached[a].end(), [&](std::size_t other) {
                        return other != one && reached[b].contains(other) && reached[other].contains(one);
                    });
                    if (reached[b].contains(one) && nearest) {
                        expected.insert(revisions[one]);
                    }
                }
                const Digests found = bases(revisions[a], revisions[b]);
                EXPECT_EQ(std::set(found.begin(), found.end()), expected);
                EXPECT_EQ(found.size(), expected.size());
            }
        }
    }
}

}  // namespace
}  // namespace quill_test
