#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "tests/tome/engine_client.h"

namespace quill_test {
namespace {

using Paths = std::vector<std::string>;
using Files = std::map<std::string, std::string>;

const std::string sha256_of_nothing = "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855";
const std::string sha256_of_abc = "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";

// Bytes without a period that a block size could fall on.
std::string some_bytes(std::size_t size) {
    std::string bytes(size, '\0');
    std::uint32_t state = 1;
    for (char& byte : bytes) {
        state = state * 1664525U + 1013904223U;
        byte = static_cast<char>(state >> 24U);
    }
    return bytes;
}

class StagingAndCommit : public EngineOperations {
  protected:
    // What a new clone of main holds.
    Files published() const { return new_clone().files(); }
};

TEST_F(StagingAndCommit, StageReportsWhatDiffersFromTheBaseThenTheBase) {
    const EngineClient client = new_repository({{"a", "1"}, {"b", "2"}, {"c", "3"}});
    client.write("b", "abc");
    std::filesystem::remove(client / "c");
    client.write("folder/new", "");
    const EngineResult staged = client.stage({"a", "b", "c", "folder/new"});
    EXPECT_EQ(staged.error, "");
    EXPECT_EQ(staged.files,
              (std::vector<EngineFile>{
                  {"b", sha256_of_abc, 3, true}, {"c", "", 0, false}, {"folder/new", sha256_of_nothing, 0, true}}));
    EXPECT_EQ(staged.events.back(), TOME_EVENT_BASE_REVISION);
    EXPECT_EQ(staged.hash, remote_head());
    EXPECT_EQ(staged.order, 1U);
}

TEST_F(StagingAndCommit, StageWithoutARevisionReportsAnEmptyBase) {
    const EngineClient client = new_repository();
    client.write("a", "1");
    const EngineResult staged = must(client.stage({"a"}));
    EXPECT_EQ(staged.hash, "");
    EXPECT_EQ(staged.order, 0U);
}

TEST_F(StagingAndCommit, StageOfAFolderTakesAllItHolds) {
    const EngineClient client = new_repository({{"in/a", "1"}, {"in/deep/b", "2"}, {"inside", "3"}});
    client.write("in/deep/b", "X");
    client.write("in/new/c", "Y");
    client.write("inside", "Z");
    std::filesystem::remove(client / "in/a");
    must(EngineClient(client / "in/nested").create("plain"));
    const EngineResult staged = must(client.stage({"in"}));
    Paths paths;
    for (const EngineFile& file : staged.files) {
        paths.push_back((file.present ? "+" : "-") + file.path);
    }
    EXPECT_EQ(paths, (Paths{"+in/deep/b", "+in/new/c", "-in/a"}));
}

TEST_F(StagingAndCommit, StateThatAnotherProcessIsMakingIsNoFileOfTheTree) {
    const EngineClient client = new_repository({{"a", "1"}});
    client.write(".tome-0123456789abcdef/index.db", "half-made");
    client.write("b", "2");
    EXPECT_EQ(must(client.status()).paths, Paths{"b"});
}

TEST_F(StagingAndCommit, StageWithoutAdditionsOrDeletionsPassesThemOver) {
    const EngineClient client = new_repository({{"edited", "1"}, {"gone", "2"}});
    client.write("edited", "X");
    client.write("new", "Y");
    std::filesystem::remove(client / "gone");
    const Paths all{"edited", "gone", "new"};
    EXPECT_EQ(must(client.stage(all, false, false)).files.size(), 1U);
    must(client.commit("edit"));
    must(client.push());
    EXPECT_EQ(published(), (Files{{"edited", "X"}, {"gone", "2"}}));
}

TEST_F(StagingAndCommit, StageOfWhatNeverWasStagesNothing) {
    const EngineClient client = new_repository({{"a", "1"}});
    EXPECT_EQ(must(client.stage({"nowhere", "nowhere/below", "a/below"})).files, std::vector<EngineFile>{});
    EXPECT_EQ(client.commit("m").error, "Nothing staged for commit");
}

TEST_F(StagingAndCommit, FileThatWentBackToTheBaseIsStagedNoMore) {
    const EngineClient client = new_repository({{"a", "1"}, {"b", "1"}});
    client.write("a", "2");
    client.write("new", "2");
    std::filesystem::remove(client / "b");
    must(client.stage({"a", "b", "new"}));
    client.write("a", "1");
    client.write("b", "1");
    std::filesystem::remove(client / "new");
    EXPECT_EQ(must(client.stage({"a", "b", "new"})).files, std::vector<EngineFile>{});
    EXPECT_EQ(client.commit("m").error, "Nothing staged for commit");
    EXPECT_EQ(must(client.status()).paths, Paths{});
}

TEST_F(StagingAndCommit, PathsThatLeaveTheTreeOrNameTheStateFolderAreRefused) {
    const EngineClient client = new_repository();
    write_file(folder_ / "outside", "secret");
    client.write("good", "1");
    for (const std::string path : {"", ".", "../outside", "good/../../outside", "/etc/passwd", ".tome/config.toml",
                                   ".TOME/config.toml", "a/.tome/x", "a\\b"}) {
        EXPECT_EQ(client.stage({"good", path}).error, "invalid path: " + path);
        EXPECT_EQ(client.file_info({path}).error, "invalid path: " + path);
        EXPECT_EQ(client.sync({.paths = {path}}).error, "invalid path: " + path);
    }
    EXPECT_EQ(client.commit("m").error, "Nothing staged for commit") << "a failed call stages nothing";
    EXPECT_EQ(must(client.stage({"./good/"})).files.front().path, "good");
}

TEST_F(StagingAndCommit, FileInfoIsThePlainSha256InTheGivenOrder) {
    const EngineClient client = new_repository({{"held", "abc"}});
    client.write("empty", "");
    client.write("folder/file", "abc");
    EXPECT_EQ(must(client.file_info({"missing", "held", "folder", "empty", "folder/file", "held/below", "held"})).files,
              (std::vector<EngineFile>{{"missing", "", 0, false},
                                       {"held", sha256_of_abc, 3, true},
                                       {"folder", "", 0, false},
                                       {"empty", sha256_of_nothing, 0, true},
                                       {"folder/file", sha256_of_abc, 3, true},
                                       {"held/below", "", 0, false},
                                       {"held", sha256_of_abc, 3, true}}));
}

TEST_F(StagingAndCommit, FileInfoFollowsAnEditThatKeepsSizeAndTime) {
    const EngineClient client = new_repository({{"a", "xyz"}});
    const auto time = std::filesystem::last_write_time(client / "a");
    client.write("a", "abc");
    std::filesystem::last_write_time(client / "a", time);
    EXPECT_EQ(must(client.file_info({"a"})).files.front().hash, sha256_of_abc);
}

TEST_F(StagingAndCommit, CommitMakesARevisionAndTheBase) {
    const EngineClient client = new_repository({{"a", "1"}});
    const std::string before = remote_head();
    client.write("a", "2");
    must(client.stage({"a"}));
    const EngineResult committed = client.commit("Two lines\nof \"text\"");
    EXPECT_EQ(committed.error, "");
    EXPECT_EQ(committed.events, std::vector<int>{TOME_EVENT_COMMITTED});
    EXPECT_EQ(committed.order, 2U);
    EXPECT_EQ(must(client.status()).hash, committed.hash);
    EXPECT_EQ(must(client.status()).paths, Paths{});
    const EngineRevision newest = must(client.history()).revisions.front();
    EXPECT_EQ(newest.hash, committed.hash);
    EXPECT_EQ(newest.message, "Two lines\nof \"text\"");
    EXPECT_EQ(newest.first_parent, before);
    EXPECT_EQ(newest.second_parent, "");
}

TEST_F(StagingAndCommit, CommitOfANameThatDiffersByCaseAloneIsRefusedAndChangesNothing) {
    new_repository({{"Assets/rock.png", "1"}});
    const EngineClient client = new_clone({.sparse = true});
    client.write("Assets/Rock.png", "2");
    must(client.stage({"Assets/Rock.png"}));
    EXPECT_EQ(client.commit("pair").error,
              "names differ only by case or normalisation: Assets/Rock.png and Assets/rock.png");
    EXPECT_EQ(must(client.history()).revisions.size(), 1U);
    std::filesystem::remove(client / "Assets/Rock.png");
    must(client.stage({"Assets/Rock.png"}));
    EXPECT_EQ(client.commit("nothing").error, "Nothing staged for commit");
}

TEST_F(StagingAndCommit, CommitOfNothingIsRefusedAndMakesNoRevision) {
    const EngineClient empty = new_repository();
    EXPECT_EQ(empty.commit("m").error, "Nothing staged for commit");
    empty.write("a", "1");
    empty.publish({"a"});
    EXPECT_EQ(empty.commit("m").error, "Nothing staged for commit") << "a commit empties what was staged";
    empty.write("a", "2");
    EXPECT_EQ(empty.commit("m").error, "Nothing staged for commit") << "an edit alone is not staged";
    EXPECT_EQ(must(empty.history()).revisions.size(), 1U);
}

TEST_F(StagingAndCommit, CommitTakesTheStateThatWasStaged) {
    const EngineClient client = new_repository({{"a", "1"}});
    client.write("a", "staged");
    must(client.stage({"a"}));
    client.write("a", "later");
    must(client.commit("m"));
    must(client.push());
    EXPECT_EQ(published(), (Files{{"a", "staged"}}));
    EXPECT_EQ(client.read("a"), "later");
    EXPECT_EQ(must(client.status()).paths, Paths{"a"});
}

TEST_F(StagingAndCommit, CommitTakesWhatSeveralCallsStaged) {
    const EngineClient client = new_repository({{"a", "1"}, {"b", "2"}});
    client.write("a", "X");
    must(client.stage({"a"}));
    client.write("c", "Y");
    must(client.stage({"c"}));
    std::filesystem::remove(client / "b");
    must(client.stage({"b"}));
    must(client.commit("m"));
    must(client.push());
    EXPECT_EQ(published(), (Files{{"a", "X"}, {"c", "Y"}}));
}

TEST_F(StagingAndCommit, CommitKeepsWhatItWasNotToldOf) {
    new_repository({{"a", "1"}, {"b/c", "2"}, {"b/d", "3"}});
    const EngineClient client = new_clone({.sparse = true});
    client.write("b/c", "X");
    EXPECT_EQ(must(client.stage({"b"})).files.size(), 1U) << "what the checkout never held is not deleted";
    must(client.commit("m"));
    must(client.push());
    EXPECT_EQ(published(), (Files{{"a", "1"}, {"b/c", "X"}, {"b/d", "3"}}));
}

TEST_F(StagingAndCommit, DeletionIsCommittedAlsoWhereTheFileWasNeverHeld) {
    for (const bool sparse : {false, true}) {
        const EngineClient origin(new_folder());
        const std::string url = "file://" + (remote_ / (sparse ? "sparse" : "whole")).string();
        must(origin.create(url));
        for (const std::string path : {"a", "gone/x", "gone/deep/y", "kept/gone"}) {
            origin.write(path, "1");
        }
        origin.write("kept/z", "1");
        origin.publish({"a", "gone", "kept"});
        const EngineClient client(new_folder());
        must(client.clone(url, {.sparse = sparse}));
        std::filesystem::remove(client / "a");
        std::filesystem::remove_all(client / "gone");
        std::filesystem::remove_all(client / "kept/gone");
        const EngineResult staged = must(client.stage({"a", "gone", "kept/gone"}));
        EXPECT_EQ(staged.files, (std::vector<EngineFile>{{"a", "", 0, false},
                                                         {"gone/deep/y", "", 0, false},
                                                         {"gone/x", "", 0, false},
                                                         {"kept/gone", "", 0, false}}));
        must(client.commit("m"));
        must(client.push());
        must(origin.sync());
        EXPECT_EQ(origin.files(), (Files{{"kept/z", "1"}}));
        EXPECT_FALSE(origin.has("gone"));
    }
}

TEST_F(StagingAndCommit, LastFileOfTheTreeMayBeDeleted) {
    const EngineClient client = new_repository({{"folder/a", "1"}});
    std::filesystem::remove_all(client / "folder");
    client.publish({"folder/a"});
    EXPECT_EQ(published(), Files{});
    client.write("folder/a", "again");
    client.publish({"folder"});
    EXPECT_EQ(published(), (Files{{"folder/a", "again"}}));
}

TEST_F(StagingAndCommit, DeepPathsAndOddNamesComeBackAsTheyWere) {
    const EngineClient client = new_repository();
    std::string deep;
    for (int i = 0; i < 60; ++i) {
        deep += "d" + std::to_string(i) + "/";
    }
    const Files files{{deep + "file", "deep"},
                      {std::string(255, 'n'), "long"},
                      {"with space/'quote\"; %20 *?", "odd"},
                      {"line\nfeed", "odd"},
                      {"\xc3\xa4\xe2\x82\xac", "letters"},
                      {"\xff\xfe", "no letters"},
                      {".hidden/.file", "dots"},
                      {"a", "1"},
                      {"a.b", "2"},
                      {"a-b/c", "3"}};
    Paths paths;
    for (const auto& [path, bytes] : files) {
        client.write(path, bytes);
        paths.push_back(path);
    }
    client.publish(paths);
    EXPECT_EQ(published(), files);
    EXPECT_EQ(must(new_clone().status()).paths, Paths{});
}

TEST_F(StagingAndCommit, PathsThatAreTooLongOrTooDeepAreRefused) {
    const EngineClient client = new_repository();
    std::string deep;
    for (int i = 0; i < 255; ++i) {
        deep += "d/";
    }
    EXPECT_EQ(must(client.stage({deep})).files.size(), 0U);
    EXPECT_EQ(client.stage({deep + "d"}).error, "invalid path: " + deep + "d");
    const std::string name(256, 'n');
    EXPECT_EQ(client.stage({name}).error, "invalid path: " + name);
}

TEST_F(StagingAndCommit, ContentsOfEverySizeComeBackAsTheyWere) {
    const EngineClient client = new_repository();
    Files files;
    std::vector<EngineFile> infos;
    Paths paths;
    const std::size_t sizes[] = {0, 1, 65535, 65536, 65537, 5 << 20};
    for (const std::size_t size : sizes) {
        const std::string path = "size/" + std::to_string(10'000'000 + size);
        files[path] = some_bytes(size);
        paths.push_back(path);
        client.write(path, files[path]);
        infos.push_back({path, sha256_of(files[path]), size, true});
    }
    EXPECT_EQ(must(client.stage(paths)).files, infos);
    must(client.commit("m"));
    must(client.push());
    const EngineClient clone = new_clone();
    EXPECT_TRUE(clone.files() == files);
    EXPECT_EQ(must(clone.file_info(paths)).files, infos);
}

TEST_F(StagingAndCommit, LargeFileThatChangesInOneByteIsCommittedAnew) {
    std::string bytes = some_bytes(200'000);
    const EngineClient client = new_repository({{"a", bytes}, {"copy", bytes}});
    bytes.back() = static_cast<char>(bytes.back() ^ 1);
    client.write("a", bytes);
    EXPECT_EQ(must(client.status()).paths, Paths{"a"});
    client.publish({"a", "copy"});
    const Files now = published();
    EXPECT_TRUE(now.at("a") == bytes);
    EXPECT_FALSE(now.at("copy") == bytes);
}

TEST_F(StagingAndCommit, ExecutableBitIsKeptAndItsChangeIsAChange) {
    const EngineClient client = new_repository({{"tool", "1"}, {"plain", "1"}});
    ASSERT_EQ(chmod((client / "tool").c_str(), 0755), 0);
    EXPECT_EQ(must(client.status()).paths, Paths{"tool"});
    const EngineClient other = new_clone();
    client.publish({"tool", "plain"});
    EXPECT_EQ(must(other.sync()).paths, Paths{"tool"});
    const auto is_executable = [](const std::filesystem::path& path) {
        return (std::filesystem::status(path).permissions() & std::filesystem::perms::owner_exec) !=
               std::filesystem::perms::none;
    };
    for (const EngineClient& clone : {other, new_clone()}) {
        EXPECT_TRUE(is_executable(clone / "tool"));
        EXPECT_FALSE(is_executable(clone / "plain"));
        EXPECT_EQ(must(clone.status()).paths, Paths{});
    }
    ASSERT_EQ(chmod((client / "tool").c_str(), 0644), 0);
    client.publish({"tool"});
    must(other.sync());
    EXPECT_FALSE(is_executable(other / "tool"));
}

TEST_F(StagingAndCommit, FileMayTakeThePlaceOfAFolder) {
    const EngineClient client = new_repository({{"x/a", "1"}, {"x/deep/b", "2"}, {"y", "3"}});
    const EngineClient other = new_clone();
    std::filesystem::remove_all(client / "x");
    client.write("x", "a file now");
    EXPECT_EQ(must(client.stage({"x"})).files.size(), 1U);
    must(client.commit("m"));
    must(client.push());
    EXPECT_EQ(must(client.status()).paths, Paths{});
    const Files expected{{"x", "a file now"}, {"y", "3"}};
    EXPECT_EQ(published(), expected);
    must(other.sync());
    EXPECT_EQ(other.files(), expected);
}

TEST_F(StagingAndCommit, FolderMayTakeThePlaceOfAFile) {
    const EngineClient client = new_repository({{"x", "1"}, {"y", "3"}});
    const EngineClient other = new_clone();
    std::filesystem::remove(client / "x");
    client.write("x/a", "2");
    client.write("x/deep/b", "4");
    must(client.stage({"x"}));
    must(client.commit("m"));
    must(client.push());
    EXPECT_EQ(must(client.status()).paths, Paths{});
    const Files expected{{"x/a", "2"}, {"x/deep/b", "4"}, {"y", "3"}};
    EXPECT_EQ(published(), expected);
    must(other.sync());
    EXPECT_EQ(other.files(), expected);
}

TEST_F(StagingAndCommit, KindChangeMayBeStagedByEveryPathThatChanged) {
    const EngineClient client = new_repository({{"x/a", "1"}, {"y", "2"}});
    std::filesystem::remove_all(client / "x");
    std::filesystem::remove(client / "y");
    client.write("x", "file");
    client.write("y/b", "folder");
    const Paths changed = must(client.status()).paths;
    EXPECT_EQ(changed, (Paths{"x", "x/a", "y", "y/b"}));
    client.publish(changed);
    EXPECT_EQ(published(), (Files{{"x", "file"}, {"y/b", "folder"}}));
}

TEST_F(StagingAndCommit, FileThatBecameAnEmptyFolderIsDeleted) {
    const EngineClient client = new_repository({{"x", "1"}, {"y", "2"}});
    std::filesystem::remove(client / "x");
    std::filesystem::create_directory(client / "x");
    EXPECT_EQ(must(client.status()).paths, Paths{"x"});
    EXPECT_EQ(must(client.stage({"x"})).files, (std::vector<EngineFile>{{"x", "", 0, false}}));
    EXPECT_EQ(client.commit("m").error, "");
    must(client.push());
    EXPECT_EQ(published(), (Files{{"y", "2"}}));
}

TEST_F(StagingAndCommit, FolderThatBecameAFileAndAFolderAgainIsStagedAsAFolder) {
    const EngineClient client = new_repository({{"x/a", "1"}});
    std::filesystem::remove_all(client / "x");
    client.write("x", "file");
    must(client.stage({"x"}));
    std::filesystem::remove(client / "x");
    client.write("x/a", "1");
    client.write("y", "2");
    must(client.stage({"x", "y"}));
    must(client.commit("m"));
    must(client.push());
    EXPECT_EQ(published(), (Files{{"x/a", "1"}, {"y", "2"}}));
}

TEST_F(StagingAndCommit, FileThatBecameAFolderAndAFileAgainIsStagedAsAFile) {
    const EngineClient client = new_repository({{"x", "1"}});
    std::filesystem::remove(client / "x");
    client.write("x/a", "below");
    must(client.stage({"x"}));
    std::filesystem::remove_all(client / "x");
    client.write("x", "1");
    client.write("y", "2");
    must(client.stage({"x", "y"}));
    must(client.commit("m"));
    must(client.push());
    EXPECT_EQ(published(), (Files{{"x", "1"}, {"y", "2"}}));
}

TEST_F(StagingAndCommit, WorkingTreesOfAnyShapeAreCommittedByWhatStatusNames) {
    const EngineClient client = new_repository();
    const EngineClient other = new_clone();
    std::mt19937 random(7);
    for (int round = 0; round < 12; ++round) {
        SCOPED_TRACE(round);
        for (const std::string name : {"a", "b", "c"}) {
            std::filesystem::remove_all(client / name);
            const std::string text = std::to_string(random() % 2);
            switch (random() % 5) {
                case 0:
                    client.write(name, text);
                    break;
                case 1:
                    client.write(name + "/x/y", text);
                    [[fallthrough]];
                case 2:
                    client.write(name + "/z", text);
                    break;
                case 3:
                    client.write(name + "/x", text);
                    break;
                default:
                    break;
            }
        }
        const Files files = client.files();
        must(client.stage(must(client.status()).paths));
        EXPECT_EQ(client.commit("m").ok(), files != other.files());
        must(client.push());
        EXPECT_EQ(must(client.status()).paths, Paths{});
        must(other.sync());
        EXPECT_EQ(other.files(), files);
    }
}

TEST_F(StagingAndCommit, SymbolicLinksAreNotStaged) {
    const EngineClient client = new_repository({{"a", "1"}});
    write_file(folder_ / "outside/secret", "secret");
    std::filesystem::create_symlink(folder_ / "outside/secret", client / "link");
    std::filesystem::create_symlink(folder_ / "outside", client / "folder");
    std::filesystem::create_symlink("nowhere", client / "dangling");
    client.write("a", "2");
    EXPECT_EQ(client.stage({"a", "link"}).error, "not a regular file: link");
    EXPECT_EQ(client.stage({"a", "dangling"}).error, "not a regular file: dangling");
    EXPECT_EQ(client.stage({"a", "folder"}).error, "not a regular file: folder");
    EXPECT_EQ(client.stage({"a", "folder/secret"}).error, "a symbolic link stands in the way: folder/secret");
    EXPECT_EQ(client.commit("m").error, "Nothing staged for commit") << "a failed call stages nothing";
    EXPECT_EQ(must(client.file_info({"link"})).files, (std::vector<EngineFile>{{"link", "", 0, false}}));
    EXPECT_EQ(client.file_info({"folder/secret"}).error, "a symbolic link stands in the way: folder/secret");
    EXPECT_EQ(must(client.status()).paths, (Paths{"a", "dangling", "folder", "link"}));
}

TEST_F(StagingAndCommit, PipesAreNotStaged) {
    const EngineClient client = new_repository();
    ASSERT_EQ(mkfifo((client / "pipe").c_str(), 0600), 0);
    EXPECT_EQ(client.stage({"pipe"}).error, "not a regular file: pipe");
    EXPECT_EQ(must(client.file_info({"pipe"})).files, (std::vector<EngineFile>{{"pipe", "", 0, false}}));
}

TEST_F(StagingAndCommit, FileBehindALinkThatTookTheFoldersPlaceIsNotRead) {
    const EngineClient client = new_repository({{"folder/a", "1"}});
    write_file(folder_ / "outside/a", "secret");
    std::filesystem::remove_all(client / "folder");
    std::filesystem::create_symlink(folder_ / "outside", client / "folder");
    EXPECT_FALSE(client.stage({"folder/a"}).ok());
    EXPECT_FALSE(client.stage({"folder"}).ok());
    EXPECT_EQ(client.commit("m").error, "Nothing staged for commit");
}

TEST_F(StagingAndCommit, OrdersCountTheRevisions) {
    const EngineClient client = new_repository();
    for (std::uint64_t order = 1; order <= 5; ++order) {
        client.write("a", std::to_string(order));
        must(client.stage({"a"}));
        EXPECT_EQ(must(client.commit("m")).order, order);
    }
}

TEST_F(StagingAndCommit, NothingIsLeftInTheCheckoutsTemporaryFolder) {
    const EngineClient client = new_repository({{"a", some_bytes(100'000)}});
    write_file(client / ".tome/tmp/file-of-a-killed-process", "x");
    client.write("a", some_bytes(100'001));
    client.publish({"a"});
    const EngineClient other = new_clone();
    for (const EngineClient& one : {client, other}) {
        EXPECT_TRUE(std::filesystem::is_empty(one / ".tome/tmp"));
    }
}

}  // namespace
}  // namespace quill_test
