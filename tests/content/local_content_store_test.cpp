#include "content/local_content_store.h"

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/temporary_folder.h"

namespace {

using quill::LocalContentStore;
using quill_test::read_file;
using quill_test::TemporaryFolder;
using quill_test::write_file;

const std::string digest_of_abc = "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";
const std::string key_of_abc = "sha256:" + digest_of_abc;

std::span<const std::byte> bytes_of(const std::string& text) {
    return std::as_bytes(std::span(text));
}

std::string text_of(const std::optional<std::vector<std::byte>>& bytes) {
    return bytes ? std::string(reinterpret_cast<const char*>(bytes->data()), bytes->size()) : "nothing";
}

std::filesystem::path blob_of_abc(const TemporaryFolder& folder) {
    return folder / "sha256/ba/78" / (digest_of_abc + ".blob");
}

std::vector<std::filesystem::path> files_below(const std::filesystem::path& folder) {
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        if (entry.is_regular_file()) {
            files.push_back(entry.path());
        }
    }
    return files;
}

TEST(LocalContentStore, PutTellsWhatItStored) {
    const TemporaryFolder folder;
    const quill::StoredContent stored = LocalContentStore(folder.path(), "http://x").put(bytes_of("abc"));
    EXPECT_EQ(stored.key, key_of_abc);
    EXPECT_EQ(stored.url, "http://x/sha256/" + digest_of_abc);
    EXPECT_EQ(stored.size, 3U);
    EXPECT_EQ(stored.sha256, digest_of_abc);
}

TEST(LocalContentStore, PutWritesTheBlobAloneIntoTheFanOut) {
    const TemporaryFolder folder;
    LocalContentStore(folder.path(), "").put(bytes_of("abc"));
    EXPECT_EQ(files_below(folder.path()), std::vector{blob_of_abc(folder)});
    EXPECT_EQ(read_file(blob_of_abc(folder)), "abc");
}

TEST(LocalContentStore, ContextChangesNothing) {
    const TemporaryFolder folder;
    LocalContentStore store(folder.path(), "u");
    EXPECT_EQ(store.put(bytes_of("abc"), "scene"), store.put(bytes_of("abc")));
    EXPECT_EQ(files_below(folder.path()).size(), 1U);
}

TEST(LocalContentStore, WorksThroughTheInterface) {
    const TemporaryFolder folder;
    const std::shared_ptr<quill::ContentStore> store = std::make_shared<LocalContentStore>(folder.path(), "");
    const std::string key = store->put(bytes_of("0123456789"), "context").key;
    EXPECT_EQ(text_of(store->get(key)), "0123456789");
    EXPECT_EQ(store->size(key), 10U);
    EXPECT_EQ(text_of(store->get_range(key, 2, 3)), "234");
    EXPECT_TRUE(store->contains(key));
}

TEST(LocalContentStore, StoresNothingAsAnEmptyBlob) {
    const TemporaryFolder folder;
    LocalContentStore store(folder.path(), "");
    const quill::StoredContent stored = store.put({});
    EXPECT_EQ(stored.size, 0U);
    EXPECT_EQ(stored.sha256, "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
    EXPECT_EQ(read_file(store.path_for_key(stored.key)), "");
    const auto bytes = store.get(stored.key);
    ASSERT_TRUE(bytes.has_value());
    EXPECT_TRUE(bytes->empty());
}

TEST(LocalContentStore, PutsTheSameBytesOnce) {
    const TemporaryFolder folder;
    LocalContentStore store(folder.path(), "u");
    const quill::StoredContent first = store.put(bytes_of("abc"));
    write_file(blob_of_abc(folder), "marked");
    EXPECT_EQ(store.put(bytes_of("abc")), first);
    EXPECT_EQ(read_file(blob_of_abc(folder)), "marked");
}

TEST(LocalContentStore, FolderInPlaceOfABlobIsNeitherReplacedNorContained) {
    const TemporaryFolder folder;
    LocalContentStore store(folder.path(), "");
    std::filesystem::create_directories(blob_of_abc(folder));
    EXPECT_EQ(store.put(bytes_of("abc")).key, key_of_abc);
    EXPECT_TRUE(std::filesystem::is_directory(blob_of_abc(folder)));
    EXPECT_FALSE(store.contains(key_of_abc));
    EXPECT_EQ(store.get(key_of_abc), std::nullopt);
    EXPECT_EQ(store.size(key_of_abc), std::nullopt);
    EXPECT_EQ(store.get_range(key_of_abc, 0, 1), std::nullopt);
}

TEST(LocalContentStore, PutFailsWhereNoFolderCanBeMade) {
    const TemporaryFolder folder;
    write_file(folder / "sha256", "");
    LocalContentStore store(folder.path(), "");
    try {
        store.put(bytes_of("abc"));
        FAIL() << "put succeeded";
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), "could not create content store directory: Not a directory");
    }
}

TEST(LocalContentStore, MissingBlobReadsAsNothing) {
    const TemporaryFolder folder;
    const LocalContentStore store(folder / "none", "u");
    EXPECT_EQ(store.get(key_of_abc), std::nullopt);
    EXPECT_EQ(store.size(key_of_abc), std::nullopt);
    EXPECT_EQ(store.get_range(key_of_abc, 0, 0), std::nullopt);
    EXPECT_FALSE(store.contains(key_of_abc));
    EXPECT_EQ(store.url_for(key_of_abc), "u/sha256/" + digest_of_abc);
}

TEST(LocalContentStore, MalformedKeysResolveToNothing) {
    const TemporaryFolder folder;
    LocalContentStore store(folder.path(), "u");
    store.put(bytes_of("abc"));
    for (const std::string& key : {"sha256:" + digest_of_abc.substr(1), "SHA256:" + digest_of_abc, " " + key_of_abc,
                                   " " + key_of_abc.substr(0, 70), key_of_abc + "0", std::string()}) {
        EXPECT_EQ(store.path_for_key(key), "") << key;
        EXPECT_EQ(store.get(key), std::nullopt) << key;
        EXPECT_EQ(store.size(key), std::nullopt) << key;
        EXPECT_EQ(store.get_range(key, 0, 0), std::nullopt) << key;
        EXPECT_FALSE(store.contains(key)) << key;
        EXPECT_EQ(store.url_for(key), "") << key;
    }
}

TEST(LocalContentStore, RangesEndWithTheBlob) {
    const TemporaryFolder folder;
    LocalContentStore store(folder.path(), "");
    store.put(bytes_of("abc"));
    EXPECT_EQ(text_of(store.get_range(key_of_abc, 1, 2)), "bc");
    EXPECT_EQ(text_of(store.get_range(key_of_abc, 3, 0)), "");
    EXPECT_EQ(store.get_range(key_of_abc, 3, 1), std::nullopt);
    EXPECT_EQ(store.get_range(key_of_abc, 4, 0), std::nullopt);
}

TEST(LocalContentStore, UrlBaseIsTakenAsGiven) {
    EXPECT_EQ(LocalContentStore("/r", "").url_for(key_of_abc), "/sha256/" + digest_of_abc);
    EXPECT_EQ(LocalContentStore("/r", "u/").url_for(key_of_abc), "u//sha256/" + digest_of_abc);
}

TEST(LocalContentStore, RootIsMadeAbsoluteAndNormalised) {
    const auto here = std::filesystem::current_path();
    EXPECT_EQ(LocalContentStore("a/../b/./c", "").path_for_key(key_of_abc),
              here / "b/c/sha256/ba/78" / (digest_of_abc + ".blob"));
}

TEST(LocalContentStore, BlobsOutliveTheStore) {
    const TemporaryFolder folder;
    { LocalContentStore(folder.path(), "").put(bytes_of("abc")); }
    EXPECT_EQ(text_of(LocalContentStore(folder.path(), "").get(key_of_abc)), "abc");
}

TEST(LocalContentStore, ThreadsPutTheSameAndOtherBytesAtOnce) {
    const TemporaryFolder folder;
    LocalContentStore store(folder.path(), "");
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([&store, i] {
            for (int n = 0; n < 25; ++n) {
                store.put(bytes_of("shared " + std::to_string(n)));
                store.put(bytes_of("thread " + std::to_string(i) + " " + std::to_string(n)));
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(files_below(folder.path()).size(), 25U + 8U * 25U);
    EXPECT_EQ(text_of(store.get(store.put(bytes_of("shared 7")).key)), "shared 7");
}

}  // namespace
