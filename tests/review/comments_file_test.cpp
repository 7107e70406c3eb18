#include "review/comments_file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>

#include "review/comment_text.h"
#include "tests/review/review_project.h"
#include "tests/support/comma_locale.h"
#include "tests/support/limited_process.h"

namespace {

namespace fs = std::filesystem;
using quill::WorkspaceCommentBucket;
using quill_test::awkward;
using quill_test::comment_saying;
using quill_test::failure_of;
using quill_test::full_comment;
using quill_test::read_file;
using quill_test::write_file;
using Buckets = std::vector<WorkspaceCommentBucket>;

class CommentsFile : public quill_test::ReviewProject {
  protected:
    Buckets read_text(const std::string& text) const {
        write_file(comments_file_, text);
        return quill::read_workspace_comments(project_);
    }

    std::string written(const Buckets& buckets) const {
        store_comments(buckets);
        return read_file(comments_file_);
    }
};

// ---- Writing

TEST_F(CommentsFile, WithoutWorkspacesHoldsAnEmptyLine) {
    EXPECT_EQ(written({}), "{\n  \"version\": 2,\n  \"workspaces\": [\n\n  ]\n}\n");
}

TEST_F(CommentsFile, WritesOneLineForEachWorkspace) {
    const quill::ProjectReviewComment one = full_comment("x");
    EXPECT_EQ(
        written({{"", {one, {}}}, {"feature", {}}, {"a\"b", {one}}}),
        "{\n  \"version\": 2,\n  \"workspaces\": [\n    {\"workspace\":\"main\",\"comments\":[" +
            quill::project_comment_json(one) + "," + quill::project_comment_json({}) +
            "]},\n    {\"workspace\":\"feature\",\"comments\":[]},\n    {\"workspace\":\"a\\\"b\",\"comments\":[" +
            quill::project_comment_json(one) + "]}\n  ]\n}\n");
}

TEST_F(CommentsFile, DoesNotDependOnTheLocale) {
    const std::string before = written({{"main", {full_comment("x")}}});
    const quill_test::CommaLocale comma;
    EXPECT_EQ(written({{"main", {full_comment("x")}}}), before);
    EXPECT_EQ(written(quill::read_workspace_comments(project_)), before);
}

TEST_F(CommentsFile, WriteThatFailsLeavesThePreviousFile) {
    const std::string before = written({{"main", {}}});
    const std::string outcome = quill_test::outcome_with_file_size_limit(100, [&] {
        quill::update_workspace_comments(
            project_, [](Buckets& all) { return all.at(0).comments.push_back(full_comment("x")), true; });
    });
    EXPECT_EQ(outcome, "Could not write " + comments_file_.string() + ".tmp");
    EXPECT_EQ(read_file(comments_file_), before);
    EXPECT_FALSE(fs::exists(comments_file_.string() + ".tmp"));
}

// ---- Reading

TEST_F(CommentsFile, MissingOrEmptyFileHoldsNothing) {
    EXPECT_TRUE(quill::read_workspace_comments(project_).empty());
    EXPECT_TRUE(read_text("").empty());
}

TEST_F(CommentsFile, WhatIsNoFileIsReported) {
    fs::create_directory(comments_file_);
    EXPECT_EQ(failure_of([&] { quill::read_workspace_comments(project_); }),
              "Could not open " + comments_file_.string());
}

TEST_F(CommentsFile, ReadsBackEveryFieldWhateverItHolds) {
    const std::string text =
        written({{awkward, {full_comment(awkward), full_comment("\\")}}, {"workspaces", {}}, {"comments", {{}}}});
    const Buckets read = quill::read_workspace_comments(project_);
    ASSERT_EQ(read.size(), 3U);
    EXPECT_EQ(read[0].workspace, awkward);
    EXPECT_EQ(read[0].comments.at(1).body, "body \\");
    EXPECT_EQ(read[2].comments.size(), 1U);
    EXPECT_EQ(written(read), text);
}

TEST_F(CommentsFile, WorkspaceWithoutAnIdIsMain) {
    EXPECT_EQ(read_text(R"({ "workspaces" : [ { "comments" : [ {"body" : "a"} ] } ] })").at(0).workspace, "main");
}

TEST_F(CommentsFile, TextWithoutAWholeArrayHoldsNothing) {
    for (const std::string text : {"null", "[{}]", "{\"workspaces\":{}}", "{\"workspaces\":[{}", "{\"workspaces\":"}) {
        EXPECT_TRUE(read_text(text).empty()) << text;
    }
}

TEST_F(CommentsFile, EveryChangedByteIsSurvived) {
    const std::string text = written({{"\\\"", {}}, {"main", {}}});
    const auto objects = static_cast<std::size_t>(std::count(text.begin(), text.end(), '{'));
    for (std::size_t at = 0; at < text.size(); ++at) {
        for (const char byte : std::string("\"\\{}]")) {
            std::string changed = text;
            changed[at] = byte;
            EXPECT_LE(read_text(changed).size(), objects + 1) << at << byte;
        }
    }
}

// ---- Changing

TEST_F(CommentsFile, UpdateChangesWhatIsThereUnderTheLockOnTheFolder) {
    written({{"main", {comment_saying("a")}}});
    quill::update_workspace_comments(project_, [&](Buckets& all) {
        const int folder = open(comments_file_.parent_path().c_str(), O_RDONLY | O_DIRECTORY);
        EXPECT_NE(flock(folder, LOCK_EX | LOCK_NB), 0);
        close(folder);
        all.at(0).comments.push_back(comment_saying("b"));
        return true;
    });
    EXPECT_EQ(quill_test::bodies(quill::read_workspace_comments(project_).at(0).comments),
              (std::vector<std::string>{"a", "b"}));
}

TEST_F(CommentsFile, UpdateWithNothingToWriteWritesNothing) {
    quill::update_workspace_comments(project_, [](Buckets& all) { return all.push_back({"main", {}}), false; });
    EXPECT_FALSE(fs::exists(comments_file_));
}

TEST_F(CommentsFile, WhoseRecordsCannotBeReadIsNeverWrittenAnew) {
    const std::string text = "{\n  \"version\": 2,\n  \"workspaces\": [\n    {\"workspace\":\"main\",\"comments\":[{";
    write_file(comments_file_, text);
    EXPECT_EQ(quill_test::failure_of([&] {
                  quill::update_workspace_comments(project_, [](Buckets& all) { return all.push_back({}), true; });
              }),
              "damaged record file, nothing was written: " + comments_file_.string());
    EXPECT_EQ(read_file(comments_file_), text);
}

}  // namespace
