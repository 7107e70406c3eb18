// The three record files, changed through the modules that own them.
#include "records/record_file.h"

#include <gtest/gtest.h>

#include "project/workspace_paths.h"
#include "review/comments_file.h"
#include "review/reviews_file.h"
#include "tests/review/review_project.h"

namespace {

using quill_test::failure_of;
using quill_test::read_file;
using quill_test::write_file;

const std::string workspaces_frame = "{\n  \"version\": 1,\n  \"default\": \"main\",\n  \"workspaces\": [\n";
const std::string reviews_frame = "{\n  \"version\": 1,\n  \"reviews\": [\n";
const std::string comments_frame = "{\n  \"version\": 2,\n  \"workspaces\": [\n";

class RecordFiles : public quill_test::ReviewProject {
  protected:
    struct File {
        std::filesystem::path path;
        std::string frame;
        std::string record;           ///< the name and one string member
        std::function<void()> write;  ///< changes nothing
    };

    const std::filesystem::path index_file_ = quill::project_workspaces_index_path(project_);
    const std::vector<File> files_{
        {index_file_, workspaces_frame, R"("id":"a","name":"A")",
         [&] { quill::update_workspaces_without_main(project_, [](auto&) {}); }},
        {reviews_file_, reviews_frame, R"("id":"a","title":"A")",
         [&] { quill::update_project_reviews(project_, [](auto&) { return true; }); }},
        {comments_file_, comments_frame, R"("workspace":"a")",
         [&] { quill::update_workspace_comments(project_, [](auto&) { return true; }); }},
    };

    static void expect_refused(const File& file, const std::string& text, const std::string& why) {
        write_file(file.path, text);
        EXPECT_EQ(failure_of(file.write), why + ", nothing was written: " + file.path.string()) << text;
        EXPECT_EQ(read_file(file.path), text);
    }

    static std::string rewritten(const File& file, const std::string& text) {
        write_file(file.path, text);
        file.write();
        return read_file(file.path);
    }
};

TEST_F(RecordFiles, OneThatIsDamagedAnywhereIsNotWritten) {
    const std::string end = "\n  ]\n}\n";
    for (const File& file : files_) {
        const std::string record = "{" + file.record + "}";
        for (const std::string& text : {
                 file.frame + record + ",\n    {" + file.record,                  // cut off
                 file.frame + record + ",\n    {" + file.record + end,            // a brace is missing
                 file.frame + record + "\n    " + record + end,                   // a comma is missing
                 file.frame + record + " x " + end,                               // something between
                 file.frame + record + ",\n\n  x]\n}\n",                          // something behind
                 file.frame + record + "\n",                                      // without an end
                 file.frame + record + "\n  ]\n",                                 // without the last brace
                 file.frame + record + end + end,                                 // with two ends
                 file.frame + "5" + end,                                          // no record
                 file.frame + "{" + file.record + "," + file.record + "}" + end,  // members twice
                 file.frame + "{" + file.record + ",}" + end,                     // a member is missing
                 "{}" + file.frame + record + end,                                // something before
                 std::string("null"),
                 std::string("[]"),
             }) {
            expect_refused(file, text, "damaged record file");
        }
    }
}

TEST_F(RecordFiles, OneWhoseRecordsAreNoArrayIsNotWritten) {
    expect_refused(files_[0], R"({"version":1,"workspaces":{"a":1}})", "damaged record file");
    expect_refused(files_[1], R"({"version":1,"reviews":5})", "damaged record file");
    expect_refused(files_[2], R"({"version":2,"workspaces":"a"})", "damaged record file");
}

TEST_F(RecordFiles, OneWithAMemberOfAnotherKindIsNotWritten) {
    expect_refused(files_[0], R"({"workspaces":[{"id":"a","name":5}]})", "damaged record file");
    expect_refused(files_[0], R"({"workspaces":[{"id":"a","archived":"true"}]})", "damaged record file");
    expect_refused(files_[1], R"({"reviews":[{"id":"a","title":null,"x":"y"}]})", "damaged record file");
    expect_refused(files_[1], R"({"reviews":[{"id":"a","reviewerIds":[5]}]})", "damaged record file");
    expect_refused(files_[1], R"({"reviews":[{"id":"a","comments":["c"]}]})", "damaged record file");
    expect_refused(files_[2], R"({"workspaces":[{"workspace":"a","comments":{"id":"c"}}]})", "damaged record file");
}

TEST_F(RecordFiles, OneWithAWorkspaceThatIsDroppedOnReadingIsNotWritten) {
    expect_refused(files_[0], R"({"workspaces":[{"id":"a"},{"id":"../b"}]})", "damaged record file");
    expect_refused(files_[0], R"({"workspaces":[{"name":"A"}]})", "damaged record file");
}

TEST_F(RecordFiles, MainInTheIndexIsPassedOver) {
    EXPECT_EQ(rewritten(files_[0], R"({"workspaces":[{"id":"main","name":"x"}]})"), workspaces_frame + "\n  ]\n}\n");
}

TEST_F(RecordFiles, OneOfANewerVersionIsReadButNotWritten) {
    for (const std::string version : {"3", "12", "99999999999999999999"}) {
        for (const File& file : files_) {
            expect_refused(file,
                           "{\"version\": " + version + ", \"workspaces\": [], \"reviews\": [{" + file.record + "}]}",
                           "record file of a newer version");
        }
    }
    EXPECT_EQ(quill::read_project_reviews(project_).at(0).id, "a");
}

TEST_F(RecordFiles, OneThatIsEmptyOrLacksItsArrayIsWritten) {
    for (const File& file : files_) {
        for (const std::string text : {"", " \n", "{}", "{\"version\":1}"}) {
            EXPECT_EQ(rewritten(file, text), file.frame + "\n  ]\n}\n");
        }
    }
}

TEST_F(RecordFiles, OneInAnotherLayoutIsWrittenInOurs) {
    write_file(reviews_file_,
               R"({"reviews" : [ { "comments" : [ ], "title" : "T", "id" : "a", "reviewerIds":["b", "b",""] } ] })");
    const std::vector<quill::ProjectReview> reviews = quill::read_project_reviews(project_);
    files_[1].write();
    const std::string text = read_file(reviews_file_);
    store_reviews(reviews);
    EXPECT_EQ(text, read_file(reviews_file_));
}

TEST_F(RecordFiles, UnknownMembersOfTheFileFollowTheRecords) {
    for (const File& file : files_) {
        const std::string text = "{\"made by\": \"us\", \"version\": 1, \"workspaces\": [], \"reviews\": [], " +
                                 std::string("\"more\":{\"workspaces\":[{\"id\":\"x\"}]}}");
        const std::string other = file.path == reviews_file_ ? ",\n  \"workspaces\": []" : ",\n  \"reviews\": []";
        EXPECT_EQ(rewritten(file, text), file.frame + "\n  ],\n  \"made by\": \"us\"" + other +
                                             ",\n  \"more\": {\"workspaces\":[{\"id\":\"x\"}]}\n}\n");
        EXPECT_EQ(rewritten(file, read_file(file.path)), read_file(file.path));
    }
}

TEST_F(RecordFiles, UnknownMembersOfAWorkspaceFollowTheKnownOnes) {
    write_file(index_file_, R"({"workspaces":[{"colour":{"id":"x"},"id":"a","name":"A"},{"id":"b","pin": [ 1 ]}]})");
    quill::record_workspace_head(project_, "b", "h", "7");
    const std::string scene = R"("baseScene":"Scenes/Main.usda",)";
    EXPECT_EQ(read_file(index_file_),
              workspaces_frame + R"(    {"id":"a","name":"A","parentId":"",)" + scene +
                  R"("headKey":"","archived":false,"createdAt":"","updatedAt":"","author":"","colour":{"id":"x"}},)" +
                  "\n" + R"(    {"id":"b","name":"","parentId":"",)" + scene +
                  R"("headKey":"h","archived":false,"createdAt":"","updatedAt":"7","author":"","pin":[ 1 ]})" +
                  "\n  ]\n}\n");
}

TEST_F(RecordFiles, UnknownMembersStayWithTheirRecordsWhateverIsAddedOrRemoved) {
    write_file(reviews_file_,
               R"({"reviews":[{"id":"a","n":1},{"id":"b","n":2,"comments":[{"id":"c","n":3},{"id":"d","n":4}],)"
               R"("reviewers":[{"profileId":"ben","n":5}]},{"id":"b","n":6}]})");
    quill::update_project_reviews(project_, [](std::vector<quill::ProjectReview>& all) {
        all.erase(all.begin());
        all[0].title = "changed";
        all[0].comments.erase(all[0].comments.begin());
        all[0].comments.push_back({});
        all[0].reviewers.insert(all[0].reviewers.begin(), {"ana", "approved", "1"});
        all.push_back({});
        return true;
    });
    const std::string text = read_file(reviews_file_);
    EXPECT_EQ(text.find("\"n\":1"), std::string::npos);
    EXPECT_EQ(text.find("\"n\":3"), std::string::npos);
    EXPECT_NE(text.find(R"("title":"changed")"), std::string::npos);
    EXPECT_NE(text.find(R"("reviewers":[{"profileId":"ana","state":"approved","updatedAt":"1"},)"
                        R"({"profileId":"ben","state":"pending","updatedAt":"","n":5}])"),
              std::string::npos);
    EXPECT_NE(text.find(R"("resolvedAt":"","n":4},{"schemaVersion":1,"id":"")"), std::string::npos);
    EXPECT_NE(text.find(R"("comments":[],"n":6})"), std::string::npos);
    EXPECT_EQ(quill::read_project_reviews(project_).size(), 3U);
}

TEST_F(RecordFiles, WhatAnotherProgramEscapedStaysUntilItIsChanged) {
    write_file(comments_file_, R"({"workspaces":[{"workspace":"main","comments":[)"
                               R"({"id":"c","body":"caf\u00e9\t","runtimeTick":12.7},{"id":"d","body":"\u00e9"}]}]})");
    quill::update_workspace_comments(project_, [](std::vector<quill::WorkspaceCommentBucket>& all) {
        all.at(0).comments.at(1).body = "new";
        return true;
    });
    const std::string text = read_file(comments_file_);
    EXPECT_NE(text.find(R"("body":"caf\u00e9\t")"), std::string::npos);
    EXPECT_NE(text.find(R"("runtimeTick":12.7,)"), std::string::npos);
    EXPECT_NE(text.find(R"("body":"new")"), std::string::npos);
}

TEST_F(RecordFiles, VectorThatCannotBeReadStays) {
    const std::string vectors = R"("anchorWorldPosition":[1,2],"anchorSurfaceNormal":[1, 2, 3])";
    const std::string text =
        rewritten(files_[2], R"({"workspaces":[{"workspace":"main","comments":[{"id":"c",)" + vectors + "}]}]}");
    EXPECT_NE(text.find(R"("anchorSurfaceNormal":[1,2,3])"), std::string::npos);
    EXPECT_NE(text.find(R"("anchorWorldPosition":[1,2]})"), std::string::npos);
}

TEST_F(RecordFiles, ChangeIsNotAskedForWhenTheFileIsDamaged) {
    write_file(reviews_file_, R"({"reviews":[{"id":"a"})");
    EXPECT_EQ(failure_of([&] {
                  quill::update_stored_review(project_, "a", [](auto&) -> bool { throw std::runtime_error("asked"); });
              }),
              "damaged record file, nothing was written: " + reviews_file_.string());
}

TEST_F(RecordFiles, DeepNestingIsRefused) {
    for (const File& file : files_) {
        const std::string deep = quill_test::repeated("[", 200000) + quill_test::repeated("]", 200000);
        expect_refused(file, "{\"x\":" + deep + ",\"reviews\":[]}", "damaged record file");
    }
}

}  // namespace
