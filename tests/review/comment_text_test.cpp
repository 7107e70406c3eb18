#include "review/comment_text.h"

#include <gtest/gtest.h>

#include <limits>

#include "records/json_records.h"
#include "tests/review/review_project.h"
#include "tests/support/comma_locale.h"

namespace {

using quill::project_comment_from_json;
using quill::project_comment_json;
using quill::ProjectReviewComment;
using quill_test::awkward;
using quill_test::full_comment;
using Vector = quill::ProjectCommentVector;

// Equal texts mean equal fields: the text has every field, and the tests of golden bytes pin down where.
void expect_read_back(const ProjectReviewComment& comment) {
    const std::string text = project_comment_json(comment);
    EXPECT_EQ(project_comment_json(project_comment_from_json(text)), text);
}

const std::string golden_full =
    R"({"schemaVersion":3,"id":"id x","clientMutationId":"mutation x","parentId":"parent x","author":"author x",)"
    R"("body":"body x","anchorKind":"kind x","anchorPath":"path x","sceneUri":"scene x",)"
    R"("anchorEntityId":"entity x","anchorWorldPosition":[1.5,-2,3e+20],)"
    R"("anchorLocalPosition":[0.10000000000000001,0,1],"anchorSurfaceNormal":[0,0.33333333333333331,-0],)"
    R"("runtimeCapsuleKey":"capsule x","runtimeDeepLink":"link x","runtimeId":"runtime x",)"
    R"("runtimeInstanceId":"instance x","runtimeBuildId":"build x","runtimePlatform":"platform x",)"
    R"("runtimeRevision":12,"runtimeTick":18446744073709551615,"runtimeFrameKey":"frame x",)"
    R"("sourceHeadKey":"head x","createdAt":"created x","resolved":true,"resolvedBy":"by x","resolvedAt":"at x"})";

const std::string golden_empty =
    R"({"schemaVersion":1,"id":"","clientMutationId":"","parentId":"","author":"","body":"",)"
    R"("anchorKind":"summary","anchorPath":"","sceneUri":"","anchorEntityId":"","runtimeCapsuleKey":"",)"
    R"("runtimeDeepLink":"","runtimeId":"","runtimeInstanceId":"","runtimeBuildId":"","runtimePlatform":"",)"
    R"("runtimeRevision":0,"runtimeTick":0,"runtimeFrameKey":"","sourceHeadKey":"","createdAt":"",)"
    R"("resolved":false,"resolvedBy":"","resolvedAt":""})";

// ---- Writing

TEST(CommentText, WritesEveryFieldInOrder) {
    EXPECT_EQ(project_comment_json(full_comment("x")), golden_full);
}

TEST(CommentText, WithoutVectorsHasNoVectorMembersAndAnEmptyKindIsSummary) {
    EXPECT_EQ(project_comment_json({}), golden_empty);
}

TEST(CommentText, WritesTheVectorsThatArePresent) {
    ProjectReviewComment comment;
    comment.anchorLocalPosition = {0.1, 0, 1};
    const std::string text = project_comment_json(comment);
    EXPECT_NE(text.find(R"("anchorEntityId":"","anchorLocalPosition":[0.10000000000000001,0,1],"runtimeCapsuleKey")"),
              std::string::npos);
}

TEST(CommentText, LeavesOutAVectorThatIsNotFinite) {
    ProjectReviewComment comment;
    comment.anchorWorldPosition = {0, std::numeric_limits<double>::quiet_NaN(), 0};
    comment.anchorLocalPosition = {std::numeric_limits<double>::infinity(), 0, 0};
    comment.anchorSurfaceNormal = {0, 0, -std::numeric_limits<double>::infinity()};
    EXPECT_EQ(project_comment_json(comment), golden_empty);
}

TEST(CommentText, EscapesQuoteBackslashAndLineFeedAlone) {
    ProjectReviewComment comment;
    comment.body = "q\" b\\ n\n t\t r\r \xc3\xa4";
    EXPECT_NE(project_comment_json(comment).find("\"body\":\"q\\\" b\\\\ n\\n t\t r\r \xc3\xa4\",\"anchorKind\""),
              std::string::npos);
}

TEST(CommentText, JoinsCommentsWithCommas) {
    EXPECT_EQ(quill::project_comments_json({full_comment("x"), {}}), golden_full + "," + golden_empty);
    EXPECT_EQ(quill::project_comments_json({}), "");
}

TEST(CommentText, DoesNotDependOnTheLocale) {
    const quill_test::CommaLocale comma;
    ProjectReviewComment comment = full_comment("x");
    comment.anchorWorldPosition = {1234567.5, -0.5, 1e300};
    comment.runtimeContext.runtimeTick = 1234567;
    const std::string text = project_comment_json(comment);
    EXPECT_NE(text.find("\"anchorWorldPosition\":[1234567.5,-0.5,1.0000000000000001e+300]"), std::string::npos);
    EXPECT_NE(text.find("\"runtimeTick\":1234567,"), std::string::npos);
    EXPECT_EQ(project_comment_from_json(text).anchorWorldPosition, comment.anchorWorldPosition);
    EXPECT_EQ(project_comment_from_json(text).runtimeContext.runtimeTick, 1234567U);
}

// ---- Reading

TEST(CommentText, ReadsEveryField) {
    const ProjectReviewComment comment = project_comment_from_json(golden_full);
    EXPECT_EQ(comment.schemaVersion, 3U);
    EXPECT_EQ(comment.id, "id x");
    EXPECT_EQ(comment.anchorKind, "kind x");
    EXPECT_EQ(comment.anchorWorldPosition, (Vector{1.5, -2, 3e20}));
    EXPECT_EQ(comment.anchorLocalPosition, (Vector{0.1, 0, 1}));
    EXPECT_EQ(comment.anchorSurfaceNormal, (Vector{0, 1.0 / 3, 0}));
    EXPECT_EQ(comment.runtimeContext.runtimeRevision, 12U);
    EXPECT_EQ(comment.runtimeContext.runtimeTick, UINT64_MAX);
    EXPECT_TRUE(comment.resolved);
    EXPECT_EQ(project_comment_json(comment), golden_full);
}

TEST(CommentText, StringsComeBackWhateverTheyHold) {
    expect_read_back(full_comment(awkward));
    EXPECT_EQ(project_comment_from_json(project_comment_json(full_comment(awkward))).body, "body " + awkward);
}

// The names of the members, from "id" on, all as the value of each string: none is taken for the member itself.
TEST(CommentText, NamesOfMembersAreOrdinaryValues) {
    for (const std::string name :
         {"schemaVersion", "id", "body", "anchorKind", "anchorWorldPosition", "anchorLocalPosition",
          "anchorSurfaceNormal", "runtimeRevision", "runtimeTick", "createdAt", "resolved", "resolvedBy"}) {
        ProjectReviewComment comment = full_comment("");
        comment.id = comment.clientMutationId = comment.parentId = comment.author = comment.body = name;
        comment.anchorKind = comment.anchorPath = comment.sceneUri = comment.anchorEntityId = name;
        comment.runtimeContext.runtimeId = comment.sourceHeadKey = comment.resolvedBy = comment.resolvedAt = name;
        comment.anchorWorldPosition = std::nullopt;
        expect_read_back(comment);
        EXPECT_EQ(project_comment_from_json(project_comment_json(comment)).anchorWorldPosition, std::nullopt);
    }
}

TEST(CommentText, NumbersComeBackExactly) {
    ProjectReviewComment comment;
    comment.schemaVersion = UINT64_MAX;
    comment.anchorWorldPosition = {std::numeric_limits<double>::max(), std::numeric_limits<double>::min(), 0.1};
    comment.anchorSurfaceNormal = {std::numeric_limits<double>::lowest(), 5e-200, 1.0000000000000002};
    const ProjectReviewComment read = project_comment_from_json(project_comment_json(comment));
    EXPECT_EQ(read.schemaVersion, UINT64_MAX);
    EXPECT_EQ(read.anchorWorldPosition, comment.anchorWorldPosition);
    EXPECT_EQ(read.anchorLocalPosition, std::nullopt);
    EXPECT_EQ(read.anchorSurfaceNormal, comment.anchorSurfaceNormal);
}

TEST(CommentText, MissingMembersHaveTheirDefaults) {
    const ProjectReviewComment comment = project_comment_from_json("{}");
    EXPECT_EQ(comment.schemaVersion, 1U);
    EXPECT_EQ(comment.runtimeContext.runtimeRevision, 0U);
    EXPECT_EQ(comment.runtimeContext.runtimeTick, 0U);
    EXPECT_FALSE(comment.resolved);
    EXPECT_EQ(comment.anchorWorldPosition, std::nullopt);
    EXPECT_EQ(comment.id + comment.anchorKind + comment.body + comment.createdAt + comment.resolvedBy, "");
}

TEST(CommentText, ReadsNumbersOfOtherWritersAsFarAsTheyAreOnes) {
    const ProjectReviewComment comment = project_comment_from_json(
        R"({ "runtimeRevision" : 12.7, "runtimeTick": -5, "anchorWorldPosition": [1, 2, 3],
             "anchorLocalPosition": [1;2;3], "anchorSurfaceNormal": null, "resolved": true })");
    EXPECT_EQ(comment.runtimeContext.runtimeRevision, 12U);
    EXPECT_EQ(comment.runtimeContext.runtimeTick, 0U);
    EXPECT_EQ(comment.anchorWorldPosition, (Vector{1, 2, 3}));
    EXPECT_EQ(comment.anchorLocalPosition, std::nullopt);
    EXPECT_EQ(comment.anchorSurfaceNormal, std::nullopt);
    EXPECT_TRUE(comment.resolved);
}

TEST(CommentText, ReadsAnArrayOfComments) {
    const auto comments =
        quill::project_comments_from_json(quill::project_comments_json({full_comment(awkward), {}, full_comment("y")}));
    ASSERT_EQ(comments.size(), 3U);
    EXPECT_EQ(comments[0].id, "id " + awkward);
    EXPECT_EQ(comments[1].anchorKind, "summary");
    EXPECT_EQ(comments[2].id, "id y");
    EXPECT_TRUE(quill::project_comments_from_json("").empty());
}

TEST(CommentText, CommentThatIsCutOffIsPassedOver) {
    const std::string text = project_comment_json(full_comment(awkward));
    for (std::size_t size = 0; size < text.size(); ++size) {
        EXPECT_TRUE(quill::project_comments_from_json(text.substr(0, size)).empty()) << size;
    }
}

TEST(CommentText, EveryChangedByteIsSurvived) {
#if defined(QUILL_ADDRESS_SANITIZER) || defined(QUILL_THREAD_SANITIZER)
    constexpr std::size_t step = 7;  // Some of them will do where each takes many times as long.
#else
    constexpr std::size_t step = 1;
#endif
    const std::string text = quill::project_comments_json({full_comment("\\\""), {}});
    for (std::size_t at = 0; at < text.size(); at += step) {
        for (const char byte : std::string("\"\\{}[]:,9\0", 10)) {
            std::string changed = text;
            changed[at] = byte;
            EXPECT_LE(quill::project_comments_from_json(changed).size(), 3U) << at << byte;
        }
    }
}

}  // namespace
