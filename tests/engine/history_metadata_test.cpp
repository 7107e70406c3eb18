#include "engine/history_metadata.h"

#include <gtest/gtest.h>

namespace {

using quill::BranchMetadata;

TEST(HistoryMetadata, DisplayKeyNamesRevisionAndValue) {
    EXPECT_EQ(quill::revision_display_metadata_key("abc", "summary"), "keel.revision.abc.summary");
}

TEST(HistoryMetadata, NewHeadIsNamedWithItsTime) {
    EXPECT_EQ(quill::new_head_metadata("abc", "17"),
              (BranchMetadata{{"quill.workspace.headKey", "abc"}, {"quill.workspace.updatedAt", "17"}}));
}

TEST(HistoryMetadata, DisplayValuesStandUnderTheirRevision) {
    BranchMetadata metadata{{"quill.workspace", "1"}};
    quill::add_display_metadata(metadata, "abc", {"ana", "17", "Edit", 3});
    EXPECT_EQ(metadata, (BranchMetadata{{"keel.revision.abc.author", "ana"},
                                        {"keel.revision.abc.changedFileCount", "3"},
                                        {"keel.revision.abc.createdAt", "17"},
                                        {"keel.revision.abc.summary", "Edit"},
                                        {"quill.workspace", "1"}}));
}

TEST(HistoryMetadata, NobodyIsNotedAsAuthor) {
    BranchMetadata metadata;
    quill::add_display_metadata(metadata, "abc", {"", "17", "", 0});
    EXPECT_FALSE(metadata.contains("keel.revision.abc.author"));
    EXPECT_EQ(metadata.at("keel.revision.abc.summary"), "");
}

}  // namespace
