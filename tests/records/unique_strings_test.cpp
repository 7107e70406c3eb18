#include "records/unique_strings.h"

#include <gtest/gtest.h>

namespace {

using Texts = std::vector<std::string>;

TEST(UniqueStrings, KeepTheFirstOfEachInOrder) {
    EXPECT_EQ(quill::unique_non_empty_strings({"b", "a", "b", "c", "a"}), (Texts{"b", "a", "c"}));
}

TEST(UniqueStrings, DropEmptyOnes) {
    EXPECT_EQ(quill::unique_non_empty_strings({"", "a", "", " "}), (Texts{"a", " "}));
    EXPECT_TRUE(quill::unique_non_empty_strings({"", ""}).empty());
    EXPECT_TRUE(quill::unique_non_empty_strings({}).empty());
}

TEST(UniqueStrings, DifferByCase) {
    EXPECT_EQ(quill::unique_non_empty_strings({"ana", "Ana"}), (Texts{"ana", "Ana"}));
}

}  // namespace
