#include "content/tome_content_store.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "content/tome_content_key.h"
#include "tests/support/temporary_folder.h"
#include "workspace/operations/project_creation.h"

namespace {

namespace fs = std::filesystem;
using quill::TomeContentStore;
using quill_test::read_file;
using quill_test::write_file;

std::span<const std::byte> bytes_of(const std::string& text) {
    return std::as_bytes(std::span(text));
}

std::string text_of(const std::optional<std::vector<std::byte>>& bytes) {
    return bytes ? std::string(reinterpret_cast<const char*>(bytes->data()), bytes->size()) : "nothing";
}

class TomeContentStores : public testing::Test {
  protected:
    TomeContentStores() { unsetenv("QUILL_TOME_BLOCKING_GET_FALLBACK"); }
    ~TomeContentStores() override { unsetenv("QUILL_TOME_BLOCKING_GET_FALLBACK"); }

    fs::path mirror() const { return project_ / "Content/tome_mirror"; }

    // The project as another machine has it: the same manifest in the same place, nothing else.
    void move_to_another_machine() const {
        const std::string manifest = read_file(project_ / "project.json");
        fs::remove_all(project_);
        write_file(project_ / "project.json", manifest);
    }

    void make_project_with_remote() const {
        write_file(project_ / "project.json", "{\n  \"id\": \"abcdefghijklmnop\",\n  \"tomeRemoteURL\": \"" +
                                                  (folder_ / "remote").string() + "\"\n}\n");
    }

    quill_test::TemporaryFolder folder_;
    fs::path project_ = folder_ / "P.quillproject";
    std::string remote_ = (folder_ / "remote").string();
};

TEST_F(TomeContentStores, KeepABlobInTheMirrorToo) {
    TomeContentStore store(project_, project_, "", "");
    const std::string key = store.put(bytes_of("abc"), "scene").key;
    EXPECT_EQ(read_file(quill::tome_mirror_path_for_key(mirror(), key)), "abc");
    const auto parsed = quill::parse_tome_key(key).value();
    EXPECT_EQ(parsed.partition_id, quill::tome_content_partition(project_));
    EXPECT_EQ(parsed.context_id, quill::tome_content_context("scene"));
}

TEST_F(TomeContentStores, KeysOfTwoContextsDifferInTheLastFieldAlone) {
    TomeContentStore store(project_, project_, "", "");
    const std::string one = store.put(bytes_of("abc"), "one").key;
    const std::string two = store.put(bytes_of("abc"), "two").key;
    EXPECT_NE(one, two);
    EXPECT_EQ(one.substr(0, one.rfind(':')), two.substr(0, two.rfind(':')));
    EXPECT_TRUE(fs::exists(quill::tome_mirror_path_for_key(mirror(), one)));
    EXPECT_TRUE(fs::exists(quill::tome_mirror_path_for_key(mirror(), two)));
}

TEST_F(TomeContentStores, AskTheRepositoryOnlyWhenTheEnvironmentSaysSo) {
    TomeContentStore store(project_, project_, "", "");
    for (const std::string& text : {std::string("small"), std::string(), std::string(3'000'001, 'x')}) {
        const std::string key = store.put(bytes_of(text)).key;
        fs::remove_all(mirror());
        for (const char* off : {"", "0", "false", "FALSE"}) {
            setenv("QUILL_TOME_BLOCKING_GET_FALLBACK", off, 1);
            EXPECT_EQ(text_of(store.get(key)), "nothing") << off;
        }
        for (const char* on : {"1", "yes", "False"}) {
            setenv("QUILL_TOME_BLOCKING_GET_FALLBACK", on, 1);
            EXPECT_EQ(text_of(store.get(key)), text) << on;
        }
        EXPECT_FALSE(store.contains(key)) << "the mirror alone answers";
        EXPECT_EQ(store.size(key), std::nullopt);
    }
}

TEST_F(TomeContentStores, ShareBlobsThroughTheRemote) {
    make_project_with_remote();
    const std::string text(200'000, 'y');
    std::string key;
    {
        TomeContentStore store(project_, project_, remote_, "");
        key = store.put(bytes_of(text), "scene").key;
    }
    move_to_another_machine();
    const TomeContentStore store(project_, project_, remote_, "");
    EXPECT_EQ(text_of(store.get(key)), "nothing");
    setenv("QUILL_TOME_BLOCKING_GET_FALLBACK", "1", 1);
    EXPECT_EQ(text_of(store.get(key)), text);
}

TEST_F(TomeContentStores, WithoutARemoteKeepBlobsToThemselves) {
    make_project_with_remote();
    std::string key;
    {
        TomeContentStore store(project_, project_, "", "");
        key = store.put(bytes_of("abc")).key;
    }
    EXPECT_FALSE(fs::exists(folder_ / "remote"));
}

TEST_F(TomeContentStores, FetchABlobWhoseLocalCopyIsDamagedFromTheRemote) {
    make_project_with_remote();
    const std::string text(200'000, 'y');
    TomeContentStore store(project_, project_, remote_, "");
    const std::string key = store.put(bytes_of(text)).key;
    fs::remove_all(mirror());
    for (const auto& entry : fs::recursive_directory_iterator(project_ / ".tome/objects/content")) {
        if (entry.is_regular_file()) {
            write_file(entry.path(), std::string(200'000, 'z'));
        }
    }
    setenv("QUILL_TOME_BLOCKING_GET_FALLBACK", "1", 1);
    EXPECT_EQ(text_of(store.get(key)), text);
}

// In a process of its own: the largest memory is counted over a process's life.
TEST_F(TomeContentStores, HoldNoSecondCopyOfABlobInMemory) {
#if defined(QUILL_ADDRESS_SANITIZER) || defined(QUILL_THREAD_SANITIZER)
    GTEST_SKIP() << "sanitizers take memory of their own";
#endif
    constexpr std::size_t blob_mebibytes = 256;
    const pid_t child = fork();
    if (child == 0) {
        const std::vector<std::byte> blob(blob_mebibytes << 20U, std::byte{'x'});
        TomeContentStore(project_, project_, "", "").put(blob);
        struct rusage usage {};
        getrusage(RUSAGE_SELF, &usage);
#if defined(__APPLE__)
        const auto mebibytes = static_cast<std::size_t>(usage.ru_maxrss) >> 20U;
#else
        const auto mebibytes = static_cast<std::size_t>(usage.ru_maxrss) >> 10U;
#endif
        _exit(mebibytes < blob_mebibytes + 64 ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

TEST_F(TomeContentStores, RefuseAFileInPlaceOfTheRepository) {
    write_file(folder_ / "file", "");
    try {
        TomeContentStore(folder_ / "file/repository", project_, "", "");
        ADD_FAILURE() << "nothing was thrown";
    } catch (const std::runtime_error& error) {
        EXPECT_TRUE(std::string(error.what()).starts_with("could not create Tome repository path: ")) << error.what();
    }
}

TEST_F(TomeContentStores, GiveTheEnginesTextWhenARepositoryIsDamaged) {
    const fs::path store = project_ / ".tome/objects";
    TomeContentStore(project_, project_, "", "").put(bytes_of("abc"));
    fs::remove_all(store);
    write_file(store / "store.db", "no database, whatever its name says");
    try {
        TomeContentStore(project_, project_, "", "");
        ADD_FAILURE() << "nothing was thrown";
    } catch (const std::runtime_error& error) {
        EXPECT_EQ(error.what(), "corrupt database: " + (store / "store.db").string() + "; restore " +
                                    (project_ / ".tome").string() + " from a backup");
    }
}

}  // namespace
