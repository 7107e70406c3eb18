#include "workspace/checkout/file_keeper.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "tests/support/file_test_support.h"
#include "tests/support/temporary_folder.h"

namespace quill {
namespace {

namespace fs = std::filesystem;
using quill_test::failure_of;
using quill_test::names_in;
using quill_test::read_file;
using quill_test::write_file;
using Texts = std::vector<std::string>;

class FileKeeperTest : public testing::Test {
  protected:
    FileKeeperTest() { write_file(package() / "Scenes/Main.usda", "an edit"); }

    fs::path package() const { return folder_ / "P.quillproject"; }
    fs::path sets() const { return package() / ".derived/tome-workspaces/.kept-files"; }
    FileKeeper keeper(const std::string& workspace = "main") const { return {package(), "sync", workspace}; }

    /// Keeps the scene in a set of its own, complete, and returns the set's name.
    std::string keep_scene() const {
        FileKeeper kept = keeper();
        kept.keep("Scenes/Main.usda");
        kept.complete();
        return kept.set();
    }

    quill_test::TemporaryFolder folder_;
};

using FileKeeperSets = FileKeeperTest;

TEST_F(FileKeeperTest, KeepsAFileByASecondName) {
    FileKeeper kept = keeper();
    kept.keep("Scenes/Main.usda");
    EXPECT_TRUE(fs::equivalent(sets() / kept.set() / "Scenes/Main.usda", package() / "Scenes/Main.usda"));
}

TEST_F(FileKeeperTest, KeepsACopyWhereAFileCannotHaveTwoNames) {
    fs::permissions(package() / "Scenes/Main.usda", fs::perms(0700));
    const auto kept_bytes = quill_test::with_idle_calls(quill_test::linking_calls(), EPERM, [&] {
        FileKeeper kept = keeper();
        kept.keep("Scenes/Main.usda");
        const fs::path copy = sets() / kept.set() / "Scenes/Main.usda";
        write_file(package() / "Scenes/Main.usda", "later");
        return read_file(copy) + (fs::status(copy).permissions() == fs::perms(0700) ? ", executable" : "");
    });
    if (!kept_bytes) {
        GTEST_SKIP() << "system calls cannot be refused here";
    }
    EXPECT_EQ(*kept_bytes, "an edit, executable");
}

TEST_F(FileKeeperTest, KeepsTheFilesOfAWorkspacesCheckout) {
    write_file(package() / ".derived/tome-workspaces/feature/Scenes/Main.usda", "of the workspace");
    FileKeeper kept = keeper("feature");
    kept.keep("Scenes/Main.usda");
    EXPECT_EQ(read_file(sets() / kept.set() / "Scenes/Main.usda"), "of the workspace");
}

TEST_F(FileKeeperTest, KeepsALinkItselfAndNotWhatItLeadsTo) {
    fs::create_symlink("/nowhere/at/all", package() / "Scenes/link.usda");
    FileKeeper kept = keeper();
    kept.keep("Scenes/link.usda");
    EXPECT_EQ(fs::read_symlink(sets() / kept.set() / "Scenes/link.usda"), "/nowhere/at/all");
}

TEST_F(FileKeeperTest, ThatKeptNothingLeavesNoFolder) {
    FileKeeper kept = keeper();
    kept.make_way({"Assets/none.bin"});
    kept.keep("Assets/none.bin");
    kept.make_durable();
    kept.complete();
    EXPECT_EQ(kept.set(), "");
    EXPECT_FALSE(fs::exists(package() / ".derived"));
}

TEST_F(FileKeeperTest, MovesAwayFoldersInTheFilesPlacesAndFilesInTheirFoldersPlaces) {
    write_file(package() / "a/b/inner.txt", "in a folder");
    write_file(package() / "c", "a file");
    FileKeeper kept = keeper();
    kept.make_way({"a/b", "c/d/e", "Scenes/Main.usda"});
    EXPECT_EQ(read_file(sets() / kept.set() / "a/b/inner.txt"), "in a folder");
    EXPECT_EQ(read_file(sets() / kept.set() / "c"), "a file");
    EXPECT_FALSE(fs::exists(package() / "a/b"));
    EXPECT_FALSE(fs::exists(package() / "c"));
    EXPECT_TRUE(fs::exists(package() / "Scenes/Main.usda"));
}

TEST_F(FileKeeperTest, MovesNothingThroughALinkOnTheWay) {
    write_file(folder_ / "elsewhere/a/mine.txt", "mine");
    fs::create_directory_symlink(folder_ / "elsewhere", package() / "Assets");
    FileKeeper kept = keeper();
    EXPECT_EQ(failure_of([&] { kept.make_way({"Assets/a"}); }), "could not keep replaced workspace file: Assets/a");
    EXPECT_EQ(failure_of([&] { kept.keep("Assets/a/mine.txt"); }),
              "could not keep replaced workspace file: Assets/a/mine.txt");
    EXPECT_TRUE(fs::exists(folder_ / "elsewhere/a/mine.txt"));
    EXPECT_TRUE(fs::is_symlink(package() / "Assets"));
}

TEST_F(FileKeeperTest, LinkWhereTheSetsLieIsRefusedAtOnce) {
    fs::create_directories(sets().parent_path());
    fs::create_directory_symlink(folder_.path(), sets());
    EXPECT_EQ(failure_of([&] { keeper(); }), "a symbolic link stands in the way: " + sets().string());
}

TEST_F(FileKeeperTest, FileThatCannotBeKeptIsNamed) {
    write_file(sets(), "a file where the folder is to be");
    FileKeeper kept = keeper();
    EXPECT_EQ(failure_of([&] { kept.keep("Scenes/Main.usda"); }),
              "could not keep replaced workspace file: Scenes/Main.usda");
    EXPECT_EQ(kept.set(), "");
}

TEST_F(FileKeeperTest, FileWhoseNameCannotBeSyncedIsNamed) {
    for (const std::size_t files : {std::size_t{1}, std::size_t{100}}) {
        const auto failure = quill_test::with_idle_calls(quill_test::syncing_calls(), EIO, [&] {
            FileKeeper kept = keeper();
            for (std::size_t i = 0; i < files; ++i) {
                write_file(package() / ("Assets/" + std::to_string(i)), "x");
                kept.keep("Assets/" + std::to_string(i));
            }
            return failure_of([&] { kept.make_durable(); });
        });
        if (!failure) {
            GTEST_SKIP() << "system calls cannot be refused here";
        }
        EXPECT_EQ(*failure, "could not keep replaced workspace file: Assets/0");
    }
}

TEST_F(FileKeeperSets, AreNamedByTimeOperationWorkspaceAndProcess) {
    FileKeeper kept = keeper("feature-2");
    write_file(package() / ".derived/tome-workspaces/feature-2/a", "a");
    kept.keep("a");
    const auto name = parse_kept_set_name(kept.set());
    ASSERT_TRUE(name) << kept.set();
    EXPECT_EQ(name->operation, "sync");
    EXPECT_EQ(name->workspace, "feature-2");
    EXPECT_FALSE(name->complete);
    EXPECT_GT(name->time, 1'700'000'000'000);
    EXPECT_NE(kept.set().find("." + std::to_string(getpid()) + "-"), std::string::npos) << kept.set();
}

TEST_F(FileKeeperSets, AreUnfinishedUntilTheCallIsComplete) {
    FileKeeper kept = keeper();
    kept.keep("Scenes/Main.usda");
    EXPECT_TRUE(kept.set().ends_with(".unfinished")) << kept.set();
    EXPECT_EQ(names_in(sets()), (Texts{kept.set()}));
    kept.complete();
    EXPECT_TRUE(parse_kept_set_name(kept.set())->complete) << kept.set();
    EXPECT_EQ(names_in(sets()), (Texts{kept.set()}));
}

TEST_F(FileKeeperSets, OfOneProcessAreInTheirOrderHoweverFastItIs) {
    std::vector<FileKeeper> keepers;
    for (int i = 0; i < 50; ++i) {
        keepers.push_back(keeper());
    }
    Texts made;
    std::set<std::int64_t> times;
    for (FileKeeper& kept : keepers) {
        kept.keep("Scenes/Main.usda");
        made.insert(made.begin(), kept.set());
        times.insert(parse_kept_set_name(kept.set())->time);
    }
    EXPECT_EQ(kept_set_names(FolderTree(package()), kept_sets_folder(package())), made);
    EXPECT_EQ(times.size(), keepers.size());
}

TEST_F(FileKeeperSets, StayUntilTenNewerOnesAreComplete) {
    const std::string first = keep_scene();
    const std::string second = keep_scene();
    for (int i = 0; i < 9; ++i) {
        keep_scene();
    }
    EXPECT_FALSE(fs::exists(sets() / first));
    EXPECT_TRUE(fs::exists(sets() / second));
    EXPECT_EQ(names_in(sets()).size(), max_complete_kept_sets);
}

TEST_F(FileKeeperSets, OfCallsThatWereCutOffStayAsDoesWhatIsNoSet) {
    const std::string cut_off = "1600000000000.restore.main.12-34.unfinished";
    write_file(sets() / cut_off / "Assets/a.txt", "nowhere else");
    write_file(sets() / "notes/a.txt", "of the user");
    for (std::size_t i = 0; i <= max_complete_kept_sets; ++i) {
        keep_scene();
    }
    EXPECT_EQ(read_file(sets() / cut_off / "Assets/a.txt"), "nowhere else");
    EXPECT_EQ(read_file(sets() / "notes/a.txt"), "of the user");
    EXPECT_EQ(names_in(sets()).size(), max_complete_kept_sets + 2);
}

TEST_F(FileKeeperSets, MadeWhileTheClockIsBehindStayThemselves) {
    for (int i = 0; i < 12; ++i) {
        write_file(sets() / ("99999999999" + std::to_string(10 + i) + ".sync.main.12-34") / "a", "from the future");
    }
    EXPECT_TRUE(fs::exists(sets() / keep_scene()));
    EXPECT_EQ(names_in(sets()).size(), max_complete_kept_sets);
}

TEST_F(FileKeeperSets, ThatCannotBeRemovedFailNoCall) {
    for (int i = 0; i < 12; ++i) {
        write_file(sets() / ("16000000000" + std::to_string(10 + i) + ".sync.main.12-34") / "a", "old");
    }
    const auto failure = quill_test::with_idle_calls(quill_test::removing_calls(), EPERM,
                                                     [&] { return failure_of([&] { keep_scene(); }); });
    if (!failure) {
        GTEST_SKIP() << "system calls cannot be refused here";
    }
    EXPECT_EQ(*failure, "no failure");
    EXPECT_EQ(names_in(sets()).size(), 13U);
}

TEST(KeptSetName, ThatNoSetHasIsNone) {
    for (const std::string name :
         {"", ".unfinished", "1.sync.main", "1.sync.main.", "x.sync.main.12-34", "1..main.12-34", "1.sync..12-34",
          "1.sync.ma/in.12-34", "1.sync.main.12-34.more", "1.Sync.main.12-34", "../1.sync.main.12-34",
          "1.sync.main.12-34/..", "-1.sync.main.12-34", "1234567890123456.sync.main.12-34"}) {
        EXPECT_FALSE(parse_kept_set_name(name)) << name;
    }
    EXPECT_TRUE(parse_kept_set_name("1.restore-kept.Feature_2.12-34"));
}

}  // namespace
}  // namespace quill
