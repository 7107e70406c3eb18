// Databases and folders of a store, a remote and a checkout that are damaged, replaced, of a later version, or hold
// what is no regular file.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <functional>

#include "tests/tome/damage_fixture.h"

namespace quill_test {
namespace {

using tome::Digest;
using tome::Store;

constexpr std::int32_t invalid = 1;
constexpr std::int32_t not_found = 2;
constexpr std::int32_t corrupt = 7;
constexpr std::int32_t file_system = 8;

const std::string large_bytes(100'000, 'L');

struct FileDamage {
    std::string what;
    std::function<void(const std::filesystem::path&)> apply;
};

void replace_by_folder(const std::filesystem::path& path) {
    std::filesystem::remove(path);
    std::filesystem::create_directory(path);
}

void replace_by_link(const std::filesystem::path& path) {
    const std::filesystem::path elsewhere = path.string() + "-elsewhere";
    std::filesystem::rename(path, elsewhere);
    std::filesystem::create_symlink(elsewhere, path);
}

void replace_by_fifo(const std::filesystem::path& path) {
    std::filesystem::remove(path);
    if (mkfifo(path.c_str(), 0666) != 0) {
        throw std::runtime_error("could not make a FIFO at " + path.string());
    }
}

// What lies in a folder of databases; without what SQLite keeps for the processes that have one open.
std::map<std::string, std::string> stored_state(const std::filesystem::path& folder) {
    std::map<std::string, std::string> state = damage_snapshot(folder);
    std::erase_if(state, [](const auto& entry) {
        return entry.first.ends_with("-shm") || (entry.first.ends_with("-wal") && entry.second.empty());
    });
    return state;
}

// The database's file alone, with everything in it, so that damage to it cannot hide behind the log.
void leave_the_file_alone(const std::filesystem::path& database) {
    damage_fold_log(database);
    std::filesystem::remove(database.string() + "-wal");
    std::filesystem::remove(database.string() + "-shm");
}

const std::vector<FileDamage> database_damages{
    {"overwritten", [](const auto& path) { write_file(path, std::string(20'000, 'x')); }},
    {"start overwritten", [](const auto& path) { write_file(path, "garbage!" + read_file(path).substr(8)); }},
    {"half of it", [](const auto& path) { write_file(path, read_file(path).substr(0, read_file(path).size() / 2)); }},
    {"a few bytes", [](const auto& path) { write_file(path, "SQLite"); }},
};

// Files that are databases, or may become one, but none of this engine's.
const std::vector<FileDamage> foreign_databases{
    {"empty", [](const auto& path) { write_file(path, ""); }},
    {"another program's",
     [](const auto& path) {
         std::filesystem::remove(path);
         tome::Database(path, tome::Database::Mode::Create)
             .execute("CREATE TABLE theirs (value TEXT); PRAGMA journal_mode = DELETE");
     }},
};

class StoreDamage : public DamagedRepository {
  protected:
    StoreDamage() { author_.publish_files({{"a.txt", "a"}, {"Assets/large.bin", large_bytes}}); }

    // Applies the damage to a copy of `database`'s folder's state and puts that back afterwards.
    void with_damage(const std::filesystem::path& database, const FileDamage& damage,
                     const std::function<void()>& check) const {
        SCOPED_TRACE(damage.what);
        const std::filesystem::path folder = database.parent_path();
        const std::filesystem::path kept = folder_ / "kept";
        leave_the_file_alone(database);
        std::filesystem::copy(folder, kept, std::filesystem::copy_options::recursive);
        damage.apply(database);
        const auto before = stored_state(folder);
        check();
        EXPECT_EQ(stored_state(folder), before) << "something was written";
        std::filesystem::remove_all(folder);
        std::filesystem::rename(kept, folder);
    }

    static void expect_error(const DamageReply& reply, std::int32_t code, const std::string& text) {
        EXPECT_EQ(reply.code, code);
        EXPECT_EQ(reply.text(), text);
    }
};

TEST_F(StoreDamage, OfTheRemotesDatabaseIsNamedAndNothingIsWritten) {
    const std::filesystem::path database = remote_store_ / "store.db";
    author_.commit_files({{"b.txt", "b"}});
    const auto files = damage_snapshot(author_.path());
    for (const FileDamage& damage : database_damages) {
        with_damage(database, damage, [&] {
            const std::string text = "corrupt database: " + database.string();
            expect_error(checkout("clone").clone(), corrupt, text);
            EXPECT_FALSE(std::filesystem::exists(folder_ / "clone/.tome"));
            expect_error(author_.push(), corrupt, text);
            expect_error(author_.sync(), corrupt, text);
            expect_error(author_.list_branches(), corrupt, text);
            EXPECT_EQ(damage_snapshot(author_.path()), files);
        });
    }
    EXPECT_EQ(author_.push().text(), "done");
    EXPECT_EQ(checkout("clone").clone().text(), "done");
}

TEST_F(StoreDamage, OfTheCheckoutsStoreIsNamedAndNothingIsWritten) {
    const std::filesystem::path database = author_.own_store() / "store.db";
    write_file(author_ / "a.txt", "edited");
    const auto files = damage_snapshot(author_.path());
    const auto heads = remote_heads();
    for (const FileDamage& damage : database_damages) {
        with_damage(database, damage, [&] {
            const std::string text = "corrupt database: " + database.string();
            expect_error(author_.stage({"a.txt"}), corrupt, text);
            expect_error(author_.sync(), corrupt, text);
            expect_error(author_.push(), corrupt, text);
            EXPECT_EQ(damage_snapshot(author_.path()), files);
            EXPECT_EQ(remote_heads(), heads);
        });
    }
    EXPECT_EQ(author_.stage({"a.txt"}).text(), "done");
    EXPECT_EQ(author_.commit().text(), "done");
    EXPECT_EQ(author_.push().text(), "done");
}

TEST_F(StoreDamage, OfTheCheckoutsIndexIsNamedAndNothingIsWritten) {
    const std::filesystem::path database = author_ / ".tome/index.db";
    const auto files = damage_snapshot(author_.path());
    const auto heads = remote_heads();
    for (const FileDamage& damage : database_damages) {
        with_damage(database, damage, [&] {
            const std::string text = "corrupt database: " + database.string();
            expect_error(author_.stage({"a.txt"}), corrupt, text);
            expect_error(author_.sync(), corrupt, text);
            expect_error(author_.push(), corrupt, text);
            expect_error(author_.status(), corrupt, text);
            EXPECT_EQ(damage_snapshot(author_.path()), files);
            EXPECT_EQ(remote_heads(), heads);
        });
    }
    EXPECT_EQ(author_.sync().text(), "done");
}

TEST_F(StoreDamage, OfASharedStoreIsNamedByCloneAndByWorkInIt) {
    const std::filesystem::path shared = folder_ / "shared";
    ASSERT_TRUE(Store::create(shared));
    const DamageCheckout sharing = checkout("sharing");
    ASSERT_EQ(sharing.clone("main", shared).text(), "done");
    sharing.publish_files({{"s.txt", "s"}});
    const std::filesystem::path database = shared / "store.db";
    for (const FileDamage& damage : database_damages) {
        with_damage(database, damage, [&] {
            const std::string text = "corrupt database: " + database.string();
            expect_error(sharing.stage({"s.txt"}), corrupt, text);
            expect_error(checkout("clone").clone("main", shared), corrupt, text);
            EXPECT_FALSE(std::filesystem::exists(folder_ / "clone/.tome"));
        });
    }
}

TEST_F(StoreDamage, SaysWhatHelpsWhereItIs) {
    const std::filesystem::path shared = folder_ / "shared";
    ASSERT_TRUE(Store::create(shared));
    const DamageCheckout sharing = checkout("sharing");
    DamageCheckout::require(sharing.clone("main", shared));
    const auto status_with = [this](const DamageCheckout& of, const std::filesystem::path& database) {
        std::string error;
        with_damage(database, database_damages[0], [&] { error = of.stage({"a.txt"}).error; });
        return error;
    };
    const std::string corrupt_database = "corrupt database: ";
    const auto anew = [](const DamageCheckout& of) {
        return "; move edited files aside and delete " + (of / ".tome").string() + " to have the checkout made anew";
    };
    const std::filesystem::path index = author_ / ".tome/index.db";
    EXPECT_EQ(status_with(author_, index), corrupt_database + index.string() + anew(author_));
    const std::filesystem::path own = author_.own_store() / "store.db";
    EXPECT_EQ(status_with(author_, own), corrupt_database + own.string() + anew(author_));
    EXPECT_EQ(status_with(sharing, shared / "store.db"), corrupt_database + (shared / "store.db").string() +
                                                             "; delete " + shared.string() +
                                                             ", the remote has what was pushed");
    const std::filesystem::path remote = remote_store_ / "store.db";
    EXPECT_EQ(status_with(author_, remote),
              corrupt_database + remote.string() + "; restore " + remote_store_.string() + " from a backup");
}

TEST_F(StoreDamage, ByAnEmptyFileOrAnotherProgramsDatabaseIsNamedAndThatIsLeftAsItIs) {
    const std::filesystem::path index = author_ / ".tome/index.db";
    for (const FileDamage& damage : foreign_databases) {
        for (const std::filesystem::path& store : {remote_store_, author_.own_store()}) {
            with_damage(store / "store.db", damage, [&] {
                expect_error(author_.sync(), corrupt, "corrupt store: " + store.string());
                expect_error(author_.push(), corrupt, "corrupt store: " + store.string());
            });
        }
        with_damage(index, damage, [&] { expect_error(author_.sync(), corrupt, "corrupt index: " + index.string()); });
    }
    EXPECT_EQ(author_.push().text(), "done");
}

TEST_F(StoreDamage, ByAFolderALinkOrAFifoInTheDatabasesPlaceIsNamed) {
    const std::filesystem::path index = author_ / ".tome/index.db";
    const std::string corrupt_store = "corrupt store: ";
    const std::string link = "a symbolic link stands in the way: ";
    for (const std::filesystem::path& store : {remote_store_, author_.own_store()}) {
        const std::filesystem::path database = store / "store.db";
        with_damage(database, {"folder", replace_by_folder},
                    [&] { expect_error(author_.push(), corrupt, corrupt_store + store.string()); });
        with_damage(database, {"FIFO", replace_by_fifo},
                    [&] { expect_error(author_.push(), corrupt, corrupt_store + store.string()); });
        with_damage(database, {"link", replace_by_link},
                    [&] { expect_error(author_.push(), file_system, link + database.string()); });
    }
    with_damage(index, {"folder", replace_by_folder},
                [&] { expect_error(author_.sync(), file_system, "could not open for writing: " + index.string()); });
    with_damage(index, {"link", replace_by_link},
                [&] { expect_error(author_.sync(), file_system, link + index.string()); });
    with_damage(index, {"FIFO", replace_by_fifo}, [&] {
        const DamageReply reply = author_.sync();
        EXPECT_NE(reply.code, 0);
        EXPECT_NE(reply.text().find(index.string()), std::string::npos) << reply.text();
    });
    EXPECT_EQ(author_.sync().text(), "done");
}

class DamageByALaterVersion : public StoreDamage {
  protected:
    // That all databases refuse, with a text, to be used once `statements` made them those of a later version.
    void expect_refusal(const char* statements) {
        const FileDamage later{
            statements, [statements](const std::filesystem::path& path) { DamageDatabase(path).execute(statements); }};
        const std::filesystem::path index = author_ / ".tome/index.db";
        for (const std::filesystem::path& store : {remote_store_, author_.own_store()}) {
            with_damage(store / "store.db", later, [&] {
                const std::string text =
                    "the store was written by a newer Tome (format 3); update to use it: " + store.string();
                expect_error(author_.sync(), invalid, text);
                expect_error(author_.push(), invalid, text);
                expect_error(author_.stage({"a.txt"}), invalid, text);
            });
        }
        with_damage(index, later, [&] {
            expect_error(author_.sync(), invalid, "the checkout was written by a newer Tome: " + index.string());
        });
        EXPECT_EQ(author_.push().text(), "done");
    }
};

TEST_F(DamageByALaterVersion, IsRefusedAndNothingIsWritten) {
    expect_refusal("PRAGMA user_version = 3");
}

TEST_F(DamageByALaterVersion, ThatKeepsItsDatabasesInAnotherModeIsRefusedAndNothingIsWritten) {
    expect_refusal("PRAGMA user_version = 3; PRAGMA journal_mode = DELETE");
}

TEST_F(StoreDamage, ByAVersionThatThereNeverWasIsCorrupt) {
    const FileDamage older{
        "older", [](const std::filesystem::path& path) { DamageDatabase(path).execute("PRAGMA user_version = -1"); }};
    const std::filesystem::path index = author_ / ".tome/index.db";
    with_damage(remote_store_ / "store.db", older,
                [&] { expect_error(author_.sync(), corrupt, "corrupt store: " + remote_store_.string()); });
    with_damage(index, older, [&] { expect_error(author_.sync(), corrupt, "corrupt index: " + index.string()); });
}

TEST_F(StoreDamage, OfTheConfigurationIsNamed) {
    const std::filesystem::path config = author_ / ".tome/config.toml";
    const std::string sound = read_file(config);
    const std::string damaged = "damaged checkout configuration: " + config.string() + ": ";
    for (const std::string& text : {std::string(), sound.substr(0, 20), std::string("remote_url = 1\n"),
                                    std::string(300, '\xff'), sound + "[", std::string(sound.size(), '\0')}) {
        SCOPED_TRACE(text);
        write_file(config, text);
        const DamageReply reply = author_.sync();
        EXPECT_EQ(reply.code, corrupt);
        EXPECT_TRUE(reply.text().starts_with(damaged)) << reply.text();
        EXPECT_EQ(read_file(config), text);
    }
    std::filesystem::remove(config);
    expect_error(author_.sync(), not_found, "not a checkout: " + author_.path().string());
    std::filesystem::create_directory(config);
    expect_error(author_.sync(), file_system, "not a regular file: " + config.string());
    std::filesystem::remove(config);
    write_file(config, std::string((1U << 20U) + 1, '#'));
    expect_error(author_.sync(), file_system, "file is larger than expected: " + config.string());
    write_file(config, sound);
    EXPECT_EQ(author_.sync().text(), "done");
}

TEST_F(StoreDamage, OfTheRemotesMarkerRefusesNewRepositoriesAndKeepsOldOnes) {
    const std::filesystem::path remote = folder_ / "remote";
    const DamageCheckout other(folder_ / "other", "file://" + remote.string() + "/other");
    for (const std::string marker :
         {"", "tome remote 2\n", "tome remote 1", "tome remote 1\n\n", "tome remote 1\nname\n", "tome remote 1\n = a\n",
          "tome remote 1\nname = a", "tome remote 1\nA = a\n", "tome remote 1\nname = a\nrest\n"}) {
        write_file(remote / "tome-remote", marker);
        expect_error(other.create(), invalid, "the directory is not a Tome remote: " + remote.string());
        EXPECT_FALSE(std::filesystem::exists(remote / "other"));
        EXPECT_EQ(read_file(remote / "tome-remote"), marker);
    }
    std::filesystem::remove(remote / "tome-remote");
    for (const auto& make : {replace_by_fifo, replace_by_folder}) {
        make(remote / "tome-remote");
        expect_error(other.create(), file_system, "not a regular file: " + (remote / "tome-remote").string());
        EXPECT_FALSE(std::filesystem::exists(remote / "other"));
    }
    EXPECT_EQ(author_.sync().text(), "done");
}

// A file where a folder of the remote or the store should be.
TEST_F(StoreDamage, ByFilesInThePlaceOfFoldersIsNamed) {
    const std::filesystem::path file = folder_ / "file";
    write_file(file, "file");
    expect_error(DamageCheckout(folder_ / "other", "file://" + file.string() + "/scenes").create(), invalid,
                 "the remote is not a directory: " + file.string());
    std::filesystem::rename(remote_store_, folder_ / "kept");
    write_file(remote_store_, "file");
    const std::string text = "corrupt store: " + remote_store_.string() + " (store.db is missing)";
    expect_error(checkout("clone").clone(), corrupt, text);
    expect_error(author_.push(), corrupt, text);
    EXPECT_EQ(read_file(remote_store_), "file");
    std::filesystem::remove(remote_store_);
    std::filesystem::rename(folder_ / "kept", remote_store_);
    EXPECT_EQ(author_.push().text(), "done");
}

TEST_F(StoreDamage, ByTheLossOfTheRemotesDatabaseIsNamedByEveryOperation) {
    const std::string text = "corrupt store: " + remote_store_.string() + " (store.db is missing)";
    const FileDamage lost{"lost", [](const std::filesystem::path& path) { std::filesystem::remove(path); }};
    with_damage(remote_store_ / "store.db", lost, [&] {
        expect_error(checkout("clone").clone(), corrupt, text);
        expect_error(author_.history(), corrupt, text);
        expect_error(author_.list_branches(), corrupt, text);
        expect_error(author_.status(), corrupt, text);
        expect_error(author_.sync(), corrupt, text);
        expect_error(author_.push(), corrupt, text);
        expect_error(checkout("second").create(), 3, "Already exists: " + repository_);
        EXPECT_FALSE(std::filesystem::exists(remote_store_ / "store.db"));
    });
    EXPECT_EQ(author_.push().text(), "done");
}

// What may stand in the place of a large content's file.
struct Intruder {
    std::string what;
    void (*place)(const std::filesystem::path&);
};
const std::vector<Intruder> intruders{
    {"link", replace_by_link}, {"FIFO", replace_by_fifo}, {"folder", replace_by_folder}};

TEST_F(StoreDamage, ByWhatIsNoFileInTheRemotesContentIsNotFollowedAndDoesNotHang) {
    const std::filesystem::path content = damage_content_file(remote_store_, tome::digest_of(large_bytes));
    for (const Intruder& intruder : intruders) {
        SCOPED_TRACE(intruder.what);
        intruder.place(content);
        const DamageReply reply = checkout("clone-" + intruder.what).clone();
        EXPECT_NE(reply.code, 0);
        EXPECT_NE(reply.text().find(content.string()), std::string::npos) << reply.text();
        EXPECT_FALSE(std::filesystem::exists(folder_ / ("clone-" + intruder.what) / ".tome"));
        EXPECT_FALSE(std::filesystem::exists(folder_ / ("clone-" + intruder.what) / "Assets"));
        std::filesystem::remove(content);
        write_file(content, large_bytes);
    }
    EXPECT_EQ(checkout("clone").clone().text(), "done");
}

TEST_F(StoreDamage, ByWhatIsNoFileInTheCheckoutsContentIsMadeGoodByTheRemote) {
    const std::filesystem::path content = damage_content_file(author_.own_store(), tome::digest_of(large_bytes));
    for (const Intruder& intruder : intruders) {
        SCOPED_TRACE(intruder.what);
        intruder.place(content);
        std::filesystem::remove(author_ / "Assets/large.bin");
        EXPECT_EQ(author_.sync().text(), "done");
        EXPECT_TRUE(std::filesystem::exists(author_ / "Assets/large.bin"));
        std::filesystem::remove(content);
        write_file(content, large_bytes);
    }
}

TEST_F(StoreDamage, ByLinksInThePlaceOfTheRemotesContentFoldersWritesNothingBehindThem) {
    const std::filesystem::path outside = folder_ / "outside";
    const std::filesystem::path kept = folder_ / "kept";
    for (const bool whole : {false, true}) {
        SCOPED_TRACE(whole ? "content" : "one of its folders");
        const std::string fresh = std::string(100'000, 'f') + (whole ? "2" : "1");
        const std::filesystem::path fan_out = damage_content_file(remote_store_, tome::digest_of(fresh)).parent_path();
        const std::filesystem::path folder = whole ? fan_out.parent_path() : fan_out;
        author_.commit_files({{"fresh.bin", fresh}});
        std::filesystem::create_directories(folder);
        std::filesystem::rename(folder, kept);
        std::filesystem::create_directory(outside);
        std::filesystem::create_directory_symlink(outside, folder);
        const auto heads = remote_heads();
        EXPECT_NE(author_.push().code, 0);
        EXPECT_EQ(damage_snapshot(outside), (std::map<std::string, std::string>()));
        EXPECT_EQ(remote_heads(), heads);
        std::filesystem::remove(folder);
        std::filesystem::remove_all(outside);
        std::filesystem::rename(kept, folder);
    }
}

TEST_F(StoreDamage, ByLinksInThePlaceOfTheRemotesLogIsNotFollowed) {
    const std::filesystem::path outside = folder_ / "outside";
    for (const std::string suffix : {"-wal", "-shm"}) {
        SCOPED_TRACE(suffix);
        leave_the_file_alone(remote_store_ / "store.db");
        write_file(outside, "theirs");
        std::filesystem::create_symlink(outside, remote_store_ / ("store.db" + suffix));
        const DamageReply reply = author_.push();
        EXPECT_EQ(reply.code, file_system);
        EXPECT_NE(reply.text().find((remote_store_ / "store.db").string()), std::string::npos) << reply.text();
        EXPECT_EQ(read_file(outside), "theirs");
        std::filesystem::remove(remote_store_ / ("store.db" + suffix));
    }
}

}  // namespace
}  // namespace quill_test
