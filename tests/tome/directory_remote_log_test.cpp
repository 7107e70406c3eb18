// The write-ahead log of a remote's database: between writes the database is whole without it.
#include <gtest/gtest.h>

#include "tests/tome/damage_fixture.h"

namespace quill_test {
namespace {

using Revisions = std::vector<std::string>;

class RemoteLog : public DamagedRepository {
  protected:
    std::filesystem::path database() const { return remote_store_ / "store.db"; }
    std::filesystem::path log() const { return remote_store_ / "store.db-wal"; }

    bool is_folded() const { return !std::filesystem::exists(log()) || std::filesystem::is_empty(log()); }

    void remove_log() const {
        std::filesystem::remove(log());
        std::filesystem::remove(remote_store_ / "store.db-shm");
    }

    // The revisions of main, read from the remote alone, or nothing and the error that names what is wrong.
    Revisions revisions(std::string* error = nullptr) const {
        const DamageReply reply = reader_.history();
        Revisions result;
        for (const DamageRevision& revision : reply.revisions) {
            result.push_back(tome::to_hex(revision.digest));
        }
        if (error != nullptr) {
            *error = reply.error;
        }
        return reply.code == 0 ? result : Revisions();
    }

  private:
    DamageCheckout make_reader() const {
        DamageCheckout reader = checkout("reader");
        DamageCheckout::require(reader.clone("main", {}, true));
        return reader;
    }
    DamageCheckout reader_ = make_reader();
};

TEST_F(RemoteLog, IsFoldedInByEveryWrite) {
    EXPECT_TRUE(is_folded()) << "making the repository";
    author_.publish_files({{"a.txt", "a"}});
    EXPECT_TRUE(is_folded()) << "push";
    DamageCheckout::require(author_.create_branch("feature"));
    EXPECT_TRUE(is_folded()) << "branch";
    author_.publish_files({{"large.bin", std::string(100'000, 'L')}});
    EXPECT_TRUE(is_folded()) << "push of large content";
}

TEST_F(RemoteLog, IsNotNeededByTheHistory) {
    author_.publish_files({{"a.txt", "a"}});
    author_.publish_files({{"a.txt", "b"}});
    const Revisions before = revisions();
    EXPECT_EQ(before.size(), 2U);
    remove_log();
    EXPECT_EQ(revisions(), before);
}

TEST_F(RemoteLog, OfACheckoutWithoutARemoteIsFoldedInByItsCommits) {
    const std::filesystem::path alone = folder_ / "alone";
    const DamageCheckout checkout(alone, "name");
    DamageCheckout::require(checkout.create());
    checkout.commit_files({{"a.txt", "a"}});
    EXPECT_TRUE(std::filesystem::is_empty(alone / ".tome/objects/store.db-wal"));
}

TEST_F(RemoteLog, ThatSomebodyReadsIsLeftToTheNextWrite) {
    author_.publish_files({{"a.txt", "a"}});
    {
        DamageDatabase reader(database());
        tome::Statement reading = reader.prepare("SELECT name FROM branch");
        ASSERT_TRUE(reading.step());
        author_.publish_files({{"a.txt", "b"}});
        EXPECT_EQ(revisions().size(), 2U);
        EXPECT_FALSE(is_folded());
    }
    author_.publish_files({{"a.txt", "c"}});
    EXPECT_TRUE(is_folded());
}

#if defined(QUILL_ADDRESS_SANITIZER) || defined(QUILL_THREAD_SANITIZER)
constexpr std::size_t step = 17;  // Each look takes many times as long.
#else
constexpr std::size_t step = 1;
#endif

// Every byte of the page with the branches, and some of all others.
TEST_F(RemoteLog, LeavesNoByteWhoseDamageTakesTheHistoryBack) {
    for (const std::string bytes : {"one", "two", "three", "four"}) {
        author_.publish_files({{"a.txt", bytes}});
    }
    const Revisions whole = revisions();
    ASSERT_EQ(whole.size(), 4U);
    const std::string sound = read_file(database());
    ASSERT_TRUE(is_folded());
    const std::size_t branches = sound.find("main", sound.size() > 4096 ? 4096 : 0) / 4096;
    std::size_t named = 0;
    for (std::size_t at = 0; at < sound.size(); at += at / 4096 == branches ? step : 61 * step) {
        for (const unsigned flip : {0x01U, 0x50U}) {
            std::string damaged = sound;
            damaged[at] = static_cast<char>(static_cast<unsigned char>(damaged[at]) ^ flip);
            remove_log();
            write_file(database(), damaged);
            std::string error;
            const Revisions seen = revisions(&error);
            ASSERT_TRUE(seen == whole || !error.empty()) << seen.size() << " revisions after damage at " << at;
            named += error.empty() ? 0 : 1;
        }
    }
    EXPECT_GT(named, 0U);
}

}  // namespace
}  // namespace quill_test
