#include "tome/checkout/checkout_state.h"

#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <random>

#include "tests/support/temporary_folder.h"
#include "tome/base/error.h"

namespace {

using namespace std::string_literals;
namespace fs = std::filesystem;
using quill_test::read_file;
using quill_test::write_file;
using tome::BranchName;
using tome::CheckoutState;
using tome::Digest;
using tome::ErrorCode;
using tome::FileStamp;
using tome::HeldFile;
using tome::TreeEntry;
using Texts = std::map<std::string, std::string>;

const BranchName main_branch = BranchName::parse("main");
const BranchName other_branch = BranchName::parse("evening-light");
constexpr std::int64_t second = 1'000'000'000;
constexpr std::int64_t millisecond = 1'000'000;

// Texts that end statements, patterns or lines where they are not bound as parameters.
const std::string odd_texts[] = {
    "'; DROP TABLE file; --", "%", "_", "a\"b", "a'b", "a\nb", "a\\b", "?1", "]", "=", "\xc3\xa4", "\xff\xfe"};

Digest digest(char fill) {
    return tome::digest_from_bytes(std::string(32, fill));
}

// "" when the call succeeds, else the text of the error, which is marked when its code is another one.
template <typename Call>
std::string failure(ErrorCode code, Call call) {
    try {
        call();
    } catch (const tome::Error& error) {
        return (error.code() == code ? "" : "of another code: ") + std::string(error.what());
    }
    return "";
}

std::vector<std::string> names(const std::map<std::string, HeldFile>& files) {
    std::vector<std::string> result;
    for (const auto& [path, file] : files) {
        result.push_back(path);
    }
    return result;
}

// Everything that a state holds, read once.
void read_all(CheckoutState& state) {
    state.branch();
    state.base();
    state.held_file("folder/file-7");
    state.held_files("");
    state.held_files("folder");
    for (int i = 0; i < 300; ++i) {
        state.seen_file("folder/file-" + std::to_string(i));
    }
    state.base_tree();
    state.staged_changes();
    for (const BranchName& branch : {main_branch, other_branch}) {
        state.local_head(branch);
        state.noted_metadata(branch);
    }
}

class CheckoutIndexFile : public testing::Test {
  protected:
    CheckoutIndexFile() { CheckoutState::create(file_, main_branch, digest('b')); }

    // Runs SQL that the state itself would not run.
    void alter(const char* sql) const { tome::Database(file_, tome::Database::Mode::Open).execute(sql); }

    // Puts `bytes` in the place of the database and nothing beside it.
    void replace(const std::string& bytes) const {
        fs::remove_all(file_.parent_path());
        write_file(file_, bytes);
    }

    // The bytes of a database of many pages, with rows in each table.
    std::string filled_bytes() const {
        {
            CheckoutState state(file_);
            tome::Transaction transaction(state.database());
            for (int i = 0; i < 300; ++i) {
                const std::string path = "folder/file-" + std::to_string(i);
                state.hold_file(path, digest('f'), {5, 1, 2, 3, false});
                state.remember_seen(path, digest('e'), {5, 1, 2, 3, false});
                state.stage(path, TreeEntry{"", TreeEntry::Kind::File, false, 5, digest('s')});
                state.note_metadata(main_branch, "key-" + std::to_string(i), std::string(60, 'v'));
            }
            state.set_local_head(main_branch, digest('h'));
            state.set_base_tree(digest('t'));
            transaction.commit();
        }
        alter("PRAGMA wal_checkpoint(TRUNCATE)");
        return read_file(file_);
    }

    std::string failure_to_read(ErrorCode code) const {
        return failure(code, [&] {
            CheckoutState state(file_);
            read_all(state);
        });
    }

    void expect_corrupt(const std::string& what) const {
        const std::string text = failure_to_read(ErrorCode::Corrupt);
        EXPECT_TRUE(text.starts_with("corrupt index: ") || text.starts_with("corrupt database: "))
            << what << ": " << text;
        EXPECT_NE(text.find(file_.string()), std::string::npos) << what << ": " << text;
    }

    quill_test::TemporaryFolder folder_;
    fs::path file_ = (fs::create_directories(folder_ / "state"), folder_ / "state/index.db");
};

// ---- Branch and base

TEST_F(CheckoutIndexFile, KnowsItsBranchAndBase) {
    CheckoutState state(file_);
    EXPECT_EQ(state.branch(), main_branch);
    EXPECT_EQ(state.base(), digest('b'));
    state.set_base(other_branch, digest('c'));
    CheckoutState again(file_);
    EXPECT_EQ(again.branch(), other_branch);
    EXPECT_EQ(again.base(), digest('c'));
}

TEST_F(CheckoutIndexFile, MayHaveNoBase) {
    CheckoutState::create(folder_ / "index.db", main_branch, {});
    CheckoutState state(folder_ / "index.db");
    EXPECT_TRUE(state.base().is_zero());
    state.set_base(main_branch, digest('c'));
    state.set_base(main_branch, {});
    EXPECT_TRUE(state.base().is_zero());
}

TEST_F(CheckoutIndexFile, StartsWithoutRows) {
    CheckoutState state(file_);
    EXPECT_TRUE(state.held_files("").empty());
    EXPECT_TRUE(state.staged_changes().empty());
    EXPECT_TRUE(state.noted_metadata(main_branch).empty());
    EXPECT_EQ(state.local_head(main_branch), std::nullopt);
    EXPECT_EQ(state.held_file("a").has_value(), false);
}

TEST_F(CheckoutIndexFile, HasTheDocumentedVersion) {
    EXPECT_EQ(CheckoutState(file_).database().user_version(), 2);
}

TEST_F(CheckoutIndexFile, OfVersion1GetsWhatItLacksAndKeepsTheRest) {
    CheckoutState(file_).hold_file("a", digest('a'), {});
    alter("DROP TABLE base_tree; DROP TABLE seen; PRAGMA user_version = 1");
    CheckoutState state(file_);
    EXPECT_EQ(state.database().user_version(), 2);
    EXPECT_EQ(names(state.held_files("")), std::vector<std::string>{"a"});
    EXPECT_EQ(state.base_tree(), std::nullopt);
    EXPECT_EQ(state.seen_file("a").has_value(), false);
}

TEST_F(CheckoutIndexFile, OfVersion1WithOtherTablesIsDamaged) {
    alter("DROP TABLE seen; CREATE TABLE other (a); PRAGMA user_version = 1");
    EXPECT_EQ(failure(ErrorCode::Corrupt, [&] { CheckoutState state(file_); }), "corrupt index: " + file_.string());
}

TEST_F(CheckoutIndexFile, ForgetsTheBaseTreeWithANewBase) {
    CheckoutState state(file_);
    state.set_base_tree(digest('t'));
    EXPECT_EQ(state.base_tree(), digest('t'));
    state.set_base(main_branch, digest('c'));
    EXPECT_EQ(state.base_tree(), std::nullopt);
}

TEST_F(CheckoutIndexFile, RemembersWhatWasSeenApartFromWhatIsHeld) {
    CheckoutState state(file_);
    state.remember_seen("a", digest('e'), {5, 1, 2, 3, false});
    EXPECT_EQ(state.held_file("a").has_value(), false);
    EXPECT_EQ(state.seen_file("a").value().digest, digest('e'));
}

TEST_F(CheckoutIndexFile, IsNotMadeOverAnother) {
    CheckoutState(file_).hold_file("a", digest('a'), {});
    EXPECT_THROW(CheckoutState::create(file_, other_branch, {}), tome::Error);
    CheckoutState state(file_);
    EXPECT_EQ(state.branch(), main_branch);
    EXPECT_EQ(names(state.held_files("")), std::vector<std::string>{"a"});
}

// ---- Held files

TEST_F(CheckoutIndexFile, GivesBackAHeldFile) {
    const FileStamp stamps[] = {
        {5, 1700000000123456789, 1700000000987654321, 42, true},
        {0, 0, 0, 0, false},
        {std::numeric_limits<std::uint64_t>::max(), -1, std::numeric_limits<std::int64_t>::min(),
         std::numeric_limits<std::uint64_t>::max(), false},
    };
    for (const FileStamp& stamp : stamps) {
        CheckoutState(file_).hold_file("a/b", digest('d'), stamp);
        const std::optional<HeldFile> found = CheckoutState(file_).held_file("a/b");
        ASSERT_TRUE(found.has_value());
        EXPECT_EQ(found->digest, digest('d'));
        EXPECT_EQ(found->stamp, stamp);
    }
    EXPECT_EQ(CheckoutState(file_).held_files("").size(), 1U);
}

TEST_F(CheckoutIndexFile, DropsAHeldFile) {
    CheckoutState state(file_);
    state.hold_file("a", digest('d'), {});
    state.hold_file("b", digest('d'), {});
    state.drop_file("a");
    state.drop_file("never there");
    EXPECT_FALSE(state.held_file("a").has_value());
    EXPECT_EQ(names(state.held_files("")), std::vector<std::string>{"b"});
}

TEST_F(CheckoutIndexFile, ListsExactlyWhatLiesInAFolder) {
    CheckoutState state(file_);
    for (const char* path :
         {"a", "a/b", "a/b/c", "a/\xff", "a ", "a-b", "a.b", "a.b/c", "a0", "ab/c", "A/b", "%/b", "_/b"}) {
        state.hold_file(path, digest('d'), {});
    }
    using Names = std::vector<std::string>;
    EXPECT_EQ(state.held_files("").size(), 13U);
    EXPECT_EQ(names(state.held_files("a")), (Names{"a", "a/b", "a/b/c", "a/\xff"}));
    EXPECT_EQ(names(state.held_files("a/b")), (Names{"a/b", "a/b/c"}));
    EXPECT_EQ(names(state.held_files("A")), (Names{"A/b"}));
    EXPECT_EQ(names(state.held_files("%")), (Names{"%/b"}));
    EXPECT_EQ(names(state.held_files("_")), (Names{"_/b"}));
    EXPECT_EQ(names(state.held_files("b")), Names{});
}

TEST_F(CheckoutIndexFile, KeepsOddPathsApart) {
    for (const std::string& path : odd_texts) {
        CheckoutState(file_).hold_file("folder/" + path, digest('d'), {});
        if (path.find('\\') == std::string::npos) {  // No tree holds such a name, so it is never staged.
            CheckoutState(file_).stage("folder/" + path, std::nullopt);
        }
    }
    CheckoutState state(file_);
    for (const std::string& path : odd_texts) {
        EXPECT_TRUE(state.held_file("folder/" + path).has_value()) << path;
        EXPECT_EQ(names(state.held_files("folder/" + path)), std::vector<std::string>{"folder/" + path});
        EXPECT_EQ(state.staged_changes().contains("folder/" + path), path.find('\\') == std::string::npos) << path;
    }
    EXPECT_EQ(state.held_files("").size(), std::size(odd_texts));
}

TEST(HeldFile, IsUnchangedWhenItsStampIsTheSameAndOldEnough) {
    const FileStamp stamp{5, 1000 * second + 1, 999 * second + 1, 7, false};
    const HeldFile held{digest('d'), stamp, stamp.modified + 20 * millisecond + 1};
    EXPECT_TRUE(held.is_unchanged(stamp));
    for (const FileStamp& now : {FileStamp{6, stamp.modified, stamp.changed, 7, false},
                                 FileStamp{5, stamp.modified + 1, stamp.changed, 7, false},
                                 FileStamp{5, stamp.modified - 1, stamp.changed, 7, false},
                                 FileStamp{5, stamp.modified, stamp.changed + 1, 7, false},
                                 FileStamp{5, stamp.modified, stamp.changed, 8, false},
                                 FileStamp{5, stamp.modified, stamp.changed, 7, true}}) {
        EXPECT_FALSE(held.is_unchanged(now));
    }
}

TEST(HeldFile, IsNotTrustedWhenItWasWrittenJustBeforeItWasRecorded) {
    struct Case {
        std::int64_t modified, changed, recorded;
        bool trusted;
    };
    const std::int64_t time = 1000 * second + 1;
    const std::int64_t whole = 1000 * second;
    for (const Case& c : {Case{time, time, time, false}, Case{time, time, time + 20 * millisecond - 1, false},
                          Case{time, time, time + 20 * millisecond + 1, true},
                          // The newer of the two times counts.
                          Case{time - second, time, time + 10 * millisecond, false},
                          Case{time, time - second, time + 10 * millisecond, false},
                          // Times in whole seconds need a wider margin.
                          Case{whole, whole, whole + second, false}, Case{whole, whole, whole + 2 * second - 1, false},
                          Case{whole, whole, whole + 2 * second + 1, true},
                          // A time in the future.
                          Case{time + second, time, time, false}}) {
        const FileStamp stamp{5, c.modified, c.changed, 7, false};
        EXPECT_EQ((HeldFile{digest('d'), stamp, c.recorded}.is_unchanged(stamp)), c.trusted)
            << c.modified << " " << c.changed << " " << c.recorded;
    }
}

TEST_F(CheckoutIndexFile, RecordsWhenAFileWasHeld) {
    CheckoutState state(file_);
    const FileStamp old{5, second + 1, second + 1, 7, false};
    const FileStamp future{5, std::numeric_limits<std::int64_t>::max() - second, second, 7, false};
    state.hold_file("old", digest('d'), old);
    state.hold_file("future", digest('d'), future);
    EXPECT_TRUE(state.held_file("old")->is_unchanged(old));
    EXPECT_FALSE(state.held_file("future")->is_unchanged(future));
}

// ---- Staged changes

TEST_F(CheckoutIndexFile, GivesBackStagedChanges) {
    CheckoutState state(file_);
    state.stage("a", TreeEntry{"a", TreeEntry::Kind::File, true, 7, digest('a')});
    state.stage("b", TreeEntry{"b", TreeEntry::Kind::File, false, 0, digest('b')});
    state.stage("c", std::nullopt);
    const tome::TreeChanges changes = CheckoutState(file_).staged_changes();
    ASSERT_EQ(changes.size(), 3U);
    EXPECT_EQ(changes.at("a")->digest, digest('a'));
    EXPECT_EQ(changes.at("a")->size, 7U);
    EXPECT_TRUE(changes.at("a")->executable);
    EXPECT_EQ(changes.at("a")->kind, TreeEntry::Kind::File);
    EXPECT_EQ(changes.at("b")->size, 0U);
    EXPECT_FALSE(changes.at("b")->executable);
    EXPECT_FALSE(changes.at("c").has_value());
}

TEST_F(CheckoutIndexFile, StagesTheLastChangeOfAPath) {
    CheckoutState state(file_);
    state.stage("a", TreeEntry{"a", TreeEntry::Kind::File, true, 7, digest('a')});
    state.stage("a", std::nullopt);
    EXPECT_FALSE(state.staged_changes().at("a").has_value());
    state.stage("a", TreeEntry{"a", TreeEntry::Kind::File, false, 8, digest('b')});
    EXPECT_EQ(state.staged_changes().at("a")->digest, digest('b'));
    EXPECT_EQ(state.staged_changes().size(), 1U);
}

TEST_F(CheckoutIndexFile, Unstages) {
    CheckoutState state(file_);
    for (const char* path : {"a", "a/b", "c"}) {
        state.stage(path, std::nullopt);
    }
    state.unstage("a");
    state.unstage("never there");
    EXPECT_EQ(state.staged_changes().size(), 2U);
    EXPECT_FALSE(state.staged_changes().contains("a"));
    state.unstage_all();
    EXPECT_TRUE(state.staged_changes().empty());
}

// ---- Local heads and noted metadata

TEST_F(CheckoutIndexFile, KeepsALocalHeadForEachBranch) {
    CheckoutState state(file_);
    state.set_local_head(main_branch, digest('1'));
    state.set_local_head(other_branch, digest('2'));
    state.set_local_head(main_branch, digest('3'));
    EXPECT_EQ(CheckoutState(file_).local_head(main_branch), digest('3'));
    EXPECT_EQ(CheckoutState(file_).local_head(other_branch), digest('2'));
    state.drop_local_head(main_branch);
    EXPECT_EQ(state.local_head(main_branch), std::nullopt);
    EXPECT_EQ(state.local_head(other_branch), digest('2'));
}

TEST_F(CheckoutIndexFile, KeepsNotedMetadataForEachBranch) {
    CheckoutState state(file_);
    state.note_metadata(main_branch, "key", "old");
    state.note_metadata(main_branch, "key", "new");
    state.note_metadata(other_branch, "key", "other");
    EXPECT_EQ(CheckoutState(file_).noted_metadata(main_branch), (Texts{{"key", "new"}}));
    EXPECT_EQ(CheckoutState(file_).noted_metadata(other_branch), (Texts{{"key", "other"}}));
}

TEST_F(CheckoutIndexFile, GivesBackAnyMetadataTextExactly) {
    CheckoutState state(file_);
    Texts texts{{"", ""}, {"empty", ""}, {"a\0b"s, "\0c\0"s}, {"long", std::string(1'000'000, 'v')}};
    for (const std::string& text : odd_texts) {
        texts[text] = text;
    }
    for (const auto& [key, value] : texts) {
        state.note_metadata(main_branch, key, value);
    }
    EXPECT_TRUE(CheckoutState(file_).noted_metadata(main_branch) == texts);
    state.drop_noted_metadata(main_branch, texts);
    EXPECT_TRUE(state.noted_metadata(main_branch).empty());
}

TEST_F(CheckoutIndexFile, DropsOnlyMetadataThatIsStillWhatWasPublished) {
    CheckoutState state(file_);
    state.note_metadata(main_branch, "same", "1");
    state.note_metadata(main_branch, "changed", "2");
    state.note_metadata(main_branch, "unpublished", "3");
    state.note_metadata(other_branch, "same", "1");
    state.drop_noted_metadata(main_branch, {{"same", "1"}, {"changed", "1"}, {"unknown", "1"}});
    EXPECT_EQ(state.noted_metadata(main_branch), (Texts{{"changed", "2"}, {"unpublished", "3"}}));
    EXPECT_EQ(state.noted_metadata(other_branch), (Texts{{"same", "1"}}));
}

// ---- Transactions

TEST_F(CheckoutIndexFile, ForgetsATransactionThatIsNotCommitted) {
    CheckoutState state(file_);
    {
        tome::Transaction transaction(state.database());
        state.hold_file("a", digest('a'), {});
        state.set_base(other_branch, digest('c'));
    }
    EXPECT_TRUE(state.held_files("").empty());
    EXPECT_EQ(state.branch(), main_branch);
    EXPECT_EQ(state.base(), digest('b'));
}

TEST_F(CheckoutIndexFile, ShowsWhatAnotherCommittedAndNothingElse) {
    CheckoutState reader(file_);
    CheckoutState writer(file_);
    tome::Transaction transaction(writer.database());
    writer.hold_file("a", digest('a'), {});
    EXPECT_TRUE(reader.held_files("").empty());
    transaction.commit();
    EXPECT_EQ(names(reader.held_files("")), std::vector<std::string>{"a"});
}

// ---- Things in the file's place

TEST_F(CheckoutIndexFile, RefusesAnEmptyFile) {
    replace("");
    EXPECT_EQ(failure(ErrorCode::Corrupt, [&] { CheckoutState state(file_); }), "corrupt index: " + file_.string());
}

TEST_F(CheckoutIndexFile, RefusesAMissingFileAndMakesNone) {
    fs::remove_all(file_.parent_path());
    fs::create_directories(file_.parent_path());
    const std::string text = failure(ErrorCode::Io, [&] { CheckoutState state(file_); });
    EXPECT_TRUE(text.starts_with("could not ") && text.ends_with(file_.string())) << text;
    EXPECT_TRUE(fs::is_empty(file_.parent_path()));
}

TEST_F(CheckoutIndexFile, RefusesAFolderInItsPlace) {
    fs::remove_all(file_.parent_path());
    write_file(file_ / "inside", "x");
    const std::string text = failure(ErrorCode::Io, [&] { CheckoutState state(file_); });
    EXPECT_TRUE(text.starts_with("could not ") && text.ends_with(file_.string())) << text;
    const std::string making = failure(ErrorCode::Io, [&] { CheckoutState::create(file_, main_branch, digest('b')); });
    EXPECT_TRUE(making.starts_with("could not ") && making.ends_with(file_.string())) << making;
    EXPECT_EQ(read_file(file_ / "inside"), "x");
}

TEST_F(CheckoutIndexFile, DoesNotFollowALink) {
    const std::string bytes = filled_bytes();
    write_file(folder_ / "elsewhere.db", bytes);
    fs::remove_all(file_.parent_path());
    fs::create_directories(file_.parent_path());
    fs::create_symlink(folder_ / "elsewhere.db", file_);
    EXPECT_EQ(failure(ErrorCode::Io, [&] { CheckoutState state(file_); }),
              "a symbolic link stands in the way: " + file_.string());
    EXPECT_EQ(failure(ErrorCode::Io, [&] { CheckoutState::create(file_, main_branch, {}); }),
              "a symbolic link stands in the way: " + file_.string());
    EXPECT_TRUE(read_file(folder_ / "elsewhere.db") == bytes);
}

TEST_F(CheckoutIndexFile, RefusesWhatIsNoDatabase) {
    for (const std::string& bytes :
         {"xy"s, "remote_url = \"\"\n"s, "SQLite format 3"s, "SQLite format 3\0"s, std::string(100, '\0'),
          std::string(5000, '\0'), std::string(5000, '\xff'), "SQLite format 3\0"s + std::string(5000, 'x')}) {
        replace(bytes);
        expect_corrupt(testing::PrintToString(bytes.substr(0, 20)));
        EXPECT_TRUE(read_file(file_) == bytes) << "changed: " << testing::PrintToString(bytes.substr(0, 20));
    }
}

// ---- Versions

TEST_F(CheckoutIndexFile, RefusesANewerVersion) {
    for (const char* sql : {"PRAGMA user_version = 3", "PRAGMA user_version = 2147483647"}) {
        alter(sql);
        EXPECT_EQ(failure(ErrorCode::Invalid, [&] { CheckoutState state(file_); }),
                  "the checkout was written by a newer Tome: " + file_.string());
    }
}

TEST_F(CheckoutIndexFile, RefusesAVersionThatNeverWas) {
    for (const char* sql :
         {"PRAGMA user_version = 0", "PRAGMA user_version = -1", "PRAGMA user_version = -2147483648"}) {
        alter(sql);
        EXPECT_EQ(failure(ErrorCode::Corrupt, [&] { CheckoutState state(file_); }), "corrupt index: " + file_.string());
    }
}

TEST_F(CheckoutIndexFile, ChangesNothingInANewerVersion) {
    for (const char* mode : {"PRAGMA journal_mode = WAL", "PRAGMA journal_mode = DELETE"}) {
        alter("PRAGMA user_version = 3; PRAGMA wal_checkpoint(TRUNCATE)");
        alter(mode);
        const std::string bytes = read_file(file_);
        EXPECT_THROW(CheckoutState state(file_), tome::Error);
        EXPECT_TRUE(read_file(file_) == bytes) << mode;
    }
}

// ---- Damage

TEST_F(CheckoutIndexFile, RefusesAnIndexThatIsCutOff) {
    const std::string bytes = filled_bytes();
    ASSERT_GE(bytes.size(), 20U * 4096);
    for (std::size_t length = 1; length < bytes.size(); length = length < 4096 ? length * 2 : length + 4096) {
        replace(bytes.substr(0, length));
        expect_corrupt("cut off at " + std::to_string(length));
    }
}

TEST_F(CheckoutIndexFile, RefusesAnIndexWithAnOverwrittenPage) {
    const std::string sound = filled_bytes();
    for (std::size_t page = 0; page < sound.size(); page += 4096) {
        for (const char fill : {'\0', '\xff', 'x'}) {
            std::string damaged = sound;
            damaged.replace(page, 4096, std::string(4096, fill));
            replace(damaged);
            expect_corrupt("page at " + std::to_string(page) + " filled with " + std::to_string(fill));
        }
    }
}

TEST_F(CheckoutIndexFile, SurvivesOverwrittenBytesAnywhere) {
    const std::string sound = filled_bytes();
    std::mt19937 random(15);  // the same damage everywhere
    for (int round = 0; round < 150; ++round) {
        std::string damaged = sound;
        // Every other round hits the first page, which holds the header and the schema.
        const std::size_t range = round % 2 == 0 ? 4096 : damaged.size();
        for (auto changes = 1 + random() % 8; changes > 0; --changes) {
            damaged[random() % range] = static_cast<char>(random());
        }
        replace(damaged);
        try {
            CheckoutState state(file_);
            read_all(state);
        } catch (const tome::Error& error) {
            EXPECT_STRNE(error.what(), "");
        }
    }
}

TEST_F(CheckoutIndexFile, RefusesPagesThatLeadToTheSameRowsAgainAndAgain) {
    std::string bytes = filled_bytes();
    const auto number = [&](std::size_t at) {
        return static_cast<std::size_t>(static_cast<unsigned char>(bytes[at])) << 8U |
               static_cast<unsigned char>(bytes[at + 1]);
    };
    const std::size_t page_bytes = number(16);
    std::size_t changed = 0;
    for (std::size_t page = page_bytes; page < bytes.size(); page += page_bytes) {
        if (bytes[page] != 2) {
            continue;  // No page with pages below it.
        }
        const std::string first_child = bytes.substr(page + number(page + 12), 4);
        for (std::size_t cell = 0; cell < number(page + 3); ++cell) {
            bytes.replace(page + number(page + 12 + 2 * cell), 4, first_child);
        }
        ++changed;
    }
    EXPECT_EQ(changed, 4U);
    replace(bytes);
    CheckoutState state(file_);
    for (const auto& read :
         std::initializer_list<std::function<void()>>{[&] { state.held_files(""); }, [&] { state.staged_changes(); },
                                                      [&] { state.noted_metadata(main_branch); }}) {
        EXPECT_EQ(failure(ErrorCode::Corrupt, read), "corrupt index: " + file_.string());
    }
}

TEST_F(CheckoutIndexFile, RefusesAnIndexWithoutOneOfItsTables) {
    const std::string sound = filled_bytes();
    for (const char* sql : {"DROP TABLE checkout", "DROP TABLE file", "DROP TABLE staged", "DROP TABLE local_head",
                            "DROP TABLE noted_metadata", "DROP TABLE base_tree", "DROP TABLE seen",
                            "ALTER TABLE file RENAME COLUMN digest TO other"}) {
        replace(sound);
        alter(sql);
        expect_corrupt(sql);
    }
}

TEST_F(CheckoutIndexFile, RefusesAnIndexWithoutABranchAndABase) {
    alter("DELETE FROM checkout");
    CheckoutState state(file_);
    EXPECT_TRUE(failure(ErrorCode::Corrupt, [&] { state.branch(); }).starts_with("corrupt index: "));
    EXPECT_TRUE(failure(ErrorCode::Corrupt, [&] { state.base(); }).starts_with("corrupt index: "));
}

TEST_F(CheckoutIndexFile, RefusesDigestsOfAnotherLength) {
    const std::string sound = filled_bytes();
    for (const char* sql : {"UPDATE checkout SET base = x'00'", "UPDATE checkout SET base = ''",
                            "UPDATE file SET digest = zeroblob(31)", "UPDATE file SET digest = zeroblob(33)",
                            "UPDATE staged SET digest = x''", "UPDATE local_head SET head = 'text'"}) {
        replace(sound);
        alter(sql);
        expect_corrupt(sql);
    }
}

TEST_F(CheckoutIndexFile, RefusesABranchNameThatCannotBe) {
    for (const char* sql : {"UPDATE checkout SET branch = ''", "UPDATE checkout SET branch = '../main'",
                            "UPDATE checkout SET branch = x'ff00'"}) {
        alter(sql);
        expect_corrupt(sql);
    }
}

TEST_F(CheckoutIndexFile, LosesNothingToGarbageAtTheEndOfItsLog) {
    {
        CheckoutState state(file_);
        state.hold_file("a", digest('a'), {});
    }
    const fs::path log = file_.string() + "-wal";
    ASSERT_TRUE(fs::exists(log));
    write_file(log, read_file(log) + std::string(10'000, '\xff'));
    EXPECT_EQ(names(CheckoutState(file_).held_files("")), std::vector<std::string>{"a"});
}

}  // namespace
