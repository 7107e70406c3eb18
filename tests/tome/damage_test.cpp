#include "tome/base/damage.h"

#include <gtest/gtest.h>

namespace {

using tome::DatabaseKind;

TEST(Damage, IsToldWithTheKindOfTheDatabase) {
    EXPECT_STREQ(tome::damaged(DatabaseKind::Any, "/a").what(), "corrupt database: /a");
    EXPECT_STREQ(tome::damaged(DatabaseKind::Index, "/a").what(), "corrupt index: /a");
    EXPECT_STREQ(tome::damaged(DatabaseKind::Store, "/a").what(), "corrupt store: /a");
    EXPECT_EQ(tome::damaged(DatabaseKind::Store, "/a").code(), tome::ErrorCode::Corrupt);
}

TEST(Damage, IsFoundInItsTextAndInNoOther) {
    for (const DatabaseKind kind : {DatabaseKind::Any, DatabaseKind::Index, DatabaseKind::Store}) {
        EXPECT_EQ(tome::what_is_damaged(tome::damaged(kind, "/a (b)").what()), "/a (b)");
    }
    EXPECT_EQ(tome::what_is_damaged("corrupt object: /a"), "");
    EXPECT_EQ(tome::what_is_damaged("a corrupt store: /a"), "");
}

}  // namespace
