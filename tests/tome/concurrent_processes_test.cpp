// Several processes on one remote, one checkout, one folder; and processes that are killed while they hold a lock.
#include <gtest/gtest.h>
#include <signal.h>
#include <sqlite3.h>
#include <sys/file.h>

#include <algorithm>
#include <cerrno>
#include <set>

#include "tests/tome/damage_fixture.h"

namespace quill_test {
namespace {

using tome::Digest;

constexpr int process_count = 8;
constexpr int commits_each = 2;

const std::string large_bytes(100'000, 'L');

// A way for processes to start at once: all wait until the gate opens.
class StartGate {
  public:
    StartGate() {
        if (pipe(ends_) != 0) {
            throw std::runtime_error("could not make a pipe");
        }
    }
    ~StartGate() {
        close(ends_[0]);
        close(ends_[1]);
    }
    StartGate(const StartGate&) = delete;
    StartGate& operator=(const StartGate&) = delete;

    void wait() const {
        close(ends_[1]);
        char byte = 0;
        while (read(ends_[0], &byte, 1) < 0 && errno == EINTR) {
        }
    }
    void open() {
        close(ends_[1]);
        ends_[1] = -1;
    }

  private:
    int ends_[2]{-1, -1};
};

// Runs `work` with 0, 1, … in processes of their own, all at once, and expects each to end well.
void run_at_once(int count, const std::function<void(int)>& work) {
    StartGate gate;
    std::vector<pid_t> children;
    for (int i = 0; i < count; ++i) {
        children.push_back(damage_start_process([&, i] {
            gate.wait();
            work(i);
        }));
    }
    gate.open();
    std::vector<int> statuses;
    for (const pid_t child : children) {
        statuses.push_back(damage_wait_for(child));
    }
    EXPECT_EQ(statuses, std::vector<int>(static_cast<std::size_t>(count), 0));
}

std::string file_name(int process, int commit) {
    return "p" + std::to_string(process) + "-" + std::to_string(commit) + ".txt";
}

// Commits and pushes; made anew on the newest head as long as another process was faster.
void publish_persistently(const DamageCheckout& checkout, const std::string& name) {
    write_file(checkout / name, name);
    for (;;) {
        DamageCheckout::require(checkout.stage({name}));
        DamageCheckout::require(checkout.commit(name));
        const DamageReply pushed = checkout.push();
        if (pushed.code == 0) {
            return;
        }
        if (pushed.error != "branch has moved on the remote: main") {
            throw std::runtime_error(pushed.error);
        }
        DamageCheckout::require(checkout.switch_to("main"));
    }
}

class ConcurrentProcesses : public DamagedRepository {
  protected:
    ConcurrentProcesses() { author_.publish_files({{"top.txt", "top"}}); }

    // That the branch's history is one line without merges, `count` revisions long.
    void expect_one_line(const std::string& branch, std::size_t count) const {
        const std::vector<DamageRevision> revisions = DamageCheckout::require(author_.history(branch)).revisions;
        ASSERT_EQ(revisions.size(), count);
        for (std::size_t i = 0; i < count; ++i) {
            EXPECT_EQ(revisions[i].order, count - i);
            EXPECT_TRUE(revisions[i].second_parent.is_zero());
            EXPECT_EQ(revisions[i].first_parent, i + 1 < count ? revisions[i + 1].digest : Digest{});
        }
    }
};

TEST_F(ConcurrentProcesses, OnOneBranchMakeOneLineAndLoseNoCommit) {
    run_at_once(process_count, [&](int process) {
        const DamageCheckout own = clone("own" + std::to_string(process));
        for (int i = 0; i < commits_each; ++i) {
            publish_persistently(own, file_name(process, i));
        }
    });
    expect_one_line("main", 1 + process_count * commits_each);
    const DamageCheckout all = clone("all");
    for (int process = 0; process < process_count; ++process) {
        for (int i = 0; i < commits_each; ++i) {
            EXPECT_EQ(read_file(all / file_name(process, i)), file_name(process, i));
        }
    }
}

TEST_F(ConcurrentProcesses, OnBranchesOfTheirOwnDoNotMeet) {
    run_at_once(process_count, [&](int process) {
        const std::string branch = "branch" + std::to_string(process);
        const DamageCheckout own = clone("own" + std::to_string(process));
        DamageCheckout::require(own.create_branch(branch));
        DamageCheckout::require(own.switch_to(branch));
        for (int i = 0; i < commits_each; ++i) {
            own.publish_files({{file_name(process, i), large_bytes + std::to_string(process)}}, branch);
        }
    });
    std::vector<std::string> branches;
    for (int process = 0; process < process_count; ++process) {
        branches.push_back("branch" + std::to_string(process));
        expect_one_line(branches.back(), 1 + commits_each);
        const DamageCheckout all = clone("all" + std::to_string(process), branches.back());
        EXPECT_EQ(read_file(all / file_name(process, commits_each - 1)), large_bytes + std::to_string(process));
    }
    branches.emplace_back("main");
    EXPECT_EQ(author_.list_branches().branches, branches);
    expect_one_line("main", 1);
}

TEST_F(ConcurrentProcesses, InOneCheckoutTakeTurns) {
    run_at_once(process_count, [&](int process) {
        write_file(author_ / file_name(process, 0), "work");
        DamageCheckout::require(author_.stage({file_name(process, 0)}));
        DamageCheckout::require(author_.status());
        // Another process may have committed what this one staged.
        const DamageReply committed = author_.commit();
        if (committed.code != 0 && committed.error != "Nothing staged for commit") {
            throw std::runtime_error(committed.error);
        }
        DamageCheckout::require(author_.push());
    });
    EXPECT_EQ(author_.status().paths, std::vector<std::string>());
    const std::size_t count = author_.history().revisions.size();
    EXPECT_LE(count, 1U + process_count);
    expect_one_line("main", count);
    const DamageCheckout all = clone("all");
    for (int process = 0; process < process_count; ++process) {
        EXPECT_EQ(read_file(all / file_name(process, 0)), "work");
    }
}

TEST_F(ConcurrentProcesses, SharingAStoreKeepEachOthersObjects) {
    const std::filesystem::path shared = folder_ / "shared";
    run_at_once(process_count, [&](int process) {
        tome::Store::create(shared);
        const DamageCheckout own = checkout("own" + std::to_string(process));
        DamageCheckout::require(own.clone("main", shared));
        write_file(own / "same.bin", large_bytes);
        DamageCheckout::require(own.stage({"same.bin"}));
        publish_persistently(own, file_name(process, 0));
    });
    const DamageCheckout all = checkout("all");
    ASSERT_EQ(all.clone("main", shared).text(), "done");
    EXPECT_EQ(read_file(all / "same.bin"), large_bytes);
    for (int process = 0; process < process_count; ++process) {
        EXPECT_EQ(read_file(all / file_name(process, 0)), file_name(process, 0));
    }
    std::set<std::string> in_folder;
    for (const auto& entry : std::filesystem::directory_iterator(folder_.path())) {
        in_folder.insert(entry.path().filename().string().substr(0, 7));
    }
    EXPECT_FALSE(in_folder.contains("shared."));
}

TEST_F(ConcurrentProcesses, MakingOneRepositoryAreToldApart) {
    const std::string url = "file://" + (folder_ / "remote").string() + "/new";
    run_at_once(process_count, [&](int process) {
        const DamageReply made = DamageCheckout(folder_ / ("own" + std::to_string(process)), url).create();
        write_file(folder_ / ("outcome" + std::to_string(process)), made.text());
    });
    std::map<std::string, int> outcomes;
    for (int process = 0; process < process_count; ++process) {
        ++outcomes[read_file(folder_ / ("outcome" + std::to_string(process)))];
    }
    EXPECT_EQ(outcomes, (std::map<std::string, int>{{"done", 1}, {"Already exists: " + url, process_count - 1}}));
}

TEST_F(ConcurrentProcesses, MakingTheSameBranchAreToldApart) {
    run_at_once(process_count, [&](int process) {
        const DamageCheckout own = clone("own" + std::to_string(process));
        write_file(folder_ / ("outcome" + std::to_string(process)), own.create_branch("new").text());
    });
    std::map<std::string, int> outcomes;
    for (int process = 0; process < process_count; ++process) {
        ++outcomes[read_file(folder_ / ("outcome" + std::to_string(process)))];
    }
    EXPECT_EQ(outcomes, (std::map<std::string, int>{{"done", 1}, {"branch already exists: new", process_count - 1}}));
}

TEST_F(ConcurrentProcesses, UsingANewRemoteAtOnceAllGetTheirRepositories) {
    for (int round = 0; round < 3; ++round) {
        const std::string remote = "file://" + (folder_ / ("fresh" + std::to_string(round))).string();
        run_at_once(process_count, [&](int process) {
            const std::string name = std::to_string(round) + "-" + std::to_string(process);
            DamageCheckout::require(DamageCheckout(folder_ / ("own" + name), remote + "/r" + name).create());
        });
    }
}

TEST_F(ConcurrentProcesses, UseARemoteWhoseMakerWasKilledBeforeItsMarkerStood) {
    const std::filesystem::path remote = folder_ / "cut-off";
    write_file(remote / "tome-remote.tmp-0123456789abcdef", "tome rem");
    EXPECT_EQ(DamageCheckout(folder_ / "own", "file://" + remote.string() + "/new").create().text(), "done");
}

TEST_F(ConcurrentProcesses, CloningIntoOneFolderAllGetTheWholeOfIt) {
    std::map<std::string, std::string> files;
    for (int i = 0; i < 20; ++i) {
        files["Assets/" + std::to_string(i)] = std::to_string(i);
    }
    files["Assets/large.bin"] = large_bytes;
    author_.publish_files(files);
    for (int round = 0; round < 3; ++round) {
        const DamageCheckout together = checkout("together" + std::to_string(round));
        run_at_once(2, [&](int) {
            DamageCheckout::require(together.clone());
            for (const std::string& path : DamageCheckout::require(together.status()).paths) {
                throw std::runtime_error("differs from the clone: " + path);
            }
            if (read_file(together / "Assets/large.bin") != large_bytes) {
                throw std::runtime_error("not the whole clone");
            }
        });
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(together.path())) {
            names.push_back(entry.path().filename());
        }
        std::sort(names.begin(), names.end());
        EXPECT_EQ(names, (std::vector<std::string>{".tome", "Assets", "top.txt"}));
        EXPECT_EQ(damage_snapshot(together.path()), damage_snapshot(author_.path()));
    }
}

TEST_F(ConcurrentProcesses, CloningTwoRepositoriesIntoOneFolderOneWinsAndTheOtherSaysSo) {
    const std::string other_url = "file://" + (folder_ / "remote").string() + "/other";
    const DamageCheckout other_author(folder_ / "other-author", other_url);
    DamageCheckout::require(other_author.create());
    other_author.publish_files({{"other.txt", "other"}});
    for (int round = 0; round < 3; ++round) {
        const std::filesystem::path folder = folder_ / ("contested" + std::to_string(round));
        const DamageCheckout one(folder, repository_);
        const DamageCheckout other(folder, other_url);
        run_at_once(2, [&](int process) {
            write_file(folder_ / ("outcome" + std::to_string(process)), (process == 0 ? one : other).clone().text());
        });
        const bool one_won = read_file(folder_ / "outcome0") == "done";
        EXPECT_EQ(read_file(folder_ / (one_won ? "outcome0" : "outcome1")), "done");
        EXPECT_EQ(read_file(folder_ / (one_won ? "outcome1" : "outcome0")),
                  "is a checkout of another repository: " + folder.string());
        EXPECT_EQ(damage_snapshot(folder), damage_snapshot(one_won ? author_.path() : other_author.path()));
    }
}

// A process that stops where it holds a lock, until it is killed there.
class KilledHolder : public ConcurrentProcesses {
  protected:
    // Starts `work`, which is to call the function it is given once it holds its lock, and returns when it does.
    pid_t start_holder(const std::function<void(const std::function<void()>& hold)>& work) const {
        int ends[2];
        if (pipe(ends) != 0) {
            throw std::runtime_error("could not make a pipe");
        }
        const pid_t holder = damage_start_process([&] {
            work([&] {
                if (write(ends[1], "x", 1) == 1) {
                    for (;;) {
                        pause();
                    }
                }
            });
        });
        close(ends[1]);
        char byte = 0;
        EXPECT_EQ(read(ends[0], &byte, 1), 1) << "the holder ended early";
        close(ends[0]);
        return holder;
    }

    static void kill_holder(pid_t holder) {
        kill(holder, SIGKILL);
        EXPECT_EQ(damage_wait_for(holder), 128 + SIGKILL);
    }

    static bool is_locked(const std::filesystem::path& state) {
        const tome::FileDescriptor folder = tome::open_directory(state);
        return flock(folder.get(), LOCK_EX | LOCK_NB) != 0;
    }

    static bool is_write_locked(const std::filesystem::path& database) {
        sqlite3* handle = nullptr;
        sqlite3_open_v2(database.c_str(), &handle, SQLITE_OPEN_READWRITE, nullptr);
        const int code = sqlite3_exec(handle, "BEGIN IMMEDIATE; ROLLBACK", nullptr, nullptr, nullptr);
        sqlite3_close(handle);
        return code == SQLITE_BUSY;
    }
};

TEST_F(KilledHolder, OfACheckoutsLockKeepsNobodyWaiting) {
    struct Case {
        std::string what;
        std::function<void(DamageCheckout&)> work;
    };
    const std::vector<Case> cases{
        {"stage", [](DamageCheckout& checkout) { checkout.stage({"work.txt"}); }},
        {"commit", [](DamageCheckout& checkout) { checkout.commit(); }},
        {"push", [](DamageCheckout& checkout) { checkout.push(); }},
        {"sync", [](DamageCheckout& checkout) { checkout.sync(); }},
    };
    write_file(author_ / "work.txt", "work");
    for (const Case& step : cases) {
        SCOPED_TRACE(step.what);
        const pid_t holder = start_holder([&](const std::function<void()>& hold) {
            DamageCheckout checkout = author_;
            checkout.on_event = [&](const tome_event_t&) { hold(); };
            step.work(checkout);
        });
        EXPECT_TRUE(is_locked(author_ / ".tome"));
        kill_holder(holder);
        EXPECT_EQ(author_.sync({{"top.txt"}}).text(), "done");
        EXPECT_EQ(read_file(author_ / "work.txt"), "work");
    }
    EXPECT_EQ(author_.status().paths, std::vector<std::string>());
    expect_one_line("main", 2);
    EXPECT_EQ(read_file(clone("reader") / "work.txt"), "work");
}

TEST_F(KilledHolder, OfAStoresWriteLockLeavesNothingOfItsTransaction) {
    author_.commit_files({{"work.txt", "work"}});
    const Digest torn = tome::digest_of("torn");
    for (const std::filesystem::path& store : {remote_store_, author_.own_store()}) {
        SCOPED_TRACE(store);
        const pid_t holder = start_holder([&](const std::function<void()>& hold) {
            tome::Store open(store);
            tome::Transaction transaction(open.database());
            open.add_object(tome::ObjectKind::Content, "torn");
            open.database().execute("UPDATE branch SET head = x'00'");
            hold();
        });
        EXPECT_TRUE(is_write_locked(store / "store.db"));
        kill_holder(holder);
        EXPECT_FALSE(tome::Store(store).contains(tome::ObjectKind::Content, torn));
    }
    EXPECT_EQ(author_.push().text(), "done");
    author_.publish_files({{"more.txt", "more"}});
    expect_one_line("main", 3);
}

TEST_F(KilledHolder, OfAnIndexsWriteLockLeavesTheCheckoutAsItWas) {
    const std::filesystem::path index = author_ / ".tome/index.db";
    const pid_t holder = start_holder([&](const std::function<void()>& hold) {
        tome::Database database(index, tome::Database::Mode::Open);
        tome::Transaction transaction(database);
        database.execute("DELETE FROM file; DELETE FROM checkout");
        hold();
    });
    EXPECT_TRUE(is_write_locked(index));
    kill_holder(holder);
    EXPECT_EQ(author_.status().paths, std::vector<std::string>());
    author_.publish_files({{"top.txt", "more"}});
    expect_one_line("main", 2);
}

// What was written for a push whose branch never moved is used by the next one.
TEST_F(ConcurrentProcesses, WhoseObjectsArrivedWithoutTheBranchPushAgain) {
    const auto heads = remote_heads();
    const DamageCheckout late = clone("late");
    const Digest head = late.commit_files({{"late.txt", "late"}, {"late.bin", large_bytes}});
    {
        tome::Store from(late.own_store());
        tome::Store to(remote_store_);
        const auto content = from.find_content(tome::digest_of(large_bytes));
        to.prepare_content(tome::digest_of(large_bytes), from);
        to.add_content(tome::digest_of(large_bytes), *content);
        to.add_object(tome::ObjectKind::Content, "late");
        to.add_object(tome::ObjectKind::Tree, *from.find_object(tome::read_revision(from, head).tree));
        to.add_object(tome::ObjectKind::Revision, *from.find_object(head));
    }
    EXPECT_EQ(remote_heads(), heads);
    expect_one_line("main", 1);
    author_.publish_files({{"first.txt", "first"}});
    EXPECT_EQ(late.push().text(), "branch has moved on the remote: main");
    expect_one_line("main", 2);
    ASSERT_EQ(late.switch_to("main").text(), "done");
    EXPECT_EQ(late.status().paths, (std::vector<std::string>{"late.bin", "late.txt"}));
    ASSERT_EQ(late.stage({"late.bin", "late.txt"}).text(), "done");
    ASSERT_EQ(late.commit().text(), "done");
    EXPECT_EQ(late.push().text(), "done");
    expect_one_line("main", 3);
    EXPECT_EQ(read_file(clone("reader") / "late.bin"), large_bytes);
}

}  // namespace
}  // namespace quill_test
