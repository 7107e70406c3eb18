// Bytes in the working tree that exist nowhere else, before every operation that writes there.
#include <gtest/gtest.h>

#include "tests/tome/damage_fixture.h"

namespace quill_test {
namespace {

using tome::Digest;

constexpr std::int32_t would_overwrite = 6;

std::string refusal(const std::string& path) {
    return "uncommitted changes would be overwritten: " + path;
}

// A reader of main at its first revision, where "old" still is, while main and "side" have gone on.
class UncommittedBytes : public DamagedRepository {
  protected:
    UncommittedBytes() {
        first_ =
            author_.publish_files({{"Assets/a.txt", "a"}, {"Assets/b.txt", "b"}, {"gone.txt", "gone"}, {"z.txt", "z"}});
        DamageCheckout::require(reader_.clone());
        DamageCheckout::require(author_.create_branch("old"));
        advance();
        DamageCheckout::require(author_.create_branch("side"));
    }

    // Files changed, added, deleted, and one that makes way for a folder and the other way round.
    void advance() {
        write_file(author_ / "Assets/a.txt", "newer a");
        write_file(author_ / "Assets/new.txt", "new");
        std::filesystem::remove(author_ / "gone.txt");
        std::filesystem::remove(author_ / "z.txt");
        write_file(author_ / "z.txt/inside", "inside");
        DamageCheckout::require(author_.stage({"Assets/a.txt", "Assets/new.txt", "gone.txt", "z.txt"}));
        head_ = DamageCheckout::require(author_.commit()).identity;
        DamageCheckout::require(author_.push());
    }

    // Every way in which the newer files could come over the reader's.
    std::map<std::string, DamageReply> try_everything() const {
        return {{"sync", reader_.sync()},
                {"sync of a revision", reader_.sync({{}, head_})},
                {"sync of the folders", reader_.sync({{"Assets", "gone.txt", "z.txt"}, head_})},
                {"switch within the branch", reader_.switch_to("main")},
                {"switch to another", reader_.switch_to("side")}};
    }

    // That nothing goes through, that the text names `named`, and that everything stays as it is.
    void expect_refused_everywhere(const std::string& named) const {
        const auto files = damage_snapshot(reader_.path());
        const std::vector<std::string> changed = reader_.status().paths;
        for (const auto& [what, reply] : try_everything()) {
            SCOPED_TRACE(what);
            EXPECT_EQ(reply.code, would_overwrite);
            EXPECT_EQ(reply.text(), refusal(named));
            EXPECT_EQ(reply.paths, std::vector<std::string>());
        }
        EXPECT_EQ(damage_snapshot(reader_.path()), files);
        EXPECT_EQ(reader_.status().paths, changed);
        EXPECT_TRUE(std::filesystem::is_empty(reader_ / ".tome/tmp"));
    }

    void expect_newer_tree() const { EXPECT_EQ(damage_snapshot(reader_.path()), damage_snapshot(author_.path())); }

    DamageCheckout reader_ = checkout("reader");
    Digest first_;
    Digest head_;
};

TEST_F(UncommittedBytes, InAFileThatTheRevisionChangesAreRefused) {
    write_file(reader_ / "Assets/a.txt", "mine");
    expect_refused_everywhere("Assets/a.txt");
    write_file(reader_ / "Assets/a.txt", "a");
    EXPECT_EQ(reader_.sync().text(), "done");
    expect_newer_tree();
}

TEST_F(UncommittedBytes, OfEqualLengthAndTimeAreRefused) {
    const auto time = std::filesystem::last_write_time(reader_ / "Assets/a.txt");
    write_file(reader_ / "Assets/a.txt", "m");
    std::filesystem::last_write_time(reader_ / "Assets/a.txt", time);
    expect_refused_everywhere("Assets/a.txt");
}

TEST_F(UncommittedBytes, InAFileThatTheRevisionDeletesAreRefused) {
    write_file(reader_ / "gone.txt", "mine");
    expect_refused_everywhere("gone.txt");
    EXPECT_EQ(reader_.sync({{}, {}, true}).text(), "done");
    expect_newer_tree();
}

TEST_F(UncommittedBytes, InAFileThatMakesWayForAFolderAreRefused) {
    write_file(reader_ / "z.txt", "mine");
    expect_refused_everywhere("z.txt");
}

TEST_F(UncommittedBytes, OfOthersAreNamedByTheFirstAndTheirNumber) {
    for (const std::string name : {"Assets/a.txt", "Assets/new.txt", "gone.txt"}) {
        write_file(reader_ / name, "mine");
    }
    EXPECT_EQ(reader_.sync().text(), refusal("Assets/a.txt and 2 more"));
    std::filesystem::remove(reader_ / "Assets/new.txt");
    expect_refused_everywhere("Assets/a.txt and 1 more");
}

TEST_F(UncommittedBytes, WhereTheRevisionAddsAFileAreRefused) {
    write_file(reader_ / "Assets/new.txt", "mine");
    const auto files = damage_snapshot(reader_.path());
    for (const DamageReply& reply :
         {reader_.sync(), reader_.sync({{"Assets/new.txt"}, head_}), reader_.sync({{"Assets"}, head_})}) {
        EXPECT_EQ(reply.code, would_overwrite);
        EXPECT_EQ(reply.text(), refusal("Assets/new.txt"));
    }
    EXPECT_EQ(damage_snapshot(reader_.path()), files);
    write_file(reader_ / "Assets/new.txt", "new");
    EXPECT_EQ(reader_.sync().text(), "done");
    expect_newer_tree();
}

TEST_F(UncommittedBytes, InAFolderInAFilesPlaceAreRefusedEvenWithOverwrite) {
    std::filesystem::remove(reader_ / "Assets/a.txt");
    write_file(reader_ / "Assets/a.txt/mine", "mine");
    expect_refused_everywhere("Assets/a.txt/mine");
    EXPECT_EQ(reader_.sync({{}, {}, true}).text(), refusal("Assets/a.txt/mine"));
    EXPECT_EQ(read_file(reader_ / "Assets/a.txt/mine"), "mine");
}

TEST_F(UncommittedBytes, InAnUnknownFileInAFoldersPlaceAreRefused) {
    author_.publish_files({{"Fresh/one.txt", "one"}, {"a-first.txt", "first"}});
    write_file(reader_ / "Fresh", "mine");
    const auto files = damage_snapshot(reader_.path());
    for (const DamageReply& reply : {reader_.sync(), reader_.sync({{"Fresh", "a-first.txt"}})}) {
        EXPECT_EQ(reply.code, would_overwrite);
        EXPECT_EQ(reply.text(), refusal("Fresh"));
    }
    EXPECT_EQ(damage_snapshot(reader_.path()), files);
}

TEST_F(UncommittedBytes, ElsewhereStayThroughEverySyncAndSwitch) {
    write_file(reader_ / "Assets/mine.txt", "mine");
    EXPECT_EQ(reader_.switch_to("side").text(), "done");
    write_file(reader_ / "Assets/b.txt", "my b");
    EXPECT_EQ(reader_.switch_to("main").text(), "done");
    EXPECT_EQ(reader_.sync({{"Assets/a.txt"}, first_}).text(), "done");
    EXPECT_EQ(read_file(reader_ / "Assets/a.txt"), "a");
    EXPECT_EQ(read_file(reader_ / "Assets/b.txt"), "my b");
    EXPECT_EQ(read_file(reader_ / "Assets/mine.txt"), "mine");
    EXPECT_EQ(reader_.sync().text(), refusal("Assets/b.txt"));
    EXPECT_EQ(read_file(reader_ / "Assets/b.txt"), "my b");
}

TEST_F(UncommittedBytes, AreDroppedOnlyWhenTheCallSaysSo) {
    write_file(reader_ / "Assets/a.txt", "mine");
    write_file(reader_ / "Assets/b.txt", "my b");
    write_file(reader_ / "gone.txt", "mine");
    EXPECT_EQ(reader_.sync().text(), refusal("Assets/a.txt and 2 more"));
    EXPECT_EQ(reader_.sync({{}, {}, true}).text(), "done");
    expect_newer_tree();
}

TEST_F(UncommittedBytes, BeforeAMergeAreRefusedAndNoRevisionIsMade) {
    const DamageCheckout merging = clone("merging", "old");
    const auto heads = remote_heads();
    for (const std::string name : {"Assets/a.txt", "gone.txt", "z.txt"}) {
        SCOPED_TRACE(name);
        const std::string sound = read_file(merging / name);
        write_file(merging / name, "mine");
        const auto files = damage_snapshot(merging.path());
        const DamageReply reply = merging.merge("main");
        EXPECT_EQ(reply.code, would_overwrite);
        EXPECT_EQ(reply.text(), refusal(name));
        EXPECT_EQ(damage_snapshot(merging.path()), files);
        EXPECT_EQ(merging.status().paths, std::vector<std::string>{name});
        EXPECT_EQ(merging.push("old").text(), "done");
        EXPECT_EQ(remote_heads(), heads);
        write_file(merging / name, sound);
    }
    EXPECT_EQ(merging.merge("main").text(), "done");
    EXPECT_EQ(read_file(merging / "Assets/a.txt"), "newer a");
    EXPECT_FALSE(std::filesystem::exists(merging / "gone.txt"));
    EXPECT_EQ(merging.push("old").text(), "done");
    EXPECT_NE(remote_heads(), heads);
}

TEST_F(UncommittedBytes, StayThroughARestoreAndAreRefusedByTheSyncAfterIt) {
    ASSERT_EQ(reader_.sync().text(), "done");
    write_file(reader_ / "Assets/a.txt", "mine");
    const auto files = damage_snapshot(reader_.path());
    EXPECT_EQ(reader_.restore(first_).text(), "done");
    EXPECT_EQ(damage_snapshot(reader_.path()), files);
    EXPECT_EQ(reader_.sync().text(), refusal("Assets/a.txt"));
    EXPECT_EQ(reader_.switch_to("side").text(), refusal("Assets/a.txt"));
    EXPECT_EQ(damage_snapshot(reader_.path()), files);
}

TEST_F(UncommittedBytes, BeforeACloneIntoTheirFolderAreRefused) {
    const DamageCheckout clone = checkout("clone");
    write_file(clone / "Assets/a.txt", "mine");
    write_file(clone / "Assets/other.txt", "other");
    const auto files = damage_snapshot(clone.path());
    const DamageReply reply = clone.clone();
    EXPECT_EQ(reply.code, would_overwrite);
    EXPECT_EQ(reply.text(), refusal("Assets/a.txt"));
    EXPECT_EQ(damage_snapshot(clone.path()), files);
    EXPECT_FALSE(std::filesystem::exists(clone / ".tome"));
    write_file(clone / "Assets/a.txt", "newer a");
    EXPECT_EQ(clone.clone().text(), "done");
    EXPECT_EQ(read_file(clone / "Assets/other.txt"), "other");
}

TEST_F(UncommittedBytes, ThatAreStagedCanStillBeCommittedAfterASwitchToTheNewestHead) {
    write_file(reader_ / "Assets/b.txt", "my b");
    write_file(reader_ / "Assets/mine.txt", "mine");
    ASSERT_EQ(reader_.stage({"Assets/b.txt", "Assets/mine.txt"}).text(), "done");
    EXPECT_EQ(reader_.switch_to("main").text(), "done");
    EXPECT_EQ(reader_.commit().text(), "done");
    EXPECT_EQ(reader_.push().text(), "done");
    const DamageCheckout other = clone("other");
    EXPECT_EQ(read_file(other / "Assets/b.txt"), "my b");
    EXPECT_EQ(read_file(other / "Assets/mine.txt"), "mine");
    EXPECT_EQ(read_file(other / "Assets/a.txt"), "newer a");
}

TEST_F(UncommittedBytes, ThatAreStagedStayInTheWorkingTree) {
    write_file(reader_ / "Assets/b.txt", "my b");
    write_file(reader_ / "Assets/mine.txt", "mine");
    ASSERT_EQ(reader_.stage({"Assets/b.txt", "Assets/mine.txt"}).text(), "done");
    reader_.sync();
    EXPECT_EQ(read_file(reader_ / "Assets/b.txt"), "my b");
    EXPECT_TRUE(std::filesystem::exists(reader_ / "Assets/mine.txt"));
}

TEST_F(UncommittedBytes, OfACommitThatTheRemoteHasOvertakenStayOnASwitch) {
    write_file(reader_ / "Assets/b.txt", "my b");
    ASSERT_EQ(reader_.stage({"Assets/b.txt"}).text(), "done");
    ASSERT_EQ(reader_.commit().text(), "done");
    EXPECT_EQ(reader_.push().text(), "branch has moved on the remote: main");
    EXPECT_EQ(reader_.switch_to("main").text(), "done");
    EXPECT_EQ(read_file(reader_ / "Assets/b.txt"), "my b");
    EXPECT_EQ(read_file(reader_ / "Assets/a.txt"), "newer a");
    EXPECT_EQ(reader_.status().paths, std::vector<std::string>{"Assets/b.txt"});
}

// The commit is no longer the branch's then, so nothing but the working file would still lead to the bytes.
TEST_F(UncommittedBytes, OfACommitThatTheRemoteHasOvertakenAreRefusedWhereTheRemoteChangedThemToo) {
    write_file(reader_ / "Assets/a.txt", "mine");
    ASSERT_EQ(reader_.stage({"Assets/a.txt"}).text(), "done");
    ASSERT_EQ(reader_.commit().text(), "done");
    const auto files = damage_snapshot(reader_.path());
    EXPECT_EQ(reader_.switch_to("main").text(), refusal("Assets/a.txt"));
    EXPECT_EQ(damage_snapshot(reader_.path()), files);
    EXPECT_EQ(reader_.status().paths, std::vector<std::string>());
}

TEST_F(UncommittedBytes, OfACommitThatTheRemoteHasOvertakenAreRefusedBySyncToo) {
    write_file(reader_ / "Assets/a.txt", "mine");
    write_file(reader_ / "Assets/mine.txt", "mine");
    ASSERT_EQ(reader_.stage({"Assets"}).text(), "done");
    ASSERT_EQ(reader_.commit().text(), "done");
    const auto files = damage_snapshot(reader_.path());
    EXPECT_EQ(reader_.sync().text(), refusal("Assets/a.txt and 1 more"));
    EXPECT_EQ(damage_snapshot(reader_.path()), files);
}

}  // namespace
}  // namespace quill_test
