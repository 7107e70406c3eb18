// What checkouts remember of the branches on a remote, and what they do when it went back.
#include "tome/remote/branch_memory.h"

#include <gtest/gtest.h>

#include "tests/support/concurrency.h"
#include "tests/tome/engine_client.h"
#include "tome/base/database.h"

namespace quill_test {
namespace {

namespace fs = std::filesystem;

// The remote saw two revisions and has only the first again. The author made them and has the objects of both; the
// witness has listed the branches and holds nothing.
class BranchMemory : public EngineOperations {
  protected:
    BranchMemory() {
        first_ = remote_head();
        copy(remote_ / "project", folder_ / "first");
        author_.write("a.txt", "two");
        second_ = author_.publish({"a.txt"});
        copy(remote_ / "project", folder_ / "second");
        must(witness_.list_branches());
    }

    static void copy(const fs::path& from, const fs::path& to) {
        fs::remove_all(to);
        fs::copy(from, to, fs::copy_options::recursive);
    }
    void go_back() const { copy(folder_ / "first", remote_ / "project"); }
    void go_forward() const { copy(folder_ / "second", remote_ / "project"); }

    EngineClient remembering(const fs::path& memory) const { return new_clone({.branch_memory = memory.string()}); }

    std::string refusal() const {
        return "the remote went back: branch main was at revision 2 (" + second_.substr(0, 12) +
               ") and is at revision 1 (" + first_.substr(0, 12) +
               "); bring the remote back from a backup, or accept its state with accept_project_remote_state";
    }

    // A commit of the witness on what the remote has now; what the push of it says.
    EngineResult publish_by_witness() const {
        must(witness_.sync());
        witness_.write("w.txt", "edit " + std::to_string(remote_sequence()));
        witness_.commit_paths({"w.txt"});
        return witness_.push();
    }

    std::vector<std::string> history() const {
        std::vector<std::string> hashes;
        for (const EngineRevision& revision : must(witness_.history()).revisions) {
            hashes.push_back(revision.hash);
        }
        return hashes;
    }

    static std::int64_t number_in(const fs::path& database, const char* sql) {
        tome::Database opened(database, tome::Database::Mode::Open);
        tome::Statement query = opened.prepare(sql);
        return query.step() ? query.integer(0) : 0;
    }
    std::int64_t remembered_sequence() const {
        return number_in(memory_, "SELECT sequence FROM remembered WHERE branch = 'main'");
    }
    std::int64_t remote_sequence() const {
        return number_in(remote_ / "project/store.db", "SELECT sequence FROM branch WHERE name = 'main'");
    }

    fs::path memory_ = folder_ / ".branch-memory";
    EngineClient author_ = new_repository({{"a.txt", "one"}});
    EngineClient witness_ = remembering(memory_);
    std::string first_;
    std::string second_;
};

TEST_F(BranchMemory, HoldsTheHighestSequenceThatWasReadOrWritten) {
    EXPECT_EQ(remembered_sequence(), remote_sequence());
    EXPECT_TRUE(publish_by_witness().ok());
    EXPECT_EQ(remembered_sequence(), remote_sequence());
    const std::int64_t highest = remembered_sequence();
    go_back();
    must(witness_.list_branches());
    EXPECT_EQ(remembered_sequence(), highest);
}

TEST_F(BranchMemory, LetsARemoteThatWentBackBeReadAsItIs) {
    go_back();
    EXPECT_EQ(must(witness_.list_branches()).branches.at("main").head, first_);
    EXPECT_EQ(history(), std::vector<std::string>{first_});
    EXPECT_EQ(must(witness_.status()).remote_hash, first_);
    must(witness_.sync());
    EXPECT_EQ(must(new_clone({.branch_memory = memory_.string()}).status()).hash, first_);
}

TEST_F(BranchMemory, RefusesAPushWhereWhatTheRemoteLostIsNotHere) {
    go_back();
    const EngineResult reply = publish_by_witness();
    EXPECT_EQ(reply.error, refusal());
    EXPECT_EQ(reply.code, 5);
    EXPECT_EQ(remote_head(), first_);
    EXPECT_TRUE(witness_.read("w.txt").starts_with("edit "));
}

TEST_F(BranchMemory, RefusesToBeginOrArchiveABranchThere) {
    go_back();
    EXPECT_EQ(witness_.create_branch("feature").error, refusal());
    EXPECT_EQ(witness_.archive("main").error, refusal());
    EXPECT_EQ(must(witness_.list_branches()).branch_names, std::vector<std::string>{"main"});
}

TEST_F(BranchMemory, ForgottenOnAcceptingLetsTheKeptCommitBePushed) {
    go_back();
    EXPECT_FALSE(publish_by_witness().ok());
    must(witness_.accept_remote(url_, memory_.string()));
    must(witness_.push());
    EXPECT_EQ(history().size(), 2U);
    EXPECT_EQ(history().back(), first_);
}

TEST_F(BranchMemory, ForgottenOnAcceptingIsThatOfTheCheckoutUnlessAnotherIsNamed) {
    go_back();
    must(witness_.accept_remote());
    EXPECT_TRUE(publish_by_witness().ok());
}

TEST_F(BranchMemory, OfOtherRepositoriesStaysOnAccepting) {
    go_back();
    must(witness_.accept_remote(url_ + "-other", memory_.string()));
    EXPECT_EQ(publish_by_witness().error, refusal());
}

TEST_F(BranchMemory, OfWhoHasWhatTheRemoteLostSendsItAgain) {
    go_back();
    const std::int64_t before = remembered_sequence();
    must(author_.archive("main"));  // A write that brings nothing of its own.
    EXPECT_EQ(history(), (std::vector<std::string>{second_, first_}));
    EXPECT_EQ(must(new_clone().status()).hash, second_);
    EXPECT_GT(remote_sequence(), before);
    EXPECT_TRUE(publish_by_witness().ok());
}

TEST_F(BranchMemory, OfWhoHasWhatTheRemoteLostBeginsABranchAtTheNewestHead) {
    go_back();
    must(author_.create_branch("feature"));
    EXPECT_EQ(remote_head("feature"), second_);
}

TEST_F(BranchMemory, SendsALostHistoryOnceACommitIsPushedOnTopOfIt) {
    go_back();
    author_.write("a.txt", "three");
    const std::string third = author_.publish({"a.txt"});
    EXPECT_EQ(history(), (std::vector<std::string>{third, second_, first_}));
}

// A damaged object here is none.
TEST_F(BranchMemory, RefusesWhereAContentOfWhatTheRemoteLostIsGone) {
    const std::string large(100'000, 'L');
    author_.write("large.bin", large);
    second_ = author_.publish({"large.bin"});
    go_back();
    const std::string digest = sha256_of(large);
    fs::remove(author_ / (".tome/objects/content/" + digest.substr(0, 2) + "/" + digest.substr(2)));
    const std::string error = author_.archive("main").error;
    EXPECT_TRUE(error.starts_with("the remote went back: branch main was at revision 3 (")) << error;
    EXPECT_EQ(remote_head(), first_);
}

TEST_F(BranchMemory, MakesABranchAnewThatIsGone) {
    must(author_.create_branch("feature", "main", "quill-workspace", "ana"));
    author_.write("a.txt", "three");
    must(author_.switch_to("feature"));
    const std::string head = author_.publish({"a.txt"}, "feature");
    go_back();
    must(author_.archive("feature"));
    const EngineBranch made = must(witness_.list_branches()).branches.at("feature");
    EXPECT_EQ(made.head, head);
    EXPECT_EQ(made.kind, "quill-workspace");
    EXPECT_EQ(made.author, "ana");
}

TEST_F(BranchMemory, SaysThatABranchIsGone) {
    must(author_.create_branch("feature"));
    author_.write("a.txt", "three");
    must(author_.switch_to("feature"));
    const std::string head = author_.publish({"a.txt"}, "feature");
    must(witness_.list_branches());
    go_back();
    EXPECT_EQ(witness_.create_branch("feature", "main").error, refusal());
    must(author_.archive("main"));  // Main is whole again.
    EXPECT_EQ(witness_.archive("feature").error,
              "the remote went back: branch feature was at revision 3 (" + head.substr(0, 12) +
                  ") and is gone; bring the remote back from a backup, or accept its state with "
                  "accept_project_remote_state");
}

TEST_F(BranchMemory, TellsAnotherHeadOfTheSameSequence) {
    go_back();
    const EngineClient other = new_clone();
    while (remote_sequence() < remembered_sequence()) {
        other.write("o.txt", std::to_string(remote_sequence()));
        other.publish({"o.txt"});
    }
    EXPECT_EQ(remote_sequence(), remembered_sequence());
    const std::string error = publish_by_witness().error;
    EXPECT_TRUE(error.starts_with("the remote went back: branch main was at revision 2 (" + second_.substr(0, 12)))
        << error;
}

TEST_F(BranchMemory, IsContentWithAHeadThatGoesBeyondTheRememberedOne) {
    tome::Database(memory_, tome::Database::Mode::Open).execute("UPDATE remembered SET sequence = sequence + 10");
    author_.write("a.txt", "three");
    author_.publish({"a.txt"});
    EXPECT_TRUE(publish_by_witness().ok());
    EXPECT_GT(remote_sequence(), 10);
}

TEST_F(BranchMemory, OfARepositoryThatIsMadeAnewIsForgotten) {
    fs::remove_all(remote_ / "project");
    const EngineClient anew(new_folder());
    must(anew.create(url_, false, memory_.string()));
    anew.write("n.txt", "new");
    anew.publish({"n.txt"});
    EXPECT_EQ(remembered_sequence(), remote_sequence());
}

TEST_F(BranchMemory, IsKeptWhenARepositoryCannotBeMadeBecauseItIsThere) {
    go_back();
    EXPECT_FALSE(EngineClient(new_folder()).create(url_, false, memory_.string()).ok());
    EXPECT_EQ(publish_by_witness().error, refusal());
}

TEST_F(BranchMemory, GoesAlongWhenItsFolderIsMovedOrCopied) {
    const fs::path package = folder_ / "package";
    fs::create_directory(package);
    const EngineClient inside(package / "checkout");
    go_back();
    must(inside.clone(url_, {.branch_memory = (package / ".branch-memory").string()}));
    go_forward();
    must(inside.list_branches());
    fs::copy(package, folder_ / "copied", fs::copy_options::recursive);
    fs::rename(package, folder_ / "moved");
    go_back();
    for (const char* folder : {"moved", "copied"}) {
        const EngineClient client(folder_ / folder / "checkout");
        must(client.sync());
        client.write("w.txt", "edit");
        client.commit_paths({"w.txt"});
        EXPECT_EQ(client.push().error, refusal()) << folder;
    }
    EXPECT_FALSE(fs::exists(package));
}

TEST_F(BranchMemory, IsNotNeededByACheckoutWithoutOne) {
    go_back();
    const EngineClient older = new_clone();
    go_forward();
    must(older.list_branches());
    go_back();
    older.write("o.txt", "other");
    older.publish({"o.txt"});
    EXPECT_EQ(history().size(), 2U);
}

TEST_F(BranchMemory, ThatIsDamagedIsMadeAnewByTheNextClone) {
    const std::string sound = read_file(memory_);
    for (const std::string& bytes : {std::string("SQLite"), std::string(20'000, 'x'), sound.substr(0, 3000)}) {
        for (const char* suffix : {"-wal", "-shm"}) {
            fs::remove(memory_.string() + suffix);
        }
        write_file(memory_, bytes);
        EXPECT_TRUE(publish_by_witness().ok());
        remembering(memory_);
        EXPECT_EQ(remembered_sequence(), remote_sequence());
    }
}

TEST_F(BranchMemory, ThatIsAnotherProgramsDatabaseIsMadeAnewByTheNextClone) {
    fs::remove(memory_);
    tome::Database(memory_, tome::Database::Mode::Create)
        .execute(
            "CREATE VIEW remembered AS WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n) SELECT i "
            "FROM n; PRAGMA user_version = 1");
    EXPECT_TRUE(publish_by_witness().ok());
    remembering(memory_);
    EXPECT_EQ(remembered_sequence(), remote_sequence());
}

TEST_F(BranchMemory, IsNeverReachedThroughALink) {
    const fs::path theirs = folder_ / "theirs";
    write_file(theirs, "theirs");
    fs::remove(memory_);
    fs::create_symlink(theirs, memory_);
    EXPECT_TRUE(publish_by_witness().ok());
    remembering(memory_);
    EXPECT_EQ(read_file(theirs), "theirs");
    EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(memory_)));
}

TEST_F(BranchMemory, IsDoneWithoutWhereItCannotBe) {
    fs::remove(memory_);
    fs::create_directory(memory_);
    EXPECT_TRUE(publish_by_witness().ok());
    const EngineClient client = remembering(folder_ / "no/such/folder/.branch-memory");
    client.write("c.txt", "c");
    client.publish({"c.txt"});
    EXPECT_FALSE(fs::exists(folder_ / "no"));
}

// A checkout that somebody else made may name a file anywhere.
TEST_F(BranchMemory, IsNotMadeWhereAConfigurationAloneNamesIt) {
    fs::remove(memory_);
    must(publish_by_witness());
    EXPECT_FALSE(fs::exists(memory_));
    write_file(memory_, "somebody's file");
    must(publish_by_witness());
    EXPECT_EQ(read_file(memory_), "somebody's file");
}

TEST_F(BranchMemory, HasOneNameAlone) {
    for (const std::string& path : {(folder_ / "letter.txt").string(), std::string(".branch-memory")}) {
        EXPECT_EQ(EngineClient(new_folder()).clone(url_, {.branch_memory = path}).error,
                  "the branch memory is no absolute path of a .branch-memory: " + path);
    }
    const fs::path config = witness_ / ".tome/config.toml";
    const std::string text = read_file(config);
    EXPECT_NE(text.find("branch_memory = \"../.branch-memory\"\n"), std::string::npos) << text;
    write_file(folder_ / "letter.txt", "letter");
    for (const char* path : {"../letter.txt", "../letter.txt\\u0000/.branch-memory", "/tmp/.branch-memory"}) {
        write_file(config, std::string(text).replace(text.find("../.branch-memory"), 17, path));
        EXPECT_EQ(witness_.list_branches().error, "damaged checkout configuration: " + config.string() +
                                                      ": the branch memory is no relative path of a .branch-memory");
    }
    EXPECT_EQ(read_file(folder_ / "letter.txt"), "letter");
}

TEST_F(BranchMemory, ServesProcessesAtOnce) {
    constexpr int processes = 4;
    constexpr int pushes = 10;
    std::vector<EngineClient> clients;
    for (int n = 0; n < processes; ++n) {
        clients.push_back(remembering(memory_));
        must(author_.create_branch("branch" + std::to_string(n)));
    }
    fs::remove(memory_);  // They make it at once, too.
    in_processes(processes, [&](int n) {
        const std::string branch = "branch" + std::to_string(n);
        const fs::path own = folder_ / ("own" + branch);
        fs::create_directory(own);
        must(EngineClient(own).clone(url_, {.branch_memory = memory_.string()}));
        must(clients[n].switch_to(branch));
        for (int i = 0; i < pushes; ++i) {
            clients[n].write("a.txt", branch + std::to_string(i));
            must(clients[n].stage({"a.txt"}));
            must(clients[n].commit("c"));
            must(clients[n].push(branch));
            must(clients[n].list_branches());
        }
    });
    EXPECT_EQ(number_in(memory_, "SELECT count(*) FROM remembered"), processes + 1);
    EXPECT_EQ(number_in(memory_, "SELECT min(sequence) FROM remembered WHERE branch <> 'main'"), pushes + 1);
}

}  // namespace
}  // namespace quill_test
