#include "tome/merge/revision_merge.h"

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/temporary_folder.h"
#include "tests/tome/engine_test_objects.h"

namespace quill_test {
namespace {

using Files = std::map<std::string, std::string>;

class RevisionMerge : public testing::Test {
  protected:
    RevisionMerge() {
        tome::Store::create(folder_ / "store");
        store_ = std::make_shared<tome::Store>(folder_ / "store");
        for (const std::string& text : texts_) {
            store_->add_bytes(tome::digest_of(text), text);
        }
        sources_.add(objects_);
        sources_.add(store_);
    }

    tome::Digest revision(const Files& files, const std::vector<tome::Digest>& parents, std::uint64_t order) {
        tome::Revision revision;
        revision.tree = objects_->tree(files);
        revision.first_parent = parents.empty() ? tome::Digest{} : parents[0];
        revision.second_parent = parents.size() < 2 ? tome::Digest{} : parents[1];
        revision.order = order;
        revision.message = std::to_string(++revisions_);
        return objects_->add(tome::ObjectKind::Revision, tome::encode_revision(revision));
    }

    // What the merge of two sides gives that merged each other's revisions so many times, each keeping its own "a".
    Files merged_after_crossings(std::uint64_t crossings) {
        const tome::Digest base = revision({{"a", "1"}}, {}, 1);
        tome::Digest ours = revision({{"a", "2"}}, {base}, 2);
        tome::Digest theirs = revision({{"a", "1"}, {"b", "1"}}, {base}, 2);
        for (std::uint64_t crossing = 0; crossing < crossings; ++crossing) {
            const tome::Digest before = ours;
            ours = revision({{"a", "2"}, {"b", "1"}}, {ours, theirs}, crossing + 3);
            theirs = revision({{"a", "1"}, {"b", "1"}}, {theirs, before}, crossing + 3);
        }
        return merged(ours, theirs);
    }

    // Two branches that each merged the same `count` others, of which one changed "a". Ours then changed it again.
    std::pair<tome::Digest, tome::Digest> gathered(int count) {
        const tome::Digest root = revision({{"a", "1"}}, {}, 1);
        std::vector<tome::Digest> branches{revision({{"a", "2"}}, {root}, 2)};
        while (branches.size() < static_cast<std::size_t>(count)) {
            branches.push_back(revision({{"a", "1"}}, {root}, 2));
        }
        const auto gather = [&](const std::string& text) {
            tome::Digest head = branches.front();
            std::uint64_t order = 3;
            for (std::size_t i = 1; i < branches.size(); ++i) {
                head = revision({{"a", "2"}}, {head, branches[i]}, order++);
            }
            return revision({{"a", text}}, {head}, order);
        };
        return {gather("3"), gather("2")};
    }

    // The files of the merge, or the conflicts, each with "!".
    Files merged(const tome::Digest& ours, const tome::Digest& theirs) {
        const tome::RevisionMerge merge = tome::merge_revisions(sources_, *store_, ours, theirs);
        Files files;
        if (merge.conflicts.empty()) {
            EXPECT_TRUE(store_->contains(tome::ObjectKind::Tree, merge.tree));
            objects_->add(tome::ObjectKind::Tree, store_->find_object(merge.tree).value());
            return objects_->files(merge.tree, texts_);
        }
        EXPECT_TRUE(merge.tree.is_zero());
        for (const std::string& path : merge.conflicts) {
            files[path] = "!";
        }
        return files;
    }

    const std::set<std::string> texts_{"1", "2", "3", "4"};
    TemporaryFolder folder_;
    std::shared_ptr<tome::Store> store_;
    std::shared_ptr<EngineTestObjects> objects_ = std::make_shared<EngineTestObjects>();
    tome::ObjectSources sources_;
    int revisions_ = 0;
};

TEST_F(RevisionMerge, TakesWhatEitherSideChanged) {
    const tome::Digest base = revision({{"a", "1"}, {"b", "1"}, {"c", "1"}}, {}, 1);
    const tome::Digest ours = revision({{"a", "2"}, {"b", "1"}, {"c", "1"}}, {base}, 2);
    const tome::Digest theirs = revision({{"a", "1"}, {"b", "3"}, {"d", "4"}}, {base}, 2);
    EXPECT_EQ(merged(ours, theirs), (Files{{"a", "2"}, {"b", "3"}, {"d", "4"}}));
}

TEST_F(RevisionMerge, NamesThePathsThatBothSidesChangedOtherwise) {
    const tome::Digest base = revision({{"a", "1"}, {"b", "1"}, {"c", "1"}}, {}, 1);
    const tome::Digest ours = revision({{"b", "2"}, {"c", "2"}, {"x", "2"}}, {base}, 2);
    const tome::Digest theirs = revision({{"a", "3"}, {"b", "2"}, {"c", "3"}, {"x/y", "2"}}, {base}, 2);
    EXPECT_EQ(merged(ours, theirs), (Files{{"a", "!"}, {"c", "!"}, {"x/y", "!"}}));
}

TEST_F(RevisionMerge, ReckonsFromTheNearestCommonAncestor) {
    const tome::Digest base = revision({{"a", "1"}}, {}, 1);
    const tome::Digest later = revision({{"a", "2"}}, {base}, 2);
    const tome::Digest ours = revision({{"a", "2"}, {"b", "1"}}, {later}, 3);
    const tome::Digest theirs = revision({{"a", "3"}}, {later}, 3);
    EXPECT_EQ(merged(ours, theirs), (Files{{"a", "3"}, {"b", "1"}}));
}

TEST_F(RevisionMerge, DoesNotMergeCommonAncestorsBeyondTheirSixteenthAncestors) {
    EXPECT_EQ(merged_after_crossings(16), (Files{{"a", "2"}, {"b", "1"}}));
    EXPECT_EQ(merged_after_crossings(17), (Files{{"a", "!"}}));
}

TEST_F(RevisionMerge, MergesTwoHundredAndOneCommonAncestors) {
    const auto [ours, theirs] = gathered(201);
    EXPECT_EQ(merged(ours, theirs), (Files{{"a", "3"}}));
    const auto [our_next, their_next] = gathered(202);
    EXPECT_EQ(merged(our_next, their_next), (Files{{"a", "!"}}));
}

}  // namespace
}  // namespace quill_test
