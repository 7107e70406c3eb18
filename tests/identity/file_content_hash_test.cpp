#include "identity/file_content_hash.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <thread>
#include <vector>

#include "content/content_key.h"
#include "tests/support/file_test_support.h"
#include "tests/support/temporary_folder.h"

// What files give that no repository holds; the answers of the engine have their tests beside the scripted engine.
namespace {

namespace fs = std::filesystem;
using quill::project_file_content_hash;
using quill_test::bytes_of_size;
using quill_test::TemporaryFolder;
using quill_test::write_file;

std::string key_of(const std::string& bytes) {
    return quill::sha256_content_key(std::as_bytes(std::span(bytes)));
}

TEST(ContentHashOfAFile, IsTheKeyOfItsBytesAtEveryBlockBoundary) {
    const TemporaryFolder folder;
    for (const std::size_t size : {65'535U, 65'536U, 65'537U, 131'072U, 131'073U, 500'000U}) {
        const fs::path file = folder / std::to_string(size);
        write_file(file, bytes_of_size(size));
        EXPECT_EQ(project_file_content_hash(file), key_of(bytes_of_size(size))) << size;
    }
}

TEST(ContentHashOfAFile, IsTheSameForEverySpellingOfItsPath) {
    const TemporaryFolder folder;
    write_file(folder / "sub/a", "x");
    for (const fs::path& file : {folder / "sub/a", folder / "sub/./a", folder / "sub/../sub//a",
                                 fs::relative(folder / "sub/a"), folder / "missing/../sub/a"}) {
        EXPECT_EQ(project_file_content_hash(file), key_of("x")) << file;
    }
}

TEST(ContentHashOfAFile, DoesNotDependOnItsName) {
    const TemporaryFolder folder;
    for (const char* name : {"a \"quoted\"\nname\\", "\xC3\xA9\xE2\x82\xAC", ".hidden", "-rf"}) {
        write_file(folder / name, "x");
        EXPECT_EQ(project_file_content_hash(folder / name), key_of("x")) << name;
    }
}

TEST(ContentHashOfAFile, ThereIsNoneForWhatIsNoRegularFile) {
    const TemporaryFolder folder;
    write_file(folder / "file", "x");
    ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
    fs::create_symlink("missing", folder / "dangling");
    fs::create_symlink("loop", folder / "loop");
    fs::create_directory_symlink(".", folder / "linked folder");
    for (const char* name : {"pipe", "dangling", "loop", "linked folder", "file/below"}) {
        EXPECT_EQ(project_file_content_hash(folder / name), std::nullopt) << name;
    }
    EXPECT_EQ(project_file_content_hash("/dev/null"), std::nullopt);
}

TEST(ContentHashOfAFile, ThereIsNoneForAFileThatMayNotBeRead) {
    const TemporaryFolder folder;
    fs::permissions(folder.path(), fs::perms(0755));
    write_file(folder / "a", "x");
    fs::permissions(folder / "a", fs::perms::none);
    const auto key =
        quill_test::without_privileges([&] { return project_file_content_hash(folder / "a").value_or("none"); });
    if (!key) {
        GTEST_SKIP() << "root cannot give up its rights here";
    }
    EXPECT_EQ(*key, "none");
}

TEST(ContentHashOfAFile, IsReadAgainWhenTheFileIsReplacedByALinkToAnother) {
    const TemporaryFolder folder;
    write_file(folder / "a", "x");
    write_file(folder / "other", "longer");
    EXPECT_EQ(project_file_content_hash(folder / "a"), key_of("x"));
    fs::remove(folder / "a");
    fs::create_symlink("other", folder / "a");
    EXPECT_EQ(project_file_content_hash(folder / "a"), key_of("longer"));
}

TEST(ContentHashOfAFile, MayBeAskedForByManyThreads) {
    const TemporaryFolder folder;
    std::vector<fs::path> files;
    for (int file = 0; file < 20; ++file) {
        files.push_back(folder / std::to_string(file));
        write_file(files.back(), std::to_string(file));
    }
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&] {
            quill::prewarm_project_file_content_hashes(files);
            for (const fs::path& file : files) {
                EXPECT_EQ(project_file_content_hash(file), key_of(file.filename().string()));
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

}  // namespace
