#include "records/record_text.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using quill::merged_record_texts;
using quill::record_is_read_whole;
using Texts = std::vector<std::string>;

TEST(RecordText, IsReadWholeWhenAllThatItHoldsIsWrittenAgain) {
    EXPECT_TRUE(record_is_read_whole(R"({"id":"a","n":1})", R"({"id":"a","n":1,"more":true})"));
    EXPECT_TRUE(record_is_read_whole(R"({"id":"a\/b"})", R"({"id":"a/b"})")) << "another spelling of the same text";
    EXPECT_TRUE(record_is_read_whole(R"({"id":"a","n":1.0})", R"({"id":"a","n":1})")) << "its stored form stays";
    EXPECT_TRUE(record_is_read_whole(R"({"id":"a","author":""})", R"({"id":"a","author":"nobody"})")) << "a default";
}

TEST(RecordText, MayHoldMembersThatTheWritersDoNotKnow) {
    EXPECT_TRUE(record_is_read_whole(R"({"id":"a","new":{"x":[1]}})", R"({"id":"a"})"));
}

TEST(RecordText, IsNotReadWholeWhenAMemberReadsOtherwise) {
    EXPECT_FALSE(record_is_read_whole(R"({"id":"a"})", R"({"id":"b"})"));
    EXPECT_FALSE(record_is_read_whole(R"({"done":true})", R"({"done":false})"));
    EXPECT_FALSE(record_is_read_whole(R"({"id":1})", R"({"id":"1"})"));
    EXPECT_FALSE(record_is_read_whole(R"({"id":null})", R"({"id":"null"})"));
    EXPECT_FALSE(record_is_read_whole(R"({"id":"a","id":"a"})", R"({"id":"a"})")) << "one name twice";
    EXPECT_FALSE(record_is_read_whole(R"({"id":"a")", R"({"id":"a"})")) << "no record";
}

TEST(RecordText, IsNotReadWholeWhenAnArrayLosesSomething) {
    EXPECT_TRUE(record_is_read_whole(R"({"p":["a","b","a",""]})", R"({"p":["a","b"]})")) << "repeated and empty texts";
    EXPECT_FALSE(record_is_read_whole(R"({"p":["a","b"]})", R"({"p":["a"]})"));
    EXPECT_FALSE(record_is_read_whole(R"({"p":[{"id":"a"},{"id":"b"}]})", R"({"p":[{"id":"a"}]})"));
    EXPECT_FALSE(record_is_read_whole(R"({"p":[{"id":"a"}]})", R"({"p":[{"id":"b"}]})"));
    EXPECT_FALSE(record_is_read_whole(R"({"p":[1,2,3]})", R"({"p":[1,2]})"));
}

TEST(RecordText, KeepsUnknownMembersOfAChangedRecordBehindItsOwn) {
    EXPECT_EQ(
        merged_record_texts({R"({"id":"a","n":2})"}, {R"({"id":"a","n":1})"}, {R"({"new":[true],"id":"a","n":1})"}),
        Texts{R"({"id":"a","n":2,"new":[true]})"});
}

TEST(RecordText, KeepsTheStoredFormOfWhatDidNotChange) {
    EXPECT_EQ(merged_record_texts({R"({"id":"a/b","n":1,"m":3})"}, {R"({"id":"a/b","n":1,"m":2})"},
                                  {R"({"id":"a\/b","n":1.00,"m":2.00})"}),
              Texts{R"({"id":"a\/b","n":1.00,"m":3})"});
}

TEST(RecordText, KeepsUnknownMembersOfRecordsWithinRecords) {
    EXPECT_EQ(merged_record_texts({R"({"id":"a","c":[{"id":"2"},{"id":"1"},{"id":"3"}]})"},
                                  {R"({"id":"a","c":[{"id":"1"},{"id":"2"}]})"},
                                  {R"({"id":"a","c":[{"id":"1","x":1},{"id":"2","x":2}]})"}),
              Texts{R"({"id":"a","c":[{"id":"2","x":2},{"id":"1","x":1},{"id":"3"}]})"});
}

TEST(RecordText, OfANewRecordIsAsItIsWritten) {
    EXPECT_EQ(merged_record_texts({R"({"id":"b"})", R"({"id":"a"})"}, {R"({"id":"a"})"}, {R"({"id":"a","x":1})"}),
              (Texts{R"({"id":"b"})", R"({"id":"a","x":1})"}));
}

TEST(RecordText, OfEqualNamesKeepTheirOrder) {
    EXPECT_EQ(merged_record_texts({R"({"id":"a"})", R"({"id":"a"})", R"({"id":"a"})"},
                                  {R"({"id":"a"})", R"({"id":"a"})"}, {R"({"id":"a","x":1})", R"({"id":"a","x":2})"}),
              (Texts{R"({"id":"a","x":1})", R"({"id":"a","x":2})", R"({"id":"a"})"}));
}

}  // namespace
