#include "identity/file_content_hash.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <future>
#include <latch>
#include <thread>

#include "engine/tome_binding.h"
#include "identity/repository_identity_worker.h"
#include "tests/fake_tome/fake_tome.h"
#include "tests/support/temporary_folder.h"

namespace {

using fake_tome::Call;
using fake_tome::Events;
using fake_tome::make_hash;
using fake_tome::make_hash_hex;
using std::filesystem::path;
using Texts = std::vector<std::string>;

const std::string key_of_abc = "sha256:ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";
const std::string key_of_xyz = "sha256:3608bca1e44ea6c4d268eb6db02260269892c0b42b86bbf1e77a6fa16c3c9282";
const std::string key_of_nothing = "sha256:e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855";
const std::string key_of_million_a = "sha256:cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0";

// Keys that the engine reports here have nothing to do with the bytes, so that a test sees where a key comes from.
std::string engine_key(std::uint8_t last) {
    return "sha256:" + make_hash_hex(last);
}

class FileContentHash : public testing::Test {
  protected:
    FileContentHash() {
        fake_tome::reset();
        quill::internal::repository_identity_times() = {std::chrono::hours(1), std::chrono::hours(1),
                                                        std::chrono::hours(1)};
    }

    // A file that holds "abc".
    path make_file(const path& relative) {
        quill_test::write_file(folder_ / relative, "abc");
        return folder_ / relative;
    }

    path make_repository(const path& relative) {
        quill_test::write_file(folder_ / relative / ".tome/config.toml", "remote_url = \"file:///remote\"\n");
        return folder_ / relative;
    }

    static void answer_with(std::uint8_t last) {
        fake_tome::on("tome_file_info", [last](const Call& call, const Events& events) {
            for (const std::string& file : call.list("paths")) {
                events.file(TOME_EVENT_FILE_INFO, file, make_hash(last), 3);
            }
            return 0;
        });
    }

    // Replaces the bytes by others of the same length and leaves the time as it was.
    static void rewrite_unnoticed(const path& file, const std::string& bytes) {
        const auto modified = std::filesystem::last_write_time(file);
        quill_test::write_file(file, bytes);
        std::filesystem::last_write_time(file, modified);
    }

    quill_test::TemporaryFolder folder_;
};

// ---- Keys from the bytes

TEST_F(FileContentHash, HashesAFileOutsideAnyRepository) {
    EXPECT_EQ(quill::project_file_content_hash(make_file("a")), key_of_abc);
    EXPECT_TRUE(fake_tome::calls().empty());
}

TEST_F(FileContentHash, HashesAnEmptyFile) {
    quill_test::write_file(folder_ / "empty", "");
    EXPECT_EQ(quill::project_file_content_hash(folder_ / "empty"), key_of_nothing);
}

TEST_F(FileContentHash, HashesAFileOfManyBlocks) {
    quill_test::write_file(folder_ / "large", std::string(1'000'000, 'a'));
    EXPECT_EQ(quill::project_file_content_hash(folder_ / "large"), key_of_million_a);
}

TEST_F(FileContentHash, EmptyPathYieldsNothing) {
    EXPECT_EQ(quill::project_file_content_hash(""), std::nullopt);
}

TEST_F(FileContentHash, DirectoryYieldsNothing) {
    EXPECT_EQ(quill::project_file_content_hash(folder_.path()), std::nullopt);
}

TEST_F(FileContentHash, MissingFileYieldsNothing) {
    EXPECT_EQ(quill::project_file_content_hash(folder_ / "missing"), std::nullopt);
}

TEST_F(FileContentHash, FileThatCannotBeReadYieldsNothing) {
    const path unreadable = "/proc/self/mem";  // opens, but its first byte cannot be read
    if (!std::filesystem::exists(unreadable)) {
        GTEST_SKIP() << "no such file here";
    }
    EXPECT_EQ(quill::project_file_content_hash(unreadable), std::nullopt);
}

TEST_F(FileContentHash, FollowsLinks) {
    std::filesystem::create_symlink(make_file("a"), folder_ / "link");
    EXPECT_EQ(quill::project_file_content_hash(folder_ / "link"), key_of_abc);
}

TEST_F(FileContentHash, RemovedFileYieldsNothingThoughItsKeyIsKnown) {
    const path file = make_file("a");
    quill::remember_committed_project_file_identity(file, engine_key(1));
    std::filesystem::remove(file);
    EXPECT_EQ(quill::project_file_content_hash(file), std::nullopt);
}

// ---- The memo of what was read

TEST_F(FileContentHash, DoesNotReadAnUnchangedFileAgain) {
    const path file = make_file("a");
    quill::project_file_content_hash(file);
    rewrite_unnoticed(file, "xyz");
    EXPECT_EQ(quill::project_file_content_hash(folder_ / "b/../a"), key_of_abc);
}

TEST_F(FileContentHash, ReadsAFileAgainAfterItsTimeChanged) {
    const path file = make_file("a");
    quill::project_file_content_hash(file);
    quill_test::write_file(file, "xyz");
    std::filesystem::last_write_time(file, std::filesystem::last_write_time(file) + std::chrono::seconds(1));
    EXPECT_EQ(quill::project_file_content_hash(file), key_of_xyz);
}

TEST_F(FileContentHash, ReadsAFileAgainAfterItsSizeChanged) {
    const path file = make_file("a");
    quill::project_file_content_hash(file);
    rewrite_unnoticed(file, "");
    EXPECT_EQ(quill::project_file_content_hash(file), key_of_nothing);
}

TEST_F(FileContentHash, ForgetsEverythingReadWhenTheMemoIsFull) {
    const path first = make_file("first");
    quill::project_file_content_hash(first);
    rewrite_unnoticed(first, "xyz");
    // More than 65,536 paths of 257 files, seen through 256 links.
    for (int index = 0; index < 257; ++index) {
        make_file("files/" + std::to_string(index));
    }
    for (int link = 0; link < 256; ++link) {
        const path directory = folder_ / ("link" + std::to_string(link));
        std::filesystem::create_directory_symlink(folder_ / "files", directory);
        for (int index = 0; index < 257; ++index) {
            quill::project_file_content_hash(directory / std::to_string(index));
        }
    }
    EXPECT_EQ(quill::project_file_content_hash(first), key_of_xyz);
}

// ---- Keys from commits

TEST_F(FileContentHash, CommittedKeyIsTheAnswer) {
    const path file = make_file("a");
    quill::remember_committed_project_file_identity(folder_ / "b/../a", engine_key(1));
    EXPECT_EQ(quill::cached_project_file_content_hash(file), engine_key(1));
    EXPECT_EQ(quill::project_file_content_hash(file), engine_key(1));
}

TEST_F(FileContentHash, LaterCommitReplacesTheKey) {
    const path file = make_file("a");
    quill::remember_committed_project_file_identity(file, engine_key(1));
    quill::remember_committed_project_file_identity(file, engine_key(2));
    EXPECT_EQ(quill::cached_project_file_content_hash(file), engine_key(2));
}

TEST_F(FileContentHash, CommittedKeyIsKnownUnderTheOwningProjectToo) {
    const path project = folder_ / "p.quillproject";
    quill::remember_committed_project_file_identity(project / ".derived/tome-workspaces/feature/Scenes/Main.usda",
                                                    engine_key(1));
    EXPECT_EQ(quill::cached_project_file_content_hash(project), engine_key(1));
}

TEST_F(FileContentHash, RememberingAnEmptyKeyChangesNothing) {
    const path file = make_file("a");
    quill::remember_committed_project_file_identity(file, "");
    EXPECT_EQ(quill::cached_project_file_content_hash(file), std::nullopt);
    quill::remember_committed_project_file_identity(file, engine_key(1));
    quill::remember_committed_project_file_identity(file, "");
    EXPECT_EQ(quill::cached_project_file_content_hash(file), engine_key(1));
}

TEST_F(FileContentHash, RememberingAnEmptyPathChangesNothing) {
    quill::remember_committed_project_file_identity("", engine_key(1));
    EXPECT_EQ(quill::cached_project_file_content_hash(""), std::nullopt);
    EXPECT_EQ(quill::cached_project_file_content_hash(std::filesystem::current_path()), std::nullopt);
}

TEST_F(FileContentHash, CachedLookupNeitherReadsNorAsks) {
    make_repository("r");
    const path file = make_file("r/a");
    EXPECT_EQ(quill::cached_project_file_content_hash(file), std::nullopt);
    EXPECT_TRUE(fake_tome::calls().empty());
}

TEST_F(FileContentHash, CachedLookupIgnoresKeysFromBytes) {
    const path file = make_file("a");
    quill::project_file_content_hash(file);
    EXPECT_EQ(quill::cached_project_file_content_hash(file), std::nullopt);
}

// ---- Keys from the engine

TEST_F(FileContentHash, EngineAnswersForAFileInARepository) {
    const path repository = make_repository("r");
    const path file = make_file("r/sub/a");
    answer_with(7);
    EXPECT_EQ(quill::project_file_content_hash(file), engine_key(7));
    const std::vector<Call> calls = fake_tome::calls();
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].operation, "tome_file_info");
    EXPECT_EQ(calls[0].checkout, repository.string());
    EXPECT_EQ(calls[0].remote_url, "file:///remote");
    EXPECT_EQ(calls[0].list("paths"), Texts{"sub/a"});
}

TEST_F(FileContentHash, EngineIsAskedOnceForAKnownFile) {
    make_repository("r");
    const path file = make_file("r/a");
    answer_with(7);
    quill::project_file_content_hash(file);
    EXPECT_EQ(quill::project_file_content_hash(file), engine_key(7));
    EXPECT_EQ(fake_tome::calls().size(), 1u);
}

TEST_F(FileContentHash, NearestRepositoryIsAsked) {
    make_repository("r");
    const path inner = make_repository("r/inner");
    answer_with(7);
    quill::project_file_content_hash(make_file("r/inner/a"));
    EXPECT_EQ(fake_tome::calls().at(0).checkout, inner.string());
    EXPECT_EQ(fake_tome::calls().at(0).list("paths"), Texts{"a"});
}

TEST_F(FileContentHash, UnfinishedCheckoutIsNoRepository) {
    const path file = make_file("r/a");
    std::filesystem::create_directories(folder_ / "r/.tome/config.toml");
    EXPECT_EQ(quill::project_file_content_hash(file), key_of_abc);
    EXPECT_TRUE(fake_tome::calls().empty());
}

TEST_F(FileContentHash, EngineKeyIsKnownUnderTheOwningProjectToo) {
    const path checkout = make_repository("p.quillproject/.derived/tome-workspaces/feature");
    const path file = make_file("p.quillproject/.derived/tome-workspaces/feature/a");
    answer_with(7);
    quill::prewarm_project_file_content_hashes({file});
    EXPECT_EQ(quill::cached_project_file_content_hash(file), engine_key(7));
    EXPECT_EQ(quill::cached_project_file_content_hash(folder_ / "p.quillproject"), engine_key(7));
}

TEST_F(FileContentHash, FileThatTheEngineDoesNotKnowIsHashed) {
    make_repository("r");
    const path file = make_file("r/a");
    fake_tome::on("tome_file_info", [](const Call&, const Events& events) {
        events.file(TOME_EVENT_FILE_INFO, "a", {}, 0, false);
        return 0;
    });
    EXPECT_EQ(quill::project_file_content_hash(file), key_of_abc);
}

TEST_F(FileContentHash, FailureOfTheEngineIsSwallowed) {
    make_repository("r");
    const path file = make_file("r/a");
    fake_tome::on("tome_file_info", [](const Call&, const Events& events) {
        events.file(TOME_EVENT_FILE_INFO, "a", make_hash(7), 3);
        return events.fail(1, "corrupt index");
    });
    EXPECT_EQ(quill::project_file_content_hash(file), key_of_abc);
    EXPECT_EQ(fake_tome::calls().size(), 1u);
}

TEST_F(FileContentHash, WorkerGoesOnAfterAFailure) {
    make_repository("r");
    fake_tome::fail_call(1, 1, "corrupt index");
    answer_with(7);
    EXPECT_EQ(quill::project_file_content_hash(make_file("r/a")), key_of_abc);
    EXPECT_EQ(quill::project_file_content_hash(make_file("r/b")), engine_key(7));
}

TEST_F(FileContentHash, AnswersAreMatchedByPathNotByOrder) {
    make_repository("r");
    const path a = make_file("r/a");
    const path b = make_file("r/b");
    const path c = make_file("r/c");
    fake_tome::on("tome_file_info", [](const Call&, const Events& events) {
        events.file(TOME_EVENT_FILE_INFO, "c", make_hash(3), 3);
        events.file(TOME_EVENT_FILE_INFO, "elsewhere", make_hash(9), 3);
        events.file(TOME_EVENT_FILE_INFO, "a", make_hash(1), 3);
        return 0;
    });
    quill::prewarm_project_file_content_hashes({a, b, c});
    EXPECT_EQ(quill::cached_project_file_content_hash(a), engine_key(1));
    EXPECT_EQ(quill::cached_project_file_content_hash(b), std::nullopt);
    EXPECT_EQ(quill::cached_project_file_content_hash(c), engine_key(3));
    EXPECT_EQ(quill::cached_project_file_content_hash(folder_ / "r/elsewhere"), std::nullopt);
}

TEST_F(FileContentHash, PrewarmAsksOnceForEachFileThatMatters) {
    make_repository("r");
    const path a = make_file("r/a");
    const path b = make_file("r/b");
    const path known = make_file("r/known");
    quill::remember_committed_project_file_identity(known, engine_key(1));
    answer_with(7);
    quill::prewarm_project_file_content_hashes(
        {b, "", a, folder_ / "r/x/../b", known, folder_ / "r", folder_ / "r/missing", make_file("outside")});
    const std::vector<Call> calls = fake_tome::calls();
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].list("paths"), (Texts{"b", "a"}));
    EXPECT_EQ(quill::cached_project_file_content_hash(known), engine_key(1));
}

TEST_F(FileContentHash, PrewarmOfNothingAsksNothing) {
    quill::prewarm_project_file_content_hashes({});
    EXPECT_TRUE(fake_tome::calls().empty());
}

TEST_F(FileContentHash, PrewarmSendsOneBatchToEachRepository) {
    const path one = make_repository("one");
    const path two = make_repository("two");
    answer_with(7);
    quill::prewarm_project_file_content_hashes({make_file("one/a"), make_file("two/b"), make_file("one/c")});
    std::vector<Call> calls = fake_tome::calls();
    ASSERT_EQ(calls.size(), 2u);
    std::sort(calls.begin(), calls.end(), [](const Call& a, const Call& b) { return a.checkout < b.checkout; });
    EXPECT_EQ(calls[0].checkout, one.string());
    EXPECT_EQ(calls[0].list("paths"), (Texts{"a", "c"}));
    EXPECT_EQ(calls[1].checkout, two.string());
    EXPECT_EQ(calls[1].list("paths"), Texts{"b"});
}

// ---- Whether there is a repository

TEST_F(FileContentHash, MissingRepositoryIsRememberedForAWhile) {
    const path file = make_file("r/a");
    quill::project_file_content_hash(file);
    make_repository("r");
    answer_with(7);
    EXPECT_EQ(quill::project_file_content_hash(file), key_of_abc);
    EXPECT_TRUE(fake_tome::calls().empty());
}

TEST_F(FileContentHash, MissingRepositoryIsProbedAgainWhenTheTimeIsOver) {
    const path file = make_file("r/a");
    quill::project_file_content_hash(file);
    make_repository("r");
    answer_with(7);
    quill::internal::repository_identity_times().no_repository_age = std::chrono::nanoseconds(0);
    EXPECT_EQ(quill::project_file_content_hash(file), engine_key(7));
}

TEST_F(FileContentHash, FoundRepositoryIsRememberedForEver) {
    const path repository = make_repository("r");
    answer_with(7);
    quill::project_file_content_hash(make_file("r/a"));
    std::filesystem::remove_all(repository / ".tome");
    quill::internal::repository_identity_times().no_repository_age = std::chrono::nanoseconds(0);
    EXPECT_EQ(quill::project_file_content_hash(make_file("r/b")), engine_key(7));
}

TEST_F(FileContentHash, RepositoryOfADirectoryStartsAtTheDirectoryItself) {
    const path repository = make_repository("r");
    EXPECT_EQ(quill::find_identity_repository(repository), repository);
    EXPECT_EQ(quill::find_identity_repository(make_file("r/a")), repository);
    EXPECT_EQ(quill::find_identity_repository(folder_.path()), std::nullopt);
}

// ---- Waiting

// An engine that answers no query before release().
class BlockedEngine {
  public:
    explicit BlockedEngine(std::uint8_t last) {
        fake_tome::on("tome_file_info", [last, opened = opened_](const Call& call, const Events& events) {
            opened.wait();
            for (const std::string& file : call.list("paths")) {
                events.file(TOME_EVENT_FILE_INFO, file, make_hash(last), 3);
            }
            return 0;
        });
    }
    ~BlockedEngine() {
        if (!released_) {
            release();
        }
    }
    BlockedEngine(const BlockedEngine&) = delete;
    BlockedEngine& operator=(const BlockedEngine&) = delete;

    void release() {
        released_ = true;
        gate_.set_value();
    }

  private:
    bool released_ = false;
    std::promise<void> gate_;
    std::shared_future<void> opened_ = gate_.get_future().share();
};

TEST_F(FileContentHash, LateAnswerIsNotWaitedForButUsedLater) {
    make_repository("r");
    const path file = make_file("r/a");
    BlockedEngine engine(7);
    auto& times = quill::internal::repository_identity_times();
    times.first_wait = std::chrono::nanoseconds(0);
    EXPECT_EQ(quill::project_file_content_hash(file), key_of_abc);

    times.first_wait = std::chrono::hours(1);
    engine.release();
    quill::prewarm_project_file_content_hashes({make_file("r/b")});  // served after the first batch
    EXPECT_EQ(quill::project_file_content_hash(file), engine_key(7));
}

TEST_F(FileContentHash, LateRepositoryIsGivenTheShortWait) {
    make_repository("r");
    BlockedEngine engine(7);
    auto& times = quill::internal::repository_identity_times();
    times.first_wait = std::chrono::nanoseconds(0);
    quill::project_file_content_hash(make_file("r/a"));

    times = {std::chrono::hours(1), std::chrono::nanoseconds(0), std::chrono::hours(1)};
    EXPECT_EQ(quill::project_file_content_hash(make_file("r/b")), key_of_abc);  // an hour, were it not known as late

    times.slow_wait = std::chrono::hours(1);
    engine.release();
    quill::prewarm_project_file_content_hashes({make_file("r/c")});
}

TEST_F(FileContentHash, RepositoryThatAnswersIsNoLongerLate) {
    make_repository("r");
    BlockedEngine engine(7);
    auto& times = quill::internal::repository_identity_times();
    times.first_wait = std::chrono::nanoseconds(0);
    quill::project_file_content_hash(make_file("r/a"));
    times.first_wait = std::chrono::hours(1);
    engine.release();
    quill::prewarm_project_file_content_hashes({make_file("r/b")});

    times.slow_wait = std::chrono::nanoseconds(0);
    EXPECT_EQ(quill::project_file_content_hash(make_file("r/c")), engine_key(7));
}

TEST_F(FileContentHash, LateRepositoryDoesNotSlowAnotherOne) {
    make_repository("late");
    make_repository("prompt");
    std::promise<void> gate;
    const std::shared_future<void> opened = gate.get_future().share();
    fake_tome::on("tome_file_info", [opened](const Call& call, const Events& events) {
        if (call.checkout.ends_with("late")) {
            opened.wait();
        }
        events.file(TOME_EVENT_FILE_INFO, "a", make_hash(7), 3);
        return 0;
    });
    auto& times = quill::internal::repository_identity_times();
    times.first_wait = std::chrono::nanoseconds(0);
    quill::project_file_content_hash(make_file("late/a"));
    times = {std::chrono::hours(1), std::chrono::nanoseconds(0), std::chrono::hours(1)};
    EXPECT_EQ(quill::project_file_content_hash(make_file("prompt/a")), engine_key(7));
    times.slow_wait = std::chrono::hours(1);
    gate.set_value();
    quill::prewarm_project_file_content_hashes({make_file("late/b")});
}

TEST_F(FileContentHash, DefaultTimesAreThoseOfTheProduct) {
    const quill::internal::RepositoryIdentityTimes times;
    EXPECT_EQ(times.first_wait, std::chrono::seconds(20));
    EXPECT_EQ(times.slow_wait, std::chrono::milliseconds(250));
    EXPECT_EQ(times.no_repository_age, std::chrono::nanoseconds(5'000'000'000));
}

// ---- Threads

TEST_F(FileContentHash, RepositoriesAreAskedAtTheSameTime) {
    make_repository("one");
    make_repository("two");
    std::latch both(2);
    fake_tome::on("tome_file_info", [&](const Call&, const Events& events) {
        both.arrive_and_wait();
        events.file(TOME_EVENT_FILE_INFO, "a", make_hash(7), 3);
        return 0;
    });
    const path one = make_file("one/a");
    const path two = make_file("two/a");
    quill::prewarm_project_file_content_hashes({one, two});
    EXPECT_EQ(quill::cached_project_file_content_hash(one), engine_key(7));
    EXPECT_EQ(quill::cached_project_file_content_hash(two), engine_key(7));
}

TEST_F(FileContentHash, OneRepositoryIsAskedOneQueryAtATime) {
    make_repository("r");
    std::atomic<int> running = 0;
    std::atomic<int> most = 0;
    fake_tome::on("tome_file_info", [&](const Call&, const Events&) {
        most = std::max(most.load(), ++running);
        std::this_thread::yield();
        --running;
        return 0;
    });
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 8; ++thread) {
        threads.emplace_back([&, thread] {
            for (int file = 0; file < 10; ++file) {
                quill::project_file_content_hash(make_file("r/" + std::to_string(thread) + "-" + std::to_string(file)));
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(most, 1);
    EXPECT_EQ(fake_tome::calls().size(), 80u);
}

// ---- The switch and the end of the process; both leave a process that no other test can use.

using FileContentHashDeathTest = FileContentHash;

TEST_F(FileContentHashDeathTest, DisabledLookupsAskNothing) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    make_repository("r");
    const path file = make_file("r/a");
    const path committed = make_file("r/b");
    EXPECT_FALSE(quill::tome_file_identity_lookups_disabled());
    EXPECT_EXIT(
        {
            answer_with(7);
            quill::disable_tome_file_identity_lookups();
            quill::remember_committed_project_file_identity(committed, engine_key(1));
            quill::prewarm_project_file_content_hashes({file});
            const bool right = quill::tome_file_identity_lookups_disabled() && fake_tome::calls().empty() &&
                               quill::project_file_content_hash(file) == key_of_abc &&
                               quill::project_file_content_hash(committed) == engine_key(1);
            std::exit(right ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

TEST_F(FileContentHashDeathTest, ProcessEndsWhileAQueryIsStuck) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    make_repository("r");
    const path file = make_file("r/a");
    EXPECT_EXIT(
        {
            auto& engine = *new BlockedEngine(7);
            static_cast<void>(engine);
            quill::internal::repository_identity_times().first_wait = std::chrono::nanoseconds(0);
            std::exit(quill::project_file_content_hash(file) == key_of_abc ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

}  // namespace
