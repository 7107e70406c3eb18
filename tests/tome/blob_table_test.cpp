#include "tome/store/blob_table.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/support/temporary_folder.h"
#include "tome/store/store.h"

namespace quill_test {
namespace {

using tome::BlobKey;
using tome::BlobState;

BlobKey key(const std::string& text, std::uint8_t partition = 1, std::uint8_t context = 2) {
    BlobKey key;
    key.partition.fill(partition);
    key.digest = tome::digest_of(text);
    key.context.fill(context);
    return key;
}

class BlobTable : public testing::Test {
  protected:
    BlobTable() {
        for (const char* text : {"a", "b"}) {
            store_.add_bytes(tome::digest_of(text), text);
        }
    }

    static tome::Store made_in(const std::filesystem::path& directory) {
        tome::Store::create(directory);
        return tome::Store(directory);
    }
    std::size_t unflushed() { return tome::unflushed_blobs(database_).size(); }

    TemporaryFolder folder_;
    tome::Store store_ = made_in(folder_ / "store");
    tome::Database& database_ = store_.database();
};

TEST_F(BlobTable, KnowsABlobByPartitionDigestAndContext) {
    tome::add_blob(database_, key("a"), BlobState::Local);
    EXPECT_TRUE(tome::has_blob(database_, key("a")));
    EXPECT_FALSE(tome::has_blob(database_, key("b")));
    EXPECT_FALSE(tome::has_blob(database_, key("a", 9)));
    EXPECT_FALSE(tome::has_blob(database_, key("a", 1, 9)));
}

TEST_F(BlobTable, ListsWhatIsToBeFlushed) {
    tome::add_blob(database_, key("a"), BlobState::Unflushed);
    tome::add_blob(database_, key("b"), BlobState::Local);
    const auto keys = tome::unflushed_blobs(database_);
    ASSERT_EQ(keys.size(), 1U);
    EXPECT_EQ(keys[0].partition, key("a").partition);
    EXPECT_EQ(keys[0].digest, key("a").digest);
    EXPECT_EQ(keys[0].context, key("a").context);
    tome::mark_flushed(database_, key("a"));
    EXPECT_EQ(unflushed(), 0U);
}

TEST_F(BlobTable, MakesALocalBlobAnUnflushedOneAndNeverBack) {
    tome::add_blob(database_, key("a"), BlobState::Local);
    tome::add_blob(database_, key("a"), BlobState::Unflushed);
    EXPECT_EQ(unflushed(), 1U);
    tome::add_blob(database_, key("a"), BlobState::Local);
    EXPECT_EQ(unflushed(), 1U);
    tome::mark_flushed(database_, key("a"));
    tome::add_blob(database_, key("a"), BlobState::Unflushed);
    EXPECT_EQ(unflushed(), 0U) << "it is on the remote already";
}

TEST_F(BlobTable, PassesOverALocalBlobUntilItIsStoredAgain) {
    tome::add_blob(database_, key("a"), BlobState::Unflushed);
    tome::mark_local(database_, key("a"));
    EXPECT_EQ(unflushed(), 0U);
    tome::add_blob(database_, key("a"), BlobState::Unflushed);
    EXPECT_EQ(unflushed(), 1U);
}

TEST_F(BlobTable, ForANewRemoteListsAllButTheLocalOnesAgain) {
    tome::add_blob(database_, key("a"), BlobState::Unflushed);
    tome::add_blob(database_, key("b"), BlobState::Local);
    tome::mark_flushed(database_, key("a"));
    tome::mark_all_unflushed(database_);
    EXPECT_EQ(unflushed(), 1U);
}

}  // namespace
}  // namespace quill_test
