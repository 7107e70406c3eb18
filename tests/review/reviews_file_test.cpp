#include "review/reviews_file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

#include "records/json_records.h"
#include "tests/review/review_project.h"
#include "tests/support/limited_process.h"

namespace {

namespace fs = std::filesystem;
using quill::ProjectReview;
using quill_test::awkward;
using quill_test::comment_saying;
using quill_test::failure_of;
using quill_test::full_comment;
using quill_test::read_file;
using quill_test::write_file;
using Reviews = std::vector<ProjectReview>;

ProjectReview full_review(const std::string& text) {
    ProjectReview review;
    review.id = "id " + text;
    review.title = "title " + text;
    review.description = "description " + text;
    review.sourceWorkspace = "source " + text;
    review.targetWorkspace = "target " + text;
    review.baseHeadKey = "base " + text;
    review.sourceHeadKey = "head " + text;
    review.status = "approved";
    review.author = "author " + text;
    review.createdAt = "1 " + text;
    review.updatedAt = "2 " + text;
    review.reviewerIds = {"ben " + text, "cleo " + text};
    review.reviewers = {{"ben " + text, "approved", "3 " + text}, {"cleo " + text, "", ""}};
    review.comments = {full_comment(text), {}};
    return review;
}

ProjectReview review_called(const std::string& id) {
    ProjectReview review;
    review.id = id;
    return review;
}

std::string ids(const Reviews& reviews) {
    std::string text;
    for (const ProjectReview& review : reviews) {
        text += (text.empty() ? "" : " ") + review.id;
    }
    return text;
}

class ReviewsFile : public quill_test::ReviewProject {
  protected:
    Reviews read_text(const std::string& text) const {
        write_file(reviews_file_, text);
        return quill::read_project_reviews(project_);
    }

    std::string written(const Reviews& reviews) const {
        store_reviews(reviews);
        return read_file(reviews_file_);
    }
};

// ---- Writing

TEST_F(ReviewsFile, WithoutReviewsHoldsAnArrayOverTwoLines) {
    EXPECT_EQ(written({}), "{\n  \"version\": 1,\n  \"reviews\": [\n\n  ]\n}\n");
}

TEST_F(ReviewsFile, WritesOneLineForEachReview) {
    ProjectReview review = full_review("x");
    review.comments = {};
    EXPECT_EQ(written({review, review_called("b")}),
              "{\n  \"version\": 1,\n  \"reviews\": [\n"
              R"(    {"id":"id x","title":"title x","description":"description x","sourceWorkspace":"source x",)"
              R"("targetWorkspace":"target x","baseHeadKey":"base x","sourceHeadKey":"head x","status":"approved",)"
              R"("author":"author x","createdAt":"1 x","updatedAt":"2 x","reviewerIds":["ben x","cleo x"],)"
              R"("reviewers":[{"profileId":"ben x","state":"approved","updatedAt":"3 x"},)"
              R"({"profileId":"cleo x","state":"pending","updatedAt":""}],"comments":[]})"
              ",\n"
              R"(    {"id":"b","title":"","description":"","sourceWorkspace":"","targetWorkspace":"main",)"
              R"("baseHeadKey":"","sourceHeadKey":"","status":"open","author":"","createdAt":"","updatedAt":"",)"
              R"("reviewerIds":[],"reviewers":[],"comments":[]})"
              "\n  ]\n}\n");
}

TEST_F(ReviewsFile, CommentsStandInTheirReview) {
    ProjectReview review = review_called("a");
    review.comments = {comment_saying("one"), comment_saying("two")};
    const std::string text = written({review});
    const std::string opening = "\"reviewers\":[],\"comments\":[{\"schemaVersion\":1,\"id\":\"\"";
    const std::string between = "\"resolvedAt\":\"\"},{\"schemaVersion\":1,";
    const std::string closing = "\"resolvedAt\":\"\"}]}\n  ]\n}\n";
    EXPECT_NE(text.find(opening), std::string::npos);
    EXPECT_NE(text.find(between), std::string::npos);
    EXPECT_TRUE(text.ends_with(closing));
}

TEST_F(ReviewsFile, EscapesQuoteBackslashAndLineFeedAlone) {
    ProjectReview review = review_called("i\td\r");
    review.title = "q\" b\\ n\n t\t r\r \xc3\xa4";
    review.reviewerIds = {"a\"b\\"};
    const std::string text = written({review});
    EXPECT_NE(text.find("{\"id\":\"i\td\r\",\"title\":\"q\\\" b\\\\ n\\n t\t r\r \xc3\xa4\",\"description\""),
              std::string::npos);
    EXPECT_NE(text.find("\"reviewerIds\":[\"a\\\"b\\\\\"]"), std::string::npos);
}

TEST_F(ReviewsFile, WriteThatFailsLeavesThePreviousFile) {
    const std::string before = written({review_called("a")});
    const std::string outcome = quill_test::outcome_with_file_size_limit(100, [&] {
        quill::update_project_reviews(project_, [](Reviews& all) { return all.push_back(full_review("x")), true; });
    });
    EXPECT_EQ(outcome, "Could not write " + reviews_file_.string() + ".tmp");
    EXPECT_EQ(read_file(reviews_file_), before);
    EXPECT_FALSE(fs::exists(reviews_file_.string() + ".tmp"));
}

TEST_F(ReviewsFile, FileThatCannotBeReplacedIsReported) {
    EXPECT_EQ(failure_of([&] {
                  quill::update_project_reviews(project_, [&](Reviews&) {
                      write_file(reviews_file_ / "in the way", "");
                      return true;
                  });
              }),
              "Could not replace " + reviews_file_.string());
}

// ---- Reading

TEST_F(ReviewsFile, MissingOrEmptyFileHoldsNothing) {
    EXPECT_TRUE(quill::read_project_reviews(project_).empty());
    EXPECT_TRUE(read_text("").empty());
}

TEST_F(ReviewsFile, WhatIsNoFileIsReportedAndNotWaitedFor) {
    ASSERT_EQ(mkfifo(reviews_file_.c_str(), 0600), 0);
    EXPECT_EQ(failure_of([&] { quill::read_project_reviews(project_); }), "Could not open " + reviews_file_.string());
    fs::remove(reviews_file_);
    fs::create_directory(reviews_file_);
    EXPECT_EQ(failure_of([&] { quill::read_project_reviews(project_); }), "Could not open " + reviews_file_.string());
}

TEST_F(ReviewsFile, ReadsBackEveryFieldWhateverItHolds) {
    const std::string text = written({full_review(awkward), full_review("x"), full_review("\\")});
    const Reviews read = quill::read_project_reviews(project_);
    ASSERT_EQ(read.size(), 3U);
    EXPECT_EQ(read[0].id, "id " + awkward);
    EXPECT_EQ(read[0].status, "approved");
    EXPECT_EQ(read[0].reviewerIds, (std::vector<std::string>{"ben " + awkward, "cleo " + awkward}));
    EXPECT_EQ(read[0].reviewers.at(1).profileId, "cleo " + awkward);
    EXPECT_EQ(read[0].comments.at(0).resolvedAt, "at " + awkward);
    EXPECT_EQ(written(read), text);
}

TEST_F(ReviewsFile, NamesOfMembersAreOrdinaryValues) {
    for (const std::string name : {"id", "title", "status", "updatedAt", "reviewerIds", "reviewers", "comments",
                                   "profileId", "state", "reviews", "version"}) {
        ProjectReview review = full_review("x");
        review.id = review.title = review.description = review.sourceWorkspace = review.author = name;
        review.reviewerIds = {name};
        review.reviewers = {{name, name, name}};
        const std::string text = written({review, review});
        EXPECT_EQ(written(quill::read_project_reviews(project_)), text) << name;
    }
}

// Other programs read these files with the plain scanners, which see the same records as long as no string holds a
// quote.
TEST_F(ReviewsFile, PlainScannersFindTheSameRecords) {
    const std::string text = written({full_review("x {[}]"), full_review("y")});
    const auto entries = quill::json_top_level_object_entries(quill::json_array_text(text, "reviews").value_or("none"));
    ASSERT_EQ(entries.size(), 2U);
    EXPECT_EQ(quill::json_string(entries[0], "id"), "id x {[}]");
    EXPECT_EQ(quill::json_string(entries[1], "sourceHeadKey"), "head y");
    const auto comments =
        quill::json_top_level_object_entries(quill::json_array_text(entries[1], "comments").value_or("none"));
    EXPECT_EQ(comments.size(), 2U);
}

TEST_F(ReviewsFile, ReviewerIdsAreDistinctAndNotEmpty) {
    const Reviews read = read_text(R"({"reviews":[{"id":"a","reviewerIds":["ben","","cleo","ben"]}]})");
    EXPECT_EQ(read.at(0).reviewerIds, (std::vector<std::string>{"ben", "cleo"}));
}

TEST_F(ReviewsFile, MissingMembersAreEmpty) {
    const ProjectReview review = read_text("{ \"version\": 7, \"reviews\" : [ { \"id\" : \"a\" } ] }").at(0);
    EXPECT_EQ(review.id, "a");
    EXPECT_EQ(review.title + review.targetWorkspace + review.status + review.updatedAt, "");
    EXPECT_TRUE(review.reviewerIds.empty() && review.reviewers.empty() && review.comments.empty());
}

TEST_F(ReviewsFile, TextWithoutAWholeArrayHoldsNothing) {
    for (const std::string text : {"null", "[{\"id\":\"a\"}]", "{\"reviews\":{\"id\":\"a\"}}", "{\"reviews\":", "\"",
                                   "{\"reviews\":[{\"id\":\"a\"}", "{\"reviews\":[{\"id\":\"a]}", "\"reviews\""}) {
        EXPECT_TRUE(read_text(text).empty()) << text;
    }
}

TEST_F(ReviewsFile, FileThatIsCutOffHoldsNothing) {
    const std::string text = written({full_review(awkward)});
    for (std::size_t size = 0; size < text.rfind(']'); size += 7) {
        EXPECT_TRUE(read_text(text.substr(0, size)).empty()) << size;
    }
}

TEST_F(ReviewsFile, EveryChangedByteIsSurvived) {
    ProjectReview review = full_review("\\\"");
    review.comments.clear();  // Their bytes have a test of their own.
    const std::string text = written({review});
    const auto objects = static_cast<std::size_t>(std::count(text.begin(), text.end(), '{'));
    for (std::size_t at = 0; at < text.size(); ++at) {
        for (const char byte : std::string("\"\\{}]")) {
            std::string changed = text;
            changed[at] = byte;
            EXPECT_LE(read_text(changed).size(), objects + 1) << at << byte;
        }
    }
}

TEST_F(ReviewsFile, DeepNestingIsSurvived) {
    const std::string open = quill_test::repeated("{\"reviews\":[", 200000);
    EXPECT_TRUE(read_text(open).empty());
    EXPECT_EQ(read_text(open + quill_test::repeated("]}", 200000)).size(), 1U);
}

// ---- Changing

TEST_F(ReviewsFile, UpdateChangesWhatIsThere) {
    written({review_called("a")});
    quill::update_project_reviews(project_, [](Reviews& all) {
        all.push_back(review_called("b"));
        return true;
    });
    EXPECT_EQ(ids(quill::read_project_reviews(project_)), "a b");
}

TEST_F(ReviewsFile, UpdateWithNothingToWriteWritesNothing) {
    quill::update_project_reviews(project_, [](Reviews& all) {
        all.push_back(review_called("b"));
        return false;
    });
    EXPECT_FALSE(fs::exists(reviews_file_));
}

TEST_F(ReviewsFile, UpdateThatThrowsChangesNothingAndFreesTheFolder) {
    written({review_called("a")});
    EXPECT_EQ(failure_of([&] {
                  quill::update_project_reviews(project_, [](Reviews& all) -> bool {
                      all.clear();
                      throw std::runtime_error("no");
                  });
              }),
              "no");
    quill::update_project_reviews(project_, [](Reviews& all) { return all.push_back(review_called("b")), true; });
    EXPECT_EQ(ids(quill::read_project_reviews(project_)), "a b");
}

TEST_F(ReviewsFile, UpdateLocksTheFolderAndMakesItFirst) {
    fs::remove_all(reviews_file_.parent_path());
    quill::update_project_reviews(project_, [&](Reviews&) {
        const int folder = open(reviews_file_.parent_path().c_str(), O_RDONLY | O_DIRECTORY);
        EXPECT_GE(folder, 0);
        EXPECT_NE(flock(folder, LOCK_EX | LOCK_NB), 0);
        close(folder);
        return true;
    });
    EXPECT_EQ(quill_test::names_in(reviews_file_.parent_path()), std::vector<std::string>{"reviews.json"});
}

TEST_F(ReviewsFile, UpdateReportsAFolderThatCannotBeMade) {
    fs::remove_all(reviews_file_.parent_path());
    write_file(reviews_file_.parent_path(), "a file");
    const std::string failure =
        failure_of([&] { quill::update_project_reviews(project_, [](Reviews&) { return true; }); });
    EXPECT_EQ(failure.rfind("could not create workspace folder: ", 0), 0U) << failure;
}

TEST_F(ReviewsFile, UpdateMakesNoPackage) {
    const fs::path missing = folder_ / "Missing.quillproject";
    EXPECT_EQ(failure_of([&] { quill::update_project_reviews(missing, [](Reviews&) { return true; }); }),
              "Project is not a directory: " + missing.string());
    EXPECT_FALSE(fs::exists(missing));
}

TEST_F(ReviewsFile, WhoseRecordsCannotBeReadIsNeverWrittenAnew) {
    const std::string text = "{\n  \"version\": 1,\n  \"reviews\": [\n    {\"id\":\"a\",\"title\":\"cut off";
    write_file(reviews_file_, text);
    EXPECT_EQ(failure_of([&] {
                  quill::update_project_reviews(project_, [](Reviews& all) { return all.push_back({}), true; });
              }),
              "damaged record file, nothing was written: " + reviews_file_.string());
    EXPECT_EQ(read_file(reviews_file_), text);
}

}  // namespace
