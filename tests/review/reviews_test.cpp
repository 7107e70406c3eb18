#include "review/reviews.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "review/reviews_file.h"
#include "tests/review/review_project.h"
#include "tests/support/limited_process.h"

namespace {

namespace fs = std::filesystem;
using quill::ProjectReview;
using quill_test::failure_of;
using quill_test::is_between;
using quill_test::read_file;
using quill_test::workspace_record;
using Texts = std::vector<std::string>;

const std::string head_c(64, 'c');
const std::string head_f(64, 'f');

std::string ids(const std::vector<ProjectReview>& reviews) {
    std::string text;
    for (const ProjectReview& review : reviews) {
        text += (text.empty() ? "" : " ") + review.id;
    }
    return text;
}

// "ben=approved cleo=pending"
std::string verdicts(const ProjectReview& review) {
    std::string text;
    for (const quill::ProjectReviewReviewer& reviewer : review.reviewers) {
        text += (text.empty() ? "" : " ") + reviewer.profileId + "=" + reviewer.state;
    }
    return text;
}

class Reviews : public quill_test::ReviewProject {
  protected:
    ProjectReview create(const std::string& title, const Texts& reviewers = {},
                         const std::string& source = "feature") const {
        return quill::create_project_review(project_, source, title, "why", "ana", reviewers);
    }

    ProjectReview vote(const std::string& reviewer, const std::string& state, const std::string& review = "r") const {
        return quill::update_project_review_reviewer_state(project_, review, reviewer, state);
    }

    ProjectReview set_status(const std::string& status, const std::string& review = "r") const {
        return quill::update_project_review_status(project_, review, status);
    }

    std::string failure_of_creation(const std::string& source) const {
        return failure_of([&] { create("r", {}, source); });
    }

    ProjectReview stored(const std::string& id = "r") const { return quill::find_project_review(project_, id).value(); }

    // Gives the stored review a time that no other has.
    void set_time(const std::string& id, const std::string& time) const {
        quill::update_project_reviews(project_, [&](std::vector<ProjectReview>& reviews) {
            for (ProjectReview& review : reviews) {
                review.updatedAt = review.id == id ? time : review.updatedAt;
            }
            return true;
        });
    }
};

// ---- Listing and finding

TEST_F(Reviews, WithoutAFileThereAreNone) {
    EXPECT_TRUE(quill::list_project_reviews(project_).empty());
    EXPECT_FALSE(quill::find_project_review(project_, "r"));
}

TEST_F(Reviews, ListShowsTheLatestUpdateFirstByItsText) {
    create("a");
    create("b");
    create("c");
    set_time("a", "10");
    set_time("b", "9");
    set_time("c", "");
    EXPECT_EQ(ids(quill::list_project_reviews(project_)), "b a c");
}

TEST_F(Reviews, AreFoundByTheExactId) {
    create("Garden path");
    EXPECT_EQ(quill::find_project_review(project_, "garden-path")->title, "Garden path");
    EXPECT_FALSE(quill::find_project_review(project_, "Garden path"));
    EXPECT_FALSE(quill::find_project_review(project_, ""));
}

TEST_F(Reviews, ArePassedAnyPathToThePackage) {
    create("r");
    const quill_test::CurrentFolder there(folder_.path());
    EXPECT_TRUE(quill::find_project_review("x/../P.quillproject/", "r"));
    EXPECT_EQ(quill::list_project_reviews("P.quillproject").size(), 1U);
}

// ---- Creating

TEST_F(Reviews, CreatedOneHoldsWhatWasAskedFor) {
    const std::string since = quill::wall_clock_milliseconds();
    const ProjectReview review = create("Garden Path!", {"ben", "", "cleo", "ben"}, "child");
    EXPECT_EQ(review.id, "garden-path");
    EXPECT_EQ(review.title, "Garden Path!");
    EXPECT_EQ(review.description, "why");
    EXPECT_EQ(review.author, "ana");
    EXPECT_EQ(review.sourceWorkspace, "child");
    EXPECT_EQ(review.targetWorkspace, "feature");
    EXPECT_EQ(review.sourceHeadKey, head_c);
    EXPECT_EQ(review.baseHeadKey, head_f);
    EXPECT_EQ(review.status, "open");
    EXPECT_TRUE(is_between(since, review.createdAt));
    EXPECT_EQ(review.updatedAt, review.createdAt);
    EXPECT_EQ(review.reviewerIds, (Texts{"ben", "cleo"}));
    EXPECT_EQ(verdicts(review), "ben=pending cleo=pending");
    EXPECT_EQ(review.reviewers.at(1).updatedAt, review.createdAt);
    EXPECT_TRUE(review.comments.empty());
}

TEST_F(Reviews, CreatedOneIsStoredAsItIsGivenBack) {
    const ProjectReview review = create("r", {"ben"});
    const std::string bytes = read_file(reviews_file_);
    store_reviews({review});
    EXPECT_EQ(read_file(reviews_file_), bytes);
}

TEST_F(Reviews, CreatedOnesAreAppended) {
    create("a");
    create("b");
    EXPECT_EQ(ids(quill::read_project_reviews(project_)), "a b");
}

TEST_F(Reviews, SourceWithoutAParentIsToGoIntoMain) {
    EXPECT_EQ(create("r", {}, "root").targetWorkspace, "main");
}

TEST_F(Reviews, TitledAlikeGetCountedIds) {
    EXPECT_EQ(create("T").id, "t");
    EXPECT_EQ(create("t!").id, "t-2");
    EXPECT_EQ(create("T").id, "t-3");
}

TEST_F(Reviews, FirstFreeIdIsTaken) {
    create("t 2");
    create("t");
    EXPECT_EQ(create("t").id, "t-3");
}

TEST_F(Reviews, WithoutATitleAreCalledAfterTheirSource) {
    const ProjectReview review = create("");
    EXPECT_EQ(review.title, "Name of feature");
    EXPECT_EQ(review.id, "name-of-feature-review");
    EXPECT_EQ(create("").id, "name-of-feature-review-2");
}

TEST_F(Reviews, TitleWithoutLettersOrDigitsGivesTheIdWorkspace) {
    EXPECT_EQ(create("...").id, "workspace");
}

TEST_F(Reviews, MainCannotBeReviewed) {
    EXPECT_EQ(failure_of_creation("main"), "main workspace cannot be reviewed");
    EXPECT_EQ(failure_of_creation(""), "main workspace cannot be reviewed");
    EXPECT_FALSE(fs::exists(reviews_file_));
}

TEST_F(Reviews, SourceAndTargetMustExist) {
    EXPECT_EQ(failure_of_creation("nobody"), "source workspace does not exist: nobody");
    EXPECT_EQ(failure_of_creation("orphan"), "target workspace does not exist: gone");
    EXPECT_FALSE(fs::exists(reviews_file_));
}

TEST_F(Reviews, CreationThatCannotBeWrittenLeavesTheFile) {
    create("a");
    const std::string before = read_file(reviews_file_);
    EXPECT_EQ(quill_test::outcome_with_file_size_limit(before.size(), [&] { create("b"); }),
              "Could not write " + reviews_file_.string() + ".tmp");
    EXPECT_EQ(read_file(reviews_file_), before);
}

// ---- Status

TEST_F(Reviews, StatusIsOneOfSeven) {
    create("r");
    for (const std::string status : {"draft", "approved", "changesRequested", "merged", "rejected", "closed", "open"}) {
        set_time("r", "1");
        const std::string since = quill::wall_clock_milliseconds();
        const ProjectReview updated = set_status(status);
        EXPECT_EQ(updated.status, status);
        EXPECT_TRUE(is_between(since, updated.updatedAt));
        EXPECT_EQ(stored().status, status);
        EXPECT_EQ(stored().updatedAt, updated.updatedAt);
    }
}

TEST_F(Reviews, OtherStatusesAreRefusedBeforeTheFileIsRead) {
    for (const std::string status : {"", "Open", "pending", "changesrequested"}) {
        EXPECT_EQ(failure_of([&] { set_status(status, "nobody"); }), "invalid review status: " + status);
    }
}

TEST_F(Reviews, StatusOfAnUnknownReviewIsRefused) {
    create("r");
    for (const std::string status : {"closed", "merged"}) {
        EXPECT_EQ(failure_of([&] { set_status(status, "nobody"); }), "review does not exist: nobody");
    }
}

TEST_F(Reviews, MergedOneHoldsTheHeadsOfThatMoment) {
    create("r", {}, "child");
    quill::write_workspaces_without_main(
        project_, {workspace_record("feature", "main", '1'), workspace_record("child", "feature", '2')});
    EXPECT_EQ(set_status("approved").baseHeadKey, head_f);
    const ProjectReview merged = set_status("merged");
    EXPECT_EQ(merged.baseHeadKey, std::string(64, '1'));
    EXPECT_EQ(merged.sourceHeadKey, std::string(64, '2'));
    EXPECT_EQ(stored().sourceHeadKey, std::string(64, '2'));
}

TEST_F(Reviews, MergedOneKeepsTheHeadOfAWorkspaceThatIsGone) {
    create("r", {}, "child");
    quill::write_workspaces_without_main(project_, {workspace_record("feature", "main", '1')});
    const ProjectReview merged = set_status("merged");
    EXPECT_EQ(merged.status, "merged");
    EXPECT_EQ(merged.baseHeadKey, std::string(64, '1'));
    EXPECT_EQ(merged.sourceHeadKey, head_c);
}

TEST_F(Reviews, MergedOneFindsAnArchivedSource) {
    create("r");
    quill::ProjectWorkspace archived = workspace_record("feature", "main", '3');
    archived.archived = true;
    quill::write_workspaces_without_main(project_, {archived});
    EXPECT_EQ(set_status("merged").sourceHeadKey, std::string(64, '3'));
}

TEST_F(Reviews, UpdateLeavesTheOthersAlone) {
    create("a");
    create("r");
    const std::string before = read_file(reviews_file_);
    set_status("closed");
    const std::string after = read_file(reviews_file_);
    const std::size_t first_line_end = before.find("\",\"reviewerIds\"");
    EXPECT_EQ(after.substr(0, first_line_end), before.substr(0, first_line_end));
    EXPECT_EQ(stored("a").status, "open");
}

// ---- Verdicts

TEST_F(Reviews, VerdictIsRecordedWithItsTime) {
    create("r", {"ben", "cleo"});
    const std::string since = quill::wall_clock_milliseconds();
    const ProjectReview updated = vote("cleo", "approved");
    EXPECT_EQ(verdicts(updated), "ben=pending cleo=approved");
    EXPECT_TRUE(is_between(since, updated.reviewers.at(1).updatedAt));
    EXPECT_EQ(updated.updatedAt, updated.reviewers.at(1).updatedAt);
    EXPECT_EQ(verdicts(stored()), "ben=pending cleo=approved");
}

TEST_F(Reviews, VerdictOfSomeoneElseMakesAReviewer) {
    create("r", {"ben"});
    const ProjectReview updated = vote("cleo", "pending");
    EXPECT_EQ(updated.reviewerIds, (Texts{"ben", "cleo"}));
    EXPECT_EQ(verdicts(updated), "ben=pending cleo=pending");
}

TEST_F(Reviews, ApprovedWhenAllReviewersApproved) {
    create("r", {"ben", "cleo"});
    EXPECT_EQ(vote("ben", "approved").status, "open");
    EXPECT_EQ(vote("cleo", "approved").status, "approved");
    EXPECT_EQ(vote("ben", "pending").status, "open");
}

TEST_F(Reviews, OneRequestForChangesOutweighsApprovals) {
    create("r", {"ben", "cleo", "dora"});
    vote("ben", "approved");
    vote("cleo", "approved");
    EXPECT_EQ(vote("dora", "changesRequested").status, "changesRequested");
    EXPECT_EQ(vote("ben", "approved").status, "changesRequested");
    EXPECT_EQ(vote("dora", "approved").status, "approved");
}

TEST_F(Reviews, ReviewerWithoutAnEntryHasNotApproved) {
    create("r", {"ben"});
    quill::update_project_reviews(project_, [](std::vector<ProjectReview>& all) {
        all.at(0).reviewerIds.emplace_back("cleo");
        return true;
    });
    EXPECT_EQ(vote("ben", "approved").status, "open");
}

// The entry alone does not make a reviewer: a file of another writer may lack the ids.
TEST_F(Reviews, RequestOfAnEntryThatIsNoReviewersCountsToo) {
    create("r");
    quill::update_project_reviews(project_, [](std::vector<ProjectReview>& all) {
        all.at(0).reviewers.push_back({"guest", "changesRequested", "1"});
        return true;
    });
    EXPECT_EQ(vote("ben", "approved").status, "changesRequested");
}

TEST_F(Reviews, PendingVerdictReopensADraft) {
    create("r");
    set_status("draft");
    EXPECT_EQ(vote("ben", "pending").status, "open");
}

TEST_F(Reviews, VerdictOnAFinishedReviewIsRecordedAlone) {
    create("r", {"ben"});
    for (const std::string status : {"merged", "rejected", "closed"}) {
        set_status(status);
        const ProjectReview updated = vote("ben", "changesRequested");
        EXPECT_EQ(updated.status, status);
        EXPECT_EQ(verdicts(updated), "ben=changesRequested");
    }
}

TEST_F(Reviews, RefusedCallMakesNoFolder) {
    fs::remove_all(reviews_file_.parent_path());
    EXPECT_EQ(failure_of([&] { set_status("open", "nobody"); }), "review does not exist: nobody");
    EXPECT_EQ(failure_of([&] { vote("ben", "approved", "nobody"); }), "review does not exist: nobody");
    EXPECT_FALSE(fs::exists(reviews_file_.parent_path()));
}

TEST_F(Reviews, VerdictNeedsAReviewerAStateAndAReview) {
    create("r");
    EXPECT_EQ(failure_of([&] { vote("", "nonsense", "nobody"); }), "missing reviewer id");
    for (const std::string state : {"", "open", "Approved"}) {
        EXPECT_EQ(failure_of([&] { vote("ben", state, "nobody"); }), "invalid reviewer state: " + state);
    }
    EXPECT_EQ(failure_of([&] { vote("ben", "approved", "nobody"); }), "review does not exist: nobody");
    EXPECT_EQ(verdicts(stored()), "");
}

// ---- At the same time

TEST_F(Reviews, CreatedByManyThreadsAllStayAndDifferInTheirIds) {
    quill_test::on_threads(8, [&](int) {
        for (int i = 0; i < 5; ++i) {
            create("same");
        }
    });
    std::set<std::string> different;
    for (const ProjectReview& review : quill::list_project_reviews(project_)) {
        different.insert(review.id);
    }
    EXPECT_EQ(different.size(), 40U);
    EXPECT_TRUE(different.contains("same-40"));
}

TEST_F(Reviews, ChangesOfSeveralProcessesAllStay) {
    create("r");
    quill_test::in_processes(4, [&](int process) {
        for (int i = 0; i < 5; ++i) {
            create("same");
            vote(std::to_string(process) + "-" + std::to_string(i), "approved");
        }
    });
    EXPECT_EQ(quill::list_project_reviews(project_).size(), 21U);
    EXPECT_EQ(stored().reviewers.size(), 20U);
    EXPECT_EQ(stored().status, "approved");
}

}  // namespace
