#include "files/file_bytes.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <ostream>
#include <string>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "tests/support/file_test_support.h"
#include "tests/support/temporary_folder.h"

namespace {

namespace fs = std::filesystem;
using quill::Durability;
using quill::FolderTree;
using quill_test::bytes_of_size;
using quill_test::names_in;
using quill_test::odd_name;
using quill_test::read_file;
using quill_test::TemporaryFolder;
using quill_test::write_file;
using Texts = std::vector<std::string>;

constexpr std::size_t block = 65'536;

std::error_code system_error(int number) {
    return {number, std::generic_category()};
}

quill::FileDescriptor opened(const fs::path& path) {
    return FolderTree(path.parent_path()).open_target(path.filename().string());
}

bool equal_file_bytes(const fs::path& a, const fs::path& b) {
    return quill::equal_file_bytes(opened(a), opened(b));
}

// What the call fails with.
template <typename Call>
std::error_code error_of(Call call) {
    try {
        call();
    } catch (const quill::FileError& error) {
        return system_error(error.number());
    }
    return {};
}

std::error_code copy_plainly(const fs::path& from, const fs::path& to, Durability durability) {
    return error_of([&] {
        const quill::FileDescriptor source = opened(from);
        quill::copy_file(source, FolderTree(to.parent_path()), to.filename().string(),
                         quill::mode_of_copy(source, std::nullopt), durability);
    });
}

std::error_code replace(const fs::path& from, const fs::path& to, Durability /*always synced*/ = Durability::Synced) {
    return error_of(
        [&] { quill::replace_file_by_copy(opened(from), FolderTree(to.parent_path()), to.filename().string()); });
}

// ---- Comparing

TEST(EqualFileBytes, IsTrueForTheSameBytesOfEverySize) {
    const TemporaryFolder folder;
    for (const std::size_t size : {std::size_t{0}, std::size_t{1}, block - 1, block, block + 1, 2 * block - 1,
                                   2 * block, 2 * block + 1, 5 * block + 17}) {
        write_file(folder / "a", bytes_of_size(size));
        write_file(folder / "b", bytes_of_size(size));
        EXPECT_TRUE(equal_file_bytes(folder / "a", folder / "b")) << size;
    }
}

TEST(EqualFileBytes, IsFalseForOneDifferentByte) {
    const TemporaryFolder folder;
    for (const std::size_t size : {std::size_t{1}, block - 1, block, block + 1, 2 * block, 2 * block + 1}) {
        for (const std::size_t at : {std::size_t{0}, size / 2, size - 1}) {
            std::string bytes = bytes_of_size(size);
            write_file(folder / "a", bytes);
            bytes[at] = static_cast<char>(bytes[at] ^ 0x80);
            write_file(folder / "b", bytes);
            EXPECT_FALSE(equal_file_bytes(folder / "a", folder / "b")) << size << " at " << at;
        }
    }
}

TEST(EqualFileBytes, IsFalseForAFileThatBeginsWithTheOther) {
    const TemporaryFolder folder;
    const std::vector<std::pair<std::size_t, std::size_t>> sizes{
        {0, 1}, {1, 2}, {block - 1, block}, {block, block + 1}, {block, 2 * block}, {0, block}};
    for (const auto& [shorter, longer] : sizes) {
        write_file(folder / "shorter", bytes_of_size(shorter));
        write_file(folder / "longer", bytes_of_size(longer));
        EXPECT_FALSE(equal_file_bytes(folder / "shorter", folder / "longer")) << shorter;
        EXPECT_FALSE(equal_file_bytes(folder / "longer", folder / "shorter")) << shorter;
    }
}

TEST(EqualFileBytes, ComparesZeroesAndLineEndsAsTheyAre) {
    const TemporaryFolder folder;
    const std::vector<std::pair<std::string, std::string>> cases{{std::string("a\0b", 3), std::string("a\0c", 3)},
                                                                 {"a\r\n", "a\n\n"},
                                                                 {"a\x1A"
                                                                  "b",
                                                                  "a\x1A"
                                                                  "c"}};
    for (const auto& [a, b] : cases) {
        write_file(folder / "a", a);
        write_file(folder / "b", b);
        EXPECT_FALSE(equal_file_bytes(folder / "a", folder / "b"));
    }
}

TEST(EqualFileBytes, IsTrueForAFileAndItselfOrALinkToIt) {
    const TemporaryFolder folder;
    write_file(folder / odd_name, bytes_of_size(block + 1));
    fs::create_symlink(odd_name, folder / "link");
    EXPECT_TRUE(equal_file_bytes(folder / odd_name, folder / odd_name));
    EXPECT_TRUE(equal_file_bytes(folder / odd_name, folder / "link"));
}

TEST(EqualFileBytes, StandAtAPathWhereAFileWithThemAndNoLinkToOneIs) {
    const TemporaryFolder folder;
    write_file(folder / "a", "bytes");
    write_file(folder / "same", "bytes");
    write_file(folder / "other", "bytEs");
    write_file(folder / "longer", "bytes.");
    fs::create_symlink("same", folder / "link");
    fs::create_directory(folder / "folder");
    const FolderTree tree(folder.path());
    const quill::FileDescriptor a = tree.open_file("a");
    EXPECT_TRUE(quill::holds_bytes_of(a, tree, "same"));
    EXPECT_TRUE(quill::holds_bytes_of(a, tree, "same")) << "read from where it stood";
    for (const char* path : {"other", "longer", "link", "folder", "none"}) {
        EXPECT_FALSE(quill::holds_bytes_of(a, tree, path)) << path;
    }
}

TEST(EqualFileBytes, FailsForFilesWhoseReadingFails) {
    const fs::path unreadable = "/proc/self/mem";  // opens, but its first byte cannot be read
    if (!fs::exists(unreadable)) {
        GTEST_SKIP() << "no such file here";
    }
    const TemporaryFolder folder;
    write_file(folder / "empty", "");
    EXPECT_THROW(equal_file_bytes(unreadable, unreadable), quill::FileError);
    EXPECT_THROW(equal_file_bytes(unreadable, folder / "empty"), quill::FileError);
    EXPECT_THROW(equal_file_bytes(folder / "empty", unreadable), quill::FileError);
}

// ---- Copying, in the ways that a plain copy and a replacing one have in common

struct WayToCopy {
    const char* name;
    std::error_code (*copy)(const fs::path&, const fs::path&, Durability);
    Durability durability;
};

std::ostream& operator<<(std::ostream& out, const WayToCopy& way) {
    return out << way.name;
}

class FileCopy : public testing::TestWithParam<WayToCopy> {
  protected:
    FileCopy() { fs::create_directory(folder_ / "to"); }

    fs::path from(const fs::path& name) const { return folder_ / name; }
    fs::path to(const fs::path& name) const { return folder_ / "to" / name; }

    std::error_code copy(const fs::path& source, const fs::path& target) const {
        return GetParam().copy(source, target, GetParam().durability);
    }

    fs::perms mode_of_copy(int mode) const {
        write_file(from("a"), "x");
        fs::permissions(from("a"), fs::perms(mode));
        EXPECT_FALSE(copy(from("a"), to("a")));
        return fs::status(to("a")).permissions();
    }

    TemporaryFolder folder_;
};

INSTANTIATE_TEST_SUITE_P(, FileCopy,
                         testing::Values(WayToCopy{"PlainSynced", copy_plainly, Durability::Synced},
                                         WayToCopy{"PlainScratch", copy_plainly, Durability::Scratch},
                                         WayToCopy{"Replacing", replace, Durability::Synced}),
                         [](const auto& test) { return std::string(test.param.name); });

TEST_P(FileCopy, HoldsTheBytesOfTheSource) {
    constexpr std::size_t mebibyte = 1U << 20U;
    for (const std::size_t size : {std::size_t{0}, std::size_t{1}, block - 1, block, block + 1, mebibyte - 1, mebibyte,
                                   mebibyte + 1, 3 * mebibyte + 7}) {
        write_file(from("a"), bytes_of_size(size));
        EXPECT_FALSE(copy(from("a"), to("a"))) << size;
        EXPECT_TRUE(read_file(to("a")) == bytes_of_size(size)) << size;
        EXPECT_EQ(names_in(to("")), Texts{"a"}) << size;
    }
}

TEST_P(FileCopy, ReplacesALongerFile) {
    write_file(from("a"), "new");
    write_file(to("a"), bytes_of_size(block));
    EXPECT_FALSE(copy(from("a"), to("a")));
    EXPECT_EQ(read_file(to("a")), "new");
}

TEST_P(FileCopy, LeavesTheSourceAsItWas) {
    write_file(from("a"), "x");
    fs::permissions(from("a"), fs::perms(0744));
    EXPECT_FALSE(copy(from("a"), to("a")));
    EXPECT_EQ(read_file(from("a")), "x");
    EXPECT_EQ(fs::status(from("a")).permissions(), fs::perms(0744));
}

TEST_P(FileCopy, LeavesTheOldFileToThoseWhoHaveItOpen) {
    write_file(from("a"), "new");
    write_file(to("a"), "old");
    fs::create_hard_link(to("a"), from("other name"));
    std::ifstream reader(to("a"), std::ios::binary);
    EXPECT_FALSE(copy(from("a"), to("a")));
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(reader), {}), "old");
    EXPECT_EQ(read_file(from("other name")), "old");
}

TEST_P(FileCopy, HasUnusualNames) {
    write_file(from(odd_name), "x");
    EXPECT_FALSE(copy(from(odd_name), to(odd_name)));
    EXPECT_EQ(names_in(to("")), Texts{odd_name});
}

TEST_P(FileCopy, HasANameAsLongAsNamesMayBe) {
    const std::string longest(255, 'n');
    write_file(from("a"), "new");
    write_file(to(longest), "old");
    EXPECT_EQ(copy(from("a"), to(longest)), std::error_code());
    EXPECT_EQ(read_file(to(longest)), "new");
    EXPECT_EQ(names_in(to("")), Texts{longest});
}

TEST_P(FileCopy, HasTheModeOfTheSource) {
    for (const auto& [mode, expected] : std::vector<std::pair<int, int>>{
             {0644, 0644}, {0600, 0600}, {0444, 0444}, {0755, 0755}, {0700, 0700}, {04755, 0755}, {0611, 0600}}) {
        fs::remove(to("a"));
        EXPECT_EQ(mode_of_copy(mode), fs::perms(expected)) << std::oct << mode;
    }
}

TEST_P(FileCopy, HasTheExecutableBitOfTheSourceNotOfTheFileBefore) {
    write_file(to("a"), "old");
    fs::permissions(to("a"), fs::perms(0755));
    EXPECT_EQ(mode_of_copy(0644) & fs::perms::owner_exec, fs::perms::none);
    EXPECT_EQ(mode_of_copy(0755) & fs::perms::owner_exec, fs::perms::owner_exec);
}

TEST_P(FileCopy, ReplacesAFileThatMayNotBeWritten) {
    write_file(to("a"), "old");
    fs::permissions(to("a"), fs::perms(0444));
    mode_of_copy(0444);
    EXPECT_EQ(read_file(to("a")), "x");
}

TEST_P(FileCopy, IsOfTheFileThatALinkPointsTo) {
    write_file(from("a"), "x");
    fs::create_symlink("a", from("link"));
    EXPECT_FALSE(copy(from("link"), to("a")));
    EXPECT_FALSE(fs::is_symlink(to("a")));
    EXPECT_EQ(read_file(to("a")), "x");
}

TEST_P(FileCopy, ReplacesALinkNotTheFileItPointsTo) {
    write_file(from("a"), "new");
    write_file(from("elsewhere"), "old");
    fs::create_symlink("../elsewhere", to("link"));
    fs::create_symlink("../missing", to("dangling"));
    for (const char* link : {"link", "dangling"}) {
        EXPECT_FALSE(copy(from("a"), to(link)));
        EXPECT_FALSE(fs::is_symlink(to(link)));
        EXPECT_EQ(read_file(to(link)), "new");
    }
    EXPECT_EQ(read_file(from("elsewhere")), "old");
    EXPECT_FALSE(fs::exists(from("missing")));
}

TEST_P(FileCopy, IsWholeOfAFileThatDoesNotTellItsSize) {
    const fs::path source = "/proc/version";
    if (!fs::is_regular_file(source)) {
        GTEST_SKIP() << "no such file here";
    }
    EXPECT_FALSE(copy(source, to("a")));
    EXPECT_EQ(read_file(to("a")), read_file(source));
}

TEST_P(FileCopy, FailsForASourceThatIsNoFile) {
    fs::create_directory(from("folder"));
    fs::create_symlink("missing", from("dangling"));
    write_file(from("file"), "x");
    const std::vector<std::pair<const char*, int>> cases{
        {"missing", ENOENT}, {"dangling", ENOENT}, {"file/below", ENOTDIR}, {"folder", EINVAL}};
    for (const auto& [source, number] : cases) {
        EXPECT_EQ(copy(from(source), to("a")), system_error(number)) << source;
        EXPECT_EQ(names_in(to("")), Texts{}) << source;
    }
}

TEST_P(FileCopy, FailsWhereThereIsNoFolderForIt) {
    write_file(from("a"), "x");
    write_file(to("file"), "x");
    EXPECT_EQ(copy(from("a"), to("missing/a")), system_error(ENOENT));
    EXPECT_EQ(copy(from("a"), to("file/a")), system_error(ENOTDIR));
    EXPECT_EQ(names_in(to("")), Texts{"file"});
}

TEST_P(FileCopy, FailsWhereAFolderStands) {
    write_file(from("a"), "x");
    write_file(to("full/b"), "old");
    for (const char* target : {"empty", "full"}) {
        fs::create_directories(to(target));
        EXPECT_TRUE(copy(from("a"), to(target))) << target;
    }
    EXPECT_EQ(names_in(to("")), (Texts{"empty", "full"}));
    EXPECT_EQ(read_file(to("full/b")), "old");
}

TEST_P(FileCopy, LeavesNothingOfAFileThatDoesNotFitOnTheDisk) {
    write_file(from("a"), bytes_of_size(3'000'000));
    const std::error_code error = [&] {
        const quill_test::ResourceLimit limit(RLIMIT_FSIZE, 1'500'000);
        return copy(from("a"), to("a"));
    }();
    EXPECT_EQ(error, system_error(EFBIG));
    EXPECT_EQ(names_in(to("")), Texts{});
}

TEST_P(FileCopy, WaitsForTheDiskWhereItIsSynced) {
    write_file(from("a"), "x");
    const auto message = quill_test::with_idle_calls(quill_test::syncing_calls(), EIO,
                                                     [&] { return copy(from("a"), to("a")).message(); });
    if (!message) {
        GTEST_SKIP() << "system calls cannot be refused here";
    }
    const bool synced = GetParam().durability == Durability::Synced;
    EXPECT_EQ(*message, system_error(synced ? EIO : 0).message());
    EXPECT_EQ(names_in(to("")), synced ? Texts{} : Texts{"a"});
}

// ---- Replacing so that no reader meets half a file

TEST(ReplaceFileByCopy, LeavesTheOldFileWhenTheDiskFills) {
    const TemporaryFolder folder;
    write_file(folder / "from", bytes_of_size(200'000));
    write_file(folder / "to/a", "old");
    const std::error_code error = [&] {
        const quill_test::ResourceLimit limit(RLIMIT_FSIZE, 100'000);
        return replace(folder / "from", folder / "to/a");
    }();
    EXPECT_EQ(error, system_error(EFBIG));
    EXPECT_EQ(read_file(folder / "to/a"), "old");
    EXPECT_EQ(names_in(folder / "to"), Texts{"a"});
}

TEST(ReplaceFileByCopy, LeavesTheOldFileWhenThereIsNoSource) {
    const TemporaryFolder folder;
    write_file(folder / "to/a", "old");
    const std::error_code error = replace(folder / "missing", folder / "to/a");
    EXPECT_EQ(error, system_error(ENOENT));
    EXPECT_EQ(read_file(folder / "to/a"), "old");
    EXPECT_EQ(names_in(folder / "to"), Texts{"a"});
}

TEST(ReplaceFileByCopy, LeavesTheOldFileWhenTheRenameFails) {
    const TemporaryFolder folder;
    write_file(folder / "from", "new");
    write_file(folder / "to/a", "old");
    const auto message = quill_test::with_idle_calls(
        quill_test::renaming_calls(), EIO, [&] { return replace(folder / "from", folder / "to/a").message(); });
    if (!message) {
        GTEST_SKIP() << "system calls cannot be refused here";
    }
    EXPECT_EQ(*message, system_error(EIO).message());
    EXPECT_EQ(read_file(folder / "to/a"), "old");
    EXPECT_EQ(names_in(folder / "to"), Texts{"a"});
}

TEST(ReplaceFileByCopy, RenamesAHiddenFileBesideIt) {
    const TemporaryFolder folder;
    write_file(folder / "from", "new");
    write_file(folder / "to/a", "old");
    quill_test::FolderWatch watch(folder / "to");
    if (!watch.works()) {
        GTEST_SKIP() << "folders cannot be watched here";
    }
    Texts temporaries;
    for (int time = 0; time < 2; ++time) {
        write_file(folder / "from", std::string("new ") + std::to_string(time));
        EXPECT_FALSE(replace(folder / "from", folder / "to/a"));
        const Texts changes = watch.changes();
        ASSERT_EQ(changes.size(), 3U);
        temporaries.push_back(changes[0].substr(std::string("made ").size()));
        EXPECT_EQ(changes, (Texts{"made " + temporaries.back(), "moved from " + temporaries.back(), "moved to a"}));
        EXPECT_TRUE(temporaries.back().starts_with('.')) << temporaries.back();
    }
    EXPECT_NE(temporaries[0], temporaries[1]);
}

TEST(ReplaceFileByCopy, ShowsReadersTheOldBytesOrTheNew) {
    const TemporaryFolder folder;
    const std::string one(block + 1, '1');
    const std::string two(block + 1, '2');
    write_file(folder / "one", one);
    write_file(folder / "two", two);
    write_file(folder / "to/a", one);
    std::vector<std::thread> writers;
    for (const char* name : {"one", "two"}) {
        writers.emplace_back([&folder, name] {
            for (int time = 0; time < 50; ++time) {
                const std::error_code error = replace(folder / name, folder / "to/a");
                EXPECT_FALSE(error) << error.message();
            }
        });
    }
    for (int time = 0; time < 100; ++time) {
        const std::string bytes = read_file(folder / "to/a");
        EXPECT_TRUE(bytes == one || bytes == two) << bytes.size();
    }
    for (std::thread& writer : writers) {
        writer.join();
    }
    EXPECT_EQ(names_in(folder / "to"), Texts{"a"});
}

// ---- What replacing leaves

TEST(ReplaceFileByCopy, KeepsThePermissionsOfTheFileThere) {
    const TemporaryFolder folder;
    const std::vector<std::pair<std::pair<int, int>, int>> cases{
        {{0644, 0600}, 0600}, {{0755, 0600}, 0700}, {{0644, 0755}, 0644}, {{0400, 0640}, 0640}, {{0700, 0444}, 0555}};
    for (const auto& [modes, expected] : cases) {
        write_file(folder / "from", "new");
        write_file(folder / "to/a", "old");
        fs::permissions(folder / "from", fs::perms(modes.first));
        fs::permissions(folder / "to/a", fs::perms(modes.second));
        EXPECT_FALSE(replace(folder / "from", folder / "to/a"));
        EXPECT_EQ(read_file(folder / "to/a"), "new");
        EXPECT_EQ(fs::status(folder / "to/a").permissions(), fs::perms(expected)) << std::oct << modes.second;
        fs::remove(folder / "from");
        fs::remove(folder / "to/a");
    }
}

TEST(ReplaceFileByCopy, LeavesAFileThatHoldsTheSameBytes) {
    const TemporaryFolder folder;
    write_file(folder / "from", "same");
    write_file(folder / "to/a", "same");
    fs::create_hard_link(folder / "to/a", folder / "other name");
    const fs::file_time_type before = fs::last_write_time(folder / "to/a");
    EXPECT_FALSE(replace(folder / "from", folder / "to/a"));
    EXPECT_TRUE(fs::equivalent(folder / "to/a", folder / "other name"));
    EXPECT_EQ(fs::last_write_time(folder / "to/a"), before);
    fs::permissions(folder / "from", fs::perms(0755));
    EXPECT_FALSE(replace(folder / "from", folder / "to/a"));
    EXPECT_TRUE(fs::equivalent(folder / "to/a", folder / "other name"));
    EXPECT_NE(fs::status(folder / "to/a").permissions() & fs::perms::owner_exec, fs::perms::none);
}

TEST(ExecutableBit, IsThatOfTheOtherFile) {
    const TemporaryFolder folder;
    write_file(folder / "from", "a");
    write_file(folder / "to", "b");
    fs::permissions(folder / "from", fs::perms(0700));
    fs::permissions(folder / "to", fs::perms(0640));
    quill::match_executable_bit(opened(folder / "from"), FolderTree(folder.path()), "to");
    EXPECT_NE(fs::status(folder / "to").permissions() & fs::perms::owner_exec, fs::perms::none);
    EXPECT_EQ(read_file(folder / "to"), "b");
    fs::permissions(folder / "from", fs::perms(0600));
    quill::match_executable_bit(opened(folder / "from"), FolderTree(folder.path()), "to");
    EXPECT_EQ(fs::status(folder / "to").permissions(), fs::perms(0640));
}

TEST(ExecutableBit, FailsWhereItCannotBeSynced) {
    const TemporaryFolder folder;
    write_file(folder / "from", "a");
    write_file(folder / "to", "a");
    fs::permissions(folder / "from", fs::perms(0700));
    const auto message = quill_test::with_idle_calls(quill_test::syncing_calls(), EIO, [&] {
        return error_of([&] { quill::match_executable_bit(opened(folder / "from"), FolderTree(folder.path()), "to"); })
            .message();
    });
    if (!message) {
        GTEST_SKIP() << "system calls cannot be refused here";
    }
    EXPECT_EQ(*message, system_error(EIO).message());
}

TEST(SyncFolders, FailsWhereAFolderCannotBeSynced) {
    const TemporaryFolder folder;
    write_file(folder / "to/a", "x");
    const auto message = quill_test::with_idle_calls(quill_test::syncing_calls(), EIO, [&] {
        return error_of([&] { quill::sync_folders(FolderTree(folder.path()), {"to/a"}); }).message();
    });
    if (!message) {
        GTEST_SKIP() << "system calls cannot be refused here";
    }
    EXPECT_EQ(*message, system_error(EIO).message());
}

}  // namespace
