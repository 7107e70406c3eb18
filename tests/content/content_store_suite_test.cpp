// What every store promises, whatever it keeps its blobs in.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "content/content_store.h"
#include "content/local_content_store.h"
#include "content/tome_content_store.h"
#include "content/tome_mirror_content_store.h"
#include "tests/support/temporary_folder.h"

namespace {

using quill::ContentStore;
using quill::StoredContent;
using quill_test::TemporaryFolder;

struct StoreKind {
    const char* name;
    std::function<std::shared_ptr<ContentStore>(const std::filesystem::path& folder)> make;
};

std::ostream& operator<<(std::ostream& out, const StoreKind& kind) {
    return out << kind.name;
}

class EveryContentStore : public testing::TestWithParam<StoreKind> {
  protected:
    EveryContentStore() {
        unsetenv("QUILL_TOME_BLOCKING_GET_FALLBACK");
        store_ = open();
    }

    std::shared_ptr<ContentStore> open() const { return GetParam().make(folder_ / "P.quillproject"); }

    StoredContent put(const std::string& text, const std::string& context = "") const {
        return store_->put(std::as_bytes(std::span(text)), context);
    }

    static std::string text_of(const std::optional<std::vector<std::byte>>& bytes) {
        return bytes ? std::string(reinterpret_cast<const char*>(bytes->data()), bytes->size()) : "nothing";
    }

    /// A key of the store's form for bytes that it does not have.
    std::string absent_key() const {
        std::string key = put("abc").key;
        const std::size_t digest = key.find("ba7816bf");
        return key.replace(digest, 4, "0000");
    }

    TemporaryFolder folder_;
    std::shared_ptr<ContentStore> store_;
};

const std::string digest_of_abc = "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";

TEST_P(EveryContentStore, TellsWhatItStored) {
    const StoredContent stored = put("abc");
    EXPECT_EQ(stored.size, 3U);
    EXPECT_EQ(stored.sha256, digest_of_abc);
    EXPECT_NE(stored.key.find(digest_of_abc), std::string::npos);
    EXPECT_EQ(stored.url, store_->url_for(stored.key));
    EXPECT_TRUE(stored.url.starts_with("http://x/")) << stored.url;
}

TEST_P(EveryContentStore, GivesTheBytesBack) {
    for (const std::string& text :
         {std::string(), std::string("abc"), std::string(3'000'000, 'x'), std::string("\0\n", 2)}) {
        const StoredContent stored = put(text);
        EXPECT_EQ(text_of(store_->get(stored.key)), text);
        EXPECT_EQ(store_->size(stored.key), text.size());
        EXPECT_TRUE(store_->contains(stored.key));
    }
}

TEST_P(EveryContentStore, GivesTheBytesBackAfterItWasOpenedAgain) {
    const std::string key = put("abc").key;
    store_.reset();
    EXPECT_EQ(text_of(open()->get(key)), "abc");
}

TEST_P(EveryContentStore, RangesAreWholeOrNothing) {
    const std::string key = put("0123456789").key;
    EXPECT_EQ(text_of(store_->get_range(key, 2, 3)), "234");
    EXPECT_EQ(text_of(store_->get_range(key, 0, 10)), "0123456789");
    EXPECT_EQ(text_of(store_->get_range(key, 10, 0)), "");
    EXPECT_EQ(text_of(store_->get_range(key, 10, 1)), "nothing");
    EXPECT_EQ(text_of(store_->get_range(key, 11, 0)), "nothing");
    EXPECT_EQ(text_of(store_->get_range(key, 5, 6)), "nothing");
    EXPECT_EQ(text_of(store_->get_range(key, 1, ~std::uint64_t{0})), "nothing");
}

TEST_P(EveryContentStore, StoresTheSameBytesOnceUnderOneKey) {
    EXPECT_EQ(put("abc"), put("abc"));
    EXPECT_EQ(put("abc", "scene"), put("abc", "scene"));
}

TEST_P(EveryContentStore, FindsBytesPutUnderAContext) {
    EXPECT_EQ(text_of(store_->get(put("abc", "scene").key)), "abc");
}

TEST_P(EveryContentStore, HasNothingForKeysThatAreAbsentOrMalformed) {
    const std::string local = "sha256:" + digest_of_abc;
    const std::string tome = "tome:v1:" + std::string(32, '0') + ":" + digest_of_abc + ":" + std::string(32, '0');
    for (const std::string& key :
         {absent_key(), std::string(), std::string("abc"), "x" + local, local + "0", local.substr(0, 70),
          "SHA256:" + digest_of_abc, "x" + tome, tome + ":00", tome.substr(0, tome.size() - 1),
          std::string("tome:v1:../..:..:.."), "tome:v2:" + tome.substr(8), std::string("tome:v1:::")}) {
        EXPECT_EQ(text_of(store_->get(key)), "nothing") << key;
        EXPECT_EQ(store_->size(key), std::nullopt) << key;
        EXPECT_EQ(text_of(store_->get_range(key, 0, 0)), "nothing") << key;
        EXPECT_FALSE(store_->contains(key)) << key;
    }
}

TEST_P(EveryContentStore, ServesManyThreadsAtOnce) {
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 8; ++thread) {
        threads.emplace_back([&, thread] {
            for (int i = 0; i < 10; ++i) {
                const std::string text = "blob " + std::to_string((thread + i) % 12);
                EXPECT_EQ(text_of(store_->get(put(text).key)), text);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

INSTANTIATE_TEST_SUITE_P(
    , EveryContentStore,
    testing::Values(StoreKind{"Local",
                              [](const auto& folder) {
                                  return std::make_shared<quill::LocalContentStore>(folder / "Content", "http://x");
                              }},
                    StoreKind{"Tome",
                              [](const auto& folder) {
                                  return std::make_shared<quill::TomeContentStore>(folder, folder, "", "http://x");
                              }},
                    StoreKind{"TomeMirror",
                              [](const auto& folder) {
                                  return std::make_shared<quill::TomeMirrorContentStore>(folder, "http://x");
                              }}),
    [](const auto& test) { return std::string(test.param.name); });

}  // namespace
