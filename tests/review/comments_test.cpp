#include "review/comments.h"

#include <gtest/gtest.h>

#include <set>
#include <thread>

#include "review/comment_text.h"
#include "review/comments_file.h"
#include "review/reviews.h"
#include "review/reviews_file.h"
#include "tests/review/review_project.h"
#include "tests/support/limited_process.h"

namespace {

namespace fs = std::filesystem;
using quill::ProjectReview;
using quill::ProjectReviewComment;
using quill_test::bodies;
using quill_test::comment_saying;
using quill_test::failure_of;
using quill_test::full_comment;
using quill_test::is_between;
using quill_test::read_file;
using Texts = std::vector<std::string>;
using Comments = std::vector<ProjectReviewComment>;

ProjectReviewComment sent_as(const std::string& mutation, const std::string& body) {
    ProjectReviewComment comment = comment_saying(body);
    comment.clientMutationId = mutation;
    return comment;
}

ProjectReviewComment identified(const std::string& id, const std::string& body) {
    ProjectReviewComment comment = comment_saying(body);
    comment.id = id;
    return comment;
}

std::set<std::string> different_ids(const Comments& comments) {
    std::set<std::string> ids;
    for (const ProjectReviewComment& comment : comments) {
        ids.insert(comment.id);
    }
    return ids;
}

class ReviewComments : public quill_test::ReviewProject {
  protected:
    ReviewComments() {
        quill::create_project_review(project_, "feature", "other", "", "ana", {});
        quill::create_project_review(project_, "feature", "r", "", "ana", {"ben"});
        quill::update_project_reviews(project_, [](std::vector<ProjectReview>& all) {
            all.at(0).updatedAt = all.at(1).updatedAt = "1";
            return true;
        });
    }

    ProjectReview add(const ProjectReviewComment& comment) const {
        return quill::add_project_review_comment(project_, "r", comment);
    }
    ProjectReview resolve(const std::string& id, const std::string& by, bool resolved) const {
        return quill::resolve_project_review_comment(project_, "r", id, by, resolved);
    }
    ProjectReview remove(const std::string& id) const {
        return quill::delete_project_review_comment(project_, "r", id);
    }
    ProjectReview stored() const { return quill::find_project_review(project_, "r").value(); }
};

class WorkspaceComments : public quill_test::ReviewProject {
  protected:
    Comments add(const ProjectReviewComment& comment, const std::string& workspace = "feature") const {
        return quill::add_project_workspace_comment(project_, workspace, comment);
    }
    Comments resolve(const std::string& id, const std::string& by, bool resolved,
                     const std::string& workspace = "feature") const {
        return quill::resolve_project_workspace_comment(project_, workspace, id, by, resolved);
    }
    Comments remove(const std::string& id) const {
        return quill::delete_project_workspace_comment(project_, "feature", id);
    }
    Comments list(const std::string& workspace = "feature") const {
        return quill::list_project_workspace_comments(project_, workspace);
    }
};

// ---- Comments on reviews

TEST_F(ReviewComments, AddedOneIsStoredAsItIsAndGivenBack) {
    const std::string since = quill::wall_clock_milliseconds();
    const ProjectReview updated = add(full_comment("x"));
    EXPECT_EQ(quill::project_comments_json(updated.comments), quill::project_comment_json(full_comment("x")));
    EXPECT_TRUE(is_between(since, updated.updatedAt));
    EXPECT_EQ(quill::project_comments_json(stored().comments), quill::project_comments_json(updated.comments));
    EXPECT_EQ(stored().updatedAt, updated.updatedAt);
    EXPECT_EQ(updated.reviewerIds, Texts{"ben"});
}

TEST_F(ReviewComments, AddedOneGetsWhatItLacks) {
    const std::string since = quill::wall_clock_milliseconds();
    const ProjectReviewComment added = add(comment_saying("a")).comments.at(0);
    EXPECT_TRUE(is_between(since, added.createdAt));
    EXPECT_EQ(added.id, "comment-" + added.createdAt + "-1");
    EXPECT_EQ(added.anchorKind, "summary");
    const ProjectReviewComment next = add(comment_saying("b")).comments.at(1);
    EXPECT_EQ(next.id, "comment-" + next.createdAt + "-2");
}

TEST_F(ReviewComments, AddedOnesStayInOrder) {
    add(comment_saying("b"));
    add(comment_saying("a"));
    EXPECT_EQ(bodies(stored().comments), (Texts{"b", "a"}));
}

TEST_F(ReviewComments, SentAgainChangesNothing) {
    add(sent_as("m", "a"));
    const std::string before = read_file(reviews_file_);
    const ProjectReview again = add(sent_as("m", "other text"));
    EXPECT_EQ(bodies(again.comments), Texts{"a"});
    EXPECT_EQ(again.updatedAt, stored().updatedAt);
    EXPECT_EQ(read_file(reviews_file_), before);
}

TEST_F(ReviewComments, SameMutationOnAnotherReviewIsAnotherComment) {
    add(sent_as("m", "a"));
    EXPECT_EQ(quill::add_project_review_comment(project_, "other", sent_as("m", "a")).comments.size(), 1U);
}

TEST_F(ReviewComments, WithoutAMutationAreNeverTakenForOneAnother) {
    add(comment_saying("a"));
    EXPECT_EQ(bodies(add(comment_saying("a")).comments), (Texts{"a", "a"}));
}

TEST_F(ReviewComments, ResolvedOneSaysByWhomAndWhen) {
    add(identified("c", "a"));
    add(identified("d", "b"));
    const std::string since = quill::wall_clock_milliseconds();
    const ProjectReview updated = resolve("c", "ben", true);
    EXPECT_TRUE(updated.comments.at(0).resolved);
    EXPECT_EQ(updated.comments.at(0).resolvedBy, "ben");
    EXPECT_TRUE(is_between(since, updated.comments.at(0).resolvedAt));
    EXPECT_TRUE(is_between(since, updated.updatedAt));
    EXPECT_FALSE(updated.comments.at(1).resolved);
    EXPECT_EQ(stored().comments.at(0).resolvedAt, updated.comments.at(0).resolvedAt);
}

TEST_F(ReviewComments, UnresolvedOneSaysNothing) {
    add(identified("c", "a"));
    resolve("c", "ben", true);
    resolve("c", "ben", false);
    EXPECT_FALSE(stored().comments.at(0).resolved);
    EXPECT_EQ(stored().comments.at(0).resolvedBy + stored().comments.at(0).resolvedAt, "");
}

TEST_F(ReviewComments, DeletedOneIsGoneAndItsRepliesStay) {
    add(identified("c", "a"));
    ProjectReviewComment reply = identified("d", "reply");
    reply.parentId = "c";
    add(reply);
    add(identified("e", "last"));
    EXPECT_EQ(bodies(remove("c").comments), (Texts{"reply", "last"}));
    EXPECT_EQ(stored().comments.at(0).parentId, "c");
}

TEST_F(ReviewComments, DeletionTakesEveryCommentOfThatIdAndLeavesTheTime) {
    add(identified("c", "a"));
    add(identified("d", "b"));
    const std::string time = add(identified("c", "c")).updatedAt;
    const ProjectReview updated = remove("c");
    EXPECT_EQ(bodies(updated.comments), Texts{"b"});
    EXPECT_EQ(updated.updatedAt, time);
    EXPECT_EQ(bodies(stored().comments), Texts{"b"});
}

TEST_F(ReviewComments, UnknownReviewIsRefused) {
    const std::string refused = "review does not exist: nobody";
    EXPECT_EQ(failure_of([&] { quill::add_project_review_comment(project_, "nobody", {}); }), refused);
    EXPECT_EQ(failure_of([&] { quill::resolve_project_review_comment(project_, "nobody", "c", "", true); }), refused);
    EXPECT_EQ(failure_of([&] { quill::delete_project_review_comment(project_, "nobody", "c"); }), refused);
}

TEST_F(ReviewComments, UnknownCommentIsRefused) {
    add(identified("c", "a"));
    EXPECT_EQ(failure_of([&] { resolve("x", "", true); }), "review comment does not exist: x");
    EXPECT_EQ(failure_of([&] { remove("x"); }), "review comment does not exist: x");
    EXPECT_EQ(failure_of([&] { remove(""); }), "review comment does not exist: ");
    EXPECT_EQ(bodies(stored().comments), Texts{"a"});
}

TEST_F(ReviewComments, AddThatCannotBeWrittenLeavesTheFile) {
    const std::string before = read_file(reviews_file_);
    EXPECT_EQ(quill_test::outcome_with_file_size_limit(before.size(), [&] { add(full_comment("x")); }),
              "Could not write " + reviews_file_.string() + ".tmp");
    EXPECT_EQ(read_file(reviews_file_), before);
}

// ---- Comments on workspaces

TEST_F(WorkspaceComments, AddedOneIsStoredAsItIsAndListed) {
    const Comments comments = add(full_comment("x"));
    EXPECT_EQ(quill::project_comments_json(comments), quill::project_comment_json(full_comment("x")));
    EXPECT_EQ(quill::project_comments_json(list()), quill::project_comments_json(comments));
    EXPECT_TRUE(list("main").empty());
}

TEST_F(WorkspaceComments, AddedOneGetsWhatItLacks) {
    const std::string since = quill::wall_clock_milliseconds();
    const ProjectReviewComment first = add(comment_saying("a")).at(0);
    EXPECT_TRUE(is_between(since, first.createdAt));
    EXPECT_EQ(first.id, "comment-" + first.createdAt + "-1");
    EXPECT_EQ(first.anchorKind, "summary");
    const ProjectReviewComment next = add(comment_saying("b")).at(1);
    EXPECT_EQ(next.id, "comment-" + next.createdAt + "-2");
}

TEST_F(WorkspaceComments, GivenIdTimeAndKindStay) {
    ProjectReviewComment comment = identified("mine", "a");
    comment.createdAt = "7";
    comment.anchorKind = "entity";
    const ProjectReviewComment added = add(comment).at(0);
    EXPECT_EQ(added.id + added.createdAt + added.anchorKind, "mine7entity");
}

TEST_F(WorkspaceComments, CountedIdIsNeverOneThatIsTaken) {
    // As after a deletion, the next count is taken, at each millisecond of the time that the test may need.
#if defined(QUILL_ADDRESS_SANITIZER) || defined(QUILL_THREAD_SANITIZER)
    constexpr std::size_t milliseconds = 1000;  // A file of more takes a sanitizer too long.
#else
    constexpr std::size_t milliseconds = 10000;
#endif
    const unsigned long long now = std::stoull(quill::wall_clock_milliseconds());
    Comments taken;
    for (std::size_t i = 0; i < milliseconds; ++i) {
        const std::string count = std::to_string(milliseconds + 1);
        taken.push_back(identified("comment-" + std::to_string(now + i) + "-" + count, ""));
    }
    store_comments({{"feature", taken}});
    const Comments comments = add(comment_saying("a"));
    EXPECT_EQ(comments.size(), milliseconds + 1);
    EXPECT_EQ(different_ids(comments).size(), comments.size());
}

TEST_F(WorkspaceComments, OfMainAreStoredUnderItsId) {
    add(comment_saying("a"), "");
    EXPECT_EQ(bodies(add(comment_saying("b"), "main")), (Texts{"a", "b"}));
    EXPECT_EQ(quill::read_workspace_comments(project_).at(0).workspace, "main");
    EXPECT_EQ(bodies(list("")), (Texts{"a", "b"}));
    EXPECT_EQ(bodies(list("main")), (Texts{"a", "b"}));
}

TEST_F(WorkspaceComments, NewWorkspacesAreAppendedToTheFile) {
    add(comment_saying("a"), "feature");
    add(comment_saying("b"), "main");
    add(comment_saying("c"), "child");
    add(comment_saying("d"), "main");
    std::string order;
    for (const quill::WorkspaceCommentBucket& bucket : quill::read_workspace_comments(project_)) {
        order += bucket.workspace + " " + std::to_string(bucket.comments.size()) + " ";
    }
    EXPECT_EQ(order, "feature 1 main 2 child 1 ");
}

TEST_F(WorkspaceComments, TextThatIsNoIdIsNormalised) {
    add(comment_saying("a"), " Feature! ");
    EXPECT_EQ(bodies(list("feature")), Texts{"a"});
    EXPECT_EQ(bodies(list("feature ")), Texts{"a"});
}

TEST_F(WorkspaceComments, ArchivedWorkspaceTakesThemToo) {
    quill::update_workspaces_without_main(project_, [](auto& workspaces) {
        for (quill::ProjectWorkspace& workspace : workspaces) {
            workspace.archived = true;
        }
    });
    add(comment_saying("a"), "feature");
    EXPECT_EQ(bodies(list("feature")), Texts{"a"});
}

TEST_F(WorkspaceComments, UnknownWorkspaceIsRefused) {
    EXPECT_EQ(failure_of([&] { add(comment_saying("a"), "nobody"); }), "workspace not found: nobody");
    EXPECT_FALSE(fs::exists(comments_file_));
}

TEST_F(WorkspaceComments, PackageThatDoesNotExistIsNotMade) {
    const fs::path missing = folder_ / "Missing.quillproject";
    EXPECT_EQ(failure_of([&] { quill::add_project_workspace_comment(missing, "", comment_saying("a")); }),
              "Project is not a directory: " + missing.string());
    EXPECT_FALSE(fs::exists(missing));
}

TEST_F(WorkspaceComments, WithoutAFileThereAreNone) {
    EXPECT_TRUE(list().empty());
    EXPECT_TRUE(list("nobody").empty());
}

TEST_F(WorkspaceComments, SentAgainChangesNothing) {
    add(sent_as("m", "a"));
    const std::string before = read_file(comments_file_);
    EXPECT_EQ(bodies(add(sent_as("m", "other text"))), Texts{"a"});
    EXPECT_EQ(read_file(comments_file_), before);
    EXPECT_EQ(bodies(add(sent_as("m", "b"), "child")), Texts{"b"});
}

TEST_F(WorkspaceComments, AreResolvedAndUnresolved) {
    add(identified("c", "a"));
    const std::string since = quill::wall_clock_milliseconds();
    EXPECT_EQ(resolve("c", "ben", true).at(0).resolvedBy, "ben");
    EXPECT_TRUE(list().at(0).resolved);
    EXPECT_TRUE(is_between(since, list().at(0).resolvedAt));
    EXPECT_FALSE(resolve("c", "ben", false).at(0).resolved);
    EXPECT_EQ(list().at(0).resolvedBy + list().at(0).resolvedAt, "");
}

TEST_F(WorkspaceComments, DeletedOneIsGoneAndItsRepliesStay) {
    add(identified("c", "a"));
    ProjectReviewComment reply = identified("d", "reply");
    reply.parentId = "c";
    add(reply);
    add(identified("c", "b"));
    EXPECT_EQ(bodies(remove("c")), Texts{"reply"});
    EXPECT_EQ(list().at(0).parentId, "c");
}

TEST_F(WorkspaceComments, UnknownCommentIsRefused) {
    EXPECT_EQ(failure_of([&] { remove("c"); }), "workspace comment does not exist: c");
    EXPECT_EQ(failure_of([&] { resolve("c", "", true); }), "workspace comment does not exist: c");
    add(identified("c", "a"), "child");
    EXPECT_EQ(failure_of([&] { remove("c"); }), "workspace comment does not exist: c");
    EXPECT_EQ(list("child").size(), 1U);
}

TEST_F(WorkspaceComments, RefusedOneMakesNoFolder) {
    fs::remove_all(comments_file_.parent_path());
    EXPECT_EQ(failure_of([&] { remove("c"); }), "workspace comment does not exist: c");
    EXPECT_EQ(failure_of([&] { resolve("c", "", true); }), "workspace comment does not exist: c");
    EXPECT_EQ(failure_of([&] { add(comment_saying("a"), "nowhere"); }), "workspace not found: nowhere");
    EXPECT_FALSE(fs::exists(comments_file_.parent_path()));
}

TEST_F(WorkspaceComments, IdThatNoWorkspaceHasMeansTheOneThatHasItNormalised) {
    for (const std::string id : {"", "main", "Main", "MAIN", "main!", " main "}) {
        add(comment_saying("m"), id);
        EXPECT_EQ(list(id).size(), list("main").size()) << id;
    }
    EXPECT_EQ(list("main").size(), 6U);
    for (const std::string id : {"feature", "Feature", "FEATURE", " feature "}) {
        add(identified("c-" + id, "f"), id);
        EXPECT_TRUE(resolve("c-" + id, "ben", true, id).back().resolved) << id;
    }
    EXPECT_EQ(list("feature").size(), 4U);
    EXPECT_EQ(failure_of([&] { add(comment_saying("a"), "No Where"); }), "workspace not found: no-where");
}

TEST_F(WorkspaceComments, OfAWorkspaceThatIsGoneCanStillBeResolved) {
    add(identified("c", "a"));
    quill::write_workspaces_without_main(project_, {});
    EXPECT_TRUE(resolve("c", "ben", true).at(0).resolved);
    EXPECT_TRUE(remove("c").empty());
}

TEST_F(WorkspaceComments, AddThatCannotBeWrittenLeavesTheFile) {
    add(comment_saying("a"));
    const std::string before = read_file(comments_file_);
    EXPECT_EQ(quill_test::outcome_with_file_size_limit(before.size(), [&] { add(full_comment("x")); }),
              "Could not write " + comments_file_.string() + ".tmp");
    EXPECT_EQ(read_file(comments_file_), before);
}

// ---- At the same time

TEST_F(WorkspaceComments, LockIsOneForEachProject) {
    std::mutex& lock = quill::project_comment_index_mutex(project_);
    EXPECT_EQ(&lock, &quill::project_comment_index_mutex(project_ / "x" / ".."));
    EXPECT_NE(&lock, &quill::project_comment_index_mutex(folder_ / "Other.quillproject"));
    const quill_test::CurrentFolder there(folder_.path());
    EXPECT_EQ(&lock, &quill::project_comment_index_mutex("P.quillproject"));
}

TEST_F(WorkspaceComments, ChangesWaitForTheLockOfTheirProjectAlone) {
    const fs::path other = folder_ / "Other.quillproject";
    quill_test::write_file(other / "project.json", "{\n}\n");
    std::unique_lock lock(quill::project_comment_index_mutex(project_));
    std::thread waiting([&] { add(comment_saying("a")); });
    EXPECT_EQ(quill::add_project_workspace_comment(other, "", comment_saying("b")).size(), 1U);
    EXPECT_TRUE(list().empty());
    lock.unlock();
    waiting.join();
    EXPECT_EQ(bodies(list()), Texts{"a"});
}

TEST_F(WorkspaceComments, AddedByManyThreadsAllStay) {
    quill_test::on_threads(8, [&](int thread) {
        for (int i = 0; i < 5; ++i) {
            add(comment_saying("a"), thread % 2 == 0 ? "feature" : "main");
        }
    });
    EXPECT_EQ(different_ids(list("feature")).size(), 20U);
    EXPECT_EQ(different_ids(list("main")).size(), 20U);
}

TEST_F(WorkspaceComments, SentByManyThreadsAtOnceAreStoredOnce) {
    quill_test::on_threads(8, [&](int) { add(sent_as("m", "a")); });
    EXPECT_EQ(list().size(), 1U);
}

TEST_F(WorkspaceComments, AddedBySeveralProcessesAllStay) {
    quill_test::in_processes(4, [&](int process) {
        for (int i = 0; i < 10; ++i) {
            add(comment_saying("a"), process % 2 == 0 ? "feature" : "child");
        }
    });
    EXPECT_EQ(different_ids(list("feature")).size(), 20U);
    EXPECT_EQ(different_ids(list("child")).size(), 20U);
}

TEST_F(WorkspaceComments, AndWorkspacesChangedAtTheSameTimeAllStay) {
    quill_test::in_processes(3, [&](int process) {
        for (int i = 0; i < 10; ++i) {
            if (process > 0) {
                add(comment_saying("a"));
                continue;
            }
            quill::update_workspaces_without_main(project_, [&](std::vector<quill::ProjectWorkspace>& all) {
                all.push_back(quill_test::workspace_record("new" + std::to_string(i), "main", 'a'));
            });
        }
    });
    EXPECT_EQ(list().size(), 20U);
    EXPECT_EQ(quill::read_workspaces_without_main(project_).size(), 14U);
}

TEST_F(ReviewComments, AddedByManyThreadsBesideVerdictsAllStay) {
    quill_test::on_threads(8, [&](int thread) {
        for (int i = 0; i < 5; ++i) {
            if (thread % 2 == 0) {
                add(comment_saying("a"));
            } else {
                const std::string reviewer = std::to_string(thread) + "-" + std::to_string(i);
                quill::update_project_review_reviewer_state(project_, "r", reviewer, "approved");
            }
        }
    });
    EXPECT_EQ(different_ids(stored().comments).size(), 20U);
    EXPECT_EQ(stored().reviewers.size(), 21U);
}

TEST_F(ReviewComments, AddedBySeveralProcessesAllStay) {
    quill_test::in_processes(4, [&](int) {
        for (int i = 0; i < 10; ++i) {
            add(comment_saying("a"));
        }
    });
    EXPECT_EQ(different_ids(stored().comments).size(), 40U);
}

}  // namespace
